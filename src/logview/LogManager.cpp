#include "LogManager.h"

#include "LogParseOperation.h"
#include "logging/SLLogger.h"
#include "platform/AtomicFile.h"
#include "platform/Clock.h"
#include "platform/FileContents.h"
#include "platform/Paths.h"
#include "platform/ShellCommand.h"
#include "platform/StringFormat.h"
#include "platform/UserDefaults.h"
#include "product/MonitorSettings.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QProcess>
#include <QSet>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

const QString kSessionLogFolder = u"/Library/Application Support/CorvanePortableforMac/SessionLogs"_s;

QString real(const QString &productPath)
{
    return Paths::current().resolve(productPath);
}

// Every path and pattern of a command line is quoted: the file names come from the engine's folder.
constexpr auto quoted = &ShellCommand::quoted;

} // namespace

LogManager::LogManager(LogParseDelegate *master, const Clock &clock, QObject *parent)
    : QObject(parent)
    , m_master(master)
    , m_clock(clock)
    , mLogDumpPath(kIndexFolder)
{
    // Files are parsed side by side on the machine's cores, and handed over one at a time in the
    // order they were asked for, as from a queue that runs one parse at a time.
    mQueue.setMaxThreadCount(qBound(1, QThread::idealThreadCount(), 4));
    // Below the main thread, which must keep drawing while a year of files is read.
    mQueue.setThreadPriority(QThread::IdlePriority);
}

LogManager::~LogManager()
{
    *m_cancelled = true;
    mQueue.clear();
    mQueue.waitForDone(); // what they post to this object goes with it
}

void LogManager::waitForParses()
{
    while (m_nextDelivery < m_nextTicket) {
        mQueue.waitForDone(5);
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    }
}

void LogManager::parseXmlFile(const QString &day)
{
    loadDay(day, m_clock.now().toString(kDayFormat));
}

void LogManager::loadDay(const QString &day, const QString &today, const QSet<QString> *listed)
{
    loadIndex(day + u"_cdp"_s, today + u"_cdp"_s, listed);
    loadIndex(day, today, listed);
}

void LogManager::loadIndex(const QString &name, const QString &todaysName, const QSet<QString> *listed)
{
    const QString file = name + u".xml"_s;
    if (listed ? !listed->contains(file) : !QFileInfo::exists(real(mLogDumpPath + u'/' + file)))
        return;
    m_currentLog = name;
    // Today's index may still grow: it is always read again.
    if (todaysName != name && !m_logData.isEmpty() && m_logData.contains(name)) {
        // Handed over at once, unless a parse asked for earlier is still running: in order.
        parsed(m_nextTicket++, m_generation, false, m_logData.value(name));
        return;
    }
    m_isParsed = true;
    queueParse(name);
}

void LogManager::queueParse(const QString &name)
{
    const QString path = real(stringWithFormat(u"%@/%@.xml"_s, {mLogDumpPath, name}));
    const int ticket = m_nextTicket++;
    const bool fresh = m_isParsed;
    const int generation = m_generation;
    mQueue.start([this, name, path, ticket, generation, fresh, cancelled = m_cancelled] {
        if (*cancelled)
            return;
        const FileContents file = FileContents::readLocal(path);
        LogParseOperation::Result result = file.ok() ? LogParseOperation::parse(file.data()) : LogParseOperation::Result{};
        if (!result.damage.isEmpty()) {
            SLLogger::logMonitorTrace(stringWithFormat(u"Damaged log index %@.xml (%@): %@ record(s) lost"_s,
                                                       {name, result.damage, QString::number(result.lostRecords)}));
        }
        if (*cancelled)
            return;
        QMetaObject::invokeMethod(this, [this, ticket, generation, fresh, records = std::move(result.records)] {
            parsed(ticket, generation, fresh, records);
        });
    });
}

void LogManager::parsed(int ticket, int generation, bool fresh, const std::optional<QList<LogNode>> &records)
{
    m_waiting.insert(ticket, {generation, fresh, records});
    if (!m_deliveryScheduled && m_waiting.contains(m_nextDelivery)) {
        m_deliveryScheduled = true;
        QMetaObject::invokeMethod(this, &LogManager::deliverNext, Qt::QueuedConnection);
    }
}

