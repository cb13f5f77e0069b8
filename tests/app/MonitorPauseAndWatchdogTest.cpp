#include "MonitorFixture.h"

#include "app/MonitorFiles.h"
#include "logview/LogManager.h"
#include "logview/LogNode.h"
#include "support/LogindStandIn.h"
#include "support/NotificationServer.h"

// Pauses with an end, and the watch over backups that fall behind.
using MonitorPauseAndWatchdogTest = MonitorControllerTest;

namespace {

TEST_P(MonitorPauseAndWatchdogTest, APresetPausesUntilItsEndThroughARestartThenResumesWithANotification)
{
    NotificationServer desktopService;
    ASSERT_TRUE(desktopService.isRunning());
    LogindStandIn logind(QDBusConnection::sessionBus());
    ASSERT_TRUE(logind.isRunning());
    logIn();
    start();
    const QString throttle = throttleFolder() + u"/Throttle.txt"_s;
    env.writeFile(brand().throttleFolder + u"/Throttle.txt"_s, "250");
    using C = CorvaneMonitorController;
    EXPECT_FALSE(controller->itemWithTag(C::PauseUntilNextBackupTag)->isEnabled()) << "no backup is scheduled";
    EXPECT_FALSE(controller->itemWithTag(C::PausedUntilTag)->isVisible());

    controller->itemWithTag(C::PauseOneHourTag)->trigger();
    EXPECT_EQ(fileText(throttle), "-1");
    EXPECT_EQ(fileText(throttleFolder() + u"/pause.txt"_s), "1");
    EXPECT_EQ(controller->itemWithTag(C::PausedUntilTag)->text(), u"Paused until 11:00"_s);
    EXPECT_EQ(controller->toolTip(), u"Paused until 11:00"_s);
    EXPECT_TRUE(controller->itemWithTag(C::PauseResumeTag)->isEnabled()) << "it can be resumed by hand";

    controller->itemWithTag(C::PauseFourHoursTag)->trigger(); // a longer pause replaces it
    EXPECT_EQ(controller->itemWithTag(C::PausedUntilTag)->text(), u"Paused until 14:00"_s);

    start(); // the monitor restarted meanwhile: the pause is still on
    EXPECT_TRUE(controller->itemWithTag(C::PausedUntilTag)->isVisible());
    EXPECT_EQ(controller->itemWithTag(C::PauseResumeTag)->text(), MonitorFiles::kResumeTitle);
    clock.set(clock.now().addSecs(4 * 3600 - 60));
    controller->checkForTotalQuota();
    EXPECT_EQ(fileText(throttle), "-1") << "a minute early";
    clock.set(clock.now().addSecs(3600)); // asleep through the end: the wake-up ends the pause
    logind.prepareForSleep(false);
    EXPECT_TRUE(waitUntil([&] { return fileText(throttle) == "250"; }, 3000))
        << "the throttle from before the pause, through the restart";
    EXPECT_EQ(fileText(throttleFolder() + u"/pause.txt"_s), "0");
    EXPECT_FALSE(controller->itemWithTag(C::PausedUntilTag)->isVisible());
    EXPECT_EQ(controller->itemWithTag(C::PauseResumeTag)->text(), MonitorFiles::kPauseTitle);
    ASSERT_TRUE(waitUntil([&] { return !desktopService.notifications().isEmpty(); }));
    EXPECT_EQ(desktopService.notifications().last().summary, u"Backups resumed"_s);
}

TEST_P(MonitorPauseAndWatchdogTest, UntilTheNextBackupAndResumedByHand)
{
    logIn();
    ScheduleArchive::save({dailyRecord(brand().user, QTime(20, 0))});
    start();
    env.writeFile(brand().throttleFolder + u"/Throttle.txt"_s, "80");
    using C = CorvaneMonitorController;
    QAction *untilNext = controller->itemWithTag(C::PauseUntilNextBackupTag);
    ASSERT_TRUE(untilNext->isEnabled());
    untilNext->trigger();
    EXPECT_EQ(controller->itemWithTag(C::PausedUntilTag)->text(), u"Paused until 20:00"_s);
    controller->itemWithTag(C::PauseResumeTag)->trigger();
    EXPECT_EQ(fileText(throttleFolder() + u"/Throttle.txt"_s), "80");
    EXPECT_FALSE(controller->itemWithTag(C::PausedUntilTag)->isVisible());
    EXPECT_FALSE(controller->snooze()->pausedUntil()) << "the pause's end is forgotten";
}

TEST_P(MonitorPauseAndWatchdogTest, BackupsFallenBehindShowTheWarningAndOfferBackUpNowUntilOneSucceeds)
{
    NotificationServer desktopService;
    ASSERT_TRUE(desktopService.isRunning());
    logIn();
    ScheduleArchive::save({dailyRecord(brand().user)});
    const auto succeededDaysAgo = [&](int days) {
        LogNode run;
        run.setDatetime(QLocale::c().toString(clock.now().addDays(-days), u"MMM dd, yyyy hh:mm:ss AP"_s));
        run.setUname(brand().user);
        run.setStatus(u"Success"_s);
        env.writeFile(LogManager::kIndexFolder + u'/' + clock.now().addDays(-days).toString(LogManager::kDayFormat)
                          + u".xml"_s,
                      LogManager::getXMLfromNodes({run}).toUtf8());
    };
    succeededDaysAgo(6);
    start();
    EXPECT_EQ(controller->statusImage(), brand().idleImage) << "six days: fine";
    // The dashboard at the menu's top: the last backup, and the schedule's next run.
    using C = CorvaneMonitorController;
    ASSERT_GE(controller->statusMenu().size(), 2);
    EXPECT_EQ(controller->statusMenu().at(0), controller->itemWithTag(C::DashboardTag));
    EXPECT_EQ(controller->itemWithTag(C::DashboardTag)->text(), u"Last backup: Success (Tue Nov 10, 10:00)"_s);
    EXPECT_EQ(controller->itemWithTag(C::DashboardTag + 1)->text(), u"Daily backup: next Mon Nov 16, 20:00"_s);
    EXPECT_FALSE(controller->itemWithTag(C::DashboardTag + 1)->isEnabled());

    clock.set(clock.now().addDays(2)); // eight days since
    controller->checkForTotalQuota();
    EXPECT_EQ(controller->statusImage(), CorvaneMonitorController::kBackupWarningIcon);
    ASSERT_TRUE(waitUntil([&] { return !desktopService.notifications().isEmpty(); }));
    const NotificationServer::Notification told = desktopService.notifications().last();
    EXPECT_EQ(told.summary, u"No recent backup"_s);
    EXPECT_TRUE(told.actions.contains(u"backup-now"_s));
    controller->checkForTotalQuota();
    QCoreApplication::processEvents();
    EXPECT_EQ(desktopService.notifications().size(), 1) << "told once, not every minute";

    desktopService.invokeAction(told.id, u"backup-now"_s);
    EXPECT_TRUE(waitUntil([] {
        const QList<CorvaneScheduleItem> records = ScheduleArchive::load().records;
        return records.size() == 2 && records.last().frequency() == CorvaneScheduleItem::Immediate;
    })) << "a backup was queued";

    succeededDaysAgo(0);
    controller->checkForTotalQuota();
    EXPECT_EQ(controller->statusImage(), brand().idleImage) << "caught up";
}

TEST_P(MonitorPauseAndWatchdogTest, AFirstScheduleIsGivenItsDaysBeforeItCountsAsFallenBehind)
{
    logIn();
    ScheduleArchive::save({dailyRecord(brand().user)});
    start(); // no backup has ever run
    EXPECT_EQ(controller->statusImage(), brand().idleImage) << "just scheduled";
    clock.set(clock.now().addDays(7));
    start();
    EXPECT_EQ(controller->statusImage(), brand().idleImage) << "seven days: fine";
    clock.set(clock.now().addDays(1));
    controller->checkForTotalQuota();
    EXPECT_EQ(controller->statusImage(), CorvaneMonitorController::kBackupWarningIcon) << "eight days, never a success";
}

INSTANTIATE_TEST_SUITE_P(Brands, MonitorPauseAndWatchdogTest, ::testing::ValuesIn(kBrands), brandName);

} // namespace
