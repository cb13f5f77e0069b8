#include "net/NetworkWatcher.h"
#include "support/NetworkManagerStandIn.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// NetworkManager is played on the test's private bus, which is this process's system bus (set
// before anything opens it, by the sleep watcher's test environment in this binary).
class NetworkWatcherTest : public ::testing::Test {
protected:
    void startManager(NetworkManagerStandIn::State state)
    {
        manager = std::make_unique<NetworkManagerStandIn>(state);
        ASSERT_TRUE(manager->isRunning()) << "the NetworkManager name is taken";
    }
    // The watcher hears of a change on its next turn of the event loop.
    void settle() { waitUntil([] { return false; }, 300); }

    std::unique_ptr<NetworkManagerStandIn> manager;
    QStringList ran;
    std::function<void()> work(const QString &name)
    {
        return [this, name] { ran << name; };
    }
};

TEST_F(NetworkWatcherTest, WorkWaitsForTheNetworkAndALaterRequestReplacesTheWaitingOne)
{
    startManager(NetworkManagerStandIn::Asleep); // just woken: NetworkManager still asleep
    NetworkWatcher watcher(u"networkmanager"_s);
    ASSERT_FALSE(watcher.isOnline());
    QList<bool> changes;
    QObject::connect(&watcher, &NetworkWatcher::onlineChanged, [&](bool online) { changes << online; });
    watcher.whenOnline(u"helper"_s, work(u"first"_s));
    watcher.whenOnline(u"helper"_s, work(u"second"_s));
    watcher.whenOnline(u"other"_s, work(u"other"_s));
    watcher.cancel(u"other"_s);
    EXPECT_TRUE(watcher.isWaiting(u"helper"_s));

    for (const auto state : {NetworkManagerStandIn::Connecting, NetworkManagerStandIn::ConnectedLocal}) {
        manager->setState(state);
        settle();
        EXPECT_TRUE(ran.isEmpty()) << "state " << state << " is not up";
    }
    manager->setState(NetworkManagerStandIn::ConnectedGlobal);
    ASSERT_TRUE(waitUntil([&] { return !ran.isEmpty(); }));
    settle();
    EXPECT_EQ(ran, QStringList{u"second"_s});
    EXPECT_FALSE(watcher.isWaiting(u"helper"_s));
    EXPECT_EQ(changes, QList<bool>{true});

    watcher.whenOnline(u"helper"_s, work(u"at once"_s));
    EXPECT_EQ(ran.last(), u"at once"_s) << "up: no wait";
    manager->setState(NetworkManagerStandIn::Disconnected);
    ASSERT_TRUE(waitUntil([&] { return changes.size() == 2; }));
    EXPECT_FALSE(changes.last());
}

TEST_F(NetworkWatcherTest, ANetworkThatReachesOnlyItsSiteCountsAsUp)
{
    // NetworkManager's internet check fails behind a proxy; the servers are still reachable.
    startManager(NetworkManagerStandIn::ConnectedSite);
    NetworkWatcher watcher(u"networkmanager"_s);
    EXPECT_TRUE(watcher.isOnline());
    watcher.whenOnline(u"helper"_s, work(u"ran"_s));
    EXPECT_EQ(ran, QStringList{u"ran"_s});
}

TEST_F(NetworkWatcherTest, WorkRunsAnywayWhenThePatienceRunsOut)
{
    startManager(NetworkManagerStandIn::Disconnected);
    NetworkWatcher watcher(u"networkmanager"_s);
    watcher.setPatience(100ms);
    watcher.whenOnline(u"helper"_s, work(u"ran"_s));
    EXPECT_TRUE(ran.isEmpty());
    EXPECT_TRUE(waitUntil([&] { return !ran.isEmpty(); }, 3000));
    EXPECT_FALSE(watcher.isWaiting(u"helper"_s));
}

TEST_F(NetworkWatcherTest, WithoutNetworkInformationTheNetworkCountsAsUp)
{
    NetworkWatcher watcher(u"no-such-backend"_s);
    EXPECT_TRUE(watcher.isOnline());
    watcher.whenOnline(u"helper"_s, work(u"ran"_s));
    EXPECT_EQ(ran, QStringList{u"ran"_s});
}

} // namespace
