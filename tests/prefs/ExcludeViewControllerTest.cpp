#include "platform/DistributedNotificationCenter.h"
#include "platform/UserDefaults.h"
#include "prefs/ExcludeViewController.h"
#include "prefs/UserPreferences.h"
#include "product/MonitorSettings.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDir>
#include <QSemaphore>
#include <QThread>

#include <QMutex>
#include <QScopeGuard>

#include <gtest/gtest.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Table = ExcludeViewController::Table;
constexpr Table Whole = ExcludeViewController::WholePathTable;
constexpr Table Partial = ExcludeViewController::PartialPathTable;

class FakeOpenPanel : public ExcludeOpenPanelPresenter
{
public:
    int returnCode = 1;
    QStringList paths;
    void beginOpenPanel(std::function<void(int, const QStringList &)> done) override { done(returnCode, paths); }
};

struct Posted
{
    QString object;
    QVariantMap userInfo;
};

class ExcludeTest : public ::testing::Test
{
protected:
    ExcludeTest() { controller.userInfo().setUserName(u"ann"_s); }

    static QVariantMap stored(const QString &user = u"ann"_s)
    {
        return UserDefaults(MonitorSettings::defaultsDomain()).dictionaryForKey(user);
    }
    static void storeRaw(const QVariantMap &dictionary)
    {
        UserDefaults defaults(MonitorSettings::defaultsDomain());
        defaults.setObject(dictionary, u"ann"_s);
        ASSERT_TRUE(defaults.synchronize());
    }
    QStringList names(Table table) const
    {
        QStringList all;
        for (const SourceListNode &node : controller.rows(table))
            all.append(node.name());
        return all;
    }
    int rowOf(Table table, const QString &name) const { return int(names(table).indexOf(name)); }
    int stateOf(Table table, const QString &name) const { return controller.rows(table).at(rowOf(table, name)).state(); }
    void select(Table table, const QString &name) { controller.tableViewSelectionDidChange(table, rowOf(table, name)); }

    TestEnvironment env;
    FakeOpenPanel openPanel;
    ExcludeViewController controller;
};

TEST_F(ExcludeTest, ANewAccountIsSeededWithTrueAndStartsWithEveryDefaultChecked)
{
    controller.fetchPreferenceValuesFromFile();
    const QVariantMap seeded = stored().value(u"Default Exclusion"_s).toMap();
    ASSERT_EQ(seeded.size(), 23);
    EXPECT_TRUE(std::all_of(seeded.cbegin(), seeded.cend(), [](const QVariant &v) { return v.typeId() == QMetaType::Bool && v.toBool(); }));

    controller.loadExcludeSet();
    QStringList listed = names(Whole), expected = UserPreferences::defaultExclusionPaths();
    listed.sort();
    expected.sort();
    EXPECT_EQ(listed, expected);
    EXPECT_TRUE(std::all_of(controller.rows(Whole).cbegin(), controller.rows(Whole).cend(),
                            [](const SourceListNode &n) { return n.state() == 1; }));
    EXPECT_EQ(controller.rows(Partial), (QList<SourceListNode>{{u"/CorvaneLumen"_s, 1}}));
    EXPECT_TRUE(controller.excludeHiddenFiles());
    EXPECT_EQ(stored().value(u"Partial File Exclusion"_s).toMap(), (QVariantMap{{u"/CorvaneLumen"_s, 1}}));

    // Seeding happens once: a stored state survives the next seeding.
    storeRaw({{u"Default Exclusion"_s, QVariantMap{{u"/tmp"_s, 0}}}});
    controller.loadExcludeSet();
    EXPECT_EQ(names(Whole), QStringList{u"/tmp"_s});
    EXPECT_EQ(stateOf(Whole, u"/tmp"_s), 0);
    EXPECT_EQ(controller.portParam(), u"--port=443"_s);
}

