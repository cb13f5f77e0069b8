#include "prefs/CVTabViewController.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class Monitor : public PreferencesWindowDelegate
{
public:
    void upgradeAccount() override { calls << u"upgrade"_s; }
    void changePassword() override { calls << u"password"_s; }
    void updateSoftware() override { calls << u"update"_s; }
    void SaveSetting() override { calls << u"save proxy"_s; }
    void openProductPage() override { calls << u"logo"_s; }
    QStringList calls;
};

TEST(CVTabViewController, SwitchingPanesShowsTheRowsPaneAndAlwaysKeepsTheProxySettings)
{
    TestEnvironment env;
    CVTabViewController tabs;
    Monitor monitor;
    tabs.setMainController(&monitor);
    SignalRecorder shown(&tabs, &CVTabViewController::selectedPaneChanged);
    ASSERT_EQ(CVTabViewController::panes().size(), 2);
    EXPECT_EQ(CVTabViewController::panes().at(1).title, u"Exclude"_s);
    EXPECT_EQ(CVTabViewController::panes().at(0).iconName, u"CV_General.png"_s);
    EXPECT_EQ(tabs.mLastSelectedIndex(), 0);

    tabs.tableViewSelectionChanged(1);
    EXPECT_EQ(tabs.mLastSelectedIndex(), 1);
    tabs.tableViewSelectionChanged(2);  // out of range: nothing selected
    tabs.tableViewSelectionChanged(-1); // nothing selected at all
    EXPECT_EQ(tabs.mLastSelectedIndex(), 1);
    ASSERT_EQ(shown.count(), 1);
    EXPECT_EQ(shown.emissions().first().value(0).toInt(), 1);
    EXPECT_EQ(monitor.calls, QStringList(3, u"save proxy"_s)) << "saved in every case";

    monitor.calls.clear();
    tabs.upgrade();
    tabs.changePassword();
    tabs.checkForSoftwareUpgrades();
    tabs.clickLogo();
    EXPECT_EQ(monitor.calls, (QStringList{u"upgrade"_s, u"password"_s, u"update"_s, u"logo"_s}));
}

TEST(CVTabViewController, TheVersionLineAndTheSecondBrandsLogoAndButtons)
{
    {
        TestEnvironment env(u"corvane"_s);
        CVTabViewController tabs;
        EXPECT_EQ(tabs.appVersionText(), u"v1.0.0  Date: 2026-11-23"_s);
        EXPECT_EQ(tabs.logoImage(), u"CVMiniLogo.png"_s);
        tabs.setLogoForMainScreen(true);
        EXPECT_EQ(tabs.logoImage(), u"CVMain_Logo.png"_s);
        EXPECT_TRUE(tabs.upgradeToolTip().isEmpty()) << "the first brand keeps its own";
        EXPECT_FALSE(tabs.changePasswordBesideUpgrade());
    }
    TestEnvironment env(u"stelloa"_s);
    CVTabViewController tabs;
    tabs.setLogoForMainScreen(true);
    EXPECT_EQ(tabs.logoImage(), u"portable_pref_logo.png"_s);
    EXPECT_EQ(tabs.upgradeToolTip(), u"Upgrade to latest version of Stelloa Lumen."_s);
    EXPECT_TRUE(tabs.changePasswordBesideUpgrade());
}

} // namespace
