// The monitor's account side as the user meets it: the quota icon and tool tip, the plan's menu
// items, job results in the notification window, and the refresh on waking from sleep.

#include "MonitorFixture.h"

#include "app/MonitorAccount.h"
#include "app/WebManagement.h"
#include "prefs/PreferencesPanes.h"
#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "platform/UserDefaults.h"
#include "product/MonitorSettings.h"
#include "product/FilePathAPIs.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"
#include "support/LogindStandIn.h"
#include "support/NotificationServer.h"
#include "util/StringExtensions.h"

#include <QDBusConnection>

namespace {

const QString kQuotaExceededTip = u"You have exceeded the allocated quota limit. For further backups you have to "
                                  "upgrade your account. Click the 'Upgrade Storage' menu item to upgrade your "
                                  "Corvane account"_s;

class MonitorAccountStateTest : public MonitorControllerTest
{
protected:
    void writeQuota(double total, double used)
    {
        const QString path = stringWithFormat(FilePathAPIs::pathForApplicationFile(0), {brand().user});
        const auto stored = [](double megabytes) { return stelloaExtension::encryptedString(QString::number(megabytes)); };
        ASSERT_TRUE(PropertyList::writeDictionary(
            path, {{u"TOTALQUOTASIZE"_s, stored(total)}, {u"USEDQUOTASIZE"_s, stored(used)}}));
    }
    void writePlan(const QByteArray &plan)
    {
        const QString folder = brand().id == u"corvane"_s ? u"CorvanePortableforMac"_s : u"StelloaLumen"_s;
        env.writeFile(u"/Library/Application Support/"_s + folder + u'/' + brand().user + u"/.plan.txt"_s, plan);
    }
    bool corvane() const { return brand().id == u"corvane"_s; }
};

TEST_P(MonitorAccountStateTest, AnExceededQuotaBlinksUntilTheMenuIsOpenedAndStopsWhenThereIsRoomAgain)
{
    logIn();
    writeQuota(100, 90);
    controller->checkForTotalQuota();
    if (!corvane()) {
        EXPECT_FALSE(controller->isBlinking()) << "only the first brand watches the quota";
        EXPECT_NE(controller->toolTip(), kQuotaExceededTip);
        return;
    }
    ASSERT_TRUE(controller->isBlinking());
    EXPECT_EQ(controller->toolTip(), kQuotaExceededTip);
    controller->blinkStatusImageOnQuotaExceed();
    EXPECT_EQ(controller->statusImage(), u"CorvaneUpgradeMenuIcon"_s);
    controller->blinkStatusImageOnQuotaExceed();
    EXPECT_EQ(controller->statusImage(), u"Portable_tray1"_s);
    const QString before = controller->statusImage();
    ASSERT_TRUE(waitUntil([&] { return controller->statusImage() != before; }, 2000)) << "the timer blinks";

    controller->checkForTotalQuota();
    EXPECT_TRUE(controller->isBlinking()) << "one blinking timer, still running";
    controller->statusItemClicked();
    EXPECT_FALSE(controller->isBlinking()) << "seen: no more blinking";
    EXPECT_EQ(controller->statusImage(), u"CorvaneUpgradeMenuIcon"_s) << "but the upgrade icon stays";

    writeQuota(100, 89.4);
    controller->checkForTotalQuota();
    EXPECT_FALSE(controller->isBlinking());
    EXPECT_EQ(controller->statusImage(), u"Portable_tray1"_s);
    EXPECT_NE(controller->toolTip(), kQuotaExceededTip);

    writeQuota(100, 95); // exceeded again later: it blinks again
    controller->checkForTotalQuota();
    EXPECT_TRUE(controller->isBlinking());
    controller->resetMonitorUI();
    EXPECT_FALSE(controller->isBlinking());
}

TEST_P(MonitorAccountStateTest, APausedJobKeepsItsIconWhileTheQuotaIsFine)
{
    logIn();
    writeQuota(5000, 10);
    QAction pause(u"Pause the scheduled job"_s);
    pause.setData(int(CorvaneMonitorController::PauseResumeTag));
    controller->pauseResume(&pause);
    controller->checkForTotalQuota();
    EXPECT_EQ(controller->statusImage(), u"CorvanePauseMenuIcon"_s);
}

TEST_P(MonitorAccountStateTest, PlanUsersDoNotSeeTheAccountOffersAndRemoteManageNeedsALogin)
{
    if (!corvane()) {
        EXPECT_EQ(controller->itemWithTag(100), nullptr);
        return;
    }
    const auto offersVisible = [&] {
        return controller->itemWithTag(100)->isVisible() && controller->itemWithTag(101)->isVisible()
            && controller->itemWithTag(102)->isVisible();
    };
    EXPECT_TRUE(offersVisible());
    EXPECT_FALSE(controller->itemWithTag(310)->isEnabled()) << "nobody in the last-login file";
    logIn();
    for (const QByteArray plan : {"Personal", "Business"}) {
        writePlan(plan);
        controller->enablePreferences();
        EXPECT_FALSE(controller->itemWithTag(100)->isVisible() || controller->itemWithTag(101)->isVisible()
                     || controller->itemWithTag(102)->isVisible())
            << plan.toStdString();
    }
    writePlan("Trial");
    controller->enablePreferences();
    EXPECT_TRUE(offersVisible());
    controller->checkForTotalQuota();
    EXPECT_TRUE(controller->itemWithTag(310)->isEnabled());
    EXPECT_EQ(controller->mPreviouslyLoggedInUser(), brand().user);
}

TEST_P(MonitorAccountStateTest, TheLoginDetailsFillTheAccountRecordOfThePanes)
{
    const UserDefaults defaults(MonitorSettings::defaultsDomain());
    EXPECT_EQ(defaults.objectForKey(u"NSInitialToolTipDelay"_s), QVariant(50));
    EXPECT_EQ(defaults.objectForKey(u"AppleShowAllFiles"_s), QVariant(true));
    EXPECT_TRUE(controller->preferencesPanes()->general.userInfo().UserName().isEmpty()) << "nobody logged in at start";
    writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s},
                {u"Password"_s, stelloaExtension::encryptedString(u"secret"_s)},
                {u"serverName"_s, u"storage1"_s}});
    start();
    EXPECT_EQ(controller->preferencesPanes()->general.userInfo().UserName(), u"ann@example.com"_s);
    EXPECT_EQ(controller->preferencesPanes()->general.userInfo().Password(), u"secret"_s);
    EXPECT_EQ(controller->preferencesPanes()->general.userInfo().NexaServerIP(), u"storage1"_s);
    EXPECT_EQ(controller->userNameLabel(), u"ann@example.com"_s);
    controller->disablePreferences();
    EXPECT_TRUE(controller->userNameLabel().isEmpty());
    controller->enablePreferences();
    EXPECT_EQ(controller->userNameLabel(), u"ann@example.com"_s);
}