TEST_F(ExcludeTest, FoldersComeBeforeFilesAndDefaultPathsAreSavedAsDefaultsEvenUnchecked)
{
    QDir().mkpath(env.real(u"/tmp"_s));
    QDir().mkpath(env.real(u"/data/photos"_s));
    env.writeFile(u"/data/notes.txt"_s, "x");
    storeRaw({{u"Default Exclusion"_s, QVariantMap{{u"/bin"_s, 1}, {u"/tmp"_s, 0}, {u"/usr"_s, 1}}},
              {u"User specified Exclusion"_s, QVariantMap{{u"/data/notes.txt"_s, 1}, {u"/data/photos"_s, 0},
                                                          {u"/usr"_s, 0}, {u"/gone"_s, 1}}},
              {u"EnableVersion"_s, true}});
    UserPreferences::setGlobal(UserPreferences::kEnableExcludeHiddenFiles, false);
    controller.loadExcludeSet();

    const QList<SourceListNode> &rows = controller.rows(Whole);
    ASSERT_EQ(rows.size(), 7);
    const auto firstFile = std::find_if(rows.cbegin(), rows.cend(), [](const SourceListNode &n) { return n.isAFile(); });
    EXPECT_EQ(firstFile - rows.cbegin(), 2) << "the two folders first";
    EXPECT_TRUE(std::none_of(firstFile, rows.cend(), [](const SourceListNode &n) { return !n.isAFile(); }));
    EXPECT_TRUE(rows.at(rowOf(Whole, u"/gone"_s)).isAFile()) << "a missing item is listed as a file";
    EXPECT_FALSE(controller.excludeHiddenFiles());

    // Saving sorts by name only into the two dictionaries; a user path equal to a default goes
    // to the defaults too (the later row wins).
    const QVariantMap after = stored();
    EXPECT_EQ(after.value(u"Default Exclusion"_s).toMap(),
              (QVariantMap{{u"/bin"_s, 1}, {u"/tmp"_s, 0}, {u"/usr"_s, 0}}));
    EXPECT_EQ(after.value(u"User specified Exclusion"_s).toMap(),
              (QVariantMap{{u"/data/notes.txt"_s, 1}, {u"/data/photos"_s, 0}, {u"/gone"_s, 1}}));
    EXPECT_EQ(after.value(u"EnableVersion"_s), QVariant(true)) << "another pane's key is kept";
    EXPECT_EQ(UserDefaults(MonitorSettings::defaultsDomain()).objectForKey(u"enableExcludeHiddenFilesKey"_s), QVariant(false));

    controller.ExcludeHiddenChanged(true);
    EXPECT_TRUE(UserPreferences::enableExcludeHiddenFiles());
}

TEST_F(ExcludeTest, NothingIsSavedWithoutAUserName)
{
    controller.userInfo().setUserName(QString());
    controller.loadExcludeSet();
    controller.ExcludeHiddenChanged(false);
    EXPECT_TRUE(stored(QString()).isEmpty());
    EXPECT_FALSE(UserDefaults(MonitorSettings::defaultsDomain()).objectForKey(u"enableExcludeHiddenFilesKey"_s).isValid());
}

TEST_F(ExcludeTest, AddingAListedPathTurnsItOnIgnoringCaseAndAccents)
{
    storeRaw({{u"Default Exclusion"_s, QVariantMap{}},
              {u"User specified Exclusion"_s, QVariantMap{{u"/Users/ann/Musique"_s, 0}, {u"/Users/ann/Movies"_s, 0}, {u"/a"_s, 0}}}});
    controller.loadExcludeSet();
    struct Case
    {
        QString added;
        QString turnedOn; // empty: a new row
    } cases[] = {
        {u"/users/ann/MOVIES"_s, u"/Users/ann/Movies"_s},
        {u"/Users/ann/Musiqué"_s, u"/Users/ann/Musique"_s},
        {u"/?"_s, u"/a"_s}, // the comparison's wildcards keep their meaning
        {u"/Users/ann/Movies 2"_s, {}},
    };
    for (const Case &c : cases) {
        const qsizetype before = controller.rows(Whole).size();
        controller.addToExclusionList({c.added});
        const QString expected = c.turnedOn.isEmpty() ? c.added : c.turnedOn;
        EXPECT_EQ(controller.rows(Whole).size(), before + (c.turnedOn.isEmpty() ? 1 : 0)) << c.added.toStdString();
        EXPECT_EQ(stateOf(Whole, expected), 1) << c.added.toStdString();
    }
}

