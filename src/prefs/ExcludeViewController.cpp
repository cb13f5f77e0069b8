#include "ExcludeViewController.h"

#include "UserPreferences.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Paths.h"
#include "platform/StringFormat.h"
#include "product/MonitorSettings.h"
#include "product/StringTable.h"
#include "util/SLUtility.h"

#include <QRegularExpression>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Icon = SourceListTableModel::Icon;

const QString kState = u"State"_s;
const QString kPath = u"Path"_s;
const QString kAdd = u"add"_s;
const QString kRemove = u"Remove"_s;

// Case- and accent-folded, so that "Ä" matches "a".
QString folded(const QString &text)
{
    const QString decomposed = text.normalized(QString::NormalizationForm_D);
    QString result;
    result.reserve(decomposed.size());
    for (const QChar c : decomposed) {
        if (c.category() != QChar::Mark_NonSpacing && c.category() != QChar::Mark_Enclosing)
            result.append(c);
    }
    return result.toCaseFolded();
}

// The platform's LIKE comparison, ignoring case and diacritics: '*' matches any run of
// characters, '?' one character, a backslash takes the next character literally.
bool isLike(const QString &name, const QString &pattern)
{
    const QString p = folded(pattern);
    QString expression;
    for (qsizetype i = 0; i < p.size(); ++i) {
        const QChar c = p.at(i);
        if (c == u'*')
            expression += u".*"_s;
        else if (c == u'?')
            expression += u'.';
        else if (c == u'\\' && i + 1 < p.size())
            expression += QRegularExpression::escape(QString(p.at(++i)));
        else
            expression += QRegularExpression::escape(QString(c));
    }
    const QRegularExpression like(QRegularExpression::anchoredPattern(expression),
                                  QRegularExpression::DotMatchesEverythingOption);
    return like.match(folded(name)).hasMatch();
}

SourceListNode nodeForPath(const QString &path, int state)
{
    // A missing item counts as a file; it stays listed.
    return SourceListNode(path, state, !SLUtility::isDirectory(path));
}

QString itemCount(quint64 count)
{
    return stringWithFormat(SLLocalizedString(count == 1 ? u"%@ item"_s : u"%@ items"_s), {QString::number(count)});
}

} // namespace

ExcludeViewController::ExcludeViewController(DistributedNotificationCenter *center,
                                             ExcludedFolderSizes::Measure measure, QObject *parent)
    : QObject(parent)
    , m_center(center ? center : new DistributedNotificationCenter(this))
    , mExcludeFilesTableView(new SourceListTableModel(this, WholePathTable))
    , mPartialExcludeListTableView(new SourceListTableModel(this, PartialPathTable))
    , m_sizes(nullptr, std::move(measure))
{
    connect(&m_sizes, &ExcludedFolderSizes::progress, this, [this](quint64 bytes, quint64 entries) {
        setSizeText(stringWithFormat(SLLocalizedString(u"Measuring excluded folders: %@ in %@"_s),
                                     {SLUtility::formatedFileSizeAsString(bytes), itemCount(entries)}));
    });
    connect(&m_sizes, &ExcludedFolderSizes::finished, this, [this](quint64 bytes, int items) {
        setSizeText(stringWithFormat(SLLocalizedString(u"Excluded folders: %@ in %@"_s),
                                     {SLUtility::formatedFileSizeAsString(bytes), itemCount(quint64(items))}));
    });
    loadView();
}

ExcludeViewController::~ExcludeViewController() = default;

void ExcludeViewController::loadView()
{
    mDefaultExcludeFilesArray = UserPreferences::defaultExclusionPaths();
    mPartialExludeFilesArray = {UserPreferences::defaultPartialPath()};
    mUserExcludeFilesArray.clear();
    mUserObject = User();
    m_center->addObserver(kObservedNotification, [this](const QString &, const QString &, const QVariantMap &info) {
        addRemoveFileToExclude(info);
    });
}

void ExcludeViewController::setIconProvider(std::function<QIcon(Icon, const QString &)> provider)
{
    m_iconProvider = std::move(provider);
}

SourceListTableModel *ExcludeViewController::model(Table table) const
{
    return table == WholePathTable ? mExcludeFilesTableView : mPartialExcludeListTableView;
}

const QList<SourceListNode> &ExcludeViewController::rows(Table table) const
{
    return table == WholePathTable ? mExcludeFileDataSource : partialExcludeTagValueArr;
}

