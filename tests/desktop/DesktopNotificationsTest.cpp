#include "platform/DesktopNotifications.h"
#include "notify/JobResultNotifier.h"
#include "support/NotificationServer.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class DesktopNotificationsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(server.isRunning()) << "the notification name is taken"; }

    // The notifications the server got, once there are `count` of them.
    QList<NotificationServer::Notification> received(qsizetype count)
    {
        waitUntil([&] { return server.notifications().size() >= count; });
        return server.notifications();
    }

    NotificationServer server;
};

TEST_F(DesktopNotificationsTest, ANewNotificationReplacesThePreviousAndOnlyItsActionsCount)
{
    DesktopNotifications ours(u"Corvane Lumen"_s, u"lumen-monitor"_s);
    DesktopNotifications other(u"Other"_s);
    SignalRecorder ourActions(&ours, &DesktopNotifications::actionInvoked);
    SignalRecorder otherActions(&other, &DesktopNotifications::actionInvoked);

    // The second is sent before the first is answered: it must wait for the first's id.
    ours.notify(u"first"_s, u"one"_s, {{u"a"_s, u"Action A"_s}}, u"backup"_s, 8000);
    ours.notify(u"second"_s, u"two"_s, {{u"b"_s, u"Action B"_s}});
    other.notify(u"from another program"_s, QString());
    const auto shown = received(3);
    ASSERT_EQ(shown.size(), 3);
    const auto first = std::find_if(shown.begin(), shown.end(),
                                    [](const auto &n) { return n.summary == u"first"_s; });
    const auto second = std::find_if(shown.begin(), shown.end(),
                                     [](const auto &n) { return n.summary == u"second"_s; });
    ASSERT_TRUE(first != shown.end() && second != shown.end());
    EXPECT_EQ(first->replacesId, 0u);
    EXPECT_EQ(second->replacesId, first->id);
    EXPECT_EQ(ours.currentId(), first->id);
    EXPECT_NE(other.currentId(), first->id);
    EXPECT_EQ(first->appName, u"Corvane Lumen"_s);
    EXPECT_EQ(first->icon, u"backup"_s);
    EXPECT_EQ(first->expireTimeout, 8000);
    EXPECT_EQ(first->actions, (QStringList {u"a"_s, u"Action A"_s}));
    EXPECT_EQ(first->hints.value(u"desktop-entry"_s).toString(), u"lumen-monitor"_s);
    EXPECT_EQ(second->body, u"two"_s);

    server.invokeAction(other.currentId(), u"theirs"_s);
    server.invokeAction(ours.currentId(), u"b"_s);
    ASSERT_TRUE(waitUntil([&] { return ourActions.count() > 0 && otherActions.count() > 0; }));
    EXPECT_EQ(ourActions.emissions(), QList<QVariantList> {{u"b"_s}});
    EXPECT_EQ(otherActions.emissions(), QList<QVariantList> {{u"theirs"_s}});

    // Once the desktop has closed it, the next one is shown afresh; close() withdraws it.
    const uint id = ours.currentId();
    server.closeNotification(id);
    ASSERT_TRUE(waitUntil([&] { return ours.currentId() == 0; }));
    ours.notify(u"third"_s, QString());
    EXPECT_EQ(received(4).value(3).replacesId, 0u);
    ASSERT_TRUE(waitUntil([&] { return ours.currentId() != 0; }));
    ours.close();
    ASSERT_TRUE(waitUntil([&] { return !server.closeRequests().isEmpty(); }));
    EXPECT_EQ(server.closeRequests(), QList<uint> {received(4).value(3).id});
}

TEST(DesktopNotificationsWithoutService, FailsWithoutBlockingAndSaysSo)
{
    WarningCapture warnings;
    DesktopNotifications notifications(u"Corvane Lumen"_s);
    SignalRecorder failures(&notifications, &DesktopNotifications::failed);
    notifications.notify(u"nobody listens"_s, QString());
    EXPECT_EQ(failures.count(), 0) << "the answer is awaited on the event loop, not in notify()";
    ASSERT_TRUE(waitUntil([&] { return failures.count() > 0; }));
    EXPECT_EQ(notifications.currentId(), 0u);
    EXPECT_TRUE(warnings.lines().join(u'\n').contains(
        u"lumen.platform: desktop notification service: Notify failed"_s))
        << warnings.lines().join(u'\n').toStdString();
}