TEST_F(ExcludeTest, OnlyOneNewItemAndRenamingRules)
{
    controller.loadExcludeSet();
    SignalRecorder edits(&controller, &ExcludeViewController::editPartialPathRequested);
    ASSERT_TRUE(controller.validateMenuItem(ExcludeViewController::AddPartialPathAction));
    controller.addPartialPathToExclusionList();
    controller.addPartialPathToExclusionList();
    EXPECT_EQ(names(Partial), (QStringList{u"/CorvaneLumen"_s, u"New Item"_s}));
    ASSERT_EQ(edits.count(), 1);
    EXPECT_EQ(edits.emissions().first().first(), QVariant(1));
    EXPECT_FALSE(controller.isAddPartialButtonEnabled());
    EXPECT_FALSE(controller.validateMenuItem(ExcludeViewController::AddPartialPathAction));
    EXPECT_EQ(stored().value(u"Partial File Exclusion"_s).toMap().value(u"New Item"_s), QVariant(1));

    const QString path = u"Path"_s;
    controller.setObjectValue(Partial, u"   "_s, path, 1);
    EXPECT_EQ(names(Partial).at(1), u"New Item"_s) << "blanks keep the old name";
    EXPECT_FALSE(controller.isAddPartialButtonEnabled());
    controller.setObjectValue(Partial, u" .cache "_s, u"State"_s, 1);
    EXPECT_EQ(names(Partial).at(1), u"New Item"_s) << "only the Path column renames";
    controller.setObjectValue(Partial, u" .cache "_s, path, 1);
    EXPECT_EQ(names(Partial).at(1), u" .cache "_s) << "kept as typed";
    EXPECT_TRUE(controller.isAddPartialButtonEnabled());
    EXPECT_EQ(stored().value(u"Partial File Exclusion"_s).toMap(),
              (QVariantMap{{u"/CorvaneLumen"_s, 1}, {u" .cache "_s, 1}}));

    // Removing the unnamed row gives the add button back.
    controller.addPartialPathToExclusionList();
    select(Partial, u"New Item"_s);
    controller.deleteItemFromTableView(Partial);
    EXPECT_EQ(names(Partial), (QStringList{u"/CorvaneLumen"_s, u" .cache "_s}));
    EXPECT_TRUE(controller.isAddPartialButtonEnabled());
    // A selected row renamed to the default fragment is the default's now: it stays.
    select(Partial, u" .cache "_s);
    ASSERT_TRUE(controller.validateMenuItem(ExcludeViewController::RemovePartialPathAction));
    controller.setObjectValue(Partial, u"/CorvaneLumen"_s, path, rowOf(Partial, u" .cache "_s));
    EXPECT_FALSE(controller.isRemoveButtonEnabled(Partial));
    EXPECT_FALSE(controller.validateMenuItem(ExcludeViewController::RemovePartialPathAction));
    controller.setObjectValue(Partial, u" .cache "_s, path, 1);
    // A whole-path row's name never changes; its state does.
    controller.setObjectValue(Whole, u"/x"_s, path, 0);
    controller.setObjectValue(Whole, 0, u"State"_s, 0);
    EXPECT_EQ(controller.rows(Whole).at(0).state(), 0);
    EXPECT_TRUE(UserPreferences::defaultExclusionPaths().contains(names(Whole).at(0)));
}

