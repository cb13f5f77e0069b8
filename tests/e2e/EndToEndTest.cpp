#include "Child.h"
#include "app/CorvaneMonitorController.h"
#include "app/DesktopServices.h"
#include "app/MonitorScripting.h"
#include "ipc/MessageSendingModule.h"
#include "platform/Clock.h"
#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "platform/SystemInfo.h"
#include "product/FilePathAPIs.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"
#include "support/FakeAlertPresenter.h"
#include "support/FakeDesktop.h"
#include "support/LogindStandIn.h"
#include "support/NotificationServer.h"
#include "support/LoginDetails.h"
#include "support/TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

class EndToEndTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s}, {u"Username"_s, u"ann"_s}},
                   u"ann@example.com"_s);
    }

    int statusOfOnlyRecord()
    {
        const QList<CorvaneScheduleItem> records = ScheduleArchive::load().records;
        return records.size() == 1 ? records.first().status() : -1;
    }

    TestEnvironment env;
    QTemporaryDir runtime;
    FakeAlertPresenter alerts;
    FakeDesktop desktop;
    QNetworkAccessManager network;
};

TEST_F(EndToEndTest, BackupNowRunsThroughTheEngineAndAStopCancelsTheNextRun)
{
    CorvaneMonitorController monitor({&Clock::system(), &alerts, &desktop, &network, true});
    monitor.awakeFromNib();
    Child engine(QStringLiteral(ENGINE_SIM_PATH), {u"--speed"_s, u"15"_s}, env, runtime.path());
    engine.process().setReadChannel(QProcess::StandardError);
    ASSERT_TRUE(engine.process().waitForReadyRead(10000)) << "the engine did not start";

    monitor.backupNow();
    ASSERT_EQ(ScheduleArchive::load().records.size(), 1);
    const CorvaneScheduleItem queued = *monitor.newSchedule();
    EXPECT_FALSE(monitor.scheduler()->isItemCompleted(queued));

    ASSERT_TRUE(waitUntil([&] { return monitor.isOperationInProgress(); }, 15000))
        << "the engine's start message did not arrive";
    EXPECT_EQ(statusOfOnlyRecord(), CorvaneScheduleItem::InProgress);
    ASSERT_TRUE(waitUntil([&] { return monitor.scheduler()->isItemCompleted(queued); }, 15000));
    EXPECT_TRUE(waitUntil([&] { return !monitor.isOperationInProgress(); }, 5000));
    EXPECT_TRUE(ScheduleArchive::load().records.isEmpty()) << "a finished immediate record leaves the archive";
    const QStringList logs = QDir(env.real(u"/Library/Application Support/CorvanePortableforMac/SessionLogs/Backup"_s))
                                 .entryList(QDir::Files);
    EXPECT_EQ(logs.size(), 1) << "the run left its session log";

    // The next run is stopped from the sub-menu.
    monitor.backupNow();
    ASSERT_EQ(env.readFile(SchedulerState::path()), QByteArray("2"));
    ASSERT_TRUE(waitUntil([&] { return statusOfOnlyRecord() == CorvaneScheduleItem::InProgress; }, 15000));
    alerts.answerWith({AlertPresenter::kDefault});
    // The engine is held still for a moment so that the file can be read before it reacts.
    ::kill(pid_t(engine.process().processId()), SIGSTOP);
    monitor.cancelBackupFromSubmenu();
    EXPECT_EQ(env.readFile(SchedulerState::path()), QByteArray("3"));
    ::kill(pid_t(engine.process().processId()), SIGCONT);
    EXPECT_TRUE(waitUntil([&] { return statusOfOnlyRecord() == CorvaneScheduleItem::Canceled; }, 15000))
        << "records: " << ScheduleArchive::load().records.size() << ", status " << statusOfOnlyRecord()
        << ", state " << env.readFile(SchedulerState::path()).toStdString();
}

QString monitorToolTip()
{
    QDBusMessage call = QDBusMessage::createMethodCall(MonitorScripting::serviceName(u"corvane"_s),
                                                       QString::fromLatin1(MonitorScripting::kPath),
                                                       QString::fromLatin1(MonitorScripting::kInterface), u"ToolTip"_s);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 2000);
    return reply.arguments().value(0).toString();
}