// Days go into the table for a few milliseconds per turn of the event loop: the days that
// waited behind a slow one, or a year of cached ones, must not hold the window still, and one
// day per turn would repaint the table for each of them.
void LogManager::deliverNext()
{
    constexpr int kTurnBudgetMs = 4;
    m_deliveryScheduled = false;
    QElapsedTimer turn;
    turn.start();
    while (m_waiting.contains(m_nextDelivery) && !turn.hasExpired(kTurnBudgetMs)) {
        const Parsed next = m_waiting.take(m_nextDelivery++);
        if (next.generation != m_generation)
            continue; // asked for before the viewer changed its mind
        m_isParsed = next.fresh; // what the viewer's addToLogCache reads
        if (m_master)
            m_master->xmlParsed(next.records);
    }
    if (!m_deliveryScheduled && m_waiting.contains(m_nextDelivery)) {
        m_deliveryScheduled = true;
        QMetaObject::invokeMethod(this, &LogManager::deliverNext, Qt::QueuedConnection);
    }
}

void LogManager::fetchAllLogs()
{
    // A year of files: the folder is listed once, and the list answers which files exist.
    const QStringList names = QDir(real(mLogDumpPath)).entryList({u"*.xml"_s}, QDir::Files, QDir::Name);
    const QSet<QString> listed(names.cbegin(), names.cend());
    const QString today = m_clock.now().toString(kDayFormat);
    for (const QString &name : names) {
        QString dayFile = name;
        if (name.contains(u"_cdp"_s)) {
            const QString day = name.left(name.indexOf(u"_cdp"_s));
            if (listed.contains(day + u".xml"_s))
                continue; // loading the day loads both files
            dayFile = stringWithFormat(u"%@.xml"_s, {day});
        }
        loadDay(QFileInfo(dayFile).completeBaseName(), today, &listed);
    }
}

void LogManager::fetchLogsFrom(const QDateTime &from, const QDateTime &to)
{
    const QString today = m_clock.now().toString(kDayFormat);
    for (QDateTime day = from; day < to; day = day.addSecs(86400))
        loadDay(day.toString(kDayFormat), today);
}

void LogManager::addToLogCache(const QString &name, const QList<LogNode> &records)
{
    if (m_isParsed)
        m_logData.insert(name, records);
}

void LogManager::deleteNode(const LogNode &record, const QString &name)
{
    if (!m_logData.contains(name))
        return;
    QFile::remove(real(record.logfile()));
    QFile::remove(real(record.logfile() + u".summary"_s));
    QList<LogNode> &records = m_logData[name];
    records.removeOne(record);
    if (records.isEmpty()) {
        m_logData.remove(name);
        QFile::remove(real(stringWithFormat(u"%@/%@.xml"_s, {mLogDumpPath, name})));
    } else {
        writeToXMLFile(name, records);
    }
}

QString LogManager::getXMLfromNodes(const QList<LogNode> &records)
{
    QString xml = u"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<records>\n"_s;
    for (const LogNode &record : records)
        xml += record.flattenSelfToXML();
    return xml + u"</records>\n"_s;
}

void LogManager::writeToXMLFile(const QString &name, const QList<LogNode> &records)
{
    if (records.isEmpty())
        return;
    AtomicFile::write(stringWithFormat(u"%@/%@.xml"_s, {mLogDumpPath, name}), getXMLfromNodes(records).toUtf8());
}

// ---- conversion of the older plain-text session logs ----------------------------------------

void LogManager::createOldLogs()
{
    UserDefaults defaults(MonitorSettings::defaultsDomain());
    defaults.setObject(1, u"onlyonce"_s);
    defaults.synchronize();
    const QDateTime now = m_clock.now();
    const QDateTime limit(now.date().addDays(-30), QTime(0, 0));
    for (QDateTime moment = now; limit < moment; moment = moment.addSecs(-86400)) {
        generateLogsforDate(moment.toString(kDayFormat));
        if (m_logLimit > 50)
            break;
    }
}