// What a finished job's details become on the desktop.
TEST_F(DesktopNotificationsTest, JobResultsBecomeNotificationsWithTheirActions)
{
    TestEnvironment environment;
    DesktopNotifications notifications(u"Corvane Lumen"_s);
    JobResultNotifier notifier(&notifications);
    const QVariantMap completed {{u"SessionLogPath"_s, u"/logs/session.log"_s},
                                 {u"AccountType"_s, u"Personal"_s},
                                 {u"PercentageQuota"_s, u"90"_s},
                                 {u"Username"_s, u"ann"_s},
                                 {u"StatusMessage"_s, u"All done"_s},
                                 {u"SuccessCount"_s, u"128"_s},
                                 {u"SyncFileCount"_s, u"1024"_s},
                                 {u"FailureCount"_s, u"0"_s}};
    const auto with = [&](const QVariantMap &changes) {
        QVariantMap details = completed;
        details.insert(changes);
        return details;
    };
    const QStringList viewLog {u"view-log"_s, u"View log"_s},
        backupNow {u"backup-now"_s, u"Back up now"_s}, upgrade {u"upgrade"_s, u"Upgrade"_s};
    struct Case {
        const char *name;
        QVariantMap details;
        QString summary;
        QString body;
        QStringList actions;
    };
    const QList<Case> cases {
        {"completed, personal plan at 90 %", completed, u"Backup completed"_s,
         u"All done\n128 files backed up\n1024 already in sync"_s, viewLog + backupNow + upgrade},
        {"failed, personal plan at 89 %, no log",
         with({{u"PercentageQuota"_s, u"89"_s},
               {u"SessionLogPath"_s, u""_s},
               {u"FailureCount"_s, u"3"_s},
               {u"ErrorMessage"_s, u"Disk full"_s}}),
         u"Backup failed"_s,
         u"All done\n128 files backed up\n1024 already in sync\n3 failed\nDisk full"_s, backupNow},
        {"business plan at 95 %",
         with({{u"AccountType"_s, u"Business"_s}, {u"PercentageQuota"_s, u"95"_s}}),
         u"Backup completed"_s, u"All done\n128 files backed up\n1024 already in sync"_s,
         viewLog + backupNow},
        {"no plan named, at 95 %",
         with({{u"AccountType"_s, QVariant()}, {u"PercentageQuota"_s, u"95"_s}}),
         u"Backup completed"_s, u"All done\n128 files backed up\n1024 already in sync"_s,
         viewLog + backupNow + upgrade},
    };
    for (const Case &c : cases) {
        const qsizetype before = server.notifications().size();
        EXPECT_TRUE(notifier.showJobResult(c.details)) << c.name;
        const auto shown = received(before + 1);
        ASSERT_EQ(shown.size(), before + 1) << c.name;
        EXPECT_EQ(shown.last().summary, c.summary) << c.name;
        EXPECT_EQ(shown.last().body, c.body) << c.name;
        EXPECT_EQ(shown.last().actions, c.actions) << c.name;
        EXPECT_EQ(shown.last().replacesId, before == 0 ? 0u : shown.first().id) << c.name;
    }

    // A hidden result sends nothing: the next one shown is the next the service gets.
    const qsizetype before = server.notifications().size();
    EXPECT_FALSE(notifier.showJobResult(
        with({{u"ShouldForceHide"_s, u"YES"_s}, {u"StatusMessage"_s, u"hidden"_s}})));
    notifier.showJobResult(
        with({{u"ShouldForceHide"_s, u"NO"_s}, {u"StatusMessage"_s, u"shown"_s}}));
    const auto shown = received(before + 1);
    ASSERT_EQ(shown.size(), before + 1);
    EXPECT_TRUE(shown.last().body.startsWith(u"shown"_s));

    // Each action of the notification on show reaches its signal.
    QStringList requests;
    QObject::connect(&notifier, &JobResultNotifier::viewLogRequested,
                     [&](const QString &path) { requests << u"view "_s + path; });
    QObject::connect(&notifier, &JobResultNotifier::backupNowRequested,
                     [&] { requests << u"backup"_s; });
    QObject::connect(&notifier, &JobResultNotifier::upgradeRequested,
                     [&](const QString &user) { requests << u"upgrade "_s + user; });
    for (const QString &key : {u"view-log"_s, u"backup-now"_s, u"upgrade"_s, u"default"_s})
        server.invokeAction(shown.last().id, key);
    waitUntil([&] { return requests.size() >= 3; });
    server.invokeAction(shown.last().id,
                        u"backup-now"_s); // anything after "default" would be seen before this
    waitUntil([&] { return requests.size() >= 4; });
    EXPECT_EQ(
        requests,
        (QStringList {u"view /logs/session.log"_s, u"backup"_s, u"upgrade ann"_s, u"backup"_s}));
}

} // namespace
