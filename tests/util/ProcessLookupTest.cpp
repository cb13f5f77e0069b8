#include "platform/Paths.h"
#include "platform/ShellCommand.h"
#include "product/StringTable.h"
#include "support/TestEnvironment.h"
#include "util/ProcessExtensions.h"
#include "util/SLUtility.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QScopeGuard>
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

// Names and paths that would run a command if a command line took them as they stand. Whatever ran
// would leave its file in the current folder.
TEST(ShellCommandLines, HostileNamesAndPathsRunNothing)
{
    const QStringList hostile{u"x'; touch pwned1 #"_s, u"$(touch pwned2)"_s, u"`touch pwned3`"_s,
                              u"\"; touch pwned4 #"_s, u"a  b\\ *?[x] & | > < \n; touch pwned5"_s};
    QTemporaryDir current;
    const QString previous = QDir::currentPath();
    const auto back = qScopeGuard([&] { QDir::setCurrent(previous); });
    ASSERT_TRUE(QDir::setCurrent(current.path()));
    for (const QString &text : hostile) {
        SCOPED_TRACE(text.toStdString());
        EXPECT_EQ(ShellCommand::output(u"printf %s "_s + ShellCommand::quoted(text)), text)
            << "one word, as it is";
        SLXExtension::getAllProcessIDsWithName(text);

        TestEnvironment env;
        env.writeFile(u"/trash/"_s + text + u"/file"_s, "x");
        env.writeFile(u"/trash/kept"_s, "x");
        SLUtility::removeFile(u"/trash/"_s + text);
        EXPECT_FALSE(env.exists(u"/trash/"_s + text));
        EXPECT_TRUE(env.exists(u"/trash/kept"_s));

        // The console user's name is written to a file of the home folder, whatever its name.
        const QString home = env.root() + u'/' + text;
        Paths::install(Paths(env.root(), home));
        SLUtility::lastConsoleUserName();
        const QString written = Paths::current().resolve(SLLocalizedString(u"LastConsoleUserNameFilePath"_s));
        EXPECT_TRUE(QFileInfo::exists(written));
        Paths::install(Paths(env.root(), env.home()));
    }
    EXPECT_EQ(QDir(current.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
}

TEST(ScriptRunner, MissingScriptsAndRunnersAreReportedAsErrors)
{
    TestEnvironment env;
    const QVariantMap error = SLXExtension::executeAppleScriptFromFile(u"/missing.scpt"_s);
    EXPECT_TRUE(error.contains(u"NSAppleScriptErrorMessage"_s));
}

} // namespace