TEST_F(EndToEndTest, BackupNowChosenInTheRunningMonitorRunsThroughTheEngine)
{
    Child monitor(QStringLiteral(MONITOR_PATH), {}, env, runtime.path());
    ASSERT_TRUE(waitUntil([] {
        return QDBusConnection::sessionBus().interface()->isServiceRegistered(
            MonitorScripting::serviceName(u"corvane"_s)).value();
    })) << "the monitor did not come up";
    Child engine(QStringLiteral(ENGINE_SIM_PATH), {u"--speed"_s, u"10"_s}, env, runtime.path());
    engine.process().setReadChannel(QProcess::StandardError);
    ASSERT_TRUE(engine.process().waitForReadyRead(10000));

    Child choose(QStringLiteral(LUMENCTL_PATH), {u"menu"_s, u"backup-now"_s}, env, runtime.path());
    ASSERT_TRUE(choose.process().waitForFinished(10000));
    ASSERT_EQ(choose.process().exitCode(), 0) << choose.process().readAllStandardError().toStdString();

    ASSERT_TRUE(waitUntil([&] { return ScheduleArchive::load().records.size() == 1; }))
        << "the monitor queued no record";
    EXPECT_TRUE(waitUntil([&] { return monitorToolTip().startsWith(u"Backing up ann@example.com"_s); }, 15000))
        << "the engine's progress did not reach the monitor: " << monitorToolTip().toStdString();
    EXPECT_TRUE(waitUntil([&] { return ScheduleArchive::load().records.isEmpty(); }, 15000));
    EXPECT_TRUE(waitUntil([&] { return monitorToolTip() == "You have no scheduled jobs"_L1; }, 5000))
        << monitorToolTip().toStdString();
}

TEST_F(EndToEndTest, AfterAHugeBacklogTheMonitorStillListensAndSigtermEndsItAtOnce)
{
    Child monitor(QStringLiteral(MONITOR_PATH), {}, env, runtime.path());
    const QString channel = MessageSendingModule::busNameForChannel(
        u"CorvanePortableMA"_s + SystemInfo::machineID() + SystemInfo::loginName());
    QDBusConnection bus = QDBusConnection::sessionBus();
    ASSERT_TRUE(waitUntil([&] { return bus.interface()->isServiceRegistered(channel).value()
                                       && bus.interface()->isServiceRegistered(MonitorScripting::serviceName(u"corvane"_s)).value(); }))
        << "the monitor did not come up";
    const auto call = [&](const QByteArray &payload, const QString &type) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            channel, QString::fromLatin1(MessageSendingModule::kObjectPath),
            QString::fromLatin1(MessageSendingModule::kInterface), QString::fromLatin1(MessageSendingModule::kMethod));
        message << payload << type << u"CorvanePortableAM"_s << u"CorvanePortableMA"_s;
        return bus.asyncCall(message, 30000);
    };
    const QByteArray huge = PropertyList::toData(QString(34 * 1024 * 1024, u'x'), PropertyList::Format::Binary);
    QList<QDBusPendingCall> backlog{call(huge, u"2"_s), call(huge, u"2"_s), call(huge, u"2"_s)};
    for (QDBusPendingCall &pending : backlog)
        pending.waitForFinished();
    QDBusPendingCall small = call(PropertyList::toData(u"still listening"_s, PropertyList::Format::Binary), u"2"_s);
    small.waitForFinished();
    EXPECT_FALSE(small.isError());
    EXPECT_TRUE(waitUntil([] { return monitorToolTip() == "still listening"_L1; }, 5000)) << monitorToolTip().toStdString();

    QElapsedTimer timer;
    timer.start();
    monitor.process().terminate();
    EXPECT_TRUE(monitor.process().waitForFinished(3000));
    EXPECT_LT(timer.elapsed(), 1000) << "SIGTERM took too long";
}

