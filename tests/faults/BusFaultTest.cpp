// Bus faults met by the running monitor: its bus daemon restarting under it, and a peer flooding
// its end of the message channel. Each test runs a bus daemon of its own at a fixed address, as a
// desktop session does, so a restarted daemon is found where the last one was.

#include "app/MonitorScripting.h"
#include "e2e/Child.h"
#include "ipc/ChannelEndpoint.h"
#include "ipc/MessageSendingModule.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/SystemInfo.h"
#include "prefs/CVTabViewController.h"
#include "product/StringTable.h"
#include "support/LogindStandIn.h"
#include "support/LoginDetails.h"
#include "support/TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <algorithm>
#include <iostream>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString kAccount = u"ann@example.com"_s;
const QString kScriptingName = MonitorScripting::serviceName(u"corvane"_s);

QString channelName()
{
    return MessageSendingModule::busNameForChannel(u"CorvanePortableMA"_s + SystemInfo::machineID()
                                                   + SystemInfo::loginName());
}

// A bus daemon at unix:path=<temporary folder>/bus; the monitor and lumenctl find it through
// DBUS_SESSION_BUS_ADDRESS, and the monitor takes it for its system bus too (where logind is).
class PrivateBus {
public:
    PrivateBus()
        : m_address(u"unix:path="_s + m_folder.filePath(u"bus"_s))
        , m_previous(qgetenv("DBUS_SESSION_BUS_ADDRESS"))
        , m_previousSystem(qgetenv("DBUS_SYSTEM_BUS_ADDRESS"))
    {
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toUtf8());
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.toUtf8());
    }
    ~PrivateBus()
    {
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_previous);
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_previousSystem);
        for (const QString &name : std::as_const(m_connections))
            QDBusConnection::disconnectFromBus(name);
        crash();
    }
    // Starts a daemon and connects the test to it (under a new name each time).
    bool start()
    {
        m_daemon.start(
            u"dbus-daemon"_s,
            {u"--session"_s, u"--nofork"_s, u"--print-address"_s, u"--address="_s + m_address});
        if (!m_daemon.waitForReadyRead(10000)) // it prints its address once it listens
            return false;
        m_connections.append(u"bus-fault-test-%1"_s.arg(m_connections.size()));
        return connection().isConnected();
    }
    // Kills the daemon as a crash would: the socket file stays behind.
    void crash()
    {
        m_daemon.kill();
        m_daemon.waitForFinished();
    }
    QDBusConnection connection() const
    {
        return QDBusConnection::connectToBus(m_address, m_connections.last());
    }
    bool owns(const QString &name) const
    {
        return connection().interface()->isServiceRegistered(name).value();
    }

private:
    QTemporaryDir m_folder;
    const QString m_address;
    const QByteArray m_previous;
    const QByteArray m_previousSystem;
    QProcess m_daemon;
    QStringList m_connections;
};

QDBusPendingCall sendToolTip(const QDBusConnection &bus, const QByteArray &payload)
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        channelName(), QString::fromLatin1(MessageSendingModule::kObjectPath),
        QString::fromLatin1(MessageSendingModule::kInterface),
        QString::fromLatin1(MessageSendingModule::kMethod));
    message << payload << u"2"_s << u"CorvanePortableAM"_s << u"CorvanePortableMA"_s;
    return bus.asyncCall(message, 60000);
}

QByteArray toolTipPayload(const QString &text)
{
    return PropertyList::toData(text, PropertyList::Format::Binary);
}

// The monitor's Status(), or an empty object when it gave no answer within two seconds.
QJsonObject monitorStatus(const QDBusConnection &bus)
{
    const QDBusMessage call = QDBusMessage::createMethodCall(
        kScriptingName, QString::fromLatin1(MonitorScripting::kPath),
        QString::fromLatin1(MonitorScripting::kInterface), u"Status"_s);
    const QDBusMessage reply = bus.call(call, QDBus::Block, 2000);
    return QJsonDocument::fromJson(reply.arguments().value(0).toString().toUtf8()).object();
}

