// File faults under the monitor: its root and home read-only, a full disk, and a writer of the
// schedules archive killed in the middle of a save.

#include "ArchiveVersions.h"
#include "PrivateMounts.h"

#include "app/MonitorFixture.h"
#include "platform/UserDefaults.h"
#include "platform/PropertyList.h"
#include "prefs/PreferencesPanes.h"
#include "product/FilePathAPIs.h"
#include "product/MonitorSettings.h"
#include "scheduler/ScheduleArchive.h"
#include "support/NotificationServer.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>

#include <map>
#include <optional>
#include <random>
#include <thread>

#include <csignal>

namespace {

using C = CorvaneMonitorController;

class FileFaultTest : public MonitorControllerTest {
protected:
    void SetUp() override
    {
        if (const QString reason = PrivateMounts::unavailableReason(); !reason.isEmpty())
            GTEST_SKIP() << reason.toStdString();
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    }

    // The root and the home folder each on a file system of `bytes` of this test's own.
    void mountRoots(qint64 bytes)
    {
        rootFs.emplace(env.root(), bytes);
        homeFs.emplace(env.home(), bytes);
        ASSERT_TRUE(rootFs->mounted()) << rootFs->error().toStdString();
        ASSERT_TRUE(homeFs->mounted()) << homeFs->error().toStdString();
    }
    void setReadOnly(bool readOnly)
    {
        ASSERT_TRUE(rootFs->setReadOnly(readOnly)) << rootFs->error().toStdString();
        ASSERT_TRUE(homeFs->setReadOnly(readOnly)) << homeFs->error().toStdString();
    }

    // Every file under the root and the home folder, with its bytes.
    std::map<QString, QByteArray> files() const
    {
        std::map<QString, QByteArray> out;
        for (const QString &top : {env.root(), env.home()}) {
            QDirIterator it(top, QDir::Files | QDir::Hidden | QDir::System,
                            QDirIterator::Subdirectories);
            while (it.hasNext()) {
                const QString path = it.next();
                out[path] = readRealFile(path, "<unreadable>");
            }
        }
        return out;
    }

    QString defaultsFile() const
    {
        return env.real(UserDefaults(MonitorSettings::defaultsDomain()).path());
    }
    QString schedulesNotSaved() const
    {
        return u"The schedules could not be saved to %1."_s.arg(env.real(ScheduleArchive::path()));
    }
    // The first preferences file that could not be written: the defaults, or the several-computers
    // file when only the root is read-only.
    QString preferencesNotSaved(const QString &file = {}) const
    {
        return u"The preferences could not be saved to %1."_s.arg(file.isEmpty() ? defaultsFile() : file);
    }
    QString severalComputersNotSaved() const
    {
        return preferencesNotSaved(env.real(BrandPaths::multipleMacState()));
    }
    QString throttle() const { return brand().throttleFolder + u"/Throttle.txt"_s; }
    QStringList shownMessages() const
    {
        QStringList out;
        for (const FakeAlertPresenter::Shown &shown : alerts.shown())
            out.append(shown.message);
        return out;
    }
    static qsizetype resumedNotices(const NotificationServer &desktop)
    {
        const QList<NotificationServer::Notification> shown = desktop.notifications();
        return std::count_if(shown.cbegin(), shown.cend(), [](const auto &notice) {
            return notice.summary == u"Backups resumed"_s;
        });
    }
    GeneralViewController &general() const { return controller->preferencesPanes()->general; }
    // The refresh at the start of each of the next `minutes` minutes.
    void refresh(int minutes)
    {
        for (int i = 0; i < minutes; ++i) {
            clock.set(clock.now().addSecs(60));
            controller->checkForTotalQuota();
        }
    }