TEST_P(MonitorAccountStateTest, AJobResultShowsTheNotificationWindowAndKeepsItsSessionLog)
{
    const QVariantMap result{{u"SessionLogPath"_s, u"/Library/Logs/run 11-23-2026-10-00-00"_s},
                             {u"AccountType"_s, u"Business"_s},
                             {u"Username"_s, u"ann"_s},
                             {u"SuccessCount"_s, u"12"_s},
                             {u"FailureCount"_s, u"0"_s},
                             {u"TotalCount"_s, u"12"_s}};
    receive(result, 1, true);
    ASSERT_EQ(notificationWindow.shown.size(), 1);
    const NotificationLayout &shown = notificationWindow.shown.first();
    EXPECT_FALSE(shown.isStatus);
    EXPECT_TRUE(shown.isBusinessUser);
    EXPECT_TRUE(shown.showBackupStatus);
    EXPECT_EQ(shown.totalCount, u"12 files"_s);
    EXPECT_EQ(controller->mSessionLogScheduledBackup(), result.value(u"SessionLogPath"_s).toString());
    controller->openLogfile();
    ASSERT_EQ(desktop.opened.size(), 1);
    EXPECT_EQ(desktop.opened.first(), QUrl::fromLocalFile(env.real(u"/Library/Logs/run 11-23-2026-10-00-00"_s)));

    QVariantMap hidden = result;
    hidden.insert(u"ShouldForceHide"_s, u"YES"_s);
    receive(hidden, 1, true);
    EXPECT_EQ(notificationWindow.shown.size(), 1) << "asked not to be shown";
    receive(u"a text, not a result"_s, 1, true);
    EXPECT_EQ(notificationWindow.shown.size(), 1);

    QVariantMap personal = result;
    personal.remove(u"AccountType"_s);
    receive(personal, 1, true);
    ASSERT_EQ(notificationWindow.shown.size(), 2);
    EXPECT_FALSE(notificationWindow.shown.last().isBusinessUser) << "no plan named: not a business plan";
}