QString ExcludeViewController::portParam() const
{
    return MonitorSettings::portParam();
}

// ---- loading and saving ----------------------------------------------------------------------

void ExcludeViewController::loadExcludeSet()
{
    fetchPreferenceValuesFromFile();
    loadExcludePreference();
    reload(WholePathTable, true);
    setRemoveEnabled(WholePathTable, false);
    loadPartialExcludePreference();
    reload(PartialPathTable, true);
    setRemoveEnabled(PartialPathTable, false);
    setAddPartialEnabled(!hasNewItem());
    saveExcludePreference();
}

void ExcludeViewController::fetchPreferenceValuesFromFile()
{
    UserPreferences preferences(mUserObject.UserName());
    if (!preferences.stored().contains(UserPreferences::kDefaultExclusion)) {
        // The first seeding stores booleans; later saves store the 1/0 states.
        QVariantMap seeded;
        for (const QString &path : mDefaultExcludeFilesArray)
            seeded.insert(path, true);
        preferences.store({{UserPreferences::kDefaultExclusion, seeded}});
    }
}

void ExcludeViewController::loadExcludePreference()
{
    mExcludeFileDataSource.clear();
    m_excludeHiddenFiles = UserPreferences::enableExcludeHiddenFiles();
    const UserPreferences preferences(mUserObject.UserName());
    for (const QVariantMap &states : {preferences.defaultExclusion(), preferences.userSpecifiedExclusion()}) {
        for (auto it = states.cbegin(); it != states.cend(); ++it)
            mExcludeFileDataSource.append(nodeForPath(it.key(), it.value().toInt()));
    }
    sortRows();
    Q_EMIT controlsChanged();
}

void ExcludeViewController::loadPartialExcludePreference()
{
    partialExcludeTagValueArr.clear();
    const QVariantMap states = UserPreferences(mUserObject.UserName()).partialFileExclusion();
    for (auto it = states.cbegin(); it != states.cend(); ++it)
        partialExcludeTagValueArr.append(SourceListNode(it.key(), it.value().toInt()));
    if (partialExcludeTagValueArr.isEmpty())
        partialExcludeTagValueArr.append(SourceListNode(mPartialExludeFilesArray.first(), 1));
    reload(PartialPathTable);
}

bool ExcludeViewController::saveExcludePreference()
{
    if (mUserObject.UserName().isEmpty())
        return true; // nobody's preferences to save
    const bool hiddenSaved
        = UserPreferences::setGlobal(UserPreferences::kEnableExcludeHiddenFiles, m_excludeHiddenFiles);
    QVariantMap defaults, userSpecified, partial;
    for (const SourceListNode &node : std::as_const(mExcludeFileDataSource))
        (mDefaultExcludeFilesArray.contains(node.name()) ? defaults : userSpecified).insert(node.name(), node.state());
    for (const SourceListNode &node : std::as_const(partialExcludeTagValueArr))
        partial.insert(node.name(), node.state());
    const bool saved = UserPreferences(mUserObject.UserName())
                           .store({{UserPreferences::kDefaultExclusion, defaults},
                                   {UserPreferences::kUserSpecifiedExclusion, userSpecified},
                                   {UserPreferences::kPartialFileExclusion, partial}});
    if (m_sizesWanted)
        measureExcludedFolders();
    return saved && hiddenSaved;
}

// ---- whole paths -----------------------------------------------------------------------------

void ExcludeViewController::addToExclusionList(const QStringList &paths)
{
    for (const QString &path : paths) {
        const auto listed = std::find_if(mExcludeFileDataSource.begin(), mExcludeFileDataSource.end(),
                                         [&](const SourceListNode &node) { return isLike(node.name(), path); });
        if (listed != mExcludeFileDataSource.end())
            listed->setState(1);
        else
            mExcludeFileDataSource.append(nodeForPath(path, 1));
    }
}

void ExcludeViewController::addFilesToExclusionList()
{
    if (!m_openPanel)
        return;
    m_openPanel->beginOpenPanel([this](int returnCode, const QStringList &paths) {
        if (returnCode != 1 || paths.isEmpty())
            return;
        addToExclusionList(paths);
        sortRows();
        reload(WholePathTable);
        post(kAdd, {{kAdd, paths}});
        saveExcludePreference();
    });
}

void ExcludeViewController::removeWholePathRow(int row)
{
    post(kRemove, {{kRemove, mExcludeFileDataSource.at(row).name()}});
    mExcludeFileDataSource.removeAt(row);
    reload(WholePathTable);
    saveExcludePreference();
}

