#include "SchedulerFixture.h"

#include "platform/PropertyList.h"
#include "product/StringTable.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/SchedulerState.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <limits>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

using ScheduleArchiveTest = SchedulerFixture;

CorvaneScheduleItem fullRecord(const Clock &clock)
{
    CorvaneScheduleItem item(clock);
    item.setScheduleType(1);
    item.setScheduleTime(QDateTime(QDate(2026, 11, 15), QTime(18, 5, 9)));
    item.setFrequency(5);
    item.setStatus(3);
    item.setDestination(u"MyCorvane"_s);
    item.setUsername(u"ann"_s);
    item.setCorvaneUserName(u"ann@example.com"_s);
    item.setUserAtServer(u"ann@storage1"_s);
    item.setServerName(u"storage1.example"_s);
    item.setPassword(u"\u00c2\u00c4"_s);
    item.setProcessReferenceFile(
        u"/Library/Application Support/CorvaneforMac/BackupSets/ann.plist"_s);
    item.setEmailids(u"ann@example.com,bob@example.com"_s);
    item.setQuotaServerName(u"quota.example"_s);
    item.setDisplayDesktopNotification(true);
    item.setShouldStartMissedScheduleBackup(true);
    item.setSendEmailNotification(true);
    item.setSSL(u"YES"_s);
    item.setBackupNow(true);
    item.setScheduleTimeSettings(3);
    item.setSelectedDaysForSchedule(QVariantList {1, u"3"_s});
    item.setSendLogExtract(true);
    item.setNotifyOnFailure(true);
    item.setAutoSyncEnabled(true);
    return item;
}

// Archive elements this program cannot decode, as an engine (or a newer one) may write them.
QVariantList undecodableElements(const Clock &clock)
{
    const auto with = [&](const QString &key, const QVariant &value) {
        ArchivedObject object = fullRecord(clock).toArchivedObject();
        object.insert(key, value);
        return QVariant::fromValue(object);
    };
    const auto date = [](const QList<ArchivedObject::Field> &fields) {
        return QVariant::fromValue(ArchivedObject {{u"NSDate"_s, u"NSObject"_s}, fields});
    };
    return {with(u"frequency"_s, u"daily"_s),
            with(u"username"_s, QVariantList {1}),
            with(u"frequency"_s, 1e300),
            with(u"frequency"_s, std::numeric_limits<double>::quiet_NaN()),
            with(u"status"_s, qint64(1) << 40),
            with(u"scheduleTime"_s, date({})),
            with(u"scheduleTime"_s, date({{u"NS.time"_s, 9.2e15}})),
            with(u"selectedDaysForSchedule"_s, QVariantList {2, 1e300}),
            [&] { // an engine's plain date, to the microsecond, in a record with a newer key type
                ArchivedObject object = with(u"frequency"_s, u"weekly"_s).value<ArchivedObject>();
                object.insert(u"scheduleTime"_s, date({{u"NS.time"_s, 785000000.123456}}));
                return QVariant::fromValue(object);
            }(),
            QVariantList {QVariant::fromValue(fullRecord(clock).toArchivedObject())},
            [&] { // the record's keys under another class: the platform would make that class
                ArchivedObject object = fullRecord(clock).toArchivedObject();
                object.classes = QStringList {u"NSDate"_s, u"NSObject"_s};
                return QVariant::fromValue(object);
            }(),
            u"a stray string"_s};
}

