#include "prefs/ProxyController.h"
#include "platform/PropertyList.h"
#include "platform/SystemInfo.h"
#include "product/StringTable.h"
#include "support/FakeAlertPresenter.h"
#include "support/TestEnvironment.h"
#include "util/StringExtensions.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QScopeGuard>
#include <QUrl>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using Field = ProxyController::Field;

namespace {

// The system's proxy as Qt reads it on Linux: the environment. Each test starts without one.
struct NoSystemProxy {
    NoSystemProxy() { clear(); }
    ~NoSystemProxy() { clear(); }
    static void clear()
    {
        for (const char *name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy"})
            qunsetenv(name);
    }
};

// A settings file; the address and port keys only when given.
QVariantMap file(int mode, int auth, const QString &address = {}, const QString &port = {})
{
    QVariantMap map {{u"ProxyEnable"_s, mode}, {u"ProxyAuthEnable"_s, auth}};
    if (!address.isNull())
        map.insert({{u"ProxyAddress"_s, address}, {u"ProxyPort"_s, port}});
    return map;
}

QVariantMap withCredentials(QVariantMap map, const QString &user, const QString &password)
{
    map.insert({{u"ProxyUserName"_s, user},
                {u"ProxyPassword"_s, stelloaExtension::encryptedString(password)}});
    return map;
}

class ProxyControllerTest : public ::testing::Test {
protected:
    QVariantMap settings() const
    {
        return PropertyList::readDictionary(controller.settingFilePath());
    }
    QVariantMap switches() const
    {
        return PropertyList::readDictionary(ProxyController::switchFilePath());
    }
    void type(const QString &address, const QString &port, const QString &user = {},
              const QString &password = {})
    {
        controller.setFieldText(Field::Address, address);
        controller.setFieldText(Field::Port, port);
        controller.setFieldText(Field::UserName, user);
        controller.setFieldText(Field::Password, password);
    }
    QString argumentFromFile() const
    {
        return ProxyController::initWithProxyDetailsFilePath(controller.settingFilePath())
            ->proxyArgument();
    }

