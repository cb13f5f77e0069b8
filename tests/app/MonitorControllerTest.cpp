#include "app/CorvaneMonitorController.h"
#include "app/DesktopServices.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "platform/PropertyList.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"
#include "support/FakeAlertPresenter.h"
#include "support/LoopbackServers.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class FakeDesktop : public DesktopServices
{
public:
    bool openUrl(const QUrl &url) override
    {
        opened.append(url);
        return true;
    }
    bool launchApplication(const QString &path) override
    {
        launched.append(path);
        return launchSucceeds;
    }
    QList<QUrl> opened;
    QStringList launched;
    bool launchSucceeds = false;
};

class MonitorControllerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        controller = std::make_unique<CorvaneMonitorController>(
            MonitorServices{&clock, &alerts, &desktop, &network, false});
        controller->awakeFromNib();
    }

    void logIn(const QString &user = u"ann@example.com"_s, bool withBackupSet = true)
    {
        PropertyList::writeDictionary(BrandPaths::loginDetails(),
                                      {{u"CorvaneUsername"_s, user}, {u"Username"_s, u"ann"_s},
                                       {u"Password"_s, u"secret"_s}, {u"serverName"_s, u"storage1"_s}});
        if (withBackupSet) {
            const QString set = CorvaneSchedulerController::pathForApplicationFile(14).replace(u"%@"_s, user);
            PropertyList::write(set, QVariantList{u"/Users/ann/Documents"_s}, PropertyList::Format::Xml);
        }
    }

    QString throttleFolder() const
    {
        return env.real(u"/Library/Application Support/CorvaneforMac/ann@example.com/Throttle"_s);
    }
    QByteArray fileText(const QString &real) const
    {
        QFile file(real);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    }

    TestEnvironment env;
    FixedClock clock{QDateTime(QDate(2026, 11, 16), QTime(10, 0))};
    FakeAlertPresenter alerts;
    FakeDesktop desktop;
    QNetworkAccessManager network;
    std::unique_ptr<CorvaneMonitorController> controller;
};

TEST_F(MonitorControllerTest, TheMenuCarriesEveryFixedTag)
{
    for (const int tag : {100, 101, 102, 310, 2013, 9122013, 9132013, 9142013})
        EXPECT_NE(controller->itemWithTag(tag), nullptr) << tag;
    EXPECT_EQ(controller->itemWithTag(CorvaneMonitorController::LaunchApplicationTag)->text(), u"Launch Corvane"_s);
    EXPECT_FALSE(controller->itemWithTag(9122013)->isEnabled()) << "no scheduled backup runs";
    EXPECT_EQ(controller->toolTip(), u"You have no scheduled jobs"_s);
    EXPECT_EQ(controller->statusImage(), u"Portable_tray1"_s);
    EXPECT_EQ(controller->spItemIndex(), 8);
}

TEST_F(MonitorControllerTest, BackupNowQueuesOneImmediateRecordAndWritesTwo)
{
    logIn();
    controller->backupNow();
    const QList<CorvaneScheduleItem> records = ScheduleArchive::load().records;
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records.first().frequency(), 0);
    EXPECT_EQ(records.first().scheduleTime(), clock.now().addSecs(45));
    EXPECT_EQ(records.first().corvaneUserName(), u"ann@example.com"_s);
    EXPECT_TRUE(records.first().displayDesktopNotification());
    EXPECT_EQ(SchedulerState::read(), u"2"_s);
    EXPECT_TRUE(controller->newSchedule().has_value());

    // A second request while the state reads "2".
    controller->backupNow();
    EXPECT_EQ(alerts.lastMessage(), u"Immediate schedule has already been scheduled. Please try after it completes."_s);
    EXPECT_EQ(ScheduleArchive::load().records.size(), 1);
}

TEST_F(MonitorControllerTest, BackupNowWithoutLoginOrBackupSetAsksToConfigure)
{
    controller->backupNow();
    EXPECT_EQ(alerts.lastMessage(), u"Please login to the Corvane and configure a backup set"_s);
    logIn(u"ann@example.com"_s, false);
    controller->backupNow();
    EXPECT_EQ(alerts.shown().size(), 2);
    EXPECT_TRUE(ScheduleArchive::load().records.isEmpty());
    EXPECT_EQ(SchedulerState::read(), u"0"_s);
}

