// Continuous data protection and the web-management helper, as the monitor runs them.

#include "MonitorFixture.h"

#include "app/DesktopServices.h"
#include "app/WebManagement.h"
#include "net/NetworkWatcher.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/PropertyList.h"
#include "platform/SystemInfo.h"
#include "platform/Workspace.h"
#include "prefs/PreferencesPanes.h"
#include "prefs/UserPreferences.h"
#include "product/StringTable.h"
#include "support/LogindStandIn.h"
#include "support/NetworkManagerStandIn.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTemporaryDir>

namespace {

class MonitorProtectionTest : public MonitorControllerTest
{
protected:
    bool corvane() const { return brand().id == u"corvane"_s; }
    QString cdpFile() const { return u"/Library/Application Support/CorvaneforMac/ann@example.com/CDPState.plist"_s; }
    QVariantMap cdpState() const { return PropertyList::readDictionary(cdpFile()); }
    QAction *cdpItem() const { return controller->itemWithTag(CorvaneMonitorController::CdpTag); }
};

TEST_P(MonitorProtectionTest, TheItemComesAtPositionFiveOnceAndGoesOnRequest)
{
    SignalRecorder changes(controller.get(), &CorvaneMonitorController::statusMenuChanged);
    EXPECT_EQ(cdpItem(), nullptr);
    controller->addCdpItem();
    controller->addCdpItem();
    ASSERT_NE(cdpItem(), nullptr);
    EXPECT_EQ(controller->statusMenu().indexOf(cdpItem()), 5);
    EXPECT_EQ(cdpItem()->text(), u"Continuous Data Protection"_s);
    EXPECT_EQ(controller->statusMenu().count(cdpItem()), 1) << "inserted once";
    controller->removeCdpItem();
    EXPECT_EQ(cdpItem(), nullptr);
    EXPECT_EQ(changes.count(), 2);
}

TEST_P(MonitorProtectionTest, TheStateFileOfAnotherUserShowsProtectionOff)
{
    logIn();
    controller->enablePreferences();
    controller->addCdpItem();
    SignalRecorder states(controller.get(), &CorvaneMonitorController::cdpStateChanged);
    struct Case { QString user, enabled; bool on; };
    for (const Case &c : {Case{u"bob@example.com"_s, u"1"_s, false}, Case{u"ann@example.com"_s, u"0"_s, false},
                          Case{u"ann@example.com"_s, u"1"_s, true}}) {
        ASSERT_TRUE(PropertyList::writeDictionary(cdpFile(), {{u"Username"_s, c.user}, {u"Enabled"_s, c.enabled}}));
        controller->checkCDP();
        EXPECT_EQ(cdpItem()->isChecked(), c.on) << c.user.toStdString() << " " << c.enabled.toStdString();
        EXPECT_EQ(states.emissions().last().value(0).toBool(), c.on);
    }
}

TEST_P(MonitorProtectionTest, TurningProtectionOnAndOffAsksAndWritesTheUsersStateFile)
{
    logIn();
    controller->enablePreferences();
    controller->addCdpItem();
    DistributedNotificationCenter listener;
    int modified = 0;
    listener.addObserver(u"CDPStateModified"_s, [&](auto &&...) { ++modified; });

    alerts.answerWith({AlertPresenter::kAlternate});
    cdpItem()->trigger();
    ASSERT_EQ(alerts.shown().size(), 1) << "no support machine: one question";
    EXPECT_TRUE(alerts.lastMessage().startsWith(u"On enabling this option, files and folders selected for backup"_s));
    EXPECT_TRUE(alerts.lastMessage().endsWith(u"Would you link to enable CDP?"_s));
    EXPECT_EQ(alerts.shown().last().title, corvane() ? u"Corvane Lumen"_s : u"Stelloa"_s);
    EXPECT_FALSE(cdpItem()->isChecked()) << "declined";
    EXPECT_TRUE(cdpState().isEmpty());

    alerts.answerWith({AlertPresenter::kDefault});
    cdpItem()->trigger();
    EXPECT_EQ(cdpState(), (QVariantMap{{u"Enabled"_s, u"1"_s}, {u"Frequency"_s, u"1"_s},
                                       {u"Username"_s, u"ann@example.com"_s}}));
    EXPECT_TRUE(cdpItem()->isChecked());
    EXPECT_TRUE(waitUntil([&] { return modified == 1; }, 3000)) << "CDPStateModified posted";

    alerts.answerWith({AlertPresenter::kDefault});
    cdpItem()->trigger();
    EXPECT_EQ(alerts.lastMessage(), u"On disabling this option, your files and folders will not be backed up in real time."_s);
    EXPECT_EQ(alerts.shown().last().title, corvane() ? u"Corvane Lumen"_s : u"Stelloa for Mac"_s);
    EXPECT_EQ(alerts.shown().last().imageName, corvane() ? u"Corvane_Portable"_s : u"stelloa"_s);
    EXPECT_EQ(cdpState().value(u"Enabled"_s), QVariant(u"0"_s));
    EXPECT_FALSE(cdpItem()->isChecked());
}

TEST_P(MonitorProtectionTest, ASupportMachineAsksASecondTimeAndNobodyLoggedInIsToldToLogIn)
{
    controller->addCdpItem();
    cdpItem()->trigger();
    EXPECT_EQ(alerts.lastMessage(), corvane() ? u"Login to the Corvane Lumen application and enable Continuous backup feature."_s
                                              : u"Login to the Stelloa Lumen application and enable Continuous backup feature."_s);
    EXPECT_EQ(alerts.shown().size(), 1) << "no magic file: no internal-support question";

    logIn();
    controller->enablePreferences();
    env.writeFile(SLLocalizedString(u"MagicFile"_s), "");
    alerts.answerWith({AlertPresenter::kAlternate});
    cdpItem()->trigger();
    EXPECT_EQ(alerts.lastMessage(), u"THIS APPLICATION HAS BEEN CONFIGURED FOR INTERNAL SUPPORT USE.\nWould you like "
                                    "to enable CDP in this machine?"_s);
    EXPECT_EQ(alerts.shown().size(), 2) << "cancelled: no second window";
    EXPECT_TRUE(cdpState().isEmpty());
    alerts.answerWith({AlertPresenter::kDefault, AlertPresenter::kDefault});
    cdpItem()->trigger();
    EXPECT_EQ(alerts.shown().size(), 4);
    EXPECT_EQ(cdpState().value(u"Enabled"_s), QVariant(u"1"_s));
}

TEST_P(MonitorProtectionTest, TheGeneralPanesBoxShowsTheFileWhateverTheAnswer)
{
    GeneralViewController &pane = controller->preferencesPanes()->general;
    pane.EnableCDP(true); // nobody logged in: told to log in
    EXPECT_TRUE(alerts.lastMessage().startsWith(u"Login to the "_s));
    EXPECT_FALSE(pane.mCDPCheckBox());

    logIn();
    controller->enablePreferences();
    env.writeFile(SLLocalizedString(u"MagicFile"_s), "");
    alerts.answerWith({AlertPresenter::kAlternate});
    pane.EnableCDP(true); // the support question cancelled
    EXPECT_FALSE(pane.mCDPCheckBox());
    alerts.answerWith({AlertPresenter::kDefault, AlertPresenter::kAlternate});
    pane.EnableCDP(true); // "No"
    EXPECT_FALSE(pane.mCDPCheckBox());

    // "Yes" reloads the pane: a preference stored meanwhile shows too.
    UserPreferences(u"ann@example.com"_s).store({{UserPreferences::kPromptRestoreDestinationPanel, true}});
    alerts.answerWith({AlertPresenter::kDefault, AlertPresenter::kDefault});
    pane.EnableCDP(true);
    EXPECT_TRUE(pane.mCDPCheckBox());
    EXPECT_EQ(cdpState().value(u"Enabled"_s), QVariant(u"1"_s));
    EXPECT_TRUE(pane.restoreDestinationChecked());
}

// The stored proxy settings survive the monitor's start and a sign-in with the window never opened.
TEST_P(MonitorProtectionTest, AStartAndASignInKeepTheStoredProxy)
{
    const QString settings = ProxyController::settingFilePathForUser(SystemInfo::loginName());
    const QVariantMap manual{{u"ProxyEnable"_s, u"1"_s}, {u"ProxyAddress"_s, u"proxy.example.com"_s},
                             {u"ProxyPort"_s, u"3128"_s}, {u"ProxyAuthEnable"_s, u"0"_s}};
    ASSERT_TRUE(PropertyList::writeDictionary(settings, manual));
    logIn();
    start();
    controller->enablePreferences();
    const QVariantMap stored = PropertyList::readDictionary(settings);
    for (const QString &key : manual.keys())
        EXPECT_EQ(stored.value(key), manual.value(key)) << key.toStdString();
}

// A stand-in for the web-management helper at its product path: a script that runs until killed.
class WebManagementHelperTest : public MonitorProtectionTest
{
protected:
    void SetUp() override
    {
        MonitorProtectionTest::SetUp();
        helper = env.real(SLLocalizedString(u"WebManagementExecPath"_s));
        env.writeFile(SLLocalizedString(u"WebManagementExecPath"_s), "#!/bin/sh\nwhile true; do sleep 0.2; done\n");
        QFile::setPermissions(helper, QFile::permissions(helper) | QFile::ExeOwner);
        writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s}, {u"StelloaUserName"_s, u"ann@example.com"_s}});
    }
    void TearDown() override
    {
        runProgram(u"pkill"_s, {u"-9"_s, u"-f"_s, helper});
        MonitorProtectionTest::TearDown();
    }
    int running() const { return Workspace::countCommandLinesWith(helper); }

    QString helper;
    SystemDesktopServices system;
};

