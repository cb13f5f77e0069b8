#include "app/CorvaneMonitorController.h"
#include "app/DesktopServices.h"
#include "notify/views/AlertPaneWindowController.h"
#include "platform/PropertyList.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"
#include "support/FakeAlertPresenter.h"
#include "support/FakeDesktop.h"
#include "support/LoginDetails.h"
#include "support/LoopbackServers.h"
#include "support/TestEnvironment.h"
#include "MonitorFixture.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

TEST_P(MonitorControllerTest, TheMenuAndStatusItemOfTheBrand)
{
    for (const int tag : {310, 2013, 9122013, 9132013, 9142013})
        EXPECT_NE(controller->itemWithTag(tag), nullptr) << tag;
    for (const int tag : {100, 101, 102})
        EXPECT_EQ(controller->itemWithTag(tag) != nullptr, brand().id == u"corvane"_s) << tag;
    EXPECT_EQ(controller->itemWithTag(CorvaneMonitorController::LaunchApplicationTag)->text(), brand().launchTitle);
    EXPECT_FALSE(controller->itemWithTag(9122013)->isEnabled()) << "no scheduled backup runs";
    EXPECT_EQ(controller->statusImage(), brand().idleImage);
    EXPECT_EQ(controller->spItemIndex(), brand().spItemIndex);
}

TEST_P(MonitorControllerTest, TheToolTipIsTheBrandNameUntilARefreshHasSomethingToSay)
{
    EXPECT_EQ(controller->toolTip(), brand().name);
    controller->checkForTotalQuota();
    EXPECT_EQ(controller->toolTip(), brand().name) << "no schedules: nothing to say yet";

    CorvaneScheduleItem daily = dailyRecord(brand().user);
    ScheduleArchive::save({daily});
    controller->checkForTotalQuota();
    EXPECT_EQ(controller->toolTip(), u"Your next scheduled backup will start on Mon Nov 16 2026 08:00:00 PM"_s);
    daily.setStatus(CorvaneScheduleItem::InProgress);
    ScheduleArchive::save({daily});
    controller->checkForTotalQuota();
    EXPECT_TRUE(controller->itemWithTag(9122013)->isEnabled());
    EXPECT_TRUE(controller->itemWithTag(9132013)->isEnabled());

    ScheduleArchive::save({});
    controller->checkForTotalQuota();
    EXPECT_EQ(controller->toolTip(), u"You have no scheduled jobs"_s);
    controller->resetMonitorUI();
    EXPECT_EQ(controller->toolTip(), brand().name);
}

TEST_P(MonitorControllerTest, BackupNowQueuesOneImmediateRecordAndWritesTwo)
{
    logIn();
    controller->backupNow();
    const QList<CorvaneScheduleItem> records = ScheduleArchive::load().records;
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records.first().frequency(), 0);
    EXPECT_EQ(records.first().scheduleTime(), clock.now().addSecs(45));
    EXPECT_TRUE(records.first().displayDesktopNotification());
    EXPECT_EQ(SchedulerState::read(), u"2"_s);
    EXPECT_TRUE(controller->newSchedule().has_value());
}

TEST_P(MonitorControllerTest, BackupNowIsRefusedWhileAnythingIsPendingForTheEngine)
{
    logIn();
    ScheduleArchive::save({dailyRecord(brand().user)}); // else the state file is dropped as stale
    for (const char *state : {"2", "3", "5"}) {
        SchedulerState::write(QString::fromLatin1(state));
        controller->backupNow();
        EXPECT_EQ(alerts.lastMessage(), u"Immediate schedule has already been scheduled. Please try after it completes."_s)
            << state;
        EXPECT_EQ(ScheduleArchive::load().records.size(), 1) << state;
        EXPECT_EQ(SchedulerState::read(), QString::fromLatin1(state));
    }
}