TEST_F(ScheduleArchiveTest, EveryFieldSurvivesARoundTripButTheBackupNowFlag)
{
    const CorvaneScheduleItem original = fullRecord(clock);
    const ScheduleArchive::Contents back
        = ScheduleArchive::decode(ScheduleArchive::encode({original}));
    ASSERT_EQ(back.state, ScheduleArchive::State::Readable);
    ASSERT_EQ(back.records.size(), 1);
    const CorvaneScheduleItem &r = back.records.first();
    EXPECT_EQ(r.scheduleType(), 1);
    EXPECT_EQ(r.scheduleTime(), original.scheduleTime());
    EXPECT_EQ(r.frequency(), 5);
    EXPECT_EQ(r.status(), 3);
    EXPECT_EQ(r.destination(), original.destination());
    EXPECT_EQ(r.username(), original.username());
    EXPECT_EQ(r.corvaneUserName(), original.corvaneUserName());
    EXPECT_EQ(r.userAtServer(), original.userAtServer());
    EXPECT_EQ(r.serverName(), original.serverName());
    EXPECT_EQ(r.password(), original.password());
    EXPECT_EQ(r.processReferenceFile(), original.processReferenceFile());
    EXPECT_EQ(r.emailids(), original.emailids());
    EXPECT_EQ(r.quotaServername(), original.quotaServername());
    EXPECT_TRUE(r.displayDesktopNotification());
    EXPECT_TRUE(r.shouldStartMissedScheduleBackup());
    EXPECT_TRUE(r.sendEmailNotification());
    EXPECT_TRUE(r.isUseSSL());
    EXPECT_FALSE(r.isBackupNow()) << "never archived";
    EXPECT_EQ(r.scheduleTimeSettings(), 3);
    EXPECT_EQ(r.selectedDaysForSchedule(), std::optional(QVariantList {1, u"3"_s}));
    EXPECT_TRUE(r.sendLogExtract());
    EXPECT_TRUE(r.notifyOnFailure());
    EXPECT_TRUE(r.isAutoSyncEnabled());
}

TEST_F(ScheduleArchiveTest, StoredTimesComeBackToTheSecond)
{
    CorvaneScheduleItem item(clock);
    item.setScheduleTime(QDateTime(QDate(2026, 11, 15), QTime(18, 5, 9, 999)));
    const CorvaneScheduleItem back
        = ScheduleArchive::decode(ScheduleArchive::encode({item})).records.first();
    EXPECT_EQ(back.scheduleTime(), QDateTime(QDate(2026, 11, 15), QTime(18, 5, 9)));
    EXPECT_EQ(back.scheduleTime().timeSpec(), Qt::LocalTime);
}

const char *kCheckStructure = R"PY(
import plistlib, sys
a = plistlib.load(open(sys.argv[1], 'rb'), fmt=plistlib.FMT_BINARY)
o = a['$objects']
def at(ref): return o[ref.data]
assert a['$archiver'] == 'NSKeyedArchiver' and a['$version'] == 100000, 'header'
assert o[0] == '$null', 'null first'
assert list(a['$top']) == ['Schedules']
root = at(a['$top']['Schedules'])
assert at(root['$class'])['$classes'] == ['NSMutableArray', 'NSArray', 'NSObject'], 'root class'
assert len(root['NS.objects']) == 2
rec = at(root['NS.objects'][0])
assert at(rec['$class']) == {'$classname': 'CorvaneScheduleItem', '$classes': ['CorvaneScheduleItem', 'NSObject']}
# one class dictionary per class
assert root['NS.objects'][0] != root['NS.objects'][1]
assert at(root['NS.objects'][1])['$class'] == rec['$class'], 'shared class dictionary'
for key in ('scheduleType', 'frequency', 'status', 'scheduleTimeSettings'):
    assert type(rec[key]) is int, key
for key in ('displayDesktopNotification', 'shouldStartMissedScheduleBackup', 'sendEmailNotification',
            'isUseSSL', 'sendLogExtract', 'notifyOnFailure', 'isAutoSyncEnabled'):
    assert type(rec[key]) is bool, key
assert rec['frequency'] == 5 and rec['isUseSSL'] is True and rec['scheduleType'] == 1
for key in ('destination', 'username', 'corvaneUserName', 'emailids', 'userAtServer', 'serverName',
            'quotaServerName', 'password', 'processReferenceFile', 'scheduleTime', 'selectedDaysForSchedule'):
    assert isinstance(rec[key], plistlib.UID), key
assert at(rec['username']) == 'ann'
assert 'isBackupNow' not in rec
date = at(rec['scheduleTime'])
assert at(date['$class'])['$classes'] == ['NSCalendarDate', 'NSDate', 'NSObject']
assert type(date['NS.time']) is float and abs(date['NS.time'] - float(sys.argv[2])) < 1e-6, date['NS.time']
zone = at(date['NS.timezone'])
assert at(zone['$class'])['$classes'] == ['NSTimeZone', 'NSObject']
assert at(zone['NS.name']) == 'Europe/Berlin' and zone['NS.data'].data == 0
assert at(date['NS.format']) == '%Y-%m-%d %H:%M:%S %z'
days = at(rec['selectedDaysForSchedule'])
assert at(days['$class'])['$classes'] == ['NSMutableArray', 'NSArray', 'NSObject']
assert [at(d) for d in days['NS.objects']] == [1, '3']
second = at(root['NS.objects'][1])
assert second['password'].data == 0, 'nil is UID 0'
classes = [x for x in o if isinstance(x, dict) and x.get('$classname') == 'CorvaneScheduleItem']
assert len(classes) == 1
print('ok')
)PY";