// A field of /proc/<pid>/status in kB ("VmRSS", "VmHWM").
qint64 memoryKb(qint64 pid, const QByteArray &field)
{
    QFile file(u"/proc/%1/status"_s.arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(field + ':'))
            return line.mid(field.size() + 1).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

// User and system time the process has used, in clock ticks.
qint64 cpuTicks(qint64 pid)
{
    QFile file(u"/proc/%1/stat"_s.arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray stat = file.readAll();
    // The fields after the command name, which may hold blanks: state is field 3, utime 14.
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    return fields.value(11).toLongLong() + fields.value(12).toLongLong();
}

class BusFaultTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(
            writeLogin({{u"CorvaneUsername"_s, kAccount}, {u"Username"_s, u"ann"_s}}, kAccount));
        ASSERT_TRUE(bus.start()) << "no dbus-daemon";
    }

    // Starts the monitor on the private bus and waits until it owns both of its names.
    std::unique_ptr<Child> startMonitor()
    {
        auto monitor = std::make_unique<Child>(QStringLiteral(MONITOR_PATH), QStringList(), env,
                                               runtime.path());
        EXPECT_TRUE(waitUntil([&] { return ownsItsNames(); }, 20000))
            << "the monitor did not come up";
        return monitor;
    }
    bool ownsItsNames() const { return bus.owns(channelName()) && bus.owns(kScriptingName); }

    // Ends the monitor as the session does; whether it ended cleanly (under the sanitizers also:
    // without a finding).
    static void expectCleanEnd(Child &monitor)
    {
        monitor.process().terminate();
        ASSERT_TRUE(monitor.process().waitForFinished(20000));
        EXPECT_EQ(monitor.process().exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(monitor.process().exitCode(), 0)
            << monitor.process().readAllStandardError().right(4000).toStdString();
    }

    TestEnvironment env;
    QTemporaryDir runtime;
    PrivateBus bus;
};

TEST_F(BusFaultTest, AfterTheBusDaemonRestartsTheMonitorOwnsItsNamesAgainAndHearsTheNextMessages)
{
    const std::unique_ptr<Child> monitor = startMonitor();
    ASSERT_TRUE(ownsItsNames());
    const qint64 pid = monitor->process().processId();

    bus.crash();
    const qint64 ticksBefore = cpuTicks(pid);
    waitUntil([] { return false; }, 3000); // the monitor is without a bus meanwhile
    EXPECT_LT(cpuTicks(pid) - ticksBefore, sysconf(_SC_CLK_TCK))
        << "more than a second of CPU time in three seconds without a bus";
    ASSERT_EQ(monitor->process().state(), QProcess::Running) << "the monitor ended with its bus";

    ASSERT_TRUE(bus.start()) << "no second dbus-daemon at the same address";
    EXPECT_TRUE(waitUntil([&] { return bus.owns(channelName()); }, 20000))
        << "the channel name was not taken back";
    EXPECT_TRUE(waitUntil([&] { return bus.owns(kScriptingName); }, 20000))
        << "the scripting name was not taken back";

    // The channel hears the next message, and the scripting interface answers on the new bus.
    sendToolTip(bus.connection(), toolTipPayload(u"after the restart"_s)).waitForFinished();
    EXPECT_TRUE(waitUntil([&] {
        return monitorStatus(bus.connection()).value(u"toolTip"_s) == u"after the restart"_s;
    })) << QJsonDocument(monitorStatus(bus.connection())).toJson().toStdString();
    // A broadcast notification from another program reaches it too.
    Child notify(QStringLiteral(LUMENCTL_PATH),
                 {u"notify"_s, u"CorvanePortableOpenPreferencesNotification"_s, u"--object"_s,
                  u"ViewExclude"_s},
                 env, runtime.path());
    ASSERT_TRUE(notify.process().waitForFinished(10000));
    ASSERT_EQ(notify.process().exitCode(), 0)
        << notify.process().readAllStandardError().toStdString();
    const QString exclusions
        = CVTabViewController::panes().at(CVTabViewController::ExcludeRow).title;
    EXPECT_TRUE(waitUntil([&] {
        return monitorStatus(bus.connection()).value(u"preferencesPane"_s) == exclusions;
    })) << "the notification did not reach the monitor";
    // logind on the new system bus: a wake-up is heard and refreshes at once.
    LogindStandIn logind(bus.connection());
    ASSERT_TRUE(logind.isRunning());
    const QString trace = stringByStandardizingPath(SLLocalizedString(u"MonitorTraceFilePath"_s));
    EXPECT_TRUE(waitUntil([&] {
        logind.prepareForSleep(false); // again, until the monitor's subscription is in place
        return env.readFile(trace).contains("Resumed from sleep");
    })) << "the wake-up did not reach the monitor";

    expectCleanEnd(*monitor);
}

// Under AddressSanitizer freed memory waits in a quarantine of 256 MB, so resident memory tells
// nothing there; the sanitizers watch the flood instead.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kMemoryTellsAnything = false;
#else
constexpr bool kMemoryTellsAnything = true;
#endif

// 10,000 small tool tips and 100 of a million characters each, all sent without waiting, in ten
// rounds with a Status() call between them. The monitor holds at most
// ChannelEndpoint::kMaxBacklogBytes (16 MB) of payloads it has not handled yet and refuses the
// rest. A payload lives in a few forms at once (the bus library's buffer, the bytes, their UTF-16
// text), so four times that backlog bounds its growth whatever the flood; holding on to the flood
// itself would take 100 to 300 MB. Large blocks go back to the system when freed, so once the
// flood has passed it is back near where it started.
TEST_F(BusFaultTest,
       AFloodOfTenThousandMessagesAndAHundredMegabytesLeavesTheMonitorAnsweringWithBoundedMemory)
{
    constexpr int kRounds = 10, kSmallPerRound = 1000, kLargePerRound = 10;
    constexpr qint64 kGrowthBoundKb = 4 * ChannelEndpoint::kMaxBacklogBytes / 1024;
    constexpr qint64 kSettledMarginKb = 10 * 1024;
    const QByteArray large = toolTipPayload(QString(1000 * 1000, u'x'));
    const qsizetype largestSmall = toolTipPayload(u"progress 9999"_s).size();
    // So that only large payloads are ever refused: the most of them the backlog holds and every
    // small message together still fit.
    ASSERT_LT((ChannelEndpoint::kMaxBacklogBytes / large.size()) * large.size()
                  + kRounds * kSmallPerRound * largestSmall,
              ChannelEndpoint::kMaxBacklogBytes - largestSmall);
    const std::unique_ptr<Child> monitor = startMonitor();
    const qint64 pid = monitor->process().processId();
    const QDBusConnection probe = bus.connection();
    ASSERT_FALSE(monitorStatus(probe).isEmpty());
    const qint64 startKb = memoryKb(pid, "VmRSS");

    // The flood goes over a connection of its own, so that the probe's calls do not queue behind
    // it.
    const QDBusConnection flood = QDBusConnection::connectToBus(
        qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), u"bus-fault-flood"_s);
    QList<QDBusPendingCall> sent;
    qint64 slowestAnswerMs = 0;
    int unanswered = 0;
    QList<qsizetype> outstanding; // flood calls not answered yet after each Status() answer
    for (int round = 0; round < kRounds; ++round) {
        for (int i = 0; i < kSmallPerRound; ++i) {
            sent.append(sendToolTip(
                flood, toolTipPayload(u"progress %1"_s.arg(round * kSmallPerRound + i))));
            if (i % (kSmallPerRound / kLargePerRound) == 0)
                sent.append(sendToolTip(flood, large));
        }
        QElapsedTimer answer;
        answer.start();
        if (monitorStatus(probe).isEmpty())
            ++unanswered;
        slowestAnswerMs = std::max(slowestAnswerMs, answer.elapsed());
        outstanding.append(std::count_if(sent.cbegin(), sent.cend(),
                                         [](const auto &call) { return !call.isFinished(); }));
    }
    const QString last = u"progress %1"_s.arg(kRounds * kSmallPerRound - 1);
    EXPECT_EQ(unanswered, 0) << "Status() calls without an answer within 2 s during the flood";

    ASSERT_TRUE(waitUntil(
        [&] {
            return std::all_of(sent.cbegin(), sent.cend(),
                               [](const auto &call) { return call.isFinished(); });
        },
        120000));
    const qsizetype refused = std::count_if(sent.cbegin(), sent.cend(),
                                            [](const auto &call) { return call.isError(); });
    EXPECT_FALSE(sent.last().isError()) << sent.last().error().message().toStdString();
    EXPECT_TRUE(waitUntil([&] { return monitorStatus(probe).value(u"toolTip"_s) == last; }, 20000))
        << "the last message did not take effect";
    const qint64 peakKb = memoryKb(pid, "VmHWM");
    if (kMemoryTellsAnything) {
        EXPECT_LT(peakKb - startKb, kGrowthBoundKb)
            << "resident memory from " << startKb << " kB up to " << peakKb << " kB";
        EXPECT_TRUE(
            waitUntil([&] { return memoryKb(pid, "VmRSS") - startKb < kSettledMarginKb; }, 10000))
            << "resident memory " << memoryKb(pid, "VmRSS") << " kB after the flood, " << startKb
            << " kB before";
    }
    std::cerr << "flood: " << refused << " of " << sent.size() << " refused; slowest Status() "
              << slowestAnswerMs << " ms; resident " << startKb / 1024 << " MB at start, "
              << peakKb / 1024 << " MB at peak, " << memoryKb(pid, "VmRSS") / 1024
              << " MB after; unanswered after each Status(): "
              << QDebug::toString(outstanding).toStdString() << "\n";

    QDBusConnection::disconnectFromBus(u"bus-fault-flood"_s);
    expectCleanEnd(*monitor);
}

} // namespace