TEST_P(MonitorControllerTest, BackupNowWithoutLoginOrBackupSetAsksToConfigure)
{
    controller->backupNow();
    EXPECT_EQ(alerts.lastMessage(), u"Please login to the Corvane and configure a backup set"_s);
    logIn(false);
    controller->backupNow();
    EXPECT_EQ(alerts.shown().size(), 2);
    EXPECT_TRUE(ScheduleArchive::load().records.isEmpty());
    EXPECT_EQ(SchedulerState::read(), u"0"_s);
}

TEST_P(MonitorControllerTest, BackupNowThatCannotBeSavedSaysWhyAndWritesNoState)
{
    logIn();
    QDir().mkpath(env.real(ScheduleArchive::path())); // a folder where the archive belongs
    controller->backupNow();
    EXPECT_TRUE(alerts.lastMessage().contains(env.real(ScheduleArchive::path()))) << alerts.lastMessage().toStdString();
    EXPECT_EQ(SchedulerState::read(), u"0"_s) << "the engine is not told about a job it cannot find";
    QDir(env.real(ScheduleArchive::path())).removeRecursively();
    controller->backupNow();
    EXPECT_EQ(SchedulerState::read(), u"2"_s);
    EXPECT_EQ(ScheduleArchive::load().records.size(), 1);
}

TEST_P(MonitorControllerTest, BackupNowWaitsOnlyForThisUsersInteractiveBackup)
{
    const QString refusal = u"Backup is in progress. Wait till it is complete to begin the backup on this machine."_s;
    logIn();
    const QString status = FilePathAPIs::pathForApplicationFile(5);
    PropertyList::writeDictionary(status, {{u"Interactive"_s, u"bob"_s}});
    EXPECT_FALSE(controller->isBackupInProgress());
    controller->backupNow();
    EXPECT_NE(alerts.lastMessage(), refusal) << "another user's backup does not block this one";
    EXPECT_EQ(ScheduleArchive::load().records.size(), 1);

    SchedulerState::write(u"0"_s);
    ScheduleArchive::save({});
    PropertyList::writeDictionary(status, {{u"Interactive"_s, brand().id == u"corvane"_s ? u"ann@example.com"_s : u"ann"_s}});
    controller->backupNow();
    EXPECT_EQ(alerts.lastMessage(), refusal);
    EXPECT_TRUE(alerts.shown().last().modal);
    EXPECT_TRUE(ScheduleArchive::load().records.isEmpty());
    EXPECT_TRUE(controller->isBackupInProgress());
}

TEST_P(MonitorControllerTest, PauseAndResumeThrottleTheEngine)
{
    logIn();
    QDir().mkpath(throttleFolder());
    env.writeFile(brand().throttleFolder + u"/Throttle.txt"_s, "512");
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
    EXPECT_EQ(controller->statusImage(), brand().idleImage);
}

TEST_P(MonitorControllerTest, ResumeBeforeAnyPauseWritesAnEmptyValueAndOtherSendersDoNothing)
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

TEST_P(MonitorControllerTest, EnableAndDisableAllScheduledJobs)
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

TEST_P(MonitorControllerTest, TheStopFromTheSubMenuAsksAndWritesExactlyThree)
{
    alerts.answerWith({AlertPresenter::kAlternate});
    controller->cancelBackupFromSubmenu();
    EXPECT_EQ(SchedulerState::read(), u"0"_s) << "Cancel writes nothing";
    controller->cancelBackupFromSubmenu();
    EXPECT_EQ(env.readFile(SchedulerState::path()), QByteArray("3"));
    EXPECT_EQ(alerts.lastMessage(), u"Are you sure you wish to stop the scheduled backup operation?"_s);
}

TEST_P(MonitorControllerTest, ProgressNeedsARunningBackupOrRestore)
{
    controller->showProgress();
    EXPECT_EQ(alerts.lastMessage(), u"No backup operation is in progress"_s);
    controller->enableShowProgress();
    controller->showProgress();
    EXPECT_EQ(env.readFile(FilePathAPIs::pathForApplicationFile(30)), QByteArray("1"));
}