void LogManager::generateLogsforDate(const QString &day)
{
    const QList<LogNode> records = createNodesForDate(day);
    if (!records.isEmpty())
        writeToXMLFile(records.first().logname(), records);
}

QList<LogNode> LogManager::createNodesForDate(const QString &day)
{
    QList<LogNode> records;
    for (const QString &operation : {u"Backup"_s, u"Restore"_s, u"Delete"_s, u"Rename"_s, u"PutBack"_s})
        records += getNodesForOperation(operation, day);
    return records;
}

QList<LogNode> LogManager::getNodesForOperation(const QString &operation, const QString &day)
{
    const QString folder = stringWithFormat(u"%@/%@"_s, {kSessionLogFolder, operation});
    QStringList names
        = runCommand(u"ls "_s + quoted(real(folder)) + u" | grep "_s + quoted(day + u'*')).split(u'\n');
    names.removeLast(); // after the last line end
    if (names.isEmpty())
        return {};
    return createNodesFromFileList(names, operation);
}

QList<LogNode> LogManager::createNodesFromFileList(const QStringList &files, const QString &operation)
{
    static const QHash<QString, QString> counting = {
        {u"Backup"_s, u"cat %1 | grep -i \"file size:\" | wc -l"_s},
        {u"Restore"_s, u"cat %1 | grep -i \"file size:\" | wc -l"_s},
        {u"Delete"_s, u"cat %1 | grep \"Deleted file\" | wc -l"_s},
        {u"Rename"_s, u"cat %1| grep -i \"Renamed file\" | wc -l"_s},
        {u"PutBack"_s, u"cat %1 | grep -i \"Moved file\" | wc -l"_s},
    };
    QList<LogNode> records;
    for (const QString &file : files) {
        const QString path = stringWithFormat(u"%@/%@/%@"_s, {kSessionLogFolder, operation, file});
        if (QFileInfo::exists(real(path + u".summary"_s)))
            continue; // the engine has indexed this run itself
        const QString log = quoted(real(path));
        const QString count = runCommand(counting.value(operation).arg(log)).trimmed();
        const QString succeeded = runCommand(u"cat %1 | grep -i \"successfully\" | wc -l"_s.arg(log)).trimmed();
        // The names carry one character before their "MM-dd-yyyy-HH-mm-ss" date.
        const QString date = getLogDate(file.mid(1, 19));
        if (count.isEmpty() || count == "0"_L1 || date.isEmpty())
            continue;
        LogNode record;
        record.setLogfile(path);
        record.setOptype(getOptypeForOperationName(operation));
        record.setDatetime(date);
        record.setFiles(count);
        record.setStatus(succeeded.isEmpty() ? u"-----"_s : u"Success"_s);
        record.setDuration(u"--:--:--"_s);
        record.setLogname(record.getLogName());
        records.append(record);
        ++m_logLimit;
    }
    return records;
}

QString LogManager::getOptypeForOperationName(const QString &operation)
{
    static const QHash<QString, int> types = {{u"Backup"_s, LogNode::Backup},   {u"Restore"_s, LogNode::Restore},
                                              {u"Delete"_s, LogNode::Delete},   {u"Rename"_s, LogNode::Rename},
                                              {u"PutBack"_s, LogNode::PutBack}};
    return QString::number(types.value(operation, LogNode::Other));
}

QString LogManager::getLogDate(const QString &text)
{
    const QDateTime date = QDateTime::fromString(text, u"MM-dd-yyyy-HH-mm-ss"_s);
    return date.isValid() ? QLocale::c().toString(date, u"MMM dd, yyyy hh:mm:ss AP"_s) : QString();
}

QString LogManager::runCommand(const QString &command)
{
    QProcess shell;
    shell.start(u"/bin/sh"_s, {u"-c"_s, command});
    shell.waitForFinished(-1);
    return QString::fromUtf8(shell.readAllStandardOutput());
}
