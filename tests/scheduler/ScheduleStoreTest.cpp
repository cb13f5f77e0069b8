#include "SchedulerFixture.h"
#include "support/LoginDetails.h"

#include "platform/PropertyList.h"
#include "product/StringTable.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/NextRunCalculator.h"

#include <QDir>
#include <QProcess>

#include <functional>
#include <string_view>
#include <thread>

#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using ScheduleStoreTest = SchedulerFixture;

QStringList usersOf(const QList<CorvaneScheduleItem> &records)
{
    QStringList users;
    for (const CorvaneScheduleItem &r : records)
        users.append(r.username());
    return users;
}

TEST_F(ScheduleStoreTest, TheSchedulersOwnFileKinds)
{
    using C = CorvaneSchedulerController;
    EXPECT_EQ(C::pathForApplicationFile(29), SLLocalizedString(u"SchedulerSettingsFile"_s));
    EXPECT_TRUE(C::pathForApplicationFile(14).contains(u"%@"_s));
    EXPECT_EQ(C::pathForApplicationFile(0), SLLocalizedString(u"UserDetailsPath"_s));
    EXPECT_FALSE(C::pathForApplicationFile(13).startsWith(u'~')) << "standardised";
    EXPECT_TRUE(C::pathForApplicationFile(32).startsWith(u'~')) << "as it stands";
    for (int kind : {1, 9, 11, 12, 22, 28, 30, 31, 35, 40})
        EXPECT_EQ(C::pathForApplicationFile(kind), u""_s) << kind;
}

TEST_F(ScheduleStoreTest, AddingReloadsFirstSoOtherUsersRecordsStay)
{
    CorvaneSchedulerController store(clock);
    ScheduleArchive::save({record(u"bob"_s, 2, at(2026, 11, 17, 9, 0))}); // written meanwhile
    SignalRecorder inserted(static_cast<QAbstractItemModel *>(store.configuredSchedules()),
                            &QAbstractItemModel::rowsInserted);
    store.corvaneaddSchedulerDetails(record(u"ann"_s, 2, at(2026, 11, 17, 10, 0)));
    EXPECT_EQ(usersOf(ScheduleArchive::load().records), (QStringList {u"bob"_s, u"ann"_s}));
    EXPECT_EQ(store.configuredSchedules()->rowCount(), 2);
    EXPECT_EQ(inserted.count(), 1);
    const QString trace
        = QString::fromUtf8(env.readFile(SLLocalizedString(u"MonitorTraceFilePath"_s)));
    EXPECT_TRUE(trace.contains(u"Start of corvaneaddSchedulerDetails In SchedulerController "_s));
    EXPECT_TRUE(trace.contains(u"Exit of corvaneaddSchedulerDetails In SchedulerController "_s));
}

TEST_F(ScheduleStoreTest, DeletingSeveralRowsRemovesOnlyTheLastOne)
{
    QList<CorvaneScheduleItem> four;
    for (const QString &user : {u"a"_s, u"b"_s, u"c"_s, u"d"_s})
        four.append(record(user, 2, at(2026, 11, 17, 9, 0)));
    ScheduleArchive::save(four);
    CorvaneSchedulerController store(clock);
    store.corvaneDeleteSchedulerDeatilsAtIndices({1, 3});
    EXPECT_EQ(usersOf(ScheduleArchive::load().records), (QStringList {u"a"_s, u"b"_s, u"c"_s}));

    const CorvaneScheduleItem b = store.records().at(1);
    store.corvaneDeleteSchedulerDeatils(b);
    EXPECT_EQ(usersOf(store.records()), (QStringList {u"a"_s, u"c"_s}));
    store.corvaneDeleteSchedulerDeatils(b.copy()); // an equal copy is another record
    EXPECT_EQ(store.records().size(), 2);
}