TEST_P(MonitorControllerTest, ScheduleDetailsOpenOnceWhenTheFailCountAsks)
{
    logIn();
    const QString failCount = FilePathAPIs::pathForApplicationFile(31).replace(u"%@"_s, brand().user);
    PropertyList::writeDictionary(failCount, {{u"ViewScheduleDetails"_s, true}, {u"Count"_s, 3}});
    bool shown = false;
    QObject::connect(controller->scheduler(), &CorvaneSchedulerController::summaryWindowRequested, [&] { shown = true; });
    controller->displayScheduleDetails();
    EXPECT_TRUE(shown);
    EXPECT_FALSE(PropertyList::readDictionary(failCount).value(u"ViewScheduleDetails"_s).toBool());
    EXPECT_EQ(PropertyList::readDictionary(failCount).value(u"Count"_s).toInt(), 3);
}

TEST_P(MonitorControllerTest, RunningProcessCountsAndTheLaunchItem)
{
    // Nothing on this machine runs the web-management helper; the temporary files are removed
    // (from a temporary folder of this test's own: neighbouring tests make the same names).
    const QTemporaryDir temp;
    const QByteArray previous = qgetenv("TMPDIR");
    qputenv("TMPDIR", QFile::encodeName(temp.path()));
    EXPECT_EQ(controller->isApplicationRunning(u"no-such-helper-4711"_s), 0);
    EXPECT_TRUE(QDir(temp.path()).isEmpty());
    qputenv("TMPDIR", previous);
    controller->isApplicationLaunched();
    EXPECT_TRUE(controller->itemWithTag(CorvaneMonitorController::LaunchApplicationTag)->isEnabled());
}

TEST_P(MonitorControllerTest, TheSummaryWindowsRunNowAcceptsAnEmptyBackupSetButNeedsOne)
{
    CorvaneSchedulerController *scheduler = controller->scheduler();
    bool launchAsked = false;
    QObject::connect(scheduler, &CorvaneSchedulerController::applicationLaunchRequested, [&] { launchAsked = true; });
    EXPECT_FALSE(scheduler->scheduleImmeadiateBackup());
    EXPECT_TRUE(launchAsked);

    logIn(false);
    EXPECT_FALSE(scheduler->scheduleImmeadiateBackup());
    const QString set = CorvaneSchedulerController::pathForApplicationFile(14).replace(u"%@"_s, brand().user);
    PropertyList::write(set, QVariantList(), PropertyList::Format::Xml);
    EXPECT_FALSE(scheduler->backupNow()) << "the menu's backup-now wants at least one path";
    EXPECT_TRUE(scheduler->scheduleImmeadiateBackup()) << "this one only wants the file";
    EXPECT_EQ(alerts.lastMessage(), u"The immediate backup has been scheduled, it will commence in a few seconds"_s);
    EXPECT_EQ(ScheduleArchive::load().records.size(), 1);
}

TEST_P(MonitorControllerTest, LaunchTheApplicationByPathThenByNameAndOpenHelp)
{
    controller->launchApplication();
    EXPECT_EQ(desktop.launched, QStringList{brand().execPath});
    EXPECT_EQ(desktop.launchedByName, QStringList{brand().execName}) << "a name, not a path in the current folder";
    controller->onlineHelp();
    EXPECT_EQ(desktop.opened.last(), QUrl(brand().helpUrl));
}

TEST_P(MonitorControllerTest, TheInProgressMessageReusesItsOneWindow)
{
    AlertPanePresenter panes(brand().id == u"corvane"_s);
    MonitorServices services{&clock, &panes, &desktop, &network, false};
    CorvaneMonitorController withPanes(services);
    withPanes.awakeFromNib();
    withPanes.showProgress(); // "No backup operation is in progress"
    AlertPaneWindowController *window = AlertPaneWindowController::current();
    ASSERT_NE(window, nullptr);
    for (int click = 0; click < 3; ++click)
        withPanes.backupNow(); // "Please login ..."
    EXPECT_EQ(AlertPaneWindowController::current(), window) << "a new window per click";
    EXPECT_EQ(window->windowTitle(), brand().name);
    window->close();
}

