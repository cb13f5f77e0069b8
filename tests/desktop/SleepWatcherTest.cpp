#include "platform/BusConnection.h"
#include "platform/SleepWatcher.h"
#include "support/LogindStandIn.h"
#include "support/TestEnvironment.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The system bus of this process is the test's private bus. QtDBus opens the system bus once and
// keeps it, so this must happen before anything in the process asks for it.
class SystemBusIsTheTestBus : public ::testing::Environment {
public:
    void SetUp() override
    {
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    }
};
const auto *const g_systemBus = ::testing::AddGlobalTestEnvironment(new SystemBusIsTheTestBus);

TEST(SleepWatcher, ReportsSleepAndResumeFromLogind)
{
    LogindStandIn logind(QDBusConnection::sessionBus());
    ASSERT_TRUE(logind.isRunning()) << "the logind name is taken";
    SleepWatcher watcher;
    ASSERT_TRUE(watcher.isWatching());
    QStringList events;
    QObject::connect(&watcher, &SleepWatcher::aboutToSleep, [&] { events << u"sleep"_s; });
    QObject::connect(&watcher, &SleepWatcher::resumed, [&] { events << u"resumed"_s; });
    // Until the first one arrives, the subscription may not be in place yet.
    ASSERT_TRUE(waitUntil([&] {
        logind.prepareForSleep(false);
        return waitUntil([&] { return !events.isEmpty(); }, 200);
    }));
    waitUntil([] { return false; }, 200);
    events.clear();

    // Anyone may send a signal of that name; only logind's count. The round trip makes sure the
    // bus has passed the impostor's signal on before logind's.
    QDBusConnection impostor
        = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"impostor"_s);
    impostor.send(QDBusMessage::createSignal(u"/org/freedesktop/login1"_s,
                                             u"org.freedesktop.login1.Manager"_s,
                                             u"PrepareForSleep"_s)
                  << true);
    impostor.interface()->isServiceRegistered(u"org.freedesktop.login1"_s);
    logind.prepareForSleep(true);
    logind.prepareForSleep(false);
    waitUntil([&] { return events.size() >= 2; });
    EXPECT_EQ(events, (QStringList {u"sleep"_s, u"resumed"_s}));
}

TEST(SleepWatcher, StaysQuietWithoutASystemBus)
{
    WarningCapture warnings;
    BusConnection nowhere(u"unix:path=/nonexistent/bus"_s, u"nowhere"_s);
    SleepWatcher watcher(&nowhere);
    EXPECT_FALSE(watcher.isWatching());
    const QStringList lines = warnings.lines().filter(u"lumen.sleep: "_s);
    EXPECT_EQ(lines.size(), 1) << warnings.lines().join(u'\n').toStdString();
}

} // namespace