TEST_F(ScheduleStoreTest, ARunningJobInTheFileHoldsEverySaveBack)
{
    ScheduleArchive::save(
        {record(u"bob"_s, 2, at(2026, 11, 17, 9, 0), CorvaneScheduleItem::InProgress)});
    const QByteArray before = archiveBytes();
    CorvaneSchedulerController store(clock);
    SignalRecorder note(&store, &CorvaneSchedulerController::saveSkippedNoteChanged);
    EXPECT_TRUE(store.isScheduleBackupInProgress());

    store.corvaneaddSchedulerDetails(record(u"ann"_s, 2, at(2026, 11, 17, 10, 0)));
    EXPECT_EQ(archiveBytes(), before);
    EXPECT_TRUE(store.isSaveSkippedNoteVisible());
    EXPECT_EQ(note.count(), 1);
    EXPECT_EQ(store.records().size(), 2) << "the change waits in memory";
    store.ReloadSchedules(); // the window's refresh while the job still runs
    EXPECT_EQ(store.records().size(), 2) << "a refresh keeps what waits";
    EXPECT_EQ(archiveBytes(), before);

    // The engine finishes; the next refresh writes what waited and hides the note.
    ScheduleArchive::save(
        {record(u"bob"_s, 2, at(2026, 11, 17, 9, 0), CorvaneScheduleItem::Completed)});
    store.ReloadSchedules();
    EXPECT_FALSE(store.isSaveSkippedNoteVisible());
    EXPECT_EQ(usersOf(ScheduleArchive::load().records), (QStringList {u"bob"_s, u"ann"_s}));
    EXPECT_EQ(ScheduleArchive::load().records.first().status(), CorvaneScheduleItem::Completed)
        << "the engine's own change stays";
}

TEST_F(ScheduleStoreTest, DuplicateImmediateRecordsOfOneAccountCollapseIntoTheLatest)
{
    const CorvaneScheduleItem first = record(u"ann"_s, 0, at(2026, 11, 17, 9, 0));
    const CorvaneScheduleItem other = record(u"bob"_s, 0, at(2026, 11, 17, 9, 5));
    const CorvaneScheduleItem second = record(u"ann"_s, 0, at(2026, 11, 17, 9, 30));
    const CorvaneScheduleItem daily = record(u"ann"_s, 2, at(2026, 11, 17, 8, 0));
    ScheduleArchive::save({first, other, second, daily});
    CorvaneSchedulerController store(clock);
    store.checkExistanceOfOnceForSameUser(first);
    const QList<CorvaneScheduleItem> after = ScheduleArchive::load().records;
    ASSERT_EQ(after.size(), 3);
    EXPECT_EQ(usersOf(after), (QStringList {u"bob"_s, u"ann"_s, u"ann"_s}));
    EXPECT_EQ(after.last().frequency(), 0);
    EXPECT_EQ(after.last().scheduleTime(), at(2026, 11, 17, 9, 30))
        << "the keeper takes the later time";

    // A running immediate job of the account stops the clean-up.
    ScheduleArchive::save({first, record(u"ann"_s, 0, at(2026, 11, 17, 9, 30), 1)});
    const QByteArray before = archiveBytes();
    store.checkExistanceOfOnceForSameUser(first);
    EXPECT_EQ(archiveBytes(), before);
}

TEST_F(ScheduleStoreTest, UpdateReplacesTheFirstRecordOfTheUserWithTheEditedStatus)
{
    CorvaneScheduleItem done
        = record(u"ann"_s, 2, at(2026, 11, 17, 9, 0), CorvaneScheduleItem::Completed);
    CorvaneScheduleItem waiting = record(u"ann"_s, 4, at(2026, 11, 18, 9, 0));
    ScheduleArchive::save({record(u"bob"_s, 2, at(2026, 11, 17, 9, 0)), done, waiting});
    CorvaneSchedulerController store(clock);

    store.setScheduleItemOfSelectedIndex(store.records().at(2).copy());
    CorvaneScheduleItem edited = store.records().at(2).copy();
    edited.setFrequency(3);
    store.corvaneUpdateSchedule(edited);
    const QList<CorvaneScheduleItem> after = ScheduleArchive::load().records;
    EXPECT_EQ(after.at(1).frequency(), 2) << "a completed record is not the one being edited";
    EXPECT_EQ(after.at(2).frequency(), 3);

    // An edited immediate record only matches records equal to it (time within a minute).
    ScheduleArchive::save({record(u"ann"_s, 0, at(2026, 11, 17, 9, 0)),
                           record(u"ann"_s, 0, at(2026, 11, 17, 12, 0))});
    store.corvaneInitializeSchedulerSettings();
    store.setScheduleItemOfSelectedIndex(record(u"ann"_s, 0, at(2026, 11, 17, 11, 59, 30)));
    CorvaneScheduleItem moved = record(u"ann"_s, 0, at(2026, 11, 17, 15, 0));
    store.corvaneUpdateSchedule(moved);
    EXPECT_EQ(ScheduleArchive::load().records.at(0).scheduleTime(), at(2026, 11, 17, 9, 0));
    EXPECT_EQ(ScheduleArchive::load().records.at(1).scheduleTime(), at(2026, 11, 17, 15, 0));
}