TEST_P(MonitorControllerTest, MessagesOfTheCompanion)
{
    receive(u"Backing up: 10% done"_s, 2, true);
    EXPECT_EQ(controller->toolTip(), u"Backing up: 10% done"_s);
    // A type that is no number counts as type 0, which nothing handles.
    for (const QString &type : {u"two"_s, u""_s, u"0"_s, u"12"_s}) {
        controller->didReceiveIPCMessage({{u"Not a tool tip"_s, type, u"CorvanePortableAM"_s, u"CorvanePortableMA"_s},
                                          u":1.7"_s, true});
        QCoreApplication::processEvents();
        EXPECT_EQ(controller->toolTip(), u"Backing up: 10% done"_s) << type.toStdString();
    }

    // Operation state: only "Start" and "Terminate" count.
    const struct { QString payload; bool fromCompanion; bool expected; } operations[] = {
        {u"Start"_s, true, true}, {u"Stop"_s, true, true}, {u""_s, true, true}, {u"Terminate"_s, true, false},
        {u"start"_s, true, false}, {u"Start"_s, false, true}, {u"Terminate"_s, false, false}};
    for (const auto &op : operations) {
        receive(op.payload, 4, op.fromCompanion);
        EXPECT_EQ(controller->isOperationInProgress(), op.expected) << op.payload.toStdString();
    }

    // Command lines: only from the companion itself, only as text.
    desktop.commands.clear(); // the start-up's stop of a web-management helper
    receive(u"touch /tmp/a"_s, 5, true);
    receive(u"touch /tmp/b"_s, 6, true);
    receive(u"touch /tmp/c"_s, 5, false);
    receive(u"touch /tmp/d"_s, 6, false);
    receive(QVariantMap{{u"x"_s, 1}}, 5, true);
    EXPECT_EQ(desktop.commands, (QStringList{u"touch /tmp/a"_s, u"touch /tmp/b"_s}));
}

TEST_P(MonitorControllerTest, CommandLinesRunOffTheMainThreadWithinATimeLimit)
{
    QTemporaryDir scratch;
    const QString pidFile = scratch.filePath(u"pid"_s), late = scratch.filePath(u"late"_s);
    SystemDesktopServices system(300);
    start(&system);
    QElapsedTimer timer;
    timer.start();
    receive(u"echo $$ > '%1'; sleep 30; touch '%2'"_s.arg(pidFile, late), 5, true);
    EXPECT_LT(timer.elapsed(), 1000) << "the user interface waited for the command";
    ASSERT_TRUE(waitUntil([&] { return QFile(pidFile).size() > 0; }, 5000));
    QFile file(pidFile);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const pid_t shell = pid_t(file.readAll().trimmed().toInt());
    EXPECT_TRUE(waitUntil([&] { return ::kill(shell, 0) != 0; }, 5000)) << "still running after the time limit";
    EXPECT_FALSE(QFile::exists(late));
    controller.reset();
}

TEST(SystemDesktop, AProgramLaunchedByNameIsNeverAFileInTheCurrentFolder)
{
    QTemporaryDir here, bin;
    const auto script = [](const QString &path, const QString &marker) {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(u"#!/bin/sh\ntouch '%1'\n"_s.arg(marker).toUtf8());
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    };
    script(here.filePath(u"LumenTestApp"_s), here.filePath(u"ran-from-current-folder"_s));
    const QString previous = QDir::currentPath();
    QDir::setCurrent(here.path());
    SystemDesktopServices desktop;
    EXPECT_FALSE(desktop.launchApplicationNamed(u"LumenTestApp"_s));
    EXPECT_FALSE(desktop.launchApplication(u"LumenTestApp"_s)) << "a relative path names no product file";

    script(bin.filePath(u"LumenTestApp"_s), here.filePath(u"ran-from-path"_s));
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", ".:" + bin.path().toUtf8() + ':' + path);
    EXPECT_TRUE(desktop.launchApplicationNamed(u"LumenTestApp"_s));
    EXPECT_TRUE(waitUntil([&] { return QFile::exists(here.filePath(u"ran-from-path"_s)); }, 5000));
    EXPECT_FALSE(QFile::exists(here.filePath(u"ran-from-current-folder"_s)));
    qputenv("PATH", path);
    QDir::setCurrent(previous);
}

