#include "SchedulerFixture.h"

#include "product/StringTable.h"
#include "platform/PropertyList.h"
#include "scheduler/CorvaneSchedulerController.h"

#include <QDir>
#include <QProcess>

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
    EXPECT_EQ(usersOf(ScheduleArchive::load().records), (QStringList{u"bob"_s, u"ann"_s}));
    EXPECT_EQ(store.configuredSchedules()->rowCount(), 2);
    EXPECT_EQ(inserted.count(), 1);
    const QString trace = QString::fromUtf8(env.readFile(SLLocalizedString(u"MonitorTraceFilePath"_s)));
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
    EXPECT_EQ(usersOf(ScheduleArchive::load().records), (QStringList{u"a"_s, u"b"_s, u"c"_s}));

    const CorvaneScheduleItem b = store.records().at(1);
    store.corvaneDeleteSchedulerDeatils(b);
    EXPECT_EQ(usersOf(store.records()), (QStringList{u"a"_s, u"c"_s}));
    store.corvaneDeleteSchedulerDeatils(b.copy()); // an equal copy is another record
    EXPECT_EQ(store.records().size(), 2);
}

TEST_F(ScheduleStoreTest, ARunningJobInTheFileHoldsEverySaveBack)
{
    ScheduleArchive::save({record(u"bob"_s, 2, at(2026, 11, 17, 9, 0), CorvaneScheduleItem::InProgress)});
    const QByteArray before = archiveBytes();
    CorvaneSchedulerController store(clock);
    SignalRecorder note(&store, &CorvaneSchedulerController::saveSkippedNoteChanged);
    EXPECT_TRUE(store.isScheduleBackupInProgress());

    store.corvaneaddSchedulerDetails(record(u"ann"_s, 2, at(2026, 11, 17, 10, 0)));
    EXPECT_EQ(archiveBytes(), before);
    EXPECT_TRUE(store.isSaveSkippedNoteVisible());
    EXPECT_EQ(note.count(), 1);
    EXPECT_EQ(store.records().size(), 2) << "the change waits in memory";

    // The engine finishes; the next save writes what waited and hides the note.
    ScheduleArchive::save({record(u"bob"_s, 2, at(2026, 11, 17, 9, 0), CorvaneScheduleItem::Completed)});
    EXPECT_TRUE(store.saveSchedulerDetails());
    EXPECT_FALSE(store.isSaveSkippedNoteVisible());
    EXPECT_EQ(usersOf(ScheduleArchive::load().records), (QStringList{u"bob"_s, u"ann"_s}));
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
    EXPECT_EQ(usersOf(after), (QStringList{u"bob"_s, u"ann"_s, u"ann"_s}));
    EXPECT_EQ(after.last().frequency(), 0);
    EXPECT_EQ(after.last().scheduleTime(), at(2026, 11, 17, 9, 30)) << "the keeper takes the later time";

    // A running immediate job of the account stops the clean-up.
    ScheduleArchive::save({first, record(u"ann"_s, 0, at(2026, 11, 17, 9, 30), 1)});
    const QByteArray before = archiveBytes();
    store.checkExistanceOfOnceForSameUser(first);
    EXPECT_EQ(archiveBytes(), before);
}

TEST_F(ScheduleStoreTest, UpdateReplacesTheFirstRecordOfTheUserWithTheEditedStatus)
{
    CorvaneScheduleItem done = record(u"ann"_s, 2, at(2026, 11, 17, 9, 0), CorvaneScheduleItem::Completed);
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
    ScheduleArchive::save({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)),
                           record(u"bob"_s, 2, at(2026, 11, 17, 9, 0)),
                           record(u"cy"_s, 2, at(2026, 11, 17, 9, 0), CorvaneScheduleItem::InProgress),
                           record(u"dee"_s, 2, at(2026, 11, 17, 9, 0))});
    PropertyList::writeDictionary(
        CorvaneSchedulerController::pathForApplicationFile(15),
        {{u"ann@example.com"_s, QVariantMap{{u"EnableMultipleMacBackupKey"_s, u"1"_s},
                                            {u"MultipleMacFolderName"_s, u"Ann's Laptop"_s}}},
         {u"bob@example.com"_s, QVariantMap{{u"EnableMultipleMacBackupKey"_s, u"2"_s},
                                            {u"MultipleMacFolderName"_s, u"Ignored"_s}}},
         {u"dee@example.com"_s, QVariantMap{{u"EnableMultipleMacBackupKey"_s, u"1"_s}}}});
    CorvaneSchedulerController store(clock);
    store.ReloadSchedules();
    QStringList destinations;
    for (const CorvaneScheduleItem &r : store.records())
        destinations.append(r.destination());
    EXPECT_EQ(destinations, (QStringList{u"Ann's Laptop"_s, u"MyCorvane"_s, u"My Corvane"_s, u"MyCorvane"_s}));
}

TEST_F(ScheduleStoreTest, UserQueriesAndWholesaleRemovals)
{
    ScheduleArchive::save({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)),
                           record(u"bob"_s, 0, at(2026, 11, 17, 9, 0)),
                           record(u"ann"_s, 0, at(2026, 11, 17, 9, 0)),
                           record(u"ann"_s, 4, at(2026, 11, 17, 9, 0))});
    CorvaneSchedulerController store(clock);
    EXPECT_EQ(store.corvaneSchedulerDetailsForUser(u"ann"_s).size(), 3);
    EXPECT_FALSE(store.corvaneSchedulerDetailsForCurrentUser().has_value());
    store.setSelectedRow(1);
    EXPECT_EQ(store.corvaneSchedulerDetailsForCurrentUser()->size(), 1);

    store.deleteExistingJobOnEditingOnce(u"ann@example.com"_s);
    EXPECT_EQ(usersOf(ScheduleArchive::load().records), (QStringList{u"bob"_s, u"ann"_s}));

    store.removeSchduleJobsForUser(u"ann"_s);
    EXPECT_EQ(usersOf(store.records()), QStringList{u"bob"_s});
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

TEST_F(ScheduleStoreTest, AnUnreadableArchiveIsMovedAsideBeforeASaveReplacesIt)
{
    env.writeFile(ScheduleArchive::path(), "bplist00 damaged beyond repair");
    CorvaneSchedulerController store(clock);
    EXPECT_TRUE(store.records().isEmpty());
    store.corvaneaddSchedulerDetails(record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)));

    const QString folder = QFileInfo(env.real(ScheduleArchive::path())).absolutePath();
    const QStringList aside = QDir(folder).entryList({u"Schedules.unreadable-20261116-100030"_s});
    ASSERT_EQ(aside.size(), 1);
    QFile kept(folder + u'/' + aside.first());
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), QByteArray("bplist00 damaged beyond repair"));
    EXPECT_EQ(ScheduleArchive::load().records.size(), 1);
    const QString trace = QString::fromUtf8(env.readFile(SLLocalizedString(u"MonitorTraceFilePath"_s)));
    EXPECT_TRUE(trace.contains(aside.first()));
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
                 {u"-c"_s, QString::fromUtf8(kRewriter), env.real(ScheduleArchive::path()), a, b, u"1000"_s});
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