TEST_F(ScheduleStoreTest, DestinationsFollowTheSeveralComputersState)
{
    ScheduleArchive::save(
        {record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)), record(u"bob"_s, 2, at(2026, 11, 17, 9, 0)),
         record(u"cy"_s, 2, at(2026, 11, 17, 9, 0), CorvaneScheduleItem::InProgress),
         record(u"dee"_s, 2, at(2026, 11, 17, 9, 0))});
    PropertyList::writeDictionary(
        CorvaneSchedulerController::pathForApplicationFile(15),
        {{u"ann@example.com"_s,
          QVariantMap {{u"EnableMultipleMacBackupKey"_s, u"1"_s},
                       {u"MultipleMacFolderName"_s, u"Ann's Laptop"_s}}},
         {u"bob@example.com"_s,
          QVariantMap {{u"EnableMultipleMacBackupKey"_s, u"2"_s},
                       {u"MultipleMacFolderName"_s, u"Ignored"_s}}},
         {u"dee@example.com"_s, QVariantMap {{u"EnableMultipleMacBackupKey"_s, u"1"_s}}}});
    CorvaneSchedulerController store(clock);
    store.ReloadSchedules();
    QStringList destinations;
    for (const CorvaneScheduleItem &r : store.records())
        destinations.append(r.destination());
    EXPECT_EQ(destinations,
              (QStringList {u"Ann's Laptop"_s, u"MyCorvane"_s, u"My Corvane"_s, u"MyCorvane"_s}));
}

TEST_F(ScheduleStoreTest, UserQueriesAndWholesaleRemovals)
{
    ScheduleArchive::save(
        {record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)), record(u"bob"_s, 0, at(2026, 11, 17, 9, 0)),
         record(u"ann"_s, 0, at(2026, 11, 17, 9, 0)), record(u"ann"_s, 4, at(2026, 11, 17, 9, 0))});
    CorvaneSchedulerController store(clock);
    EXPECT_EQ(store.corvaneSchedulerDetailsForUser(u"ann"_s).size(), 3);
    EXPECT_FALSE(store.corvaneSchedulerDetailsForCurrentUser().has_value());
    store.setSelectedRow(1);
    EXPECT_EQ(store.corvaneSchedulerDetailsForCurrentUser()->size(), 1);

    store.deleteExistingJobOnEditingOnce(u"ann@example.com"_s);
    EXPECT_EQ(usersOf(ScheduleArchive::load().records), (QStringList {u"bob"_s, u"ann"_s}));

    store.removeSchduleJobsForUser(u"ann"_s);
    EXPECT_EQ(usersOf(store.records()), QStringList {u"bob"_s});
    EXPECT_EQ(ScheduleArchive::load().records.size(), 2) << "the caller saves";

    SignalRecorder reset(&store, &CorvaneSchedulerController::editorResetRequested);
    store.removeAllSchduleJobs();
    EXPECT_EQ(reset.count(), 1);
    EXPECT_TRUE(ScheduleArchive::load().records.isEmpty());
    EXPECT_EQ(ScheduleArchive::load().state, ScheduleArchive::State::Readable);
}

TEST_F(ScheduleStoreTest, BackupNowFlagAndRowSelectionAfterReload)
{
    CorvaneSchedulerController store(clock);
    EXPECT_FALSE(store.isScheduleBackupNow());
    CorvaneScheduleItem now = record(u"ann"_s, 0, at(2026, 11, 17, 9, 0));
    now.setBackupNow(true);
    store.corvaneaddSchedulerDetails(now);
    EXPECT_TRUE(store.isScheduleBackupNow());

    SignalRecorder select(&store, &CorvaneSchedulerController::rowSelectionRequested);
    store.setSelectedRow(0);
    store.ReloadSchedules();
    ASSERT_EQ(select.count(), 1);
    EXPECT_EQ(select.emissions().first().first().toInt(), 0);
    EXPECT_FALSE(store.isScheduleBackupNow()) << "the flag is never archived";
}