TEST_F(ExcludeTest, RemovingAndDisplayFollowWhetherARowIsADefault)
{
    storeRaw({{u"User specified Exclusion"_s, QVariantMap{{u"/mine"_s, 1}}},
              {u"Partial File Exclusion"_s, QVariantMap{{u"/CorvaneLumen"_s, 1}, {u".tmp"_s, 0}}}});
    controller.loadExcludeSet();
    using A = ExcludeViewController;
    struct Case
    {
        Table table;
        QString row;
        bool removable;
    } cases[] = {{Whole, u"/usr"_s, false}, {Whole, u"/mine"_s, true},
                 {Partial, u"/CorvaneLumen"_s, false}, {Partial, u".tmp"_s, true}};
    for (const Case &c : cases) {
        const A::Action remove = c.table == Whole ? A::RemoveFilesAction : A::RemovePartialPathAction;
        controller.tableViewSelectionDidChange(c.table, -1);
        EXPECT_FALSE(controller.validateMenuItem(remove));
        select(c.table, c.row);
        EXPECT_EQ(controller.isRemoveButtonEnabled(c.table), c.removable) << c.row.toStdString();
        EXPECT_EQ(controller.validateMenuItem(remove), c.removable) << c.row.toStdString();
        const QModelIndex state = controller.model(c.table)->index(rowOf(c.table, c.row), SourceListTableModel::StateColumn);
        const QModelIndex name = state.siblingAtColumn(SourceListTableModel::PathColumn);
        // Default whole paths keep a box that cannot change; the default fragment cannot be renamed.
        EXPECT_EQ(state.flags().testFlag(Qt::ItemIsEnabled), c.table == Partial || c.removable) << c.row.toStdString();
        EXPECT_EQ(name.flags().testFlag(Qt::ItemIsEditable), c.table == Partial && c.removable) << c.row.toStdString();
        using Icon = SourceListTableModel::Icon;
        const Icon icon = c.table == Whole ? Icon::ItemIcon : c.removable ? Icon::DocumentIcon : Icon::FolderIcon;
        EXPECT_EQ(name.data(SourceListTableModel::IconRole), QVariant(int(icon)));
        EXPECT_EQ(state.data(Qt::CheckStateRole), QVariant(stateOf(c.table, c.row) ? Qt::Checked : Qt::Unchecked));
        controller.deleteItemFromTableView(c.table);
        EXPECT_EQ(rowOf(c.table, c.row) < 0, c.removable) << c.row.toStdString();
        EXPECT_EQ(controller.selectedRow(c.table), c.removable ? -1 : rowOf(c.table, c.row));
    }
    EXPECT_TRUE(controller.validateMenuItem(A::AddFilesAction));
    EXPECT_FALSE(controller.validateMenuItem(A::OtherAction));
    EXPECT_FALSE(stored().value(u"User specified Exclusion"_s).toMap().contains(u"/mine"_s));
    EXPECT_EQ(stored().value(u"Partial File Exclusion"_s).toMap(), (QVariantMap{{u"/CorvaneLumen"_s, 1}}));
}

// The other programs of the product, on the test's own bus.
class ExcludeNotificationTest : public ExcludeTest
{
protected:
    void SetUp() override
    {
        const qint64 pid = QCoreApplication::applicationPid();
        token = u"/n%1"_s.arg(pid);
        const QString probe = u"/probe%1-"_s.arg(pid);
        other.addObserver(ExcludeViewController::kPostedNotification,
                          [this, probe](const QString &, const QString &object, const QVariantMap &info) {
                              // Other tests on this bus post too, and the probes below are no part of a test.
                              const QString paths = info.value(u"add"_s).toStringList().join(u' ') + info.value(u"Remove"_s).toString();
                              if (paths.contains(probe))
                                  heardOwnEcho = true;
                              else if (paths.contains(token))
                                  posted.append({object, info});
                          });
        controller.setOpenPanelPresenter(&openPanel);
        storeRaw({{u"Default Exclusion"_s, QVariantMap{}}});
        controller.loadExcludeSet();
        // Until the controller hears us, both subscriptions may not be in place yet. A probe may
        // also arrive late rather than never, so each round uses a path of its own, and every
        // probe row is removed only once the bus has been quiet for a while.
        int round = 0;
        ASSERT_TRUE(waitUntil([&] {
            const QString path = probe + QString::number(++round);
            other.post(ExcludeViewController::kObservedNotification, {}, {{u"add"_s, path}});
            other.post(ExcludeViewController::kPostedNotification, {}, {{u"add"_s, QStringList{path}}});
            return waitUntil([&] { return hasProbeRow(probe) && heardOwnEcho; }, 300);
        }));
        waitUntil([] { return false; }, 500);
        while (hasProbeRow(probe)) {
            controller.tableViewSelectionDidChange(Whole, probeRow(probe));
            controller.removeFilesFromExclusionList();
        }
    }