    NoSystemProxy noSystemProxy;
    TestEnvironment env;
    FakeAlertPresenter alerts;
    ProxyController controller {&alerts};
};

TEST(ProxyArgument, FormedFromTheRecordWithoutEscaping)
{
    const struct {
        QString user, password, address, port, expected;
    } cases[] = {
        {{}, {}, {}, {}, u"--proxy="_s},
        {{}, {}, u"10.0.0.1"_s, u"3128"_s, u"--proxy=:@10.0.0.1:3128"_s},
        {u"u"_s, u"p"_s, u"10.0.0.1"_s, u"3128"_s, u"--proxy=u:p@10.0.0.1:3128"_s},
        {u"a b"_s, u"%@:x@y%d"_s, u"h"_s, u"1"_s, u"--proxy=a b:%@:x@y%d@h:1"_s},
        {u"u"_s, u"p"_s, {}, {}, u"--proxy=u:p@:"_s},
        {{}, {}, u"h"_s, {}, u"--proxy=:@h:"_s},
    };
    for (const auto &c : cases) {
        ProxyController controller(u"/nowhere/setting.plist"_s);
        controller.setUserName(c.user);
        controller.setPassword(c.password);
        controller.setIpaddress(c.address);
        controller.setPort(c.port);
        EXPECT_EQ(controller.proxyArgument(), c.expected);
    }
}

TEST_F(ProxyControllerTest, TheRecordTakesHostOnlyInManualModeAndCredentialsOnlyWithAuthentication)
{
    const struct {
        QVariantMap file; // empty: no file at all
        QString expected;
    } cases[] = {
        {{}, u"--proxy="_s},
        {withCredentials(file(1, 0, u"h"_s, u"8"_s), u"u"_s, u"p"_s), u"--proxy=:@h:8"_s},
        {withCredentials(file(1, 1, u"h"_s, u"8"_s), u"u"_s, u"p"_s), u"--proxy=u:p@h:8"_s},
        {withCredentials(file(2, 1, u"h"_s, u"8"_s), u"u"_s, u"p"_s), u"--proxy="_s},
        {file(0, 0, u"h"_s, u"8"_s), u"--proxy="_s},
    };
    for (const auto &c : cases) {
        QFile::remove(env.real(controller.settingFilePath()));
        if (!c.file.isEmpty()) {
            ASSERT_TRUE(PropertyList::writeDictionary(controller.settingFilePath(), c.file));
        }
        EXPECT_EQ(argumentFromFile(), c.expected) << c.file.value(u"ProxyEnable"_s).toInt();
    }
}

TEST_F(ProxyControllerTest, SettingsLiveInTheLoginUsersBrandFolder)
{
    EXPECT_EQ(controller.settingFilePath(),
              u"/Library/Application Support/CorvanePortableforMac/%1/setting.plist"_s.arg(
                  SystemInfo::loginName()));
    EXPECT_EQ(ProxyController::settingFilePathForUser(u"ann"_s),
              u"/Library/Application Support/CorvanePortableforMac/ann/setting.plist"_s);
    TestEnvironment stelloa(u"stelloa"_s);
    EXPECT_EQ(ProxyController::settingFilePathForUser(u"ann"_s),
              u"/Library/Application Support/StelloaLumen/ann/setting.plist"_s);
    EXPECT_EQ(ProxyController::switchFilePath(),
              stelloa.home()
                  + u"/Library/Application Support/StelloaLumen/ProxyEnableCheck.plist"_s);
    ProxyController *shared = ProxyController::sharedProxyControllerForPath(u"/a/setting.plist"_s);
    EXPECT_EQ(ProxyController::sharedProxyControllerForPath(u"/b/setting.plist"_s), shared);
    EXPECT_EQ(shared->settingFilePath(), u"/a/setting.plist"_s);
}

TEST_F(ProxyControllerTest, AManualProxyIsSavedWithCredentialsOnlyWhileTheBoxIsOn)
{
    controller.awakeFromNib();
    type(u"10.0.0.1"_s, u"3128"_s);
    controller.EnableProxy(ProxyController::ManualProxy);
    EXPECT_EQ(settings(), file(1, 0, u"10.0.0.1"_s, u"3128"_s));
    EXPECT_EQ(switches(),
              (QVariantMap {{u"ProxyEnable"_s, u"1"_s}, {u"ProxyAuthEnable"_s, u"0"_s}}));
    EXPECT_EQ(argumentFromFile(), u"--proxy=:@10.0.0.1:3128"_s);

    EXPECT_EQ(controller.SaveSetting(), 1);
    controller.EnableProxyAuth(true);
    EXPECT_TRUE(controller.controls().userNameEnabled && controller.controls().passwordEnabled);
    EXPECT_EQ(settings().value(u"ProxyAuthEnable"_s), 0)
        << "incomplete credentials keep the old file";
    type(u"10.0.0.1"_s, u"3128"_s, u"u"_s, u"p"_s);
    EXPECT_EQ(controller.SaveSetting(), 1);
    EXPECT_EQ(settings(), withCredentials(file(1, 1, u"10.0.0.1"_s, u"3128"_s), u"u"_s, u"p"_s));
    EXPECT_EQ(argumentFromFile(), u"--proxy=u:p@10.0.0.1:3128"_s);
}

TEST_F(ProxyControllerTest, SavingRefusesIncompleteFieldsAndNeedsTheSwitchFile)
{
    type(u"h"_s, u"1"_s);
    EXPECT_EQ(controller.SaveSetting(), -1);
    EXPECT_FALSE(env.exists(controller.settingFilePath()));

    const struct {
        int mode;
        bool auth;
        QString address, port, user, password;
        int result;
    } cases[] = {
        {1, false, {}, u"1"_s, {}, {}, 0},
        {1, false, u"h"_s, {}, {}, {}, 0},
        {2, false, {}, u"1"_s, {}, {}, 0},
        {1, true, u"h"_s, u"1"_s, {}, u"p"_s, 0},
        {1, true, u"h"_s, u"1"_s, u"u"_s, {}, 0},
        {1, true, u"h"_s, u"1"_s, u"u"_s, u"p"_s, 1},
        {0, true, {}, {}, {}, {}, 1},
        {1, false, u"h"_s, u"1"_s, {}, {}, 1},
    };
    const QByteArray before
        = "<plist><dict><key>ProxyPort</key><string>old</string></dict></plist>";
    for (const auto &c : cases) {
        env.writeFile(controller.settingFilePath(), before);
        ASSERT_TRUE(
            PropertyList::writeDictionary(ProxyController::switchFilePath(),
                                          {{u"ProxyEnable"_s, QString::number(c.mode)},
                                           {u"ProxyAuthEnable"_s, QString::number(c.auth)}}));
        type(c.address, c.port, c.user, c.password);
        EXPECT_EQ(controller.SaveSetting(), c.result)
            << c.mode << c.auth << c.address.toStdString();
        EXPECT_EQ(env.readFile(controller.settingFilePath()) == before, c.result == 0);
    }
    EXPECT_EQ(settings(), file(1, 0, u"h"_s, u"1"_s));
}

TEST_F(ProxyControllerTest, NoProxyClearsAndLocksEveryFieldAndALaterManualProxyNeedsNoCredentials)
{
    controller.awakeFromNib();
    controller.EnableProxy(ProxyController::ManualProxy);
    controller.EnableProxyAuth(true);
    type(u"10.0.0.1"_s, u"3128"_s, u"u"_s, u"p"_s);
    ASSERT_EQ(controller.SaveSetting(), 1);

    controller.EnableProxy(ProxyController::NoProxy);
    ProxyControls locked;
    EXPECT_EQ(controller.controls(), locked);
    EXPECT_EQ(settings(), file(0, 0));

    type(u"h"_s, u"1"_s);
    controller.EnableProxy(ProxyController::ManualProxy);
    EXPECT_FALSE(controller.controls().userNameEnabled);
    EXPECT_EQ(settings().value(u"ProxyAddress"_s), u"h"_s);

    controller.DisableNetworkPrefrences();
    controller.EnableProxy(ProxyController::NoProxy);
    controller.DisableNetworkPrefrences();
    EXPECT_TRUE(controller.controls().modeEnabled && controller.controls().addressEnabled
                && controller.controls().portEnabled);
    EXPECT_FALSE(controller.controls().authEnabled);
    controller.EnableNetworkPrefrences();
    EXPECT_FALSE(controller.controls().addressEnabled || controller.controls().portEnabled);
}

TEST_F(ProxyControllerTest, ReopeningShowsTheStoredSettingsAndKeepsTheirAuthentication)
{
    ASSERT_TRUE(PropertyList::writeDictionary(
        controller.settingFilePath(),
        withCredentials(file(1, 1, u"h"_s, u"8"_s), u"u"_s, u"pw"_s)));
    controller.awakeFromNib();
    const ProxyControls &c = controller.controls();
    EXPECT_EQ(c.mode, 1);
    EXPECT_EQ(QStringList({c.address, c.port, c.userName, c.password}),
              QStringList({u"h"_s, u"8"_s, u"u"_s, u"pw"_s}));
    EXPECT_TRUE(c.authOn && c.addressEnabled && c.portEnabled && c.authEnabled && c.userNameEnabled
                && c.passwordEnabled);
    EXPECT_FALSE(c.getSettingsEnabled);
    EXPECT_EQ(argumentFromFile(), u"--proxy=u:pw@h:8"_s) << "opening the pane saved it unchanged";

    ASSERT_TRUE(
        PropertyList::writeDictionary(controller.settingFilePath(), {{u"ProxyEnable"_s, 7}}));
    controller.loadProxySettings();
    EXPECT_EQ(c.mode, 0) << "an unknown mode shows no proxy";
    EXPECT_FALSE(c.addressEnabled || c.userNameEnabled);
}

TEST_F(ProxyControllerTest, TheSystemsProxyIsShownHttpsFirstAndSavedButNotGivenToTheEngine)
{
    const QByteArray productSite = QUrl(SLLocalizedString(u"WebSiteURL"_s)).host().toUtf8();
    const struct {
        QByteArray http, https, noProxy;
        QString address, port;
    } cases[] = {
        {"http://plain.test:3128", "http://secure.test:8443", {}, u"secure.test"_s, u"8443"_s},
        {"http://plain.test:3128", {}, {}, u"plain.test"_s, u"3128"_s},
        {"http://plain.test:3128", {}, productSite, u"plain.test"_s, u"3128"_s},
    };
    for (const auto &c : cases) {
        qputenv("no_proxy", c.noProxy);
        qputenv("http_proxy", c.http);
        if (c.https.isEmpty())
            qunsetenv("https_proxy");
        else
            qputenv("https_proxy", c.https);
        controller.awakeFromNib();
        controller.EnableProxy(ProxyController::SystemProxy);
        EXPECT_EQ(controller.controls().mode, 2);
        EXPECT_EQ(controller.controls().address, c.address);
        EXPECT_EQ(controller.controls().port, c.port);
        EXPECT_TRUE(controller.controls().addressEnabled && controller.controls().authEnabled
                    && controller.controls().getSettingsEnabled);
        EXPECT_EQ(settings(), file(2, 0, c.address, c.port));
        EXPECT_EQ(argumentFromFile(), u"--proxy="_s);
    }
    EXPECT_TRUE(alerts.shown().isEmpty());
}

TEST_F(ProxyControllerTest, WithoutASystemProxyTheAlertIsShownAndNoProxyIsSaved)
{
    controller.awakeFromNib();
    type(u"h"_s, u"1"_s);
    controller.EnableProxy(ProxyController::SystemProxy);
    ASSERT_EQ(alerts.shown().size(), 1);
    const FakeAlertPresenter::Shown &alert = alerts.shown().first();
    EXPECT_EQ(alert.message, u"Internet proxy settings are currently disabled."_s);
    EXPECT_EQ(alert.title, u"Corvane Lumen"_s);
    EXPECT_EQ(alert.buttons.defaultButton, u"OK"_s);
    EXPECT_TRUE(alert.buttons.alternateButton.isNull() && alert.buttons.otherButton.isNull());
    EXPECT_TRUE(alert.modal);
    EXPECT_EQ(controller.controls(), ProxyControls());
    EXPECT_EQ(settings(), file(0, 0));
    EXPECT_EQ(switches().value(u"ProxyEnable"_s), u"0"_s);
}

class FakeProxyWindow : public ProxyWindowPresenter {
public:
    bool loadProxyWindow(ProxyController *) override { return ++loads, loadable; }
    void bringProxyWindowToFront() override { ++fronts; }
    void closeProxyWindow() override { ++closes; }
    bool loadable = true;
    int loads = 0, fronts = 0, closes = 0;
};

TEST_F(ProxyControllerTest, TheWindowIsBuiltOnceAndAFailureIsTraced)
{
    FakeProxyWindow window;
    controller.setWindowPresenter(&window);
    controller.show();
    controller.show();
    controller.Cancel();
    EXPECT_EQ(window.loads, 1);
    EXPECT_EQ(window.fronts, 2);
    EXPECT_EQ(window.closes, 1);

    ProxyController other(&alerts);
    window.loadable = false;
    other.setWindowPresenter(&window);
    other.show();
    other.Cancel();
    EXPECT_EQ(window.fronts, 2);
    EXPECT_EQ(window.closes, 1);
    EXPECT_TRUE(
        env.readFile(u"~/Library/Application Support/CorvanePortableforMac/Logs/DaemonTrace.log"_s)
            .contains("Proxy NIB"));
    EXPECT_TRUE(
        env.readFile(
               u"~/Library/Application Support/CorvanePortableforMac/Logs/InteractiveTrace.log"_s)
            .contains("Pxy load : x"));
}

TEST_F(ProxyControllerTest, HelpOpensTheProxyPageOfTheHelpBookInTheResourcesFolder)
{
    QList<QUrl> shown;
    controller.setHelpViewer([&](const QUrl &page) { shown.append(page); });
    controller.launchProxyHelp();
    EXPECT_TRUE(shown.isEmpty()) << "the embedded tables have no help book";
    EXPECT_TRUE(env.readFile(u"~/Library/Application Support/CorvanePortableforMac/Logs/InteractiveTrace.log"_s)
                    .contains("Unable to register the help book"));

    const auto embeddedAgain = qScopeGuard([] { StringTable::install(u"corvane"_s); });
    for (const auto &[brand, page] : {std::pair{u"corvane"_s, u"/CorvaneHelp/html/proxy.htm"_s},
                                      std::pair{u"stelloa"_s, u"/StelloaHelp/pages/proxy.htm"_s}}) {
        const QString resources = env.real(u"/Resources/"_s + brand);
        QDir().mkpath(resources);
        for (const QString &file : {u"Localizable.plist"_s, u"Info.plist"_s})
            ASSERT_TRUE(QFile::copy(u":/brands/"_s + brand + u'/' + file, resources + u'/' + file));
        ASSERT_EQ(StringTable::install(brand, resources), QString());
        shown.clear();
        controller.launchProxyHelp();
        EXPECT_EQ(shown, QList<QUrl>{QUrl::fromLocalFile(resources + page)}) << brand.toStdString();
    }
}

TEST_F(ProxyControllerTest, ThePasswordIsEncipheredOnDiskAndInNoLogOrTrace)
{
    const QString password = u"Zq7-secret-Pw"_s;
    ProxyController unattended(controller.settingFilePath()); // its alert goes to the trace
    unattended.awakeFromNib();
    unattended.EnableProxy(ProxyController::SystemProxy); // none here: traced, back to no proxy
    unattended.show();
    unattended.EnableProxy(ProxyController::ManualProxy);
    unattended.EnableProxyAuth(true);
    for (const auto &[field, text] : {std::pair {Field::Address, u"h"_s},
                                      {Field::Port, u"1"_s},
                                      {Field::UserName, u"u"_s},
                                      {Field::Password, password}})
        unattended.setFieldText(field, text);
    ASSERT_EQ(unattended.SaveSetting(), 1);

    const QString stored = env.real(controller.settingFilePath());
    int logs = 0;
    for (const QString &folder : {env.root(), env.home()}) {
        QDirIterator files(folder, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString path = files.next();
            const QString text = QString::fromUtf8(readRealFile(path));
            logs += path.endsWith(u".log"_s);
            EXPECT_FALSE(text.contains(password)) << path.toStdString();
            EXPECT_EQ(text.contains(stelloaExtension::encryptedString(password)), path == stored)
                << path.toStdString();
        }
    }
    EXPECT_GE(logs, 3) << "the monitor, daemon and interactive traces were written";
}

} // namespace