TEST_F(ScheduleArchiveTest, PlistlibSeesTheFoundationLayout)
{
    CorvaneScheduleItem withNil = fullRecord(clock);
    withNil.setPassword(QString());
    const QByteArray bytes = ScheduleArchive::encode({fullRecord(clock), withNil});
    QTemporaryDir dir;
    QFile file(dir.filePath(u"Schedules"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    // 2026-11-15 18:05:09 in Berlin is 17:05:09 UTC.
    const double expectedTime = double(
        QDateTime(QDate(2026, 11, 15), QTime(17, 5, 9), Qt::UTC).toSecsSinceEpoch() - 978307200);
    const ProcessResult python
        = runPython(QString::fromUtf8(kCheckStructure),
                    {file.fileName(), QString::number(expectedTime, 'f', 3)});
    EXPECT_EQ(python.output.trimmed(), QByteArray("ok")) << python.errorOutput.toStdString();
}

const char *kIndependentWriter = R"PY(
import plistlib, sys
from plistlib import UID
import os
os.makedirs(os.path.dirname(sys.argv[1]), exist_ok=True)
# Classes first, keys in another order, an NSDate instead of a calendar date, a mutable string,
# no day list, and class hints the reader must ignore.
objects = [
  '$null',
  {'$classname': 'CorvaneScheduleItem', '$classes': ['CorvaneScheduleItem', 'NSObject'], '$classhints': ['X']},
  {'$classname': 'NSArray', '$classes': ['NSArray', 'NSObject']},
  {'$classname': 'NSDate', '$classes': ['NSDate', 'NSObject']},
  {'$classname': 'NSMutableString', '$classes': ['NSMutableString', 'NSString', 'NSObject']},
  {'$class': UID(2), 'NS.objects': [UID(6)]},
  {'isAutoSyncEnabled': True, 'notifyOnFailure': False, 'sendLogExtract': True,
   'scheduleTimeSettings': 1, 'isUseSSL': True, 'processReferenceFile': UID(9),
   'password': UID(0), 'quotaServerName': UID(9), 'serverName': UID(9), 'userAtServer': UID(9),
   'sendEmailNotification': False, 'shouldStartMissedScheduleBackup': True,
   'displayDesktopNotification': True, 'emailids': UID(9), 'corvaneUserName': UID(8),
   'username': UID(8), 'destination': UID(7), 'status': 2, 'frequency': 4,
   'scheduleTime': UID(10), 'scheduleType': 0, '$class': UID(1)},
  {'$class': UID(4), 'NS.string': 'Backups on the NAS'},
  'carol',
  '',
  {'$class': UID(3), 'NS.time': 785548800.75},
]
archive = {'$version': 100000, '$objects': objects, '$top': {'Schedules': UID(5)}, '$archiver': 'NSKeyedArchiver'}
plistlib.dump(archive, open(sys.argv[1], 'wb'), fmt=plistlib.FMT_BINARY, sort_keys=False)
)PY";

TEST_F(ScheduleArchiveTest, ReadsAnArchiveFromAnIndependentWriter)
{
    const ProcessResult python
        = runPython(QString::fromUtf8(kIndependentWriter), {env.real(ScheduleArchive::path())});
    ASSERT_EQ(python.exitCode, 0) << python.errorOutput.toStdString();
    const ScheduleArchive::Contents contents = ScheduleArchive::load();
    ASSERT_EQ(contents.state, ScheduleArchive::State::Readable);
    ASSERT_EQ(contents.records.size(), 1);
    const CorvaneScheduleItem &r = contents.records.first();
    // 785548800 s after 2001-01-01 UTC is 2025-11-23 00:00:00 UTC; the fraction is dropped.
    const QDateTime time(QDate(2025, 11, 23), QTime(0, 0, 0), Qt::UTC);
    EXPECT_EQ((QVariantList {r.scheduleType(), r.frequency(), r.status(), r.scheduleTimeSettings(),
                             r.scheduleTime()}),
              (QVariantList {0, 4, 2, 1, time}));
    EXPECT_EQ((QStringList {r.destination(), r.username(), r.corvaneUserName(), r.emailids()}),
              (QStringList {u"Backups on the NAS"_s, u"carol"_s, u"carol"_s, u""_s}));
    EXPECT_EQ((QList<bool> {r.displayDesktopNotification(), r.shouldStartMissedScheduleBackup(),
                            r.sendEmailNotification(), r.isUseSSL(), r.sendLogExtract(),
                            r.notifyOnFailure(), r.isAutoSyncEnabled()}),
              (QList<bool> {true, true, false, true, true, false, true}));
    EXPECT_TRUE(r.password().isNull()) << "UID 0 is nil";
    EXPECT_FALSE(r.selectedDaysForSchedule().has_value()) << "no day list: nil, not empty";
}

TEST_F(ScheduleArchiveTest, MissingKeysKeepNothingOfTheDefaults)
{
    const ArchivedObject bare {{u"CorvaneScheduleItem"_s, u"NSObject"_s}, {}};
    const std::optional<CorvaneScheduleItem> r = CorvaneScheduleItem::fromArchivedObject(bare);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->frequency(), 0);
    EXPECT_TRUE(r->destination().isNull());
    EXPECT_TRUE(r->username().isNull());
    EXPECT_FALSE(r->scheduleTime().isValid());
    EXPECT_FALSE(r->selectedDaysForSchedule().has_value());
}

