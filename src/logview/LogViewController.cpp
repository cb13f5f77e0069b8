#include "LogViewController.h"

#include "notify/AlertPresenter.h"
#include "platform/Clock.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Paths.h"
#include "platform/StringFormat.h"
#include "platform/UserDefaults.h"
#include "product/MonitorSettings.h"
#include "product/StringTable.h"
#include "util/SLUtility.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStringDecoder>
#include <QTimer>

#include <algorithm>
#include <numeric>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QString kLogsFrom = u"logsFrom"_s;
const QString kClickHereSentence = u"Click here to view excluded files/ folders"_s;

QString real(const QString &productPath)
{
    return Paths::current().resolve(productPath);
}

QDateTime parsedDate(const QString &text)
{
    return QLocale::c().toDateTime(text, u"MMM dd, yyyy hh:mm:ss AP"_s);
}

// Text compared character by character, except that runs of digits compare as numbers ("9"
// before "10"), as the platform's numeric string search does.
int compareNumeric(QStringView a, QStringView b)
{
    qsizetype i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (a[i].isDigit() && b[j].isDigit()) {
            const qsizetype startA = i, startB = j;
            while (i < a.size() && a[i].isDigit())
                ++i;
            while (j < b.size() && b[j].isDigit())
                ++j;
            QStringView x = a.sliced(startA, i - startA), y = b.sliced(startB, j - startB);
            while (x.size() > 1 && x.front() == u'0')
                x = x.sliced(1);
            while (y.size() > 1 && y.front() == u'0')
                y = y.sliced(1);
            if (x.size() != y.size())
                return x.size() < y.size() ? -1 : 1;
            if (const int c = x.compare(y); c != 0)
                return c < 0 ? -1 : 1;
            continue;
        }
        if (a[i] != b[j])
            return a[i] < b[j] ? -1 : 1;
        ++i;
        ++j;
    }
    return i < a.size() ? 1 : j < b.size() ? -1 : 0;
}

// -1, 0 or 1: how `a` sorts before `b` on a column other than the date, whose keys
// `sortByColumn` reads once a row.
int compareOn(int column, const LogNode &a, const LogNode &b)
{
    const auto sign = [](auto value) { return value < 0 ? -1 : value > 0 ? 1 : 0; };
    switch (column) {
    case LogTableModel::OperationColumn:
        return sign(LogViewController::getOperationName(a.optype().toInt())
                        .compare(LogViewController::getOperationName(b.optype().toInt())));
    case LogTableModel::DurationColumn:
        return compareNumeric(a.duration(), b.duration());
    case LogTableModel::FilesColumn:
        return compareNumeric(a.files(), b.files());
    case LogTableModel::StatusColumn:
        return sign(a.status().compare(b.status()));
    default:
        return 0;
    }
}

} // namespace

// ---- the table ------------------------------------------------------------------------------

LogTableModel::LogTableModel(const LogViewController *controller, QObject *parent)
    : QAbstractTableModel(parent)
    , m_controller(controller)
{
}

int LogTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_controller->mLogContainer().size());
}

int LogTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant LogTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const LogNode &run = m_controller->mLogContainer().at(index.row());
    if (role == IconNameRole && index.column() == OperationColumn)
        return LogViewController::getImageForOperation(run.optype().toInt());
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case OperationColumn:
        return LogViewController::getOperationName(run.optype().toInt());
    case DateTimeColumn:
        return run.datetime();
    case DurationColumn:
        return run.duration();
    case StatusColumn:
        return run.status();
    case FilesColumn:
        return run.files();
    default:
        return {};
    }
}

QVariant LogTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const char *const titles[] = {"Operation", "Date & Time", "Duration", "Status", "Files"};
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= ColumnCount)
        return {};
    return SLLocalizedString(QString::fromLatin1(titles[section]));
}

void LogTableModel::sort(int column, Qt::SortOrder order)
{
    const_cast<LogViewController *>(m_controller)->sortByColumn(column, order);
}

void LogTableModel::reload()
{
    beginResetModel();
    endResetModel();
}

// ---- the viewer -----------------------------------------------------------------------------