TEST_P(MonitorAccountStateTest, TheDesktopNotificationsActionsReachTheMonitor)
{
    NotificationServer desktopService;
    ASSERT_TRUE(desktopService.isRunning());
    logIn();
    const QString log = u"/Library/Logs/run 11-23-2026-10-00-00"_s;
    receive(QVariantMap{{u"SessionLogPath"_s, log}, {u"AccountType"_s, u"Personal"_s},
                        {u"PercentageQuota"_s, u"95"_s}, {u"Username"_s, brand().user}},
            1, true);
    ASSERT_TRUE(waitUntil([&] { return !desktopService.notifications().isEmpty(); }));
    const uint id = desktopService.notifications().last().id;

    desktopService.invokeAction(id, u"view-log"_s);
    ASSERT_TRUE(waitUntil([&] { return desktop.opened.size() == 1; }));
    EXPECT_EQ(desktop.opened.last(), QUrl::fromLocalFile(env.real(log)));
    // Not remembered, and the main application is not running: the product's home page.
    desktopService.invokeAction(id, u"upgrade"_s);
    ASSERT_TRUE(waitUntil([&] { return desktop.opened.size() == 2; }));
    EXPECT_EQ(desktop.opened.last().host(), QUrl(brand().downloadUrl).host());
    desktopService.invokeAction(id, u"backup-now"_s);
    EXPECT_TRUE(waitUntil([] { return ScheduleArchive::load().records.size() == 1; })) << "a job was queued";
}

TEST_P(MonitorAccountStateTest, TheStatusWindowShowsTheAccountAndTheNextBackup)
{
    logIn();
    writeQuota(1000, 250);
    writePlan("Personal");
    ScheduleArchive::save({dailyRecord(brand().user)});
    receive(u"Start"_s, 4, true);
    controller->showStatusWindow();
    ASSERT_EQ(notificationWindow.shown.size(), 1);
    const NotificationLayout &shown = notificationWindow.shown.first();
    EXPECT_TRUE(shown.isStatus);
    EXPECT_EQ(shown.nextJobText, u"Your next scheduled backup will start on Mon Nov 16 2026 08:00:00 PM"_s);
    EXPECT_EQ(shown.statusText, u"Scheduled backup is in progress"_s);
    EXPECT_FALSE(shown.isBusinessUser);
    if (corvane()) { // the second brand's last login names its user under another key
        EXPECT_EQ(shown.quotaLevel, 25);
        EXPECT_EQ(shown.quotaText, u"250 MB out of 1000 MB"_s);
    }
    receive(u"Terminate"_s, 4, true);
    writePlan("Business");
    controller->showStatusWindow();
    ASSERT_EQ(notificationWindow.shown.size(), 2);
    EXPECT_TRUE(notificationWindow.shown.last().statusText.isEmpty()) << "nothing in progress";
    EXPECT_EQ(notificationWindow.shown.last().isBusinessUser, corvane());
}

