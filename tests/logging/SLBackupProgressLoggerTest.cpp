#include "LoggingFixture.h"
#include "logging/SLBackupProgressLogger.h"

#include <QSet>
#include <QThread>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using ProgressLoggerTest = LoggingFixture;

TEST_F(ProgressLoggerTest, SessionLinesAreTaggedStampedAndHeldUntilAFlush)
{
    SLBackupProgressLogger logger;
    logger.logDaemonSession(u"Backing up /Users/ann"_s, false);
    EXPECT_FALSE(env.exists(u"~/Logs/Scheduled.log"_s));
    logger.logDaemonSession(u"done"_s, true);
    EXPECT_EQ(text(u"~/Logs/Scheduled.log"_s),
              u"Information : Sun Nov 15 2026 6:5:9 PM : Backing up /Users/ann \n"
              "Information : Sun Nov 15 2026 6:5:9 PM : done \n"_s);
}

TEST_F(ProgressLoggerTest, TheThreeSessionLogsShareOneBuffer)
{
    SLBackupProgressLogger logger;
    logger.logDaemonSession(u"from the daemon"_s, false);
    logger.logStelloaSession(QString(), true); // nil is not tested: it prints as "(null)"
    EXPECT_FALSE(env.exists(u"~/Logs/Scheduled.log"_s));
    EXPECT_EQ(text(u"~/Logs/Session.log"_s),
              u"Information : Sun Nov 15 2026 6:5:9 PM : from the daemon \n"
              "Information : Sun Nov 15 2026 6:5:9 PM : (null) \n"_s);
}

TEST_F(ProgressLoggerTest, TheThresholdOf51200CharactersIsInclusive)
{
    SLBackupProgressLogger logger;
    const QString path = u"~/progress.log"_s;
    logger.writeSessionLog(QString(51198, u'x'), path, false); // 51,199 with its newline
    EXPECT_FALSE(env.exists(path));
    logger.writeSessionLog(u""_s, path, false); // one more character: exactly 51,200
    ASSERT_TRUE(env.exists(path));
    EXPECT_EQ(env.readFile(path).size(), 51200);

    logger.writeSessionLog(u"next"_s, path, false);
    EXPECT_EQ(env.readFile(path).size(), 51200) << "the buffer was emptied by the write";
}

TEST_F(ProgressLoggerTest, TheSharedBuffersAreWrittenFromExactly51200Characters)
{
    const QString log = u"~/Logs/Scheduled.log"_s;
    const qsizetype lineOverhead = [&] {
        SLBackupProgressLogger probe;
        probe.logDaemonSession(u""_s, true);
        const qsizetype size = env.readFile(log).size();
        QFile::remove(env.real(log));
        return size;
    }();
    {
        SLBackupProgressLogger logger;
        logger.logDaemonSession(QString(51199 - lineOverhead, u'x'), false);
        EXPECT_FALSE(env.exists(log)) << "51,199 characters stay in the buffer";
    }
    QFile::remove(env.real(log)); // written when that logger went away
    SLBackupProgressLogger logger;
    logger.logDaemonSession(QString(51200 - lineOverhead, u'x'), false);
    ASSERT_TRUE(env.exists(log));
    EXPECT_EQ(env.readFile(log).size(), 51200);
}

TEST_F(ProgressLoggerTest, ANilSessionMessageForcesTheBufferOut)
{
    SLBackupProgressLogger logger;
    logger.writeSessionLog(u"one"_s, u"~/s.log"_s, false);
    logger.writeSessionLog(QString(), u"~/s.log"_s, false);
    EXPECT_EQ(text(u"~/s.log"_s), u"one\n"_s);

    logger.writeSessionLog(u"dropped"_s, u"~/s.log"_s, false);
    logger.refreshSessionLogBuffer();
    logger.writeSessionLog(QString(), u"~/s.log"_s, false);
    EXPECT_EQ(text(u"~/s.log"_s), u"one\n"_s);
}

TEST_F(ProgressLoggerTest, TraceBuffersAndTheirNilAndEmptyRules)
{
    SLBackupProgressLogger logger;
    logger.logInteractiveTrace(u"kept"_s, false);
    logger.logInteractiveTrace(QString(), true); // nil: not even a flush
    EXPECT_FALSE(env.exists(u"~/Logs/Interactive.log"_s));
    logger.logInteractiveTrace(u"now"_s, true);
    EXPECT_EQ(text(u"~/Logs/Interactive.log"_s),
              u"Sun Nov 15 2026 6:5:9 PM : kept \nSun Nov 15 2026 6:5:9 PM : now \n"_s);

    logger.logDaemonTrace(u"d1"_s, false);
    logger.writeUsingMainThread(); // writes without emptying
    logger.logDaemonTrace(u""_s, true); // no line, but the flush happens
    EXPECT_EQ(text(u"~/Logs/Daemon.log"_s),
              u"Sun Nov 15 2026 6:5:9 PM : d1 \nSun Nov 15 2026 6:5:9 PM : d1 \n"_s);
}

TEST_F(ProgressLoggerTest, SyncLogsAlwaysNameTheRunningBrand)
{
    useApplicationName(u"Stelloa"_s);
    SLBackupProgressLogger logger;
    logger.logSyncInteractiveSession(u"Synced in Corvane::Stelloa"_s, true);
    EXPECT_EQ(text(u"~/Logs/Sync.log"_s),
              u"Information : Sun Nov 15 2026 6:5:9 PM : Synced in stelloa::stelloa \n"_s);

    useApplicationName(u"Corvane Lumen"_s);
    logger.logSyncInteractiveSession(u"in Stelloa::stelloa"_s, true);
    EXPECT_TRUE(text(u"~/Logs/Sync.log"_s).endsWith(u": in corvane::corvane \n"_s));
}

TEST_F(ProgressLoggerTest, LinesStillBufferedAreWrittenWhenTheLoggerGoesAway)
{
    {
        SLBackupProgressLogger logger;
        logger.logDaemonTrace(u"last words"_s, false);
        logger.writeSessionLog(u"session tail"_s, u"~/tail.log"_s, false);
    }
    EXPECT_EQ(text(u"~/Logs/Daemon.log"_s), u"Sun Nov 15 2026 6:5:9 PM : last words \n"_s);
    EXPECT_EQ(text(u"~/tail.log"_s), u"session tail\n"_s);
}

TEST_F(ProgressLoggerTest, DaemonTraceFromManyThreadsLosesNoLine)
{
    constexpr int kThreads = 8;
    constexpr int kLinesPerThread = 3000;
    SLBackupProgressLogger logger;
    std::vector<std::unique_ptr<QThread>> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back(QThread::create([&logger, t] {
            for (int i = 0; i < kLinesPerThread; ++i)
                logger.logDaemonTrace(u"t%1-%2"_s.arg(t).arg(i), i % 997 == 0);
        }));
        threads.back()->start();
    }
    for (auto &thread : threads)
        thread->wait();
    logger.flushAll();

    const QStringList lines = text(u"~/Logs/Daemon.log"_s).split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), kThreads * kLinesPerThread);
    QSet<QString> seen;
    for (const QString &line : lines) {
        ASSERT_TRUE(line.startsWith(QString::fromLatin1(kStamp) + u" : t"_s)) << line.toStdString();
        seen.insert(line);
    }
    EXPECT_EQ(seen.size(), kThreads * kLinesPerThread);
}

} // namespace