    std::optional<PrivateMounts::Tmpfs> rootFs;
    std::optional<PrivateMounts::Tmpfs> homeFs;
};

TEST_P(FileFaultTest, OnAReadOnlyRootNothingIsHalfWrittenAndEachFailureIsToldOnce)
{
    NotificationServer desktopService;
    ASSERT_TRUE(desktopService.isRunning());
    mountRoots(16 << 20);
    logIn();
    ASSERT_TRUE(ScheduleArchive::save({dailyRecord(brand().user)}));
    env.writeFile(brand().throttleFolder + u"/Throttle.txt"_s, "250");
    start();
    controller->pauseFor(Snooze::OneHour);
    const std::map<QString, QByteArray> before = files();
    ASSERT_TRUE(before.count(defaultsFile()) && before.count(env.real(ScheduleArchive::path())));
    setReadOnly(true);

    controller->itemWithTag(C::BackupNowTag)->trigger();
    EXPECT_EQ(shownMessages(), QStringList {schedulesNotSaved()});
    general().EnableVersion(true); // saved at once, and again as the window closes
    controller->windowWillClose();
    controller->windowWillClose();
    EXPECT_EQ(shownMessages(), (QStringList {schedulesNotSaved(), preferencesNotSaved()}));

    clock.set(clock.now().addSecs(3600)); // the pause's end: its files cannot be rewritten
    refresh(5);
    const QString notResumed = u"Backups could not be resumed: %1 could not be saved."_s.arg(
        throttleFolder() + u"/Throttle.txt"_s);
    EXPECT_EQ(shownMessages(),
              (QStringList {schedulesNotSaved(), preferencesNotSaved(), notResumed}))
        << "told once, not at every refresh";
    EXPECT_FALSE(waitUntil([&] { return resumedNotices(desktopService) > 0; }, 500))
        << "backups did not resume";
    EXPECT_EQ(files(), before) << "every file as it was, and no other";
}

TEST_P(FileFaultTest, ASaveThatSucceedsEndsTheSpellAndAPauseEndsOnceWithAReadOnlyHome)
{
    NotificationServer desktopService;
    ASSERT_TRUE(desktopService.isRunning());
    mountRoots(16 << 20);
    logIn();
    const QString throttle = brand().throttleFolder + u"/Throttle.txt"_s;
    env.writeFile(throttle, "250");
    start();
    controller->pauseFor(Snooze::OneHour);
    ASSERT_TRUE(homeFs->setReadOnly(true)); // the defaults cannot be saved, the throttle can

    general().EnableVersion(true);
    controller->windowWillClose();
    controller->windowWillClose();
    EXPECT_EQ(shownMessages(), QStringList {preferencesNotSaved()});
    clock.set(clock.now().addSecs(3600)); // the pause's end, which the defaults cannot forget
    refresh(5);
    EXPECT_EQ(env.readFile(throttle), "250") << "resumed";
    EXPECT_TRUE(waitUntil([&] { return resumedNotices(desktopService) > 0; }));
    EXPECT_FALSE(waitUntil([&] { return resumedNotices(desktopService) > 1; }, 500))
        << "ended once, not at every refresh";

    ASSERT_TRUE(homeFs->setReadOnly(false)); // a save that succeeds ends the spell...
    controller->windowWillClose();
    ASSERT_TRUE(homeFs->setReadOnly(true)); // ...and the next failure is told again
    general().EnableVersion(false);
    EXPECT_EQ(shownMessages().size(), 1);
    controller->windowWillClose();
    EXPECT_EQ(shownMessages(), (QStringList {preferencesNotSaved(), preferencesNotSaved()}));
}

TEST_P(FileFaultTest, OnAReadOnlyRootThePauseTheProxyAndTheSeveralComputersFileAreEachToldOnce)
{
    mountRoots(16 << 20);
    logIn();
    env.writeFile(throttle(), "250");
    ASSERT_TRUE(PropertyList::writeDictionary(ProxyController::switchFilePath(),
                                              {{u"ProxyEnable"_s, u"0"_s}, {u"ProxyAuthEnable"_s, u"0"_s}}));
    start();
    const auto rootFiles = [this] {
        std::map<QString, QByteArray> all = files();
        std::erase_if(all, [this](const auto &file) { return !file.first.startsWith(env.root()); });
        return all;
    };
    const std::map<QString, QByteArray> before = rootFiles();
    ASSERT_TRUE(rootFs->setReadOnly(true)); // the home folder, with the defaults, stays writable

    controller->pauseFor(Snooze::OneHour);
    controller->pauseFor(Snooze::FourHours);
    const QString notPaused = u"Backups could not be paused: %1 could not be saved."_s.arg(env.real(throttle()));
    EXPECT_EQ(shownMessages(), QStringList {notPaused}) << "once, and nothing of an end to a pause that never began";
    EXPECT_EQ(controller->itemWithTag(C::PauseResumeTag)->text(), u"Pause the scheduled job"_s)
        << "the menu does not say paused";
    EXPECT_FALSE(controller->toolTip().startsWith(u"Paused until"_s)) << controller->toolTip().toStdString();

    ProxyController &proxy = controller->preferencesPanes()->proxy;
    proxy.EnableProxy(ProxyData::NoProxy); // the switch (in the home folder), then the settings
    proxy.EnableProxy(ProxyData::NoProxy); // the switch is saved between two failures of the settings
    EXPECT_EQ(proxy.SaveSetting(), 0) << "the window stays open with what was typed";
    const QString proxyNotSaved
        = u"The proxy settings could not be saved to %1."_s.arg(env.real(proxy.settingFilePath()));
    EXPECT_EQ(shownMessages(), (QStringList {notPaused, proxyNotSaved}));

    controller->windowWillClose(); // the defaults are saved, the several-computers file is not
    EXPECT_EQ(shownMessages(), (QStringList {notPaused, proxyNotSaved, severalComputersNotSaved()}));
    EXPECT_EQ(rootFiles(), before);
}

TEST_P(FileFaultTest, APauseWhoseEndCannotBeSavedIsToldAndStillEndsOnTime)
{
    NotificationServer desktopService;
    ASSERT_TRUE(desktopService.isRunning());
    mountRoots(16 << 20);
    logIn();
    env.writeFile(throttle(), "250");
    start();
    controller->pauseFor(Snooze::OneHour); // saved
    ASSERT_TRUE(homeFs->setReadOnly(true)); // the throttle can be written, the defaults cannot
    refresh(61); // the pause ends, though the defaults cannot forget it
    ASSERT_TRUE(waitUntil([&] { return resumedNotices(desktopService) == 1; }));

    controller->pauseFor(Snooze::OneHour); // a new pause, whose end the defaults cannot take
    EXPECT_EQ(env.readFile(throttle()), "-1") << "paused";
    EXPECT_EQ(shownMessages(),
              QStringList {u"The pause's end could not be saved to %1: backups resume by themselves only if the "
                           u"monitor keeps running until then."_s.arg(defaultsFile())});
    refresh(59);
    EXPECT_EQ(env.readFile(throttle()), "-1") << "still paused, whatever the defaults still hold";
    refresh(1);
    EXPECT_EQ(env.readFile(throttle()), "250") << "ended on time";
    EXPECT_FALSE(controller->toolTip().startsWith(u"Paused until"_s))
        << "the pause the defaults still hold does not come back: " << controller->toolTip().toStdString();
    EXPECT_TRUE(waitUntil([&] { return resumedNotices(desktopService) == 2; }));
    EXPECT_EQ(shownMessages().size(), 1);
}

TEST_P(FileFaultTest, TheSchedulesWindowsRefreshThatCannotSaveIsToldOnce)
{
    mountRoots(16 << 20);
    logIn();
    CorvaneScheduleItem daily = dailyRecord(brand().user);
    daily.setDestination(u"Elsewhere"_s); // each refresh puts this computer's own folder back
    ASSERT_TRUE(ScheduleArchive::save({daily}));
    start();
    const std::map<QString, QByteArray> before = files();
    setReadOnly(true);

    for (int refresh = 0; refresh < 3; ++refresh)
        controller->scheduler()->ReloadSchedules();
    EXPECT_EQ(shownMessages(), QStringList {schedulesNotSaved()});
    EXPECT_EQ(files(), before);
}

TEST_P(FileFaultTest, OnAFullDiskTheOldFilesStayWholeAndTheUserIsTold)
{
    mountRoots(1 << 20);
    logIn();
    ASSERT_TRUE(ScheduleArchive::save({dailyRecord(brand().user)}));
    start();
    controller->windowWillClose(); // the preferences as they are, on disk
    // The empty files a Backup Now makes (they take no room) are there already.
    ASSERT_TRUE(controller->shouldExecuteBackup());
    {
        const ScheduleArchive::WriteLock lock;
    }
    ASSERT_TRUE(rootFs->fill()) << rootFs->error().toStdString();
    ASSERT_TRUE(homeFs->fill()) << homeFs->error().toStdString();
    const std::map<QString, QByteArray> before = files();

    controller->itemWithTag(C::BackupNowTag)->trigger();
    general().EnableVersion(true);
    controller->windowWillClose();
    EXPECT_EQ(shownMessages(), (QStringList {schedulesNotSaved(), preferencesNotSaved()}));
    std::map<QString, QByteArray> after = files();
    for (auto &[path, bytes] : after) {
        if (path.contains(u"/Logs/"_s) && before.count(path))
            bytes = before.at(path); // a log may still take the lines that fit
    }
    EXPECT_EQ(after, before) << "every file whole as it was, and no temporary one left";
}

INSTANTIATE_TEST_SUITE_P(FirstBrand, FileFaultTest, ::testing::Values(kBrands[0]), brandName);

// A writer of the schedules archive (as the engine is) killed at random moments of its saves:
// every read after it finds the old archive or the new one, whole.
TEST(ArchiveKillTest, AWriterKilledInTheMiddleOfASaveLeavesTheOldOrTheNewArchive)
{
    TestEnvironment env;
    const QList<CorvaneScheduleItem> versions[]
        = {ArchiveVersions::records(0), ArchiveVersions::records(1)};
    ASSERT_TRUE(ScheduleArchive::save(versions[0]));
    const unsigned seed = std::random_device {}();
    std::mt19937 random(seed);
    int seen[2] = {0, 0};
    for (int kill = 0; kill < 200; ++kill) {
        QProcess writer;
        writer.start(QStringLiteral(ARCHIVE_REWRITER_PATH), {u"--root"_s, env.root()});
        // Killed within two saves of its first: in the middle of writing the old version or the
        // new one, or between them. A save's time is measured, as sanitizers slow it down.
        const auto nextSave = [&] {
            while (!writer.canReadLine() && writer.waitForReadyRead(20000)) { }
            return writer.readLine() == "saved\n";
        };
        ASSERT_TRUE(nextSave()) << writer.errorString().toStdString();
        QElapsedTimer save;
        save.start();
        ASSERT_TRUE(nextSave()) << writer.errorString().toStdString();
        const qint64 saveUs = save.nsecsElapsed() / 1000;
        std::this_thread::sleep_for(std::chrono::microseconds(
            std::uniform_int_distribution<qint64>(0, 2 * saveUs)(random)));
        ::kill(pid_t(writer.processId()), SIGKILL);
        ASSERT_TRUE(writer.waitForFinished(20000));
        ASSERT_EQ(writer.exitStatus(), QProcess::CrashExit) << "it was still writing";
        const ScheduleArchive::Contents read = ScheduleArchive::load();
        ASSERT_EQ(read.state, ScheduleArchive::State::Readable)
            << "kill " << kill << " (seed " << seed << "): " << read.error.toStdString();
        const int which = ArchiveVersions::same(read.records, versions[0]) ? 0
            : ArchiveVersions::same(read.records, versions[1])             ? 1
                                                                           : -1;
        ASSERT_NE(which, -1) << "kill " << kill << " (seed " << seed << "): " << read.records.size()
                             << " records";
        ++seen[which];
    }
    EXPECT_GT(seen[0], 0) << "the old version was written back at times";
    EXPECT_GT(seen[1], 0) << "the new version was written at times";
}

} // namespace