TEST_P(MonitorAccountStateTest, TheRefreshAtTheStartOfTheCutOffMinuteAsksTheEngineToStop)
{
    clock.set(QDateTime(clock.now().date(), QTime(23, 14, 59, 900)));
    start();
    CorvaneScheduleItem running = dailyRecord(brand().user);
    running.setStatus(CorvaneScheduleItem::InProgress);
    ScheduleArchive::save({running});
    ASSERT_TRUE(PropertyList::writeDictionary(
        FilePathAPIs::pathForApplicationFile(32),
        {{brand().user, QVariantMap{{u"EnableCutoffTimeKey"_s, true},
                                    {u"CutoffTimeKey"_s, QDateTime(QDate(2026, 1, 5), QTime(23, 15))}}}}));
    controller->checkForTotalQuota();
    EXPECT_NE(SchedulerState::read(), u"5"_s) << "a minute early";
    clock.set(QDateTime(clock.now().date(), QTime(23, 15, 0, 40))); // the minute has come
    EXPECT_TRUE(waitUntil([] { return SchedulerState::read() == "5"_L1; }, 3000)) << "the minute's refresh";
}

TEST_P(MonitorAccountStateTest, WakingFromSleepRefreshesAtOnceAndCatchesTheCutOffMinute)
{
    LogindStandIn logind(QDBusConnection::sessionBus());
    ASSERT_TRUE(logind.isRunning());
    start(); // after the stand-in, so that the monitor finds it
    CorvaneScheduleItem running = dailyRecord(brand().user);
    running.setStatus(CorvaneScheduleItem::InProgress);
    ScheduleArchive::save({running});
    const QDateTime cutOff(clock.now().date(), QTime(23, 15));
    ASSERT_TRUE(PropertyList::writeDictionary(
        FilePathAPIs::pathForApplicationFile(32),
        {{brand().user, QVariantMap{{u"EnableCutoffTimeKey"_s, true}, {u"CutoffTimeKey"_s, cutOff}}}}));

    // Asleep from before the cut-off until within its minute: no minute timer saw it.
    clock.set(QDateTime(clock.now().date(), QTime(23, 15, 30)));
    logind.prepareForSleep(true);
    waitUntil([] { return false; }, 200);
    EXPECT_NE(SchedulerState::read(), u"5"_s) << "going to sleep changes nothing";
    logind.prepareForSleep(false);
    EXPECT_TRUE(waitUntil([] { return SchedulerState::read() == "5"_L1; }, 5000));
}

class RemoteManageTest : public MonitorAccountStateTest
{
protected:
    void SetUp() override
    {
        MonitorAccountStateTest::SetUp();
        // The second brand names the last login's user "StelloaUserName" here.
        writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s}, {u"Username"_s, u"ann-b"_s},
                    {u"StelloaUserName"_s, u"ann"_s}});
        controller->checkForTotalQuota();
    }
    QString folder() const
    {
        return corvane() ? u"/Library/Application Support/CorvanePortableforMac/"_s
                         : u"/Library/Application Support/StelloaLumen/"_s;
    }
    QString state() const { return folder() + u"WebManagement.plist"_s; }
    QString status() const { return folder() + u"WebManagementStatus.plist"_s; }
    QString helper() const { return folder() + (corvane() ? u"CorvaneWebManagement"_s : u"StelloaforMacWebManagement"_s); }
    QString user() const { return corvane() ? u"ann@example.com"_s : u"ann"_s; }
    WebManagement &web() const { return *controller->webManagement(); }
    QAction *item() const { return controller->itemWithTag(310); }
};

