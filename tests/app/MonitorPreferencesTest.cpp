// The preferences window as the monitor drives it: requests from the main application, by
// notification or by the launch file, and the window's state with the login.

#include "MonitorFixture.h"

#include "platform/DistributedNotificationCenter.h"
#include "prefs/PreferencesPanes.h"
#include "product/FilePathAPIs.h"
#include "support/FakeErrorReportWindow.h"

namespace {

class FakePreferencesWindow : public PreferencesWindowPresenter
{
public:
    void openPreferences() override { ++opened; }
    bool isOpen() const override { return opened > 0; }
    int opened = 0;
};

class MonitorPreferencesTest : public MonitorControllerTest
{
protected:
    void SetUp() override
    {
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
        preferencesWindow = &window;
        errorReportWindow = &errorReport;
    }
    // A monitor started with this launch request waiting.
    void startWithRequest(const QByteArray &request)
    {
        env.writeFile(BrandPaths::launchRequest(), request);
        start();
    }
    CVTabViewController &tabs() const { return controller->preferencesPanes()->tabs; }

    FakePreferencesWindow window;
    FakeErrorReportWindow errorReport;
};

TEST_P(MonitorPreferencesTest, LaunchRequestsOpenTheirPaneAndAreUsedUp)
{
    logIn();
    const struct {
        QByteArray request;
        int opened;
        int row;
        bool panesEnabled;
    } cases[] = {
        {"ViewExclude", 1, CVTabViewController::ExcludeRow, true},
        {"Open", 1, CVTabViewController::GeneralRow, true}, // any other text: the window as it is
        {"DisablePreferencesNotification", 1, CVTabViewController::GeneralRow, false},
        {"sendErrorReport", 0, CVTabViewController::GeneralRow, true}, // not a preferences pane
    };
    for (const auto &c : cases) {
        window.opened = 0;
        startWithRequest(c.request);
        EXPECT_EQ(window.opened, c.opened) << c.request.constData();
        EXPECT_EQ(tabs().mLastSelectedIndex(), c.row) << c.request.constData();
        EXPECT_EQ(tabs().panesEnabled(), c.panesEnabled) << c.request.constData();
        EXPECT_FALSE(env.exists(BrandPaths::launchRequest())) << c.request.constData();
    }
    EXPECT_EQ(errorReport.shown, 1) << "the error report was asked for once";
    window.opened = 0;
    start();
    EXPECT_EQ(window.opened, 0) << "no request, no window";
}

TEST_P(MonitorPreferencesTest, TheMainApplicationOpensDisablesAndEnablesThePreferences)
{
    logIn();
    start();
    DistributedNotificationCenter application;
    const auto post = [&](const QString &name, const QString &object = {}) {
        application.post(name, object, {}, true);
    };
    post(u"CorvanePortableOpenPreferencesNotification"_s, u"ViewExclude"_s);
    ASSERT_TRUE(waitUntil([&] { return window.opened == 1; }));
    EXPECT_EQ(tabs().mLastSelectedIndex(), int(CVTabViewController::ExcludeRow));
    post(u"CorvanePortableOpenPreferencesNotification"_s, u"sendErrorReport"_s);
    ASSERT_TRUE(waitUntil([&] { return errorReport.shown == 1; }));
    EXPECT_EQ(window.opened, 1) << "the error report instead of the preferences";

    post(u"CorvanePortableDisablePreferencesNotification"_s);
    ASSERT_TRUE(waitUntil([&] { return !tabs().panesEnabled(); }));
    EXPECT_FALSE(tabs().controlsEnabled());
    EXPECT_FALSE(tabs().upgradeEnabled());
    EXPECT_EQ(tabs().mLastSelectedIndex(), int(CVTabViewController::GeneralRow));
    EXPECT_TRUE(controller->userNameLabel().isEmpty());

    tabs().tableViewSelectionChanged(CVTabViewController::ExcludeRow);
    post(u"CorvanePortableEnablePreferencesNotification"_s);
    ASSERT_TRUE(waitUntil([&] { return tabs().panesEnabled(); }));
    EXPECT_TRUE(tabs().controlsEnabled());
    EXPECT_EQ(tabs().upgradeEnabled(), brand().id == u"corvane"_s) << "the second brand has no upgrade button";
    EXPECT_EQ(tabs().mLastSelectedIndex(), int(CVTabViewController::GeneralRow));
    EXPECT_EQ(controller->userNameLabel(), u"ann@example.com"_s);
}

INSTANTIATE_TEST_SUITE_P(Brands, MonitorPreferencesTest, ::testing::ValuesIn(kBrands), brandName);

} // namespace
