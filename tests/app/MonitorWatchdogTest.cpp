#include "MonitorFixture.h"

#include "logview/LogManager.h"
#include "logview/LogNode.h"
#include "support/NotificationServer.h"

using MonitorWatchdogTest = MonitorControllerTest;

namespace {

TEST_P(MonitorWatchdogTest, BackupsFallenBehindShowTheWarningAndOfferBackUpNowUntilOneSucceeds)
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

INSTANTIATE_TEST_SUITE_P(Brands, MonitorWatchdogTest, ::testing::ValuesIn(kBrands), brandName);

} // namespace
