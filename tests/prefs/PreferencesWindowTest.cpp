#include "notify/AlertPresenter.h"
#include "platform/DistributedNotificationCenter.h"
#include "prefs/PreferencesPanes.h"
#include "prefs/views/PreferencesWindow.h"
#include "support/FakeAlertPresenter.h"
#include "support/TestEnvironment.h"

#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class WindowOwner : public PreferencesWindowDelegate
{
public:
    void upgradeAccount() override { calls.append(u"upgrade"_s); }
    void changePassword() override { calls.append(u"password"_s); }
    void updateSoftware() override { calls.append(u"update"_s); }
    void SaveSetting() override { calls.append(u"save proxy"_s); }
    void openProductPage() override { calls.append(u"product page"_s); }
    QStringList calls;
};

TEST(PreferencesWindow, BuiltOnFirstOpenShowsTheSelectedPaneAndTellsItsOwnerBeforeClosing)
{
    TestEnvironment env;
    FakeAlertPresenter alerts;
    DistributedNotificationCenter notifications;
    PreferencesPanes panes(&alerts, &notifications);
    int closing = 0;
    PreferencesWindow preferences([&] { return &panes; }, [&] { ++closing; });
    EXPECT_EQ(preferences.window(), nullptr) << "nothing built before it is opened";
    EXPECT_FALSE(preferences.isOpen());

    panes.tabs.tableViewSelectionChanged(CVTabViewController::ExcludeRow);
    preferences.openPreferences();
    ASSERT_TRUE(preferences.isOpen());
    QWidget *window = preferences.window();
    auto *list = window->findChild<QListWidget *>(u"mTableView"_s);
    auto *stack = window->findChild<QStackedWidget *>(u"mTabView"_s);
    ASSERT_TRUE(list && stack);
    EXPECT_EQ(list->count(), 2);
    EXPECT_EQ(stack->currentIndex(), 1) << "the pane asked for";
    EXPECT_EQ(window->findChild<QLabel *>(u"mAppVersion"_s)->text(), panes.tabs.appVersionText());

    WindowOwner owner;
    panes.tabs.setMainController(&owner);
    auto *logo = window->findChild<QToolButton *>(u"mLogoButton"_s);
    ASSERT_TRUE(logo);
    EXPECT_FALSE(logo->icon().isNull()) << panes.tabs.logoImage().toStdString() << " is no image of ours";
    logo->click();
    for (const QString &name : {u"mUpgradeButton"_s, u"mChangePassword"_s, u"mCheckForUpdate"_s})
        window->findChild<QPushButton *>(name)->click();
    EXPECT_EQ(owner.calls, (QStringList{u"product page"_s, u"upgrade"_s, u"password"_s, u"update"_s}));
    owner.calls.clear();

    list->setCurrentRow(0); // the user picks "General"
    EXPECT_EQ(panes.tabs.mLastSelectedIndex(), 0);
    EXPECT_EQ(stack->currentIndex(), 0);
    EXPECT_EQ(owner.calls, QStringList{u"save proxy"_s}) << "leaving a pane keeps the proxy settings";

    auto *upgrade = window->findChild<QPushButton *>(u"mUpgradeButton"_s);
    panes.tabs.setControlsStatus(false);
    panes.tabs.setUpgradeEnabled(false);
    EXPECT_FALSE(list->isEnabled());
    EXPECT_FALSE(upgrade->isEnabled());
    EXPECT_TRUE(upgrade->isVisibleTo(window)) << "the first brand keeps its upgrade button, greyed";
    panes.tabs.setControlsStatus(true);
    panes.tabs.setUpgradeEnabled(true);
    EXPECT_TRUE(list->isEnabled() && upgrade->isEnabled());

    panes.tabs.setUserName(u"ann@example.com"_s);
    auto *name = window->findChild<QLabel *>(u"mUserName"_s);
    EXPECT_EQ(name->text(), u"ann@example.com"_s);
    EXPECT_EQ(name->x() + name->width(), window->width() - 10) << "10 points in from the right edge";
    window->resize(window->width() + 50, window->height());
    EXPECT_EQ(name->x() + name->width(), window->width() - 10) << "and it stays there";
    panes.tabs.setPanesEnabled(false);
    EXPECT_FALSE(stack->widget(0)->isEnabled());
    EXPECT_FALSE(stack->widget(1)->isEnabled());
    panes.tabs.setUserName(QString());
    EXPECT_FALSE(name->isVisibleTo(window)) << "nobody logged in: no name";

    window->close();
    EXPECT_EQ(closing, 1);
    EXPECT_TRUE(waitUntil([&] { return preferences.window() == nullptr; }, 2000)) << "released on close";
    preferences.openPreferences();
    EXPECT_TRUE(preferences.isOpen()) << "built again";
}

} // namespace