    int probeRow(const QString &probe) const
    {
        const QStringList rows = names(Whole);
        for (int row = 0; row < rows.size(); ++row) {
            if (rows.at(row).startsWith(probe))
                return row;
        }
        return -1;
    }
    bool hasProbeRow(const QString &probe) const { return probeRow(probe) >= 0; }

    QString token;
    bool heardOwnEcho = false;
    DistributedNotificationCenter other;
    QList<Posted> posted;
};

TEST_F(ExcludeNotificationTest, ChangesInThePaneAreToldToTheOtherPrograms)
{
    const QString movies = token + u"/Movies"_s, notes = token + u"/notes.txt"_s;
    QDir().mkpath(env.real(movies));
    openPanel.paths = {notes, movies};
    controller.addFilesToExclusionList();
    EXPECT_EQ(names(Whole), (QStringList{movies, notes})) << "sorted, folders first";
    controller.toggleCheckBoxState(Whole, rowOf(Whole, notes));
    controller.toggleCheckBoxState(Whole, rowOf(Whole, notes));
    select(Whole, movies);
    controller.removeFilesFromExclusionList();
    openPanel.returnCode = 0;
    controller.addFilesToExclusionList();
    // Partial rows are nobody else's business.
    controller.toggleCheckBoxState(Partial, 0);

    ASSERT_TRUE(waitUntil([&] { return posted.size() >= 4; }));
    waitUntil([] { return false; }, 200);
    const QList<std::pair<QString, QVariant>> expected = {
        {u"add"_s, QVariantList{notes, movies}}, {u"Remove"_s, notes},
        {u"add"_s, QVariantList{notes}}, {u"Remove"_s, movies}};
    ASSERT_EQ(posted.size(), expected.size());
    for (qsizetype i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(posted.at(i).object, expected.at(i).first) << i;
        EXPECT_EQ(posted.at(i).userInfo, (QVariantMap{{expected.at(i).first, expected.at(i).second}})) << i;
    }
    EXPECT_EQ(stored().value(u"User specified Exclusion"_s).toMap(), (QVariantMap{{notes, 1}}));
    EXPECT_EQ(stateOf(Partial, u"/CorvaneLumen"_s), 0);
}

TEST_F(ExcludeNotificationTest, TheOtherProgramsAddAndRemoveRows)
{
    const QString a = token + u"/A"_s, b = token + u"/B"_s;
    auto tell = [&](const QString &key, const QString &path) {
        other.post(ExcludeViewController::kObservedNotification, {}, {{key, path}});
    };
    tell(u"add"_s, a);
    tell(u"add"_s, b);
    ASSERT_TRUE(waitUntil([&] { return rowOf(Whole, b) >= 0; }));
    controller.toggleCheckBoxState(Whole, rowOf(Whole, a));
    tell(u"add"_s, a.toLower());
    tell(u"remove"_s, b.toLower()); // removal matches exactly: nothing happens
    tell(u"remove"_s, b + u"/x"_s);
    ASSERT_TRUE(waitUntil([&] { return stateOf(Whole, a) == 1; }));
    waitUntil([] { return false; }, 300);
    EXPECT_EQ(names(Whole), (QStringList{a, b}));
    tell(u"remove"_s, b);
    ASSERT_TRUE(waitUntil([&] { return rowOf(Whole, b) < 0; }));
    EXPECT_EQ(stored().value(u"User specified Exclusion"_s).toMap(), (QVariantMap{{a, 1}}));
}