TEST_F(EndToEndTest, TheMonitorGreetsItsCompanionAnswersAGreetingAndRunsOnce)
{
    const QString lumenctl = QStringLiteral(LUMENCTL_PATH);
    Child listener(lumenctl, {u"listen"_s, u"--channel"_s, u"--count"_s, u"2"_s, u"--timeout"_s, u"20"_s}, env,
                   runtime.path());
    listener.process().setReadChannel(QProcess::StandardError);
    ASSERT_TRUE(listener.process().waitForReadyRead(10000)); // "listening"

    Child monitor(QStringLiteral(MONITOR_PATH), {}, env, runtime.path());
    ASSERT_TRUE(waitUntil([&] { return monitor.process().state() == QProcess::Running; }, 5000));
    // Greet it as the companion does: it answers with type 8.
    for (int attempt = 0; attempt < 50; ++attempt) {
        Child send(lumenctl, {u"send"_s, u"--type"_s, u"3"_s}, env, runtime.path());
        send.process().waitForFinished(5000);
        if (send.process().exitCode() == 0)
            break;
        waitUntil([] { return false; }, 100);
    }
    ASSERT_TRUE(listener.process().waitForFinished(20000));
    const QList<QByteArray> lines = listener.process().readAllStandardOutput().split('\n');
    QList<int> types;
    for (const QByteArray &line : lines) {
        if (!line.isEmpty())
            types.append(QJsonDocument::fromJson(line).object().value(u"type"_s).toInt());
    }
    EXPECT_EQ(types, (QList<int>{3, 8})) << "the monitor's greeting, then its answer";

    Child second(QStringLiteral(MONITOR_PATH), {}, env, runtime.path());
    ASSERT_TRUE(second.process().waitForFinished(10000));
    EXPECT_EQ(second.process().exitCode(), 1);
    EXPECT_TRUE(second.process().readAllStandardError().contains("already running"));
}