TEST_F(MonitorControllerTest, BackupNowRefusesWhileTheSameUsersInteractiveBackupRuns)
{
    logIn();
    PropertyList::writeDictionary(FilePathAPIs::pathForApplicationFile(5), {{u"Interactive"_s, u"ann@example.com"_s}});
    controller->backupNow();
    ASSERT_EQ(alerts.shown().size(), 1);
    EXPECT_EQ(alerts.lastMessage(), u"Backup is in progress. Wait till it is complete to begin the backup on this machine."_s);
    EXPECT_TRUE(alerts.shown().first().modal);
    EXPECT_TRUE(ScheduleArchive::load().records.isEmpty());
    EXPECT_TRUE(controller->isBackupInProgress());
}

TEST_F(MonitorControllerTest, PauseAndResumeThrottleTheEngine)
{
    logIn();
    QDir().mkpath(throttleFolder());
    env.writeFile(u"/Library/Application Support/CorvaneforMac/ann@example.com/Throttle/Throttle.txt"_s, "512");
    QAction *pause = controller->itemWithTag(9122013);
    pause->setText(u"PAUSE the scheduled job"_s); // the test is on the lower-cased title
    controller->pauseResume(pause);
    EXPECT_EQ(pause->text(), u"Resume the scheduled job"_s);
    EXPECT_EQ(fileText(throttleFolder() + u"/Throttle.txt"_s), QByteArray("-1"));
    EXPECT_EQ(fileText(throttleFolder() + u"/CVThrottleB.txt"_s), QByteArray("-1"));
    EXPECT_EQ(fileText(throttleFolder() + u"/pause.txt"_s), QByteArray("1"));
    EXPECT_EQ(controller->statusImage(), u"CorvanePauseMenuIcon"_s);

    controller->pauseResume(pause);
    EXPECT_EQ(pause->text(), u"Pause the scheduled job"_s);
    EXPECT_EQ(fileText(throttleFolder() + u"/Throttle.txt"_s), QByteArray("512"));
    EXPECT_EQ(fileText(throttleFolder() + u"/pause.txt"_s), QByteArray("0"));
    EXPECT_EQ(controller->statusImage(), u"Portable_tray1"_s);
}

TEST_F(MonitorControllerTest, ResumeBeforeAnyPauseWritesAnEmptyValueAndOtherSendersDoNothing)
{
    logIn();
    QAction *pause = controller->itemWithTag(9122013);
    pause->setText(u"Resume the scheduled job"_s);
    controller->pauseResume(pause);
    EXPECT_EQ(fileText(throttleFolder() + u"/Throttle.txt"_s), QByteArray(""));

    QAction stranger(u"Pause the scheduled job"_s);
    stranger.setData(3712);
    QFile::remove(throttleFolder() + u"/Throttle.txt"_s);
    controller->pauseResume(&stranger);
    EXPECT_EQ(stranger.text(), u"Pause the scheduled job"_s);
    EXPECT_EQ(fileText(throttleFolder() + u"/Throttle.txt"_s), QByteArray("<missing>"));
}

TEST_F(MonitorControllerTest, EnableAndDisableAllScheduledJobs)
{
    QAction *all = controller->itemWithTag(9142013);
    ASSERT_EQ(all->text(), u"Disable all scheduled jobs"_s);
    controller->removeAllSchedules(all);
    EXPECT_EQ(all->text(), u"Enable all scheduled jobs"_s);
    EXPECT_EQ(env.readFile(BrandPaths::schedulerStatus()), QByteArray("0"));
    EXPECT_EQ(controller->toolTip(), u"You have disabled all your scheduled job(s)"_s);
    controller->removeAllSchedules(all);
    EXPECT_EQ(all->text(), u"Disable all scheduled jobs"_s);
    EXPECT_EQ(env.readFile(BrandPaths::schedulerStatus()), QByteArray("1"));
}

