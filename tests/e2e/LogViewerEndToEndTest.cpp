// The log viewer of the running monitor and the runs of the engine stand-in, each in a process of
// its own.

#include "Child.h"
#include "MonitorBus.h"
#include "logview/LogManager.h"
#include "support/LoginDetails.h"
#include "support/TestEnvironment.h"

#include <QDate>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class LogViewerEndToEndTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s}, {u"Username"_s, u"ann"_s}}, u"ann@example.com"_s);
    }
    void choose(const QString &item)
    {
        Child menu(QStringLiteral(LUMENCTL_PATH), {u"menu"_s, item}, env, runtime.path());
        ASSERT_TRUE(menu.process().waitForFinished(10000));
        ASSERT_EQ(menu.process().exitCode(), 0) << menu.process().readAllStandardError().toStdString();
    }
    static int runsListed() { return monitorStatus().value(u"logWindow"_s).toObject().value(u"runs"_s).toInt(-1); }

    TestEnvironment env;
    QTemporaryDir runtime;
};

TEST_F(LogViewerEndToEndTest, TheEnginesRunsAppearInTheLogViewer)
{
    Child monitor(QStringLiteral(MONITOR_PATH), {}, env, runtime.path());
    ASSERT_TRUE(waitUntil(monitorIsUp)) << "the monitor did not come up";
    EXPECT_TRUE(monitorStatus().value(u"logWindow"_s).isNull()) << "no log window before it is asked for";
    Child engine(QStringLiteral(ENGINE_SIM_PATH), {u"--speed"_s, u"15"_s}, env, runtime.path());
    engine.process().setReadChannel(QProcess::StandardError);
    ASSERT_TRUE(engine.process().waitForReadyRead(10000));

    const QString index = LogManager::kIndexFolder + u'/' + QDate::currentDate().toString(LogManager::kDayFormat) + u".xml"_s;
    for (int run = 1; run <= 2; ++run) {
        choose(u"backup-now"_s);
        ASSERT_TRUE(waitUntil([&] { return env.readFile(index).count("<record>") == run; }, 20000))
            << "the engine's run " << run << " left no record in the day's index";
        choose(u"view-logs"_s);
        EXPECT_TRUE(waitUntil([&] { return runsListed() == run; }))
            << QJsonDocument(monitorStatus()).toJson().toStdString();
    }
    EXPECT_EQ(monitorStatus().value(u"logWindow"_s).toObject().value(u"period"_s).toInt(), 0) << "last week by default";
}

} // namespace