// The desktop's notification service and logind, as the running monitor meets them.
class DesktopEndToEndTest : public EndToEndTest
{
protected:
    void SetUp() override
    {
        EndToEndTest::SetUp();
        // The monitor's system bus is the test's bus, where logind's stand-in lives.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    }
    static bool monitorIsUp()
    {
        return QDBusConnection::sessionBus().interface()->isServiceRegistered(
            MonitorScripting::serviceName(u"corvane"_s)).value();
    }
    // A scheduled record of the logged-in user, due now.
    static void queueDueRecord()
    {
        CorvaneScheduleItem due(Clock::system());
        due.setCorvaneUserName(u"ann@example.com"_s);
        due.setFrequency(CorvaneScheduleItem::Daily);
        due.setScheduleTime(QDateTime::currentDateTime().addSecs(-1));
        ASSERT_EQ(ScheduleArchive::save({due}).status, ScheduleArchive::SaveResult::Status::Saved);
    }
};

TEST_F(DesktopEndToEndTest, AFinishedJobReachesTheDesktopAndBackUpNowThereQueuesTheNextOne)
{
    NotificationServer desktopService;
    ASSERT_TRUE(desktopService.isRunning());
    Child monitor(QStringLiteral(MONITOR_PATH), {}, env, runtime.path());
    ASSERT_TRUE(waitUntil(monitorIsUp)) << "the monitor did not come up";
    Child engine(QStringLiteral(ENGINE_SIM_PATH), {u"--speed"_s, u"10"_s}, env, runtime.path());
    queueDueRecord();

    ASSERT_TRUE(waitUntil([&] { return !desktopService.notifications().isEmpty(); }, 20000))
        << "no notification of the finished job";
    const NotificationServer::Notification shown = desktopService.notifications().first();
    EXPECT_EQ(shown.appName, u"Corvane Lumen"_s);
    EXPECT_EQ(shown.summary, u"Backup completed"_s);
    EXPECT_TRUE(shown.body.contains(u"128 files backed up"_s)) << shown.body.toStdString();
    EXPECT_EQ(shown.actions, (QStringList{u"view-log"_s, u"View log"_s, u"backup-now"_s, u"Back up now"_s,
                                          u"upgrade"_s, u"Upgrade"_s}))
        << "a personal plan at 92 %";
    ASSERT_TRUE(waitUntil([&] { return statusOfOnlyRecord() == CorvaneScheduleItem::Completed; }));

    desktopService.invokeAction(shown.id, u"backup-now"_s);
    EXPECT_TRUE(waitUntil([] {
        const QList<CorvaneScheduleItem> records = ScheduleArchive::load().records;
        return records.size() == 2 && records.last().frequency() == CorvaneScheduleItem::Immediate;
    })) << "the chosen action queued no job";
    EXPECT_TRUE(waitUntil([] { return SchedulerState::read() == "2"_L1; })) << "and told the engine";
}

// The system's time, moved on by a fixed amount: a minute's start comes when the test wants it.
class ShiftedClock : public Clock
{
public:
    explicit ShiftedClock(qint64 offsetMs) : m_offsetMs(offsetMs) {}
    QDateTime now() const override { return QDateTime::currentDateTime().addMSecs(m_offsetMs); }

private:
    qint64 m_offsetMs;
};

TEST_F(EndToEndTest, TheRefreshAtTheStartOfTheCutOffMinuteStopsTheEnginesJob)
{
    // The monitor's clock stands 2.5 seconds before a minute's start: that minute is the cut-off.
    const QDateTime real = QDateTime::currentDateTime();
    const QDateTime shifted(real.date(), QTime(real.time().hour(), real.time().minute(), 57, 500));
    const ShiftedClock clock(real.msecsTo(shifted));
    const QDateTime cutOff = shifted.addMSecs(2500); // the next minute's start
    ASSERT_TRUE(PropertyList::writeDictionary(
        FilePathAPIs::pathForApplicationFile(32),
        {{u"ann@example.com"_s, QVariantMap{{u"EnableCutoffTimeKey"_s, true}, {u"CutoffTimeKey"_s, cutOff}}}}));
    CorvaneMonitorController monitor({&clock, &alerts, &desktop, &network, true});
    monitor.awakeFromNib();
    Child engine(QStringLiteral(ENGINE_SIM_PATH), {}, env, runtime.path()); // a run of 20 seconds
    CorvaneScheduleItem due(Clock::system());
    due.setCorvaneUserName(u"ann@example.com"_s);
    due.setFrequency(CorvaneScheduleItem::Daily);
    due.setScheduleTime(QDateTime::currentDateTime().addSecs(-1));
    ASSERT_EQ(ScheduleArchive::save({due}).status, ScheduleArchive::SaveResult::Status::Saved);

    ASSERT_TRUE(waitUntil([&] { return statusOfOnlyRecord() == CorvaneScheduleItem::InProgress; }));
    ASSERT_LT(clock.now(), cutOff) << "the machine was too slow to start the job before the cut-off minute";
    EXPECT_NE(env.readFile(SchedulerState::path()), QByteArray("5"));
    EXPECT_TRUE(waitUntil([&] { return statusOfOnlyRecord() == CorvaneScheduleItem::Canceled; }, 8000))
        << "state " << env.readFile(SchedulerState::path()).toStdString();
    EXPECT_GE(clock.now(), cutOff) << "stopped at the cut-off minute, not before";
}

TEST_F(DesktopEndToEndTest, AResumeThatSkippedTheCutOffMinutesTimerStillStopsTheRunningJob)
{
    LogindStandIn logind(QDBusConnection::sessionBus());
    ASSERT_TRUE(logind.isRunning());
    if (QTime::currentTime().second() >= 50) // the whole test within one minute of the clock
        waitUntil([] { return QTime::currentTime().second() < 50; }, 11000);
    const QDateTime now = QDateTime::currentDateTime();
    ASSERT_TRUE(PropertyList::writeDictionary(
        FilePathAPIs::pathForApplicationFile(32),
        {{u"ann@example.com"_s, QVariantMap{{u"EnableCutoffTimeKey"_s, true}, {u"CutoffTimeKey"_s, now}}}}));
    Child monitor(QStringLiteral(MONITOR_PATH), {}, env, runtime.path());
    ASSERT_TRUE(waitUntil(monitorIsUp)) << "the monitor did not come up";
    Child engine(QStringLiteral(ENGINE_SIM_PATH), {}, env, runtime.path()); // a run of 20 seconds
    queueDueRecord();
    ASSERT_TRUE(waitUntil([&] { return statusOfOnlyRecord() == CorvaneScheduleItem::InProgress; }));
    EXPECT_NE(env.readFile(SchedulerState::path()), QByteArray("5")) << "the monitor's timer waits for the next minute";

    logind.prepareForSleep(false);
    EXPECT_TRUE(waitUntil([&] { return statusOfOnlyRecord() == CorvaneScheduleItem::Canceled; }))
        << "the engine did not stop the job; state " << env.readFile(SchedulerState::path()).toStdString();
    // The engine writes its log a line at a time: the reason may follow the first line.
    const QString folder = u"/Library/Application Support/CorvanePortableforMac/SessionLogs/Backup"_s;
    QStringList logs;
    EXPECT_TRUE(waitUntil([&] {
        logs = QDir(env.real(folder)).entryList(QDir::Files);
        return logs.size() == 1 && env.readFile(folder + u'/' + logs.first()).contains("Cut-off time reached");
    })) << "the stopped run left no session log naming the cut-off: " << logs.join(u' ').toStdString();
}

} // namespace