TEST_F(ScheduleArchiveTest, BadArchivesGiveAnEmptyListAndATraceLine)
{
    const QByteArray good = ScheduleArchive::encode({fullRecord(clock)});
    const struct {
        const char *name;
        QByteArray bytes;
    } cases[] = {
        {"truncated", good.left(good.size() / 2)},
        {"garbage", QByteArray(300, '\x7f')},
        {"Schedules is not an array", KeyedArchive::archive({{u"Schedules"_s, u"nope"_s}})},
        {"no Schedules at all", KeyedArchive::archive({{u"Other"_s, QVariantList()}})},
    };
    for (const auto &c : cases) {
        env.writeFile(ScheduleArchive::path(), c.bytes);
        const ScheduleArchive::Contents contents = ScheduleArchive::load();
        EXPECT_TRUE(contents.records.isEmpty()) << c.name;
        EXPECT_EQ(contents.state, ScheduleArchive::State::Unreadable) << c.name;
    }
    EXPECT_TRUE(QString::fromUtf8(env.readFile(SLLocalizedString(u"MonitorTraceFilePath"_s)))
                    .contains(u"Schedules archive"_s));
}

TEST_F(ScheduleArchiveTest, UndecodableElementsAreKeptAndWrittenBackInPlace)
{
    const QVariantList bad = undecodableElements(clock);
    QVariantList list;
    for (qsizetype i = 0; i < bad.size(); ++i) {
        list.append(bad.at(i));
        list.append(QVariant::fromValue(
            record(u"user%1"_s.arg(i), 2, at(2026, 11, 17, 9, 0)).toArchivedObject()));
    }
    const QByteArray written = KeyedArchive::archive({{u"Schedules"_s, list}});
    const ScheduleArchive::Contents contents = ScheduleArchive::decode(written);
    EXPECT_EQ(contents.state, ScheduleArchive::State::Readable);
    EXPECT_EQ(contents.records.size(), bad.size()) << "only the good records are records";
    ASSERT_EQ(contents.undecodable.size(), bad.size());
    for (qsizetype i = 0; i < bad.size(); ++i)
        EXPECT_EQ(contents.undecodable.at(i).before, i);

    const QVariantList back
        = schedulesIn(ScheduleArchive::encode(contents.records, contents.undecodable));
    const QVariantList asWritten = schedulesIn(written);
    ASSERT_EQ(back.size(), asWritten.size());
    for (qsizetype i = 0; i < asWritten.size(); ++i)
        EXPECT_EQ(canonical(back.at(i)), canonical(asWritten.at(i))) << "element " << i;
    EXPECT_EQ(contents.undecodable.first().reason,
              u"\"frequency\" holds a value of the wrong kind"_s);
}