void ExcludeViewController::removeFilesFromExclusionList()
{
    // The button is off for a default row; the delete key and menu obey the same rule, so a
    // default path can never disappear from the account's list.
    if (validateMenuItem(RemoveFilesAction))
        removeWholePathRow(selectedRow(WholePathTable));
}

void ExcludeViewController::sortRows()
{
    std::stable_sort(mExcludeFileDataSource.begin(), mExcludeFileDataSource.end(),
                     [](const SourceListNode &a, const SourceListNode &b) { return a.compare(b) < 0; });
}

// ---- partial paths ---------------------------------------------------------------------------

bool ExcludeViewController::hasNewItem() const
{
    return std::any_of(partialExcludeTagValueArr.cbegin(), partialExcludeTagValueArr.cend(),
                       [](const SourceListNode &node) { return node.name() == kNewItem; });
}

void ExcludeViewController::addPartialPathToExclusionList()
{
    if (hasNewItem())
        return; // one unnamed row at a time
    partialExcludeTagValueArr.append(SourceListNode(kNewItem, 1));
    reload(PartialPathTable);
    Q_EMIT editPartialPathRequested(int(partialExcludeTagValueArr.size()) - 1);
    saveExcludePreference();
    setAddPartialEnabled(false);
}

void ExcludeViewController::removePartialPathFromExclusionList()
{
    if (!validateMenuItem(RemovePartialPathAction))
        return;
    const int row = selectedRow(PartialPathTable);
    if (partialExcludeTagValueArr.at(row).name() == kNewItem)
        setAddPartialEnabled(true);
    partialExcludeTagValueArr.removeAt(row);
    reload(PartialPathTable);
    saveExcludePreference();
}

// ---- actions ---------------------------------------------------------------------------------

void ExcludeViewController::ExcludeHiddenChanged(bool excludeHidden)
{
    m_excludeHiddenFiles = excludeHidden;
    saveExcludePreference();
}

void ExcludeViewController::toggleCheckBoxState(Table table, int row)
{
    QList<SourceListNode> &list = table == WholePathTable ? mExcludeFileDataSource : partialExcludeTagValueArr;
    if (row < 0 || row >= list.size())
        return;
    SourceListNode &node = list[row];
    if (table == WholePathTable) {
        if (node.state() == 0)
            post(kAdd, {{kAdd, QStringList{node.name()}}});
        else
            post(kRemove, {{kRemove, node.name()}});
    }
    node.setState(node.state() == 0 ? 1 : 0);
    reload(table);
    saveExcludePreference();
}

void ExcludeViewController::deleteItemFromTableView(Table table)
{
    if (table == WholePathTable)
        removeFilesFromExclusionList();
    else
        removePartialPathFromExclusionList();
}

bool ExcludeViewController::validateMenuItem(Action action) const
{
    switch (action) {
    case AddFilesAction:
        return true;
    case AddPartialPathAction:
        return !hasNewItem();
    case RemoveFilesAction:
        return isRemoveButtonEnabled(WholePathTable);
    case RemovePartialPathAction:
        return isRemoveButtonEnabled(PartialPathTable);
    default:
        return false;
    }
}

void ExcludeViewController::addRemoveFileToExclude(const QVariantMap &userInfo)
{
    if (!userInfo.isEmpty() && userInfo.firstKey() == kAdd) {
        const QVariant value = userInfo.first();
        addToExclusionList(value.typeId() == QMetaType::QVariantList ? value.toStringList()
                                                                      : QStringList{value.toString()});
    } else {
        const QString path = userInfo.value(u"remove"_s).toString();
        for (qsizetype row = 0; row < mExcludeFileDataSource.size(); ++row) {
            if (mExcludeFileDataSource.at(row).name() == path) {
                mExcludeFileDataSource.removeAt(row);
                reload(WholePathTable);
                saveExcludePreference();
                return;
            }
        }
    }
    reload(WholePathTable);
    saveExcludePreference();
}

void ExcludeViewController::post(const QString &object, const QVariantMap &userInfo)
{
    m_center->post(kPostedNotification, object, userInfo, true);
}

// ---- data source and delegate ----------------------------------------------------------------

int ExcludeViewController::numberOfRowsInTableView(Table table) const
{
    return int(rows(table).size());
}

