// Schedule archives exchanged with GNUstep Base, a Foundation implementation of its own: what its
// NSKeyedArchiver writes (binary and XML) the project reads field by field, and what the project
// writes its NSKeyedUnarchiver reads back.
#include "scheduler/ScheduleArchive.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// One "key=value" line per archived field, as the Objective-C side prints a record.
QString describe(const CorvaneScheduleItem &r)
{
    const auto text
        = [](const QString &value) { return value.isNull() ? u"(nil)"_s : u'"' + value + u'"'; };
    QStringList days;
    for (const QVariant &day : r.selectedDaysForSchedule().value_or(QVariantList()))
        days.append(QString::number(day.toInt()));
    const QStringList lines {
        u"scheduleType=%1"_s.arg(r.scheduleType()),
        u"scheduleTime=%1"_s.arg(r.scheduleTime().isValid()
                                     ? QString::number(r.scheduleTime().toSecsSinceEpoch())
                                     : u"(nil)"_s),
        u"frequency=%1"_s.arg(r.frequency()),
        u"status=%1"_s.arg(r.status()),
        u"destination="_s + text(r.destination()),
        u"username="_s + text(r.username()),
        u"corvaneUserName="_s + text(r.corvaneUserName()),
        u"emailids="_s + text(r.emailids()),
        u"displayDesktopNotification=%1"_s.arg(int(r.displayDesktopNotification())),
        u"shouldStartMissedScheduleBackup=%1"_s.arg(int(r.shouldStartMissedScheduleBackup())),
        u"sendEmailNotification=%1"_s.arg(int(r.sendEmailNotification())),
        u"userAtServer="_s + text(r.userAtServer()),
        u"serverName="_s + text(r.serverName()),
        u"quotaServerName="_s + text(r.quotaServername()),
        u"password="_s + text(r.password()),
        u"processReferenceFile="_s + text(r.processReferenceFile()),
        u"isUseSSL=%1"_s.arg(int(r.isUseSSL())),
        u"scheduleTimeSettings=%1"_s.arg(r.scheduleTimeSettings()),
        u"selectedDaysForSchedule="_s
            + (r.selectedDaysForSchedule() ? u'[' + days.join(u',') + u']' : u"(nil)"_s),
        u"sendLogExtract=%1"_s.arg(int(r.sendLogExtract())),
        u"notifyOnFailure=%1"_s.arg(int(r.notifyOnFailure())),
        u"isAutoSyncEnabled=%1"_s.arg(int(r.isAutoSyncEnabled())),
        u"--"_s,
    };
    return lines.join(u'\n') + u'\n';
}

// Runs the GNUstep side; a helper that was not built or does not run fails the test.
QString gnustep(const QStringList &arguments, const QTemporaryDir &home)
{
    const QString helper = QStringLiteral(GNUSTEP_ARCHIVER_PATH);
    QFile log(QStringLiteral(GNUSTEP_ARCHIVER_LOG));
    if (!QFile::exists(helper)) {
        ADD_FAILURE() << "the GNUstep archiver was not built: "
                      << (log.open(QIODevice::ReadOnly) ? log.readAll().toStdString()
                                                        : std::string("no build log"));
        return QString();
    }
    // GNUstep wants a writable home for its defaults.
    const ProcessResult run
        = runProgram(helper, arguments, {u"HOME="_s + home.path(), u"LC_ALL=C.UTF-8"_s});
    EXPECT_EQ(run.exitCode, 0) << run.errorOutput.toStdString();
    return QString::fromUtf8(run.output);
}

void expectSameLines(const QString &actual, const QString &expected, bool exceptDates = false)
{
    const QStringList a = actual.split(u'\n'), e = expected.split(u'\n');
    ASSERT_EQ(a.size(), e.size()) << actual.toStdString() << "\n---- expected ----\n"
                                  << expected.toStdString();
    for (qsizetype i = 0; i < e.size(); ++i) {
        if (!(exceptDates && e.at(i).startsWith(u"scheduleTime="))) {
            EXPECT_EQ(a.at(i), e.at(i));
        }
    }
}

class GnustepArchives : public ::testing::TestWithParam<const char *> { };

TEST_P(GnustepArchives, ReadFieldByField)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(u"Schedules"_s);
    const QString written = gnustep({u"write"_s, file, QString::fromUtf8(GetParam())}, dir);
    ASSERT_FALSE(written.isEmpty());
    QFile in(file);
    ASSERT_TRUE(in.open(QIODevice::ReadOnly));
    const QByteArray bytes = in.readAll();
    EXPECT_EQ(bytes.startsWith("bplist00"), QByteArray(GetParam()) == "binary")
        << "the format asked for";

    const ScheduleArchive::Contents contents = ScheduleArchive::decode(bytes);
    ASSERT_EQ(contents.state, ScheduleArchive::State::Readable) << contents.error.toStdString();
    EXPECT_TRUE(contents.undecodable.isEmpty())
        << contents.undecodable.value(0).reason.toStdString();
    QString decoded;
    for (const CorvaneScheduleItem &record : contents.records)
        decoded += describe(record);
    // Dates too: a calendar date (GNUstep's own keys) and a plain date keep their times.
    expectSameLines(decoded, written);
}

INSTANTIATE_TEST_SUITE_P(Interop, GnustepArchives, ::testing::Values("binary", "xml"));

TEST(GnustepInterop, GnustepReadsWhatWeArchive)
{
    const FixedClock clock(QDateTime(QDate(2026, 11, 23), QTime(8, 0), Qt::UTC));
    CorvaneScheduleItem a(clock);
    a.setFrequency(CorvaneScheduleItem::SelectedDays);
    a.setStatus(CorvaneScheduleItem::InProgress);
    a.setUsername(u"jürgen"_s);
    a.setCorvaneUserName(u"Jürgen Ørsted 日本"_s);
    a.setEmailids(QString());
    a.setPassword(u"pässwörd"_s);
    a.setServerName(u"backup.example.net"_s);
    a.setQuotaServerName(u"quota.example.net"_s);
    a.setUserAtServer(u"jürgen@server"_s);
    a.setProcessReferenceFile(u"/home/jürgen/Backup Set.plist"_s);
    a.setSSL(u"YES"_s);
    a.setSelectedDaysForSchedule(QVariantList {1, 3, 5});
    a.setDisplayDesktopNotification(true);
    a.setNotifyOnFailure(true);
    CorvaneScheduleItem b(clock);
    b.setScheduleType(CorvaneScheduleItem::Restore);
    b.setScheduleTime(QDateTime(QDate(2027, 1, 15), QTime(8, 0), Qt::UTC));
    b.setDestination(u"Ziel — Ünïcode"_s);
    b.setEmailids(u"a@example.net,b@example.net"_s);
    b.setSelectedDaysForSchedule(QVariantList {u"0"_s, u"6"_s});
    b.setScheduleTimeSettings(3);
    b.setShouldStartMissedScheduleBackup(true);
    b.setSendEmailNotification(true);
    b.setSendLogExtract(true);
    b.setAutoSyncEnabled(true);

    QTemporaryDir dir;
    const QString file = dir.filePath(u"Schedules"_s);
    QFile out(file);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(ScheduleArchive::encode({a, b}));
    out.close();
    const QString read = gnustep({u"read"_s, file}, dir);
    ASSERT_FALSE(read.isEmpty());
    // GNUstep's calendar date reads only its own keys, so its view of our times is not compared.
    expectSameLines(read, describe(a) + describe(b), true);
}

} // namespace