QString LogViewController::periodNotification(int tag)
{
    static const QStringList names = {u"LastWeek"_s, u"LastOneMonth"_s, u"FromTheBeginning"_s, u"LastTwoWeeks"_s};
    return names.value(tag);
}

LogViewController::LogViewController(AlertPresenter *alerts, const Clock &clock, DistributedNotificationCenter *center,
                                     QObject *parent)
    : QObject(parent)
    , m_alerts(alerts)
    , m_clock(clock)
    , m_center(center)
    , m_model(new LogTableModel(this, this))
{
    if (!m_center) {
        m_ownCenter = std::make_unique<DistributedNotificationCenter>();
        m_center = m_ownCenter.get();
    }
}

LogViewController::~LogViewController() = default;

void LogViewController::initializers()
{
    LogMgrInst = std::make_unique<LogManager>(this, m_clock);
    for (int tag = LastWeek; tag <= LastTwoWeeks; ++tag)
        m_center->addObserver(periodNotification(tag), [this, tag](auto &&...) { sortLogsFromNotification(tag); });
}

void LogViewController::reloadLogViewOnTableViewSelectionChange()
{
    const int tag = int(UserDefaults(MonitorSettings::defaultsDomain()).integerForKey(kLogsFrom));
    m_period = tag;
    Q_EMIT periodChanged(tag);
    showTexts({}, {});
    DisplayLogsFrom(tag);
    QTimer::singleShot(1000, this, [this] { Q_EMIT selectRowRequested(0); });
}

void LogViewController::sortLogsFromMenu(int tag)
{
    m_center->post(periodNotification(tag), QString(), {}, true);
}

void LogViewController::sortLogsFromNotification(int tag)
{
    UserDefaults defaults(MonitorSettings::defaultsDomain());
    defaults.setObject(tag, kLogsFrom);
    defaults.synchronize();
    m_period = tag;
    Q_EMIT periodChanged(tag);
    DisplayLogsFrom(tag);
    Q_EMIT selectRowRequested(0);
}

void LogViewController::DisplayLogsFrom(int tag)
{
    const QDateTime now = m_clock.now();
    const QDateTime midnight(now.date(), QTime(0, 0));
    QDateTime from;
    if (tag == LastWeek)
        from = midnight.addDays(-7);
    else if (tag == LastOneMonth)
        from = midnight.addMonths(-1);
    else if (tag == LastTwoWeeks)
        from = midnight.addDays(-14);
    if (tag == FromTheBeginning || from.isValid()) {
        m_container.clear();
        m_selectedRow = -1;
        m_model->reload();
        showTexts({}, {});
        if (!LogMgrInst)
            return;
        LogMgrInst->dropPendingDeliveries(); // days still on their way belong to the old period
        if (tag == FromTheBeginning)
            LogMgrInst->fetchAllLogs();
        else
            LogMgrInst->fetchLogsFrom(from, now);
    }
    m_model->reload();
}

void LogViewController::xmlParsed(const std::optional<QList<LogNode>> &records)
{
    if (!records || records->isEmpty())
        return;
    // Days come oldest first: the last day, and the last run of each file, end up on top.
    // Prepending grows the list at its front, so a year of days never copies the rows before.
    const int added = int(records->size());
    m_model->beginInsertAtTop(added);
    for (const LogNode &record : *records)
        m_container.prepend(record);
    m_model->endInsertAtTop();
    if (m_selectedRow >= 0)
        m_selectedRow += added;
    if (LogMgrInst)
        LogMgrInst->addToLogCache(records->first().logname(), *records);
}

void LogViewController::tableViewSelectionChanged(int row)
{
    if (row < 0 || row >= m_container.size()) {
        m_selectedRow = -1;
        showTexts({}, {});
        return;
    }
    m_selectedRow = row;
    manageTabView(m_container.at(row).logfile());
}

void LogViewController::manageTabView(const QString &logPath)
{
    const QString summary = logPath + u".summary"_s;
    m_summaryTab = QFileInfo::exists(real(summary));
    showTexts(m_summaryTab ? loadTextView(summary, true) : LogText{}, loadTextView(logPath, false));
}

void LogViewController::showTexts(const LogText &summary, const LogText &detail)
{
    m_summary = summary;
    m_detail = detail;
    Q_EMIT textsChanged();
}