QVariant ExcludeViewController::objectValue(Table table, const QString &column, int row) const
{
    const QList<SourceListNode> &list = rows(table);
    if (row < 0 || row >= list.size())
        return {};
    if (column == kState)
        return list.at(row).state();
    if (column == kPath)
        return list.at(row).name();
    return {};
}

void ExcludeViewController::setObjectValue(Table table, const QVariant &value, const QString &column, int row)
{
    if (row < 0 || row >= numberOfRowsInTableView(table))
        return;
    if (table == WholePathTable) {
        if (column == kState)
            mExcludeFileDataSource[row].setState(value.toInt());
    } else if (column == kPath) {
        // Blanks keep the old name; a real name is kept as typed.
        if (!value.toString().trimmed().isEmpty())
            partialExcludeTagValueArr[row].setName(value.toString());
        setAddPartialEnabled(!hasNewItem());
        reload(PartialPathTable);
        // A row renamed to the default fragment can no longer be removed.
        tableViewSelectionDidChange(table, m_selectedRow[table]);
    }
    saveExcludePreference();
}

bool ExcludeViewController::isDefaultRow(Table table, int row) const
{
    if (row < 0 || row >= numberOfRowsInTableView(table))
        return false;
    const QStringList &defaults = table == WholePathTable ? mDefaultExcludeFilesArray : mPartialExludeFilesArray;
    return defaults.contains(rows(table).at(row).name());
}

bool ExcludeViewController::isCellEnabled(Table table, const QString &column, int row) const
{
    // A default whole path keeps its box but cannot change it; the default fragment cannot be
    // renamed.
    if (table == WholePathTable)
        return column == kPath || !isDefaultRow(table, row);
    return column != kPath || row < 0 || row >= numberOfRowsInTableView(table)
           || rows(table).at(row).name() != mPartialExludeFilesArray.first();
}

SourceListTableModel::Icon ExcludeViewController::cellIcon(Table table, const QString &column, int row) const
{
    if (column != kPath || row < 0 || row >= numberOfRowsInTableView(table))
        return Icon::None;
    if (table == WholePathTable)
        return Icon::ItemIcon;
    return rows(table).at(row).name() == mPartialExludeFilesArray.first() ? Icon::FolderIcon : Icon::DocumentIcon;
}

QIcon ExcludeViewController::iconFor(Icon icon, const QString &path) const
{
    return m_iconProvider ? m_iconProvider(icon, path) : QIcon();
}

void ExcludeViewController::tableViewSelectionDidChange(Table table, int selectedRow)
{
    m_selectedRow[table] = selectedRow >= 0 && selectedRow < numberOfRowsInTableView(table) ? selectedRow : -1;
    setRemoveEnabled(table, m_selectedRow[table] >= 0 && !isDefaultRow(table, m_selectedRow[table]));
}

int ExcludeViewController::selectedRow(Table table) const
{
    return m_selectedRow[table];
}

bool ExcludeViewController::isRemoveButtonEnabled(Table table) const
{
    return m_removeEnabled[table];
}

// ---- state of the controls -------------------------------------------------------------------

void ExcludeViewController::reload(Table table, bool startOver)
{
    if (model(table)->reloadData(startOver)) {
        m_selectedRow[table] = -1;
        m_removeEnabled[table] = false;
    }
    Q_EMIT controlsChanged();
}

void ExcludeViewController::setAddPartialEnabled(bool enabled)
{
    m_addPartialEnabled = enabled;
    Q_EMIT controlsChanged();
}

void ExcludeViewController::setRemoveEnabled(Table table, bool enabled)
{
    m_removeEnabled[table] = enabled;
    Q_EMIT controlsChanged();
}

// ---- sizes -----------------------------------------------------------------------------------

void ExcludeViewController::setSizesWanted(bool wanted)
{
    m_sizesWanted = wanted;
    if (wanted)
        measureExcludedFolders();
}

void ExcludeViewController::measureExcludedFolders()
{
    // The user's own picks only: the default list names whole system trees and other volumes.
    QStringList paths;
    for (const SourceListNode &node : std::as_const(mExcludeFileDataSource)) {
        if (node.state() != 0 && !mDefaultExcludeFilesArray.contains(node.name()))
            paths.append(Paths::current().resolve(node.name()));
    }
    m_sizes.start(paths);
}

void ExcludeViewController::setSizeText(const QString &text)
{
    if (text == m_sizeText)
        return;
    m_sizeText = text;
    Q_EMIT sizeTextChanged(text);
}