TEST_F(ScheduleStoreTest, AnUnreadableArchiveIsMovedAsideToAFreeNameBeforeASaveReplacesIt)
{
    // One set aside in this same second already: neither may be lost.
    const QString first = ScheduleArchive::path() + u".unreadable-20261116-100030"_s;
    env.writeFile(first, "set aside earlier");
    env.writeFile(ScheduleArchive::path(), "bplist00 damaged beyond repair");
    CorvaneSchedulerController store(clock);
    EXPECT_TRUE(store.records().isEmpty());
    EXPECT_TRUE(store.corvaneaddSchedulerDetails(record(u"ann"_s, 2, at(2026, 11, 17, 9, 0))));

    EXPECT_EQ(env.readFile(first), QByteArray("set aside earlier"));
    const QString second = first + u"-2"_s;
    EXPECT_EQ(env.readFile(second), QByteArray("bplist00 damaged beyond repair"));
    EXPECT_EQ(ScheduleArchive::load().records.size(), 1);
    const QString trace
        = QString::fromUtf8(env.readFile(SLLocalizedString(u"MonitorTraceFilePath"_s)));
    EXPECT_TRUE(trace.contains(env.real(second)));

    // An empty file was created and not yet written: nothing in it is damaged or set aside.
    env.writeFile(ScheduleArchive::path(), "");
    EXPECT_EQ(ScheduleArchive::load().state, ScheduleArchive::State::Missing);
    EXPECT_TRUE(store.corvaneaddSchedulerDetails(record(u"bob"_s, 2, at(2026, 11, 17, 9, 0))));
    EXPECT_EQ(QDir(QFileInfo(env.real(first)).path()).entryList({u"*.unreadable-*"_s}).size(), 2);
}

TEST_F(ScheduleStoreTest, ARecordTheMonitorCannotReadSurvivesEverySaveInItsPlace)
{
    // The engine wrote a record this program does not understand (its status is text).
    ArchivedObject engines = record(u"eve"_s, 2, at(2026, 11, 16, 9, 0)).toArchivedObject();
    engines.insert(u"status"_s, u"Running"_s);
    const QVariant foreign = QVariant::fromValue(engines);
    env.writeFile(
        ScheduleArchive::path(),
        KeyedArchive::archive(
            {{u"Schedules"_s,
              QVariantList {QVariant::fromValue(
                                record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)).toArchivedObject()),
                            foreign,
                            QVariant::fromValue(record(u"bob"_s, 2, at(2026, 11, 17, 9, 0))
                                                    .toArchivedObject())}}}));
    const QVariant asWritten = schedulesIn(archiveBytes()).at(1);
    CorvaneSchedulerController store(clock);
    EXPECT_EQ(usersOf(store.records()), (QStringList {u"ann"_s, u"bob"_s})) << "never a row";
    EXPECT_EQ(
        NextRunCalculator(clock).nextScheduledItem(ScheduleArchive::load().records)->username(),
        u"ann"_s)
        << "never the next job, though the earliest";

    ASSERT_TRUE(store.corvaneaddSchedulerDetails(record(u"cy"_s, 2, at(2026, 11, 17, 9, 0))));
    QVariantList list = schedulesIn(archiveBytes());
    ASSERT_EQ(list.size(), 4);
    EXPECT_EQ(canonical(list.at(1)), canonical(asWritten)) << "kept unchanged, in its place";

    ASSERT_TRUE(store.corvaneDeleteSchedulerDeatils(store.records().first()));
    list = schedulesIn(archiveBytes());
    ASSERT_EQ(list.size(), 3);
    EXPECT_EQ(canonical(list.at(0)), canonical(asWritten));
    EXPECT_EQ(usersOf(ScheduleArchive::load().records), (QStringList {u"bob"_s, u"cy"_s}));
}

TEST_F(ScheduleStoreTest, AChangeIsAppliedToTheArchiveAsItIsNow)
{
    ScheduleArchive::save(
        {record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)), record(u"dee"_s, 2, at(2026, 11, 17, 9, 0))});
    CorvaneSchedulerController store(clock);
    // Meanwhile the engine (which takes no lock) completes dee's job and adds bob's.
    ScheduleArchive::save(
        {record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)),
         record(u"dee"_s, 2, at(2026, 11, 17, 9, 0), CorvaneScheduleItem::Completed),
         record(u"bob"_s, 4, at(2026, 11, 18, 9, 0))});
    ASSERT_TRUE(store.corvaneDeleteSchedulerDeatils(store.records().first()));
    const QList<CorvaneScheduleItem> after = ScheduleArchive::load().records;
    EXPECT_EQ(usersOf(after), (QStringList {u"dee"_s, u"bob"_s}));
    EXPECT_EQ(after.first().status(), CorvaneScheduleItem::Completed);
    EXPECT_EQ(usersOf(store.records()), usersOf(after)) << "the list shows what was written";
}