// Inputs the fuzzer found: what was decoded writes back to the same list.
TEST_F(ScheduleArchiveTest, FuzzFindingsWriteBackToTheSameList)
{
    const QDir findings(fixturePath(u"fuzz-findings/schedule_decode"_s));
    const QStringList files = findings.entryList(QDir::Files);
    ASSERT_FALSE(files.isEmpty());
    for (const QString &name : files) {
        const ScheduleArchive::Contents first = ScheduleArchive::decode(readRealFile(findings.filePath(name)));
        const ScheduleArchive::Contents again
            = ScheduleArchive::decode(ScheduleArchive::encode(first.records, first.undecodable));
        EXPECT_EQ(again.records.size(), first.records.size()) << name.toStdString();
        EXPECT_EQ(again.undecodable.size(), first.undecodable.size()) << name.toStdString();
    }
}

TEST_F(ScheduleArchiveTest, ADamagedArchiveIsTracedOncePerVersionOfTheFile)
{
    const auto lines = [&](const QString &text) {
        return QString::fromUtf8(env.readFile(SLLocalizedString(u"MonitorTraceFilePath"_s)))
            .count(text);
    };
    // A weekly record without days reads the archive for its text, on every paint of the table.
    CorvaneScheduleItem weekly = record(u"ann"_s, 5, at(2026, 11, 17, 9, 0));
    weekly.setSelectedDaysForSchedule(std::nullopt);
    env.writeFile(
        ScheduleArchive::path(),
        KeyedArchive::archive({{u"Schedules"_s,
                                QVariantList {QVariant::fromValue(weekly.toArchivedObject()),
                                              u"a stray string"_s}}}));
    CorvaneSchedulerController store(clock);
    ScheduleTableModel *model = store.configuredSchedules();
    for (int paint = 0; paint < 5; ++paint)
        EXPECT_EQ(model->data(model->index(0, ScheduleTableModel::FrequencyColumn)).toString(),
                  u"Monday,Tuesday,Wednesday,Thursday,Friday"_s);
    EXPECT_EQ(lines(u"an element is not a schedule record"_s), 1);

    env.writeFile(ScheduleArchive::path(), "damaged");
    ScheduleArchive::load();
    {
        WarningCapture warnings; // the readers below the store say nothing more either
        for (int read = 0; read < 3; ++read)
            EXPECT_EQ(ScheduleArchive::load().state, ScheduleArchive::State::Unreadable);
        EXPECT_EQ(warnings.lines(), QStringList());
    }
    EXPECT_EQ(lines(u"Schedules archive unreadable"_s), 1);
    env.writeFile(ScheduleArchive::path(), "damaged differently");
    ScheduleArchive::load();
    EXPECT_EQ(lines(u"Schedules archive unreadable"_s), 2)
        << "a new version of the file is traced again";
}

// The archive is opened to every user (the engine, running as another user, rewrites it), but a
// link at its path or at its lock's, which in the shared folder anyone may put there, never
// carries that mode (nor the archive's bytes) to a file of ours.
TEST_F(ScheduleArchiveTest, SavesOpenTheArchiveToEveryUserButNeverAFileBehindALink)
{
    const auto mode = [](const QString &path) {
        struct stat info {};
        return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777 : 0u;
    };
    const QString archive = env.real(ScheduleArchive::path());
    const QString state = env.real(SchedulerState::path());
    QTemporaryDir own;
    const QStringList targets{own.filePath(u"archive-target"_s), own.filePath(u"lock-target"_s),
                              own.filePath(u"state-target"_s)};
    QDir().mkpath(QFileInfo(archive).absolutePath());
    for (const QString &target : targets) {
        QFile file(target);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("mine");
        ASSERT_TRUE(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner));
    }
    ASSERT_TRUE(QFile::link(targets.at(0), archive));
    ASSERT_TRUE(QFile::link(targets.at(1), archive + u".lock"_s));
    ASSERT_TRUE(QFile::link(targets.at(2), state));
    {
        ScheduleArchive::WriteLock lock;
        ASSERT_TRUE(ScheduleArchive::save({fullRecord(clock)}));
    }
    SchedulerState::write(u"2"_s);
    for (const QString &target : targets) {
        EXPECT_EQ(readRealFile(target), "mine") << target.toStdString();
        EXPECT_EQ(mode(target), 0600u) << target.toStdString();
    }
    EXPECT_FALSE(QFileInfo(archive).isSymLink());
    EXPECT_EQ(ScheduleArchive::load().records.size(), 1);
    EXPECT_EQ(mode(archive), 0777u);
    EXPECT_EQ(SchedulerState::read(), u"2"_s);
}

} // namespace