class UpdateCheckTest : public MonitorControllerTest
{
protected:
    // Points the update service at `url` through a resources folder of the test's own.
    void useUpdateService(const QString &url)
    {
        QVariantMap strings = StringTable::shared().strings();
        strings.insert(u"UpdateServiceURL"_s, url);
        ASSERT_TRUE(
            writeStringTable(resources, PropertyList::toData(strings, PropertyList::Format::Xml)));
        StringTable::install(brand().id, resources.path());
    }
    void TearDown() override { StringTable::install(brand().id); }
    QTemporaryDir resources;
};

TEST_P(UpdateCheckTest, YesOffersTheDownload)
{
    TestHttpServer server(false, {u"--update-reply"_s, u"Y 2.0"_s});
    ASSERT_TRUE(server.isRunning());
    useUpdateService(server.url(QString()));
    alerts.answerWith({AlertPresenter::kDefault});
    controller->updateSoftware();
    ASSERT_EQ(alerts.shown().size(), 1);
    EXPECT_EQ(alerts.lastMessage(), u"Do you want to upgrade to the latest version of %1?"_s.arg(brand().name));
    EXPECT_EQ(alerts.shown().first().imageName, brand().name.section(u' ', 0, 0) + u"_Portable"_s);
    ASSERT_EQ(desktop.opened.size(), 1);
    EXPECT_EQ(desktop.opened.first(), QUrl(brand().downloadUrl));

    alerts.answerWith({AlertPresenter::kAlternate});
    controller->updateSoftware();
    EXPECT_EQ(desktop.opened.size(), 1) << "No opens nothing";
}

TEST_P(UpdateCheckTest, NoSaysTheLatestIsInstalledAndOtherRepliesShowNothing)
{
    TestHttpServer no(false, {u"--update-reply"_s, u"N"_s});
    ASSERT_TRUE(no.isRunning());
    useUpdateService(no.url(QString()));
    controller->updateSoftware();
    EXPECT_EQ(alerts.lastMessage(), u"The latest version of %1 is already installed on your computer."_s.arg(brand().name));

    TestHttpServer other(false, {u"--update-reply"_s, u"maybe"_s});
    useUpdateService(other.url(QString()));
    controller->updateSoftware();
    EXPECT_EQ(alerts.shown().size(), 1);
}

TEST_P(UpdateCheckTest, ATransportErrorOrAStallShowsNothing)
{
    useUpdateService(u"http://127.0.0.1:%1"_s.arg(freeLoopbackPort()));
    controller->updateSoftware();
    EXPECT_TRUE(alerts.shown().isEmpty());

    // A "Y" cut short would still read as "Y": the stall must end as a failure.
    TestHttpServer stalling(false, {u"--update-stall"_s});
    ASSERT_TRUE(stalling.isRunning());
    useUpdateService(stalling.url(QString()));
    start(nullptr, 500);
    QElapsedTimer timer;
    timer.start();
    controller->updateSoftware();
    EXPECT_LT(timer.elapsed(), 5000);
    EXPECT_TRUE(alerts.shown().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Brands, MonitorControllerTest, ::testing::ValuesIn(kBrands), brandName);
INSTANTIATE_TEST_SUITE_P(Brands, UpdateCheckTest, ::testing::ValuesIn(kBrands), brandName);

} // namespace
