#include "support/TestEnvironment.h"
#include "util/ProcessExtensions.h"

#include <QCoreApplication>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(ProcessLookup, IdsAreReadFromTheTextBeforeTheName)
{
    const QString output = u"  PID COMMAND USER\n"
                           "  412 /Applications/Corvane.app/Contents/MacOS/Corvane ann\n"
                           "  977 grep \"Corvane\" ann\n"
                           "    0 Corvane-without-id root\n"
                           "\n"_s;
    EXPECT_EQ(SLXExtension::parseProcessIDs(output, u"Corvane"_s), (QList<qint64>{412, 977}));
    EXPECT_TRUE(SLXExtension::parseProcessIDs(output, u""_s).isEmpty());
}

TEST(ProcessLookup, FindsAndKillsARealProcess)
{
    // A uniquely named script so that nothing else on the machine matches.
    const QString name = u"lumen_sleeper_%1"_s.arg(QCoreApplication::applicationPid());
    QProcess sleeper;
    sleeper.start(u"/bin/bash"_s, {u"-c"_s, u"exec -a %1 sleep 30"_s.arg(name)});
    ASSERT_TRUE(sleeper.waitForStarted());
    QList<qint64> ids;
    for (int attempt = 0; attempt < 50 && !ids.contains(sleeper.processId()); ++attempt) {
        ids = SLXExtension::getAllProcessIDsWithName(name);
        QThread::msleep(20);
    }
    EXPECT_TRUE(ids.contains(sleeper.processId()));

    SLXExtension::killAllProcessesWithName(name);
    EXPECT_TRUE(sleeper.waitForFinished(5000));
    EXPECT_EQ(sleeper.exitStatus(), QProcess::CrashExit) << "ended by a signal";
}

TEST(ScriptRunner, MissingScriptsAndRunnersAreReportedAsErrors)
{
    TestEnvironment env;
    const QVariantMap error = SLXExtension::executeAppleScriptFromFile(u"/missing.scpt"_s);
    EXPECT_TRUE(error.contains(u"NSAppleScriptErrorMessage"_s));
}

} // namespace