TEST_F(MonitorControllerTest, TheStopFromTheSubMenuAsksAndWritesExactlyThree)
{
    alerts.answerWith({AlertPresenter::kAlternate});
    controller->cancelBackupFromSubmenu();
    EXPECT_EQ(SchedulerState::read(), u"0"_s) << "Cancel writes nothing";
    controller->cancelBackupFromSubmenu();
    EXPECT_EQ(env.readFile(SchedulerState::path()), QByteArray("3"));
    EXPECT_EQ(alerts.lastMessage(), u"Are you sure you wish to stop the scheduled backup operation?"_s);
}

TEST_F(MonitorControllerTest, ProgressNeedsARunningBackupOrRestore)
{
    controller->showProgress();
    EXPECT_EQ(alerts.lastMessage(), u"No backup operation is in progress"_s);
    controller->enableShowProgress();
    controller->showProgress();
    EXPECT_EQ(env.readFile(FilePathAPIs::pathForApplicationFile(30)), QByteArray("1"));
}

TEST_F(MonitorControllerTest, RunningSchedulesEnableTheSubMenuAndNameTheNextStart)
{
    CorvaneScheduleItem daily(clock);
    daily.setCorvaneUserName(u"ann@example.com"_s);
    daily.setScheduleTime(QDateTime(QDate(2026, 11, 16), QTime(20, 0)));
    ScheduleArchive::save({daily});
    controller->refresh();
    EXPECT_EQ(controller->toolTip(), u"Your next scheduled backup will start on Mon Nov 16 2026 08:00:00 PM"_s);

    daily.setStatus(CorvaneScheduleItem::InProgress);
    ScheduleArchive::save({daily});
    controller->refresh();
    EXPECT_TRUE(controller->itemWithTag(9122013)->isEnabled());
    EXPECT_TRUE(controller->itemWithTag(9132013)->isEnabled());
}

TEST_F(MonitorControllerTest, ScheduleDetailsOpenOnceWhenTheFailCountAsks)
{
    logIn();
    const QString failCount = FilePathAPIs::pathForApplicationFile(31).replace(u"%@"_s, u"ann@example.com"_s);
    PropertyList::writeDictionary(failCount, {{u"ViewScheduleDetails"_s, true}, {u"Count"_s, 3}});
    bool shown = false;
    QObject::connect(controller->scheduler(), &CorvaneSchedulerController::summaryWindowRequested, [&] { shown = true; });
    controller->displayScheduleDetails();
    EXPECT_TRUE(shown);
    EXPECT_FALSE(PropertyList::readDictionary(failCount).value(u"ViewScheduleDetails"_s).toBool());
    EXPECT_EQ(PropertyList::readDictionary(failCount).value(u"Count"_s).toInt(), 3);
}

TEST_F(MonitorControllerTest, RunningProcessCountsAndTheLaunchItem)
{
    // Nothing on this machine runs the web-management helper; the temporary files are removed.
    EXPECT_EQ(controller->isApplicationRunning(u"sleep"_s), 0);
    EXPECT_TRUE(QDir::temp().entryList({u"*_sl"_s, u"*_id_sl"_s}).isEmpty());
    controller->isApplicationLaunched();
    EXPECT_TRUE(controller->itemWithTag(CorvaneMonitorController::LaunchApplicationTag)->isEnabled());
    controller->resetMonitorUI();
    EXPECT_EQ(controller->toolTip(), u"Corvane Lumen"_s);
}