LogText LogViewController::loadTextView(const QString &path, bool summary)
{
    LogText shown;
    const QFileInfo file(real(path));
    if (file.size() < kShownBytes + 1) {
        QFile whole(file.filePath());
        if (!whole.open(QIODevice::ReadOnly))
            return shown;
        QStringDecoder strict(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        shown.text = strict(whole.readAll());
        if (strict.hasError())
            return LogText(); // not text: nothing shown
        const qsizetype sentence = shown.text.indexOf(kClickHereSentence);
        if (summary && sentence >= 0) {
            shown.linkStart = int(shown.text.indexOf(u"Click here"_s, sentence, Qt::CaseInsensitive));
            shown.linkLength = 10;
            shown.link = QUrl::fromLocalFile(u"Preferences"_s);
        }
        return shown;
    }
    const std::optional<QByteArray> head = SLUtility::dataWithContentsOfFile(path, kShownBytes);
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = head ? QString(utf8(*head)) : QString();
    if (!head || utf8.hasError()) {
        shown.text = u" "_s; // a clip that cuts a character in two
        return shown;
    }
    shown.text = text + u"... \n [Log clipped]  "_s;
    shown.linkStart = int(shown.text.size());
    shown.text += u"View entire log"_s;
    shown.linkLength = 15;
    shown.link = QUrl::fromLocalFile(file.filePath());
    return shown;
}

void LogViewController::linkClicked(const QUrl &link)
{
    if (link.path().contains(u"Preferences"_s)) {
        m_center->post(u"CorvanePortableOpenPreferencesNotification"_s, u"ViewExclude"_s, {}, true);
        return; // no file to open
    }
    if (m_openUrl)
        m_openUrl(link);
}

void LogViewController::sortByColumn(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= LogTableModel::ColumnCount)
        return; // no column: the order stays as it is
    const qsizetype count = m_container.size();
    // Dates are read once a row, not once a comparison: a year of runs sorts at once.
    QList<QDateTime> dates;
    if (column == LogTableModel::DateTimeColumn) {
        dates.reserve(count);
        for (const LogNode &record : std::as_const(m_container))
            dates.append(parsedDate(record.datetime()));
    }
    const auto compare = [&](qsizetype a, qsizetype b) {
        if (column == LogTableModel::DateTimeColumn)
            return dates[a] < dates[b] ? -1 : dates[b] < dates[a] ? 1 : 0;
        return compareOn(column, m_container[a], m_container[b]);
    };
    std::vector<qsizetype> rows(static_cast<size_t>(count));
    std::iota(rows.begin(), rows.end(), 0);
    const bool descending = order == Qt::DescendingOrder;
    std::stable_sort(rows.begin(), rows.end(), [&](qsizetype a, qsizetype b) {
        const int result = compare(a, b);
        return descending ? result > 0 : result < 0;
    });
    QList<LogNode> sorted;
    sorted.reserve(count);
    int selected = -1;
    for (const qsizetype row : rows) {
        if (row == m_selectedRow)
            selected = int(sorted.size());
        sorted.append(m_container[row]);
    }
    m_container = std::move(sorted);
    m_selectedRow = selected;
    m_model->reload();
    if (m_selectedRow >= 0)
        Q_EMIT selectRowRequested(m_selectedRow);
}

QString LogViewController::getOperationName(int optype)
{
    static const QHash<int, QString> names = {
        {1, u"Backup"_s}, {2, u"Backup"_s}, {3, u"Restore"_s}, {4, u"Search"_s}, {5, u"Delete"_s},
        {6, u"Rename"_s}, {7, u"Continuous Data Protection"_s}, {8, u"Archive Cleanup"_s},
        {9, u"Putback"_s}, {10, u"Automatic Sync"_s}};
    return names.value(optype, u"Corvane"_s);
}

QString LogViewController::getImageForOperation(int optype)
{
    static const QHash<int, QString> images = {
        {1, u"backup12px.png"_s}, {2, u"schedule12px.png"_s}, {3, u"restore12px.png"_s},
        {4, u"search12px.png"_s}, {5, u"trash12px.png"_s}, {6, u"rename12px.png"_s},
        {7, u"cdp12px.png"_s}, {8, u"archcleanup12px.png"_s}, {9, u"putback12px.png"_s},
        {10, u"archive12px.png"_s}};
    return images.value(optype, u"default12px.png"_s);
}