TEST_P(WebManagementHelperTest, TheHelperReallyStartsOnceAndStopsWhenTurnedOff)
{
    ASSERT_TRUE(PropertyList::writeDictionary(SLLocalizedString(u"WebmanagementFilePath"_s),
                                              {{u"ann@example.com"_s, u"1"_s}}));
    // The monitor's own folder (a user's folder, often) gets nothing of the stop line's output,
    // nor the file a temporary folder's name would make if the command lines did not quote it.
    QTemporaryDir monitorsFolder, temp;
    const QString hostileTemp = temp.filePath(u"x'$(touch pwned1)\"; touch pwned2 #"_s);
    ASSERT_TRUE(QDir().mkpath(hostileTemp));
    const QString previous = QDir::currentPath();
    const QByteArray previousTemp = qgetenv("TMPDIR");
    const auto back = qScopeGuard([&] {
        QDir::setCurrent(previous);
        qputenv("TMPDIR", previousTemp);
    });
    ASSERT_TRUE(QDir::setCurrent(monitorsFolder.path()));
    qputenv("TMPDIR", QFile::encodeName(hostileTemp));
    start(&system);
    ASSERT_TRUE(waitUntil([&] { return running() == 1; }, 5000)) << "the helper did not start";
    controller->checkForTotalQuota();
    waitUntil([] { return false; }, 300);
    EXPECT_EQ(running(), 1) << "a running helper is not started again";
    ASSERT_TRUE(controller->itemWithTag(310)->isChecked());

    controller->itemWithTag(310)->trigger();
    EXPECT_TRUE(waitUntil([&] { return running() == 0; }, 5000)) << "the helper was not stopped";
    EXPECT_TRUE(PropertyList::readDictionary(SLLocalizedString(u"WebmanagementFilePath"_s)).isEmpty());
    waitUntil([] { return false; }, 300); // the stop line has ended
    EXPECT_EQ(QDir(monitorsFolder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
    EXPECT_TRUE(QFileInfo::exists(hostileTemp + u"/.error"_s)) << "the stop line ran in the temporary folder";
}

TEST_P(WebManagementHelperTest, AfterAWakeUpTheHelperWaitsForTheNetwork)
{
    LogindStandIn logind(QDBusConnection::sessionBus());
    ASSERT_TRUE(logind.isRunning());
    NetworkManagerStandIn networkManager(NetworkManagerStandIn::ConnectedGlobal);
    ASSERT_TRUE(networkManager.isRunning());
    NetworkWatcher watcher(u"networkmanager"_s);
    networkWatcher = &watcher;
    const auto monitorGoesFirst = qScopeGuard([&] { controller.reset(); });
    ASSERT_TRUE(PropertyList::writeDictionary(SLLocalizedString(u"WebmanagementFilePath"_s),
                                              {{u"ann@example.com"_s, u"1"_s}}));
    start(&system);
    ASSERT_TRUE(waitUntil([&] { return running() == 1; }, 5000)) << "the helper did not start";

    // Asleep: the network goes, and the helper with it.
    logind.prepareForSleep(true);
    networkManager.setState(NetworkManagerStandIn::Asleep);
    runProgram(u"pkill"_s, {u"-9"_s, u"-f"_s, helper});
    ASSERT_TRUE(waitUntil([&] { return running() == 0 && !watcher.isOnline(); }, 5000));

    // Awake: the refresh runs at once and finds the helper gone, but the network is not back.
    logind.prepareForSleep(false);
    networkManager.setState(NetworkManagerStandIn::Connecting);
    waitUntil([] { return false; }, 500);
    EXPECT_EQ(running(), 0) << "started before the network was up";

    networkManager.setState(NetworkManagerStandIn::ConnectedGlobal);
    EXPECT_TRUE(waitUntil([&] { return running() == 1; }, 5000)) << "not started once the network was up";
    waitUntil([] { return false; }, 300);
    EXPECT_EQ(running(), 1) << "started once";
}

INSTANTIATE_TEST_SUITE_P(Brands, MonitorProtectionTest, ::testing::ValuesIn(kBrands), brandName);
INSTANTIATE_TEST_SUITE_P(Brands, WebManagementHelperTest, ::testing::ValuesIn(kBrands), brandName);

} // namespace