TEST_P(RemoteManageTest, TheItemFollowsTheStateFileAndTheHelpersReport)
{
    EXPECT_TRUE(item()->isEnabled());
    EXPECT_EQ(controller->mPreviouslyLoggedInUser(), user());
    EXPECT_FALSE(item()->isChecked()) << "no state file";

    const int stops = web().stopRequests();
    EXPECT_GT(stops, 0) << "and the helper was stopped";
    ASSERT_TRUE(PropertyList::writeDictionary(state(), {{user(), u"1"_s}}));
    controller->checkForTotalQuota();
    EXPECT_TRUE(item()->isChecked());
    EXPECT_EQ(web().lastStartCommand(), u"open -g \""_s + helper() + u'"');
    EXPECT_EQ(web().stopRequests(), stops) << "nothing stopped while it is on";

    // A failed login of the helper says so, unless the state was off already.
    ASSERT_TRUE(PropertyList::writeDictionary(status(), {{user(), QVariantMap{{u"User_State"_s, u"2"_s}}}}));
    ASSERT_TRUE(web().webManagementQuit(false, true, user() + u"-other"_s)) << "another user: launched";
    EXPECT_TRUE(alerts.shown().isEmpty());
    controller->checkForTotalQuota();
    EXPECT_FALSE(item()->isChecked());
    EXPECT_EQ(alerts.lastMessage(), u"Authentication failed. Login to Corvane with your updated credentials."_s);
    EXPECT_FALSE(PropertyList::readDictionary(state()).contains(user()));
    EXPECT_EQ(web().lastStopCommand(),
              u"ps axwww | grep "_s + helper().section(u'/', -1) + u" | awk '{print $1}' | xargs -n1 kill -9 &> .error"_s);

    for (const char *stopped : {"3", "4"}) {
        ASSERT_TRUE(PropertyList::writeDictionary(state(), {{user(), u"1"_s}}));
        ASSERT_TRUE(PropertyList::writeDictionary(
            status(), {{user(), QVariantMap{{u"User_State"_s, QString::fromLatin1(stopped)}}}}));
        controller->checkForTotalQuota();
        EXPECT_FALSE(item()->isChecked()) << "the helper reported " << stopped;
        EXPECT_FALSE(PropertyList::readDictionary(state()).contains(user())) << stopped;
    }
}

TEST_P(RemoteManageTest, ALogoutQuitsThePreviousUsersHelper)
{
    ASSERT_TRUE(PropertyList::writeDictionary(state(), {{user(), u"1"_s}}));
    controller->checkForTotalQuota();
    const int stops = web().stopRequests();
    controller->checkForTotalQuota();
    ASSERT_EQ(web().stopRequests(), stops) << "the same user: nothing stopped";
    writeLogin({});
    controller->checkForTotalQuota();
    EXPECT_FALSE(item()->isEnabled());
    EXPECT_EQ(web().stopRequests(), stops + 1) << "logged out: the helper is stopped";
    EXPECT_EQ(controller->mPreviouslyLoggedInUser(), user()) << "kept until someone logs in";
}

TEST_P(RemoteManageTest, ChoosingTheItemTurnsItOnAndOffAndASupportMachineAsksFirst)
{
    item()->trigger();
    EXPECT_TRUE(item()->isChecked());
    EXPECT_EQ(PropertyList::readDictionary(state()), (QVariantMap{{user(), u"1"_s}}));
    item()->trigger();
    EXPECT_FALSE(item()->isChecked());
    EXPECT_TRUE(PropertyList::readDictionary(state()).isEmpty());

    env.writeFile(folder() + u".internalsupport"_s, "");
    alerts.answerWith({AlertPresenter::kAlternate});
    item()->trigger();
    EXPECT_EQ(alerts.lastMessage(), u"THIS APPLICATION HAS BEEN CONFIGURED FOR INTERNAL SUPPORT USE.\nWould you "
                                    "like to enable Remote Manage in this machine?"_s);
    EXPECT_FALSE(item()->isChecked()) << "cancelled";
    EXPECT_TRUE(PropertyList::readDictionary(state()).isEmpty());
    alerts.answerWith({AlertPresenter::kDefault});
    item()->trigger();
    EXPECT_TRUE(item()->isChecked());
}

INSTANTIATE_TEST_SUITE_P(Brands, RemoteManageTest, ::testing::ValuesIn(kBrands), brandName);

INSTANTIATE_TEST_SUITE_P(Brands, MonitorAccountStateTest, ::testing::ValuesIn(kBrands), brandName);

} // namespace
