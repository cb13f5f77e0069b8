#include "LoggingFixture.h"
#include "logging/SLLogger.h"
#include "logging/WriteToFile.h"

using namespace Qt::StringLiterals;

namespace {

using SLLoggerTest = LoggingFixture;

TEST_F(SLLoggerTest, DirectTraceEntriesRunOnInOnePhysicalLine)
{
    SLLogger::logMonitorTrace(u"Start of awakeFromNib"_s);
    SLLogger::logMonitorTrace(u"Exit of awakeFromNib"_s);
    EXPECT_EQ(text(u"~/Logs/Monitor.log"_s),
              u"Sun Nov 15 2026 6:5:9 PM : Start of awakeFromNib "
              "Sun Nov 15 2026 6:5:9 PM : Exit of awakeFromNib "_s);

    SLLogger::logInteractiveTrace(u"i"_s);
    SLLogger::logDaemonTrace(u""_s); // an empty message is still a line
    EXPECT_EQ(text(u"~/Logs/Interactive.log"_s), u"Sun Nov 15 2026 6:5:9 PM : i "_s);
    EXPECT_EQ(text(u"~/Logs/Daemon.log"_s), u"Sun Nov 15 2026 6:5:9 PM :  "_s);
}

TEST_F(SLLoggerTest, MorningHoursAndTwoDigitFieldsAreNotPadded)
{
    clock.set(QDateTime(QDate(2026, 1, 5), QTime(0, 30, 45)));
    SLLogger::logMonitorTrace(u"m"_s);
    EXPECT_EQ(text(u"~/Logs/Monitor.log"_s), u"Mon Jan 5 2026 12:30:45 AM : m "_s);
}

TEST_F(SLLoggerTest, NilMessagesFollowEachMethodsOwnRule)
{
    SLLogger::logMonitorTrace(QString());
    SLLogger::logDaemonSession(QString());
    SLLogger::logStelloaSession(QString());
    EXPECT_FALSE(env.exists(u"~/Logs/Monitor.log"_s));
    EXPECT_FALSE(env.exists(u"~/Logs/Scheduled.log"_s));
    EXPECT_FALSE(env.exists(u"~/Logs/Session.log"_s));

    SLLogger::writeSessionLog(QString(), u"~/named.log"_s); // no nil test here
    EXPECT_EQ(text(u"~/named.log"_s), u"(null)\n"_s);
}

TEST_F(SLLoggerTest, DirectLinesCarryTheMessageOnly)
{
    SLLogger::logDaemonSession(u"Backed up 3 files"_s);
    SLLogger::logInfoToFile(u"~/ops.log"_s, u"%@ of %d"_s, u"part"_s, 4);
    SLLogger::logErrorToFile(u"~/ops.log"_s, u"failed"_s);
    EXPECT_EQ(text(u"~/Logs/Scheduled.log"_s), u"Backed up 3 files\n"_s);
    EXPECT_EQ(text(u"~/ops.log"_s), u"part of 4\nfailed\n"_s);
    EXPECT_EQ(SLLogger::messageTypeTag(SLLogger::Warning), u"Warning"_s);
}

TEST_F(SLLoggerTest, TheMappedUserNameIsReplacedIgnoringCase)
{
    FakeUserNames names(u"ann.mapped"_s, u"ann"_s);
    LogFormat::setApplicationDelegate(&names);
    SLLogger::writeSessionLog(u"/Users/ANN.MAPPED/Documents and ann.mapped"_s, u"~/s.log"_s);
    EXPECT_EQ(text(u"~/s.log"_s), u"/Users/ann/Documents and ann\n"_s);

    FakeUserNames none(u""_s, u"ann"_s);
    LogFormat::setApplicationDelegate(&none);
    SLLogger::writeSessionLog(u"unchanged"_s, u"~/t.log"_s);
    EXPECT_EQ(text(u"~/t.log"_s), u"unchanged\n"_s);
}

TEST_F(SLLoggerTest, BrandRewriteHappensOnlyForTheExactNameCorvane)
{
    SLLogger::writeSessionLog(u"x::Stelloa y"_s, u"~/a.log"_s);
    EXPECT_EQ(text(u"~/a.log"_s), u"x::Stelloa y\n"_s) << "\"Corvane Lumen\" is not \"Corvane\"";

    useApplicationName(u"Corvane"_s);
    SLLogger::writeSessionLog(u"x::Stelloa y::STELLOA"_s, u"~/b.log"_s);
    EXPECT_EQ(text(u"~/b.log"_s), u"x::corvane y::corvane\n"_s);
}

TEST_F(SLLoggerTest, SessionFileNamesPerOperation)
{
    EXPECT_EQ(SLLogger::constructSessionFileNameforOperarion(1), u"Backup11-15-2026-18-5-9"_s);
    EXPECT_EQ(SLLogger::constructSessionFileNameforOperarion(11),
              u"Continuous_Backup11-15-2026-18-5-9"_s);
    EXPECT_EQ(SLLogger::constructSessionFileNameforOperarion(7), u"Put_Back11-15-2026-18-5-9"_s);
    EXPECT_EQ(SLLogger::constructSessionFileNameforOperarion(0), u""_s);
    EXPECT_EQ(SLLogger::constructSessionFileNameforOperarion(12), u""_s);
    clock.set(QDateTime(QDate(2026, 3, 4), QTime(9, 0, 7)));
    EXPECT_EQ(SLLogger::constructSessionFileNameforOperarion(3), u"Schedule03-4-2026-9-0-7"_s);
}

TEST_F(SLLoggerTest, TailReadsKeepTheLast20480Characters)
{
    const QString exact(20480, u'x');
    env.writeFile(u"~/exact.log"_s, exact.toUtf8());
    EXPECT_EQ(SLLogger::getUTT8StringFromFile(u"~/exact.log"_s), exact);

    const QString longer = u"A"_s + QString(20480, u'é');
    env.writeFile(u"~/longer.log"_s, longer.toUtf8());
    EXPECT_EQ(SLLogger::getUTT8StringFromFile(u"~/longer.log"_s), QString(20480, u'é'))
        << "counted in characters, not bytes";
    EXPECT_EQ(SLLogger::getUTT8StringFromFile(u"~/missing.log"_s), u""_s);
}

TEST_F(SLLoggerTest, ScheduledBackupErrorLog)
{
    SLLogger::clearErrorLogForScheduledBackup(); // nothing there yet: no error
    SLLogger::writeErrorMessageForScheduledBackup(u"disk full"_s);
    SLLogger::writeErrorMessageForScheduledBackup(u"retrying"_s);
    EXPECT_EQ(text(u"/Library/Application Support/CorvaneforMac/Logs/ErrorLog.txt"_s),
              u"disk full\nretrying\n"_s);
    EXPECT_EQ(SLLogger::getErrorLogContentForScheduledBackup(), u"disk full\nretrying\n"_s);
    SLLogger::clearErrorLogForScheduledBackup();
    EXPECT_EQ(SLLogger::getErrorLogContentForScheduledBackup(), u""_s);
}

TEST_F(SLLoggerTest, ContinuousBackupLogGoesInFrontOfTheSessionLog)
{
    env.writeFile(u"~/Sessions/Backup1"_s, "session text");
    env.writeFile(u"~/Sessions/cdp.log"_s, "cdp text\n");
    SLLogger::insertCDPSessionLogFile(u"~/Sessions/cdp.log"_s, u"~/Sessions/Backup1"_s);
    EXPECT_EQ(text(u"~/Sessions/Backup1"_s), u"cdp text\nsession text\n"_s);
    EXPECT_FALSE(env.exists(u"~/Sessions/cdp.log"_s));

    // No session log yet: its nil text is written as "(null)".
    env.writeFile(u"~/Sessions/cdp2.log"_s, "c2\n");
    SLLogger::insertCDPSessionLogFile(u"~/Sessions/cdp2.log"_s, u"~/Sessions/Backup2"_s);
    EXPECT_EQ(text(u"~/Sessions/Backup2"_s), u"c2\n(null)\n"_s);
}

TEST_F(SLLoggerTest, WriteToFileAppendsAndTheByteHelpers)
{
    writeToFile(u"~/w.txt"_s, u""_s);
    EXPECT_FALSE(env.exists(u"~/w.txt"_s)) << "empty text writes nothing";
    writeToFile(u"~/w.txt"_s, u"ab"_s);
    writeToFile(u"~/w.txt"_s, u"ç"_s);
    writeToFile(QString(), u"x"_s);
    EXPECT_EQ(env.readFile(u"~/w.txt"_s), QByteArray("ab\xc3\xa7"));
    EXPECT_EQ(readFile(u"~/w.txt"_s), 'a');
    EXPECT_EQ(readFile(u"~/none.txt"_s), 0);
    flushFileData(u"~/new/created.txt"_s);
    EXPECT_TRUE(env.exists(u"~/new/created.txt"_s));
    EXPECT_EQ(env.readFile(u"~/new/created.txt"_s), QByteArray());
}

} // namespace