TEST_F(MonitorControllerTest, TheSummaryWindowsRunNowAcceptsAnEmptyBackupSetButNeedsOne)
{
    CorvaneSchedulerController *scheduler = controller->scheduler();
    bool launchAsked = false;
    QObject::connect(scheduler, &CorvaneSchedulerController::applicationLaunchRequested, [&] { launchAsked = true; });
    EXPECT_FALSE(scheduler->scheduleImmeadiateBackup());
    EXPECT_EQ(alerts.lastMessage(), u"Login to Corvane using the Corvane application atleast once"_s);
    EXPECT_TRUE(launchAsked);

    logIn(u"ann@example.com"_s, false);
    EXPECT_FALSE(scheduler->scheduleImmeadiateBackup());
    EXPECT_EQ(alerts.lastMessage(), u"Login to Corvane for Mac to configure a backup set"_s);

    const QString set = CorvaneSchedulerController::pathForApplicationFile(14).replace(u"%@"_s, u"ann@example.com"_s);
    PropertyList::write(set, QVariantList(), PropertyList::Format::Xml);
    EXPECT_FALSE(scheduler->backupNow()) << "the menu's backup-now wants at least one path";
    EXPECT_TRUE(scheduler->scheduleImmeadiateBackup()) << "this one only wants the file";
    EXPECT_EQ(alerts.lastMessage(), u"The immediate backup has been scheduled, it will commence in a few seconds"_s);
    EXPECT_EQ(ScheduleArchive::load().records.size(), 1);
}

TEST_F(MonitorControllerTest, LaunchHelpAndTheApplicationByPathThenName)
{
    controller->launchApplication();
    EXPECT_EQ(desktop.launched, (QStringList{u"/Applications/Corvane.app"_s, u"Corvane"_s}));
    controller->onlineHelp();
    EXPECT_EQ(desktop.opened.last(), QUrl(u"https://help.corvane.example"_s));
}

class UpdateCheckTest : public MonitorControllerTest
{
protected:
    // Points the update service at `url` through a resources folder of the test's own.
    void useUpdateService(const QString &url)
    {
        QVariantMap strings = StringTable::shared().strings();
        strings.insert(u"UpdateServiceURL"_s, url);
        QFile file(resources.filePath(u"Localizable.plist"_s));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(PropertyList::toData(strings, PropertyList::Format::Xml));
        file.close();
        StringTable::install(u"corvane"_s, resources.path());
    }
    void TearDown() override { StringTable::install(u"corvane"_s); }
    QTemporaryDir resources;
};

TEST_F(UpdateCheckTest, YesOffersTheDownload)
{
    TestHttpServer server(false, {u"--update-reply"_s, u"Y 2.0"_s});
    ASSERT_TRUE(server.isRunning());
    useUpdateService(server.url(QString()));
    alerts.answerWith({AlertPresenter::kDefault});
    controller->updateSoftware();
    ASSERT_EQ(alerts.shown().size(), 1);
    EXPECT_EQ(alerts.lastMessage(), u"Do you want to upgrade to the latest version of Corvane Lumen?"_s);
    EXPECT_EQ(alerts.shown().first().imageName, u"Corvane_Portable"_s);
    ASSERT_EQ(desktop.opened.size(), 1);
    EXPECT_EQ(desktop.opened.first(), QUrl(u"https://www.corvane.example/downloads/lumen/CorvaneLumen.dmg"_s));

    alerts.answerWith({AlertPresenter::kAlternate});
    controller->updateSoftware();
    EXPECT_EQ(desktop.opened.size(), 1) << "No opens nothing";
}

TEST_F(UpdateCheckTest, NoSaysTheLatestIsInstalledAndOtherRepliesShowNothing)
{
    TestHttpServer no(false, {u"--update-reply"_s, u"N"_s});
    ASSERT_TRUE(no.isRunning());
    useUpdateService(no.url(QString()));
    controller->updateSoftware();
    EXPECT_EQ(alerts.lastMessage(), u"The latest version of Corvane Lumen is already installed on your computer."_s);

    TestHttpServer other(false, {u"--update-reply"_s, u"maybe"_s});
    useUpdateService(other.url(QString()));
    controller->updateSoftware();
    EXPECT_EQ(alerts.shown().size(), 1);
}

TEST_F(UpdateCheckTest, ATransportErrorShowsNothing)
{
    useUpdateService(u"http://127.0.0.1:%1"_s.arg(freeLoopbackPort()));
    controller->updateSoftware();
    EXPECT_TRUE(alerts.shown().isEmpty());
}

} // namespace