TEST_F(ScheduleStoreTest, TwoWritersAddingAtOnceLoseNothing)
{
    constexpr int kEach = 200;
    const auto writer = [&](const QString &user) {
        CorvaneSchedulerController store(clock);
        for (int i = 0; i < kEach; ++i)
            store.corvaneaddSchedulerDetails(record(user, 2, at(2026, 11, 17, 9, 0)));
    };
    std::thread first(writer, u"ann"_s), second(writer, u"bob"_s);
    first.join();
    second.join();
    const QStringList users = usersOf(ScheduleArchive::load().records);
    EXPECT_EQ(users.size(), 2 * kEach);
    EXPECT_EQ(users.count(u"ann"_s), kEach);
}

// Reads as a user without the right to (root reads everything: the file-system identity of this
// thread is dropped to "nobody" meanwhile, which also drops root's override).
class WithoutReadRights {
public:
    WithoutReadRights(const QString &real, const QString &root)
    {
        ::chmod(QFile::encodeName(real).constData(), 0);
        if (::geteuid() != 0)
            return;
        // Only the file's own mode may refuse: the folders of the test's root open to all.
        for (QString dir = QFileInfo(real).absolutePath(); dir.startsWith(root);
             dir = QFileInfo(dir).absolutePath())
            ::chmod(QFile::encodeName(dir).constData(), 0755);
        ::setfsuid(65534);
        m_dropped = true;
    }
    ~WithoutReadRights()
    {
        if (m_dropped)
            ::setfsuid(0);
    }

private:
    bool m_dropped = false;
};

TEST_F(ScheduleStoreTest, SaveFailuresReachTheCallerAndTheListFollowsTheFile)
{
    using ScheduleArchive::State;
    const struct {
        const char *name;
        std::function<void(const QString &real)> make;
        State state;
    } cases[] = {
        {"a folder", [](const QString &real) { QDir().mkpath(real); }, State::Inaccessible},
        {"a FIFO", [](const QString &real) { ::mkfifo(QFile::encodeName(real).constData(), 0666); },
         State::Inaccessible},
        {"a link to /dev/zero", [](const QString &real) { QFile::link(u"/dev/zero"_s, real); },
         State::Inaccessible},
        {"its folder a file",
         [](const QString &real) {
             QFile f(QFileInfo(real).absolutePath());
             (void)f.open(QIODevice::WriteOnly);
         },
         State::Missing},
        {"mode 000",
         [](const QString &real) {
             QFile f(real);
             (void)f.open(QIODevice::WriteOnly);
             f.write(ScheduleArchive::encode({}));
         },
         State::Inaccessible},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        TestEnvironment local;
        const QString real = local.real(ScheduleArchive::path());
        QDir().mkpath(QFileInfo(QFileInfo(real).absolutePath()).absolutePath());
        if (std::string_view(c.name) != "its folder a file")
            QDir().mkpath(QFileInfo(real).absolutePath());
        c.make(real);
        CorvaneSchedulerController store(clock);
        std::optional<WithoutReadRights> noRights;
        if (std::string_view(c.name) == "mode 000")
            noRights.emplace(real, local.root());
        EXPECT_EQ(ScheduleArchive::load().state, c.state);
        const ScheduleArchive::SaveResult result
            = store.corvaneaddSchedulerDetails(record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)));
        noRights.reset();
        EXPECT_EQ(result.status, ScheduleArchive::SaveResult::Status::Failed);
        EXPECT_FALSE(result.message.isEmpty());
        if (c.state == State::Inaccessible) {
            EXPECT_TRUE(result.message.contains(u"cannot be read"_s))
                << result.message.toStdString();
        }
        EXPECT_TRUE(store.records().isEmpty()) << "the list shows what the file holds";
    }
}

TEST_F(ScheduleStoreTest, AReloadThatChangesNothingLeavesTheFileAlone)
{
    ScheduleArchive::save(
        {record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)), record(u"bob"_s, 2, at(2026, 11, 17, 9, 0))});
    CorvaneSchedulerController store(clock);
    store.ReloadSchedules(); // sets the destinations once
    const auto identity = [&] {
        struct stat info { };
        ::stat(QFile::encodeName(env.real(ScheduleArchive::path())).constData(), &info);
        return std::pair(info.st_ino, info.st_mtim.tv_nsec + info.st_mtim.tv_sec * 1000000000LL);
    };
    const auto before = identity();
    store.ReloadSchedules();
    EXPECT_TRUE(store.saveSchedulerDetails());
    EXPECT_EQ(identity(), before) << "the shared archive was rewritten";
}