TEST_F(ExcludeTest, TheGeneralPaneAndThisPaneNeverEraseEachOthersKeys)
{
    using Step = std::function<void()>;
    QList<std::pair<int, Step>> steps = {
        {0, [&] { UserPreferences(u"ann"_s).store({{UserPreferences::kEnableVersion, true}}); }},
        {1, [&] { controller.loadExcludeSet(); }},
        {2, [&] { UserPreferences(u"ann"_s).store({{UserPreferences::kPromptRestoreDestinationPanel, true}}); }},
        {3, [&] { controller.addToExclusionList({u"/mine"_s}); controller.saveExcludePreference(); }},
    };
    std::vector<int> order = {0, 1, 2, 3};
    do {
        storeRaw({});
        for (int i : order)
            steps.at(i).second();
        controller.saveExcludePreference();
        const QVariantMap all = stored();
        EXPECT_EQ(all.value(u"EnableVersion"_s), QVariant(true)) << testing::PrintToString(order);
        EXPECT_EQ(all.value(u"PromptRestoreDestinationPanel"_s), QVariant(true)) << testing::PrintToString(order);
        EXPECT_EQ(all.value(u"Default Exclusion"_s).toMap().size(), 23) << testing::PrintToString(order);
        EXPECT_TRUE(all.value(u"User specified Exclusion"_s).toMap().contains(u"/mine"_s)) << testing::PrintToString(order);
        EXPECT_TRUE(all.contains(u"Partial File Exclusion"_s)) << testing::PrintToString(order);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(ExcludeTest, ExcludedFoldersAreMeasuredOffTheMainThreadWithProgress)
{
    QSemaphore release;
    QMutex lock; // the measuring thread writes, the test reads
    QStringList measured;
    QList<QThread *> threads;
    QList<QThread::Priority> priorities;
    // Declared before the controller, so that it lets a measurement go before the controller
    // waits for it, whatever assertion ended the test.
    const auto letGo = qScopeGuard([&] { release.release(1000); });
    ExcludeViewController sized(nullptr, [&](const QString &path, const FolderSizer::Progress &progress) {
        {
            const QMutexLocker locked(&lock);
            threads.append(QThread::currentThread());
            priorities.append(QThread::currentThread()->priority());
            measured.append(path);
        }
        progress({100, 1, 0});
        release.acquire();
        return FolderSizer::Totals{1000, 10, 0};
    });
    sized.userInfo().setUserName(u"ann"_s);
    storeRaw({{u"User specified Exclusion"_s, QVariantMap{{u"/on"_s, 1}, {u"/off"_s, 0}, {u"/also"_s, 1}}}});
    sized.loadExcludeSet();
    SignalRecorder texts(&sized, &ExcludeViewController::sizeTextChanged);
    sized.setSizesWanted(true);
    ASSERT_TRUE(waitUntil([&] { return texts.count() > 0; })) << "progress while the measuring thread waits";
    EXPECT_EQ(sized.sizeText(), u"Measuring excluded folders: 100 bytes in 1 item"_s);
    release.release(1000);
    ASSERT_TRUE(waitUntil([&] { return !sized.isSizing(); }));
    const QMutexLocker locked(&lock);
    EXPECT_EQ(sized.sizeText(), u"Excluded folders: 2 KB in 2 items"_s);
    EXPECT_EQ(measured, (QStringList{env.real(u"/also"_s), env.real(u"/on"_s)})) << "the user's checked picks only";
    EXPECT_FALSE(threads.contains(QThread::currentThread()));
    EXPECT_EQ(priorities, QList<QThread::Priority>(2, QThread::IdlePriority)) << "below the window's painting";
}

} // namespace