bool LogViewController::ask(const QString &question) const
{
    return m_alerts
        && m_alerts->displayMessage(question, SLLocalizedString(u"ApplicationName"_s),
                                    {SLLocalizedString(u"Yes"_s), SLLocalizedString(u"No"_s), QString()}, true)
        == AlertPresenter::kDefault;
}

void LogViewController::removeRun(const LogNode &record)
{
    if (LogMgrInst)
        LogMgrInst->deleteNode(record, record.logname());
    m_container.removeOne(record);
}

void LogViewController::deleteRow(int row)
{
    if (row < 0 || row >= m_container.size() || !ask(u"Would you like to delete selected item(s)?"_s))
        return;
    removeRun(m_container.at(row));
    m_model->reload();
    // The row stays selected in the table: it now shows the next run.
    const int next = qMin(row, int(m_container.size()) - 1);
    tableViewSelectionChanged(next);
    Q_EMIT selectRowRequested(next);
}

void LogViewController::deleteSelectedItems(const QList<int> &rows)
{
    if (rows.isEmpty() || !ask(u"Would you like to delete selected item(s)?"_s))
        return;
    QList<int> sorted = rows;
    std::sort(sorted.begin(), sorted.end());
    const QList<LogNode> listed = m_container; // rows are looked up in the list as it was
    for (const int row : std::as_const(sorted)) {
        if (row >= 0 && row < listed.size())
            removeRun(listed.at(row));
    }
    m_model->reload();
    tableViewSelectionChanged(-1);
}

void LogViewController::deleteAllItems()
{
    if (m_container.isEmpty() || !ask(u"Would you like to delete all item(s)?"_s))
        return;
    const QList<LogNode> listed = m_container;
    for (const LogNode &record : listed)
        removeRun(record);
    m_model->reload();
    tableViewSelectionChanged(-1);
}

void LogViewController::archiveSelectedLog(const QList<int> &rows)
{
    if (!m_folderChooser)
        return;
    const QString folder = m_folderChooser->chooseFolder();
    if (folder.isEmpty())
        return;
    if (!QFileInfo(folder).isWritable()) {
        const int answer = m_alerts ? m_alerts->displayMessage(
                                          u"Selected folder doesn't have write permission. "_s,
                                          u"Unable to write the file(s)"_s,
                                          {u"Select another"_s, u"OK"_s, QString()}, true)
                                    : AlertPresenter::kAlternate;
        if (answer == AlertPresenter::kDefault)
            archiveSelectedLog(rows);
        return;
    }
    QList<int> sorted = rows;
    std::sort(sorted.begin(), sorted.end(), std::greater<>()); // last to first
    for (const int row : std::as_const(sorted)) {
        if (row < 0 || row >= m_container.size())
            continue;
        const QFileInfo log(real(m_container.at(row).logfile()));
        if (log.isReadable())
            QFile::copy(log.filePath(), QDir(folder).filePath(log.fileName())); // failures ignored
    }
}

bool LogViewController::validateMenuItem(bool periodItem, int clickedRow, const QList<int> &selectedRows)
{
    if (periodItem)
        return true;
    if (clickedRow < 0)
        return false;
    if (selectedRows.size() == 1 && selectedRows.first() != clickedRow)
        Q_EMIT selectRowRequested(clickedRow);
    return true;
}

void LogViewController::onlineHelp()
{
    if (m_openUrl)
        m_openUrl(QUrl(SLLocalizedString(u"HelpSiteURL"_s) + u"/help/Mac/log.htm"_s));
}

int LogViewController::daysBetweenDate(const QDateTime &from, const QDateTime &to)
{
    return int(from.date().daysTo(to.date()));
}

void LogViewController::createLogsFolders(const QString &folder)
{
    for (const QString &sub : {u"Backup"_s, u"Restore"_s, u"Delete"_s, u"Archive Cleanup"_s, u"Rename"_s, u"LOGXML"_s})
        QDir().mkpath(real(stringWithFormat(u"%@/%@"_s, {folder, sub})));
}