TEST_F(ScheduleStoreTest, BackupNowTakesItsDestinationFromTheSeveralComputersState)
{
    writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s}, {u"Username"_s, u"ann"_s}},
               u"ann@example.com"_s);
    const struct {
        QVariantMap entry;
        QString destination;
    } cases[] = {
        {{{u"EnableMultipleMacBackupKey"_s, u"1"_s}, {u"MultipleMacFolderName"_s, u"Laptop"_s}},
         u"Laptop"_s},
        {{{u"EnableMultipleMacBackupKey"_s, u"1"_s}, {u"MultipleMacFolderName"_s, u""_s}},
         u"MyCorvane"_s},
        {{{u"EnableMultipleMacBackupKey"_s, u"2"_s}, {u"MultipleMacFolderName"_s, u"Laptop"_s}},
         u"MyCorvane"_s},
        {{{u"EnableMultipleMacBackupKey"_s, u"0"_s}, {u"MultipleMacFolderName"_s, u"Laptop"_s}},
         u"My Corvane"_s},
    };
    for (const auto &c : cases) {
        PropertyList::writeDictionary(CorvaneSchedulerController::pathForApplicationFile(15),
                                      {{u"ann@example.com"_s, c.entry}});
        CorvaneSchedulerController store(clock);
        const std::optional<CorvaneScheduleItem> queued = store.backupNow();
        ASSERT_TRUE(queued);
        EXPECT_EQ(queued->destination(), c.destination)
            << c.entry.value(u"EnableMultipleMacBackupKey"_s).toString().toStdString();
        EXPECT_EQ(ScheduleArchive::load().records.last().destination(), c.destination);
    }
}

const char *kRewriter = R"PY(
import os, sys
path, a, b, count = sys.argv[1], open(sys.argv[2], 'rb').read(), open(sys.argv[3], 'rb').read(), int(sys.argv[4])
for i in range(count):
    tmp = '%s.writer-%d' % (path, os.getpid())
    with open(tmp, 'wb') as f:
        f.write(a if i % 2 else b)
    os.replace(tmp, path)
print('done')
)PY";

TEST_F(ScheduleStoreTest, ReadsNeverSeeAHalfWrittenArchiveWhileAnotherProcessRewritesIt)
{
    QList<CorvaneScheduleItem> three, five;
    for (int i = 0; i < 5; ++i) {
        (i < 3 ? three : five).append(record(u"u%1"_s.arg(i), 2, at(2026, 11, 17, 9, i)));
        if (i < 3)
            five.append(record(u"v%1"_s.arg(i), 2, at(2026, 11, 17, 9, i)));
    }
    QTemporaryDir dir;
    const auto dump = [&](const QString &name, const QList<CorvaneScheduleItem> &records) {
        QFile f(dir.filePath(name));
        EXPECT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(ScheduleArchive::encode(records));
        return f.fileName();
    };
    const QString a = dump(u"a"_s, three), b = dump(u"b"_s, five);
    ScheduleArchive::save(three);

    QProcess writer;
    writer.start(QStringLiteral(LUMEN_PYTHON),
                 {u"-c"_s, QString::fromUtf8(kRewriter), env.real(ScheduleArchive::path()), a, b,
                  u"1000"_s});
    ASSERT_TRUE(writer.waitForStarted());
    CorvaneSchedulerController store(clock);
    int reads = 0;
    while (writer.state() != QProcess::NotRunning) {
        const ScheduleArchive::Contents contents = ScheduleArchive::load();
        ASSERT_EQ(contents.state, ScheduleArchive::State::Readable) << "read " << reads;
        ASSERT_TRUE(contents.records.size() == 3 || contents.records.size() == 5)
            << contents.records.size();
        ++reads;
        if (reads % 10 == 0) {
            store.corvaneInitializeSchedulerSettings();
            store.saveSchedulerDetails();
        }
        writer.waitForFinished(1);
    }
    EXPECT_EQ(writer.exitCode(), 0) << writer.readAllStandardError().toStdString();
    EXPECT_EQ(ScheduleArchive::load().state, ScheduleArchive::State::Readable);
    EXPECT_GT(reads, 10);
}

} // namespace
