#include "notify/DisplayController.h"
#include "support/FakeDisplayDelegate.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

class FakeWindow : public NotificationWindowPresenter
{
public:
    QRect availableGeometry() const override { return available; }
    QRect screenGeometry() const override { return screen; }
    QSize notificationSize(const NotificationLayout &) override { return size; }
    void showNotification(const NotificationLayout &layout) override { shown.append(layout); }
    void hideNotification() override { calls.append(u"hide"_s); }
    void showPanel(const DisplayPanelContents &contents) override
    {
        panels.append(contents);
        calls.append(u"showPanel"_s);
    }
    void closePanel() override { calls.append(u"closePanel"_s); }

    QRect available{0, 27, 1920, 1053};
    QRect screen{0, 0, 1920, 1080};
    QSize size{380, 240};
    QList<NotificationLayout> shown;
    QList<DisplayPanelContents> panels;
    QStringList calls;
};

using Monitor = FakeDisplayDelegate;

const QVariantMap kPersonal{{u"Username"_s, u"ann@example.com"_s},
                            {u"UsedQuota"_s, u"36 GB"_s},
                            {u"TotalQuota"_s, u"50 GB"_s},
                            {u"PercentageQuota"_s, u"72"_s}};

class DisplayControllerTest : public ::testing::Test
{
protected:
    NotificationLayout show(bool isStatus, bool business, const QVariantMap &data)
    {
        controller.displayDesktopNotfn(isStatus, business, data);
        return window.shown.value(window.shown.size() - 1);
    }
    static QVariantMap with(QVariantMap data, const QString &key, const QVariant &value)
    {
        data.insert(key, value);
        return data;
    }

    TestEnvironment env;
    FakeWindow window;
    DisplayController controller{&window};
    Monitor monitor;
};

TEST_F(DisplayControllerTest, QuotaRowFollowsThePlanAndThePercentage)
{
    struct Case
    {
        bool business;
        QVariant percentage; // invalid: not in the data
        bool quota, indicator, upgrade;
        QString text;
        int level;
    };
    const QString upto = u"Your Mac data is only protected upto 50 GB"_s;
    const Case cases[] = {
        {false, u"99"_s, true, true, true, u"36 GB out of 50 GB"_s, 99},
        {false, u"0"_s, true, true, true, u"36 GB out of 50 GB"_s, 0},
        {false, u"100"_s, true, false, true, upto, 100},
        {false, 140, true, false, true, upto, 100},
        {false, QVariant(), false, false, true, QString(), 0},
        {false, u"n/a"_s, false, false, true, QString(), 0},
        {true, u"72"_s, false, false, false, QString(), 0},
        {true, u"100"_s, false, false, false, QString(), 0},
    };
    for (const Case &c : cases) {
        QVariantMap data = kPersonal;
        data.remove(u"PercentageQuota"_s);
        if (c.percentage.isValid())
            data.insert(u"PercentageQuota"_s, c.percentage);
        const NotificationLayout layout = show(true, c.business, data);
        const std::string label = c.percentage.toString().toStdString() + (c.business ? " business" : "");
        EXPECT_EQ(layout.showQuota, c.quota) << label;
        EXPECT_EQ(layout.showLevelIndicator, c.indicator) << label;
        EXPECT_EQ(layout.showUpgrade, c.upgrade) << label;
        EXPECT_EQ(layout.quotaText, c.text) << label;
        EXPECT_EQ(layout.quotaLevel, c.level) << label;
    }
}

TEST_F(DisplayControllerTest, AFinishedJobShowsItsCountsAndFailuresOnlyWhenThereAreSome)
{
    const QVariantMap counts{{u"TotalCount"_s, u"1152"_s}, {u"SuccessCount"_s, u"125"_s},
                             {u"SyncFileCount"_s, u"1024"_s}};
    NotificationLayout layout = show(false, false, with(counts, u"FailureCount"_s, u"3"_s));
    EXPECT_TRUE(layout.showBackupStatus);
    EXPECT_EQ(layout.totalCount, u"1152 files"_s);
    EXPECT_EQ(layout.successCount, u"125 files"_s);
    EXPECT_EQ(layout.syncFileCount, u"1024 files"_s);
    EXPECT_EQ(layout.failureCount, u"3 files"_s);
    EXPECT_TRUE(layout.showFailureCount);

    for (const QVariant &none : {QVariant(u"0"_s), QVariant(0), QVariant(u""_s), QVariant()}) {
        QVariantMap data = counts;
        if (none.isValid())
            data.insert(u"FailureCount"_s, none);
        EXPECT_FALSE(show(false, false, data).showFailureCount) << none.toString().toStdString();
    }
    EXPECT_TRUE(show(false, false, with(counts, u"TotalCount"_s, QVariant())).totalCount.isEmpty())
        << "an unreported count is no row, not \"(null) files\"";
    EXPECT_FALSE(show(true, false, counts).showBackupStatus) << "a status shows no counts";
}

TEST_F(DisplayControllerTest, TheNextJobLineAndTheStatusLine)
{
    EXPECT_EQ(show(true, false, with(kPersonal, u"NextScheduledItem"_s, u""_s)).nextJobText,
              u"You have no scheduled jobs"_s);
    EXPECT_EQ(show(true, false, kPersonal).nextJobText, u"You have no scheduled jobs"_s);
    const NotificationLayout layout = show(
        true, false,
        with(with(kPersonal, u"NextScheduledItem"_s, u"Mon, 23 Nov 2026 18:00"_s),
             u"StatusMessage"_s, u"Scheduled backup is in progress"_s));
    EXPECT_EQ(layout.nextJobText, u"Your next scheduled backup will start on Mon, 23 Nov 2026 18:00"_s);
    EXPECT_EQ(layout.statusText, u"Scheduled backup is in progress"_s);
    EXPECT_FALSE(layout.showError);
}

TEST_F(DisplayControllerTest, AnErrorSelectsTheErrorLayoutAndGrowsByItsLines)
{
    struct Case
    {
        QString error;
        int lines;
    };
    const Case cases[] = {{QString(70, u'x'), 1}, {QString(71, u'x'), 2}, {u"a\n\nb"_s, 3}, {u""_s, 0}};
    for (const Case &c : cases) {
        const NotificationLayout layout = show(false, false, with(kPersonal, u"ErrorMessage"_s, c.error));
        EXPECT_TRUE(layout.showError);
        EXPECT_FALSE(layout.showBackupStatus);
        EXPECT_EQ(layout.errorText, c.error);
        EXPECT_EQ(layout.errorLines, c.lines) << c.error.size();
        EXPECT_EQ(layout.extraHeight, c.lines * 18) << c.error.size();
        EXPECT_TRUE(layout.nextJobText.isEmpty());
    }
}

TEST_F(DisplayControllerTest, ForceHideSuppressesOnlyAJobResult)
{
    const QVariantMap hidden = with(kPersonal, u"ShouldForceHide"_s, u"YES"_s);
    controller.displayDesktopNotfn(false, false, hidden);
    EXPECT_TRUE(window.shown.isEmpty());
    controller.displayDesktopNotfn(false, false, with(kPersonal, u"ShouldForceHide"_s, u"NO"_s));
    controller.displayDesktopNotfn(true, false, hidden);
    EXPECT_EQ(window.shown.size(), 2);
}

TEST_F(DisplayControllerTest, TheWindowSitsAtTheTopRightOfTheUsableArea)
{
    struct Case
    {
        QRect available;
        QSize size;
        QRect frame;
    };
    const Case cases[] = {
        {{0, 27, 1920, 1053}, {380, 240}, {1520, 27, 380, 240}},
        {{64, 0, 1856, 1040}, {380, 300}, {1520, 0, 380, 300}},  // a dock on the left
        {{0, 0, 1920, 1080}, {380, 1200}, {1520, 0, 380, 1200}}, // taller than the area: top stays in
        {{0, 0, 300, 600}, {380, 240}, {0, 0, 380, 240}},        // wider: the left edge stays in
    };
    for (const Case &c : cases) {
        window.available = c.available;
        window.size = c.size;
        EXPECT_EQ(show(true, false, kPersonal).frame, c.frame) << c.available.x() << "," << c.size.height();
    }
}

TEST_F(DisplayControllerTest, ButtonsReachTheMonitorWithTheNameShown)
{
    controller.openLogs();
    controller.upgradeAccount(); // no delegate yet: nothing happens
    controller.setDelegate(&monitor);
    show(true, false, kPersonal);
    show(false, false, {{u"TotalCount"_s, u"3"_s}}); // names nobody: the label keeps its text
    EXPECT_EQ(window.shown.last().userName, u"ann@example.com"_s);
    controller.openLogs();
    controller.didClickViewLogs();
    controller.upgradeAccount();
    EXPECT_EQ(monitor.logsOpened, 1);
    EXPECT_EQ(monitor.listsShown, 1);
    EXPECT_EQ(monitor.upgrades, QStringList{u"ann@example.com"_s});
    show(true, false, with(kPersonal, u"Username"_s, u"bob"_s));
    controller.upgradeAccount();
    EXPECT_EQ(monitor.upgrades.last(), u"bob"_s);
}

TEST_F(DisplayControllerTest, APanelIsFilledFromItsDataAndPlacedBelowTheTopRightCorner)
{
    controller.displayMessage({{u"Title"_s, u"Quota"_s},
                               {u"Message"_s, u"You have used most of your space"_s},
                               {u"Subtitle1"_s, u"Used: 36 GB"_s},
                               {u"UsedQuota"_s, u"72"_s}});
    ASSERT_EQ(window.panels.size(), 1);
    DisplayPanelContents panel = window.panels.last();
    EXPECT_EQ(panel.title, u"Quota"_s);
    EXPECT_EQ(panel.subtitles, (QStringList{u"Used: 36 GB"_s, u""_s}));
    EXPECT_EQ(panel.progressValue, 72);
    EXPECT_EQ(panel.frame, QRect(1472, 40, 428, 264));
    EXPECT_EQ(panel.soundName, u"Morse"_s);
    EXPECT_FALSE(panel.messageRightAligned);
    EXPECT_FALSE(panel.showUpgradeButton);

    controller.displayMessage({{u"Message"_s, u"You have exceeded your quota"_s},
                               {u"Subtitle3"_s, u"c"_s},
                               {u"UsedQuota"_s, u"104 %"_s}});
    panel = window.panels.last();
    EXPECT_TRUE(panel.messageRightAligned);
    EXPECT_TRUE(panel.showUpgradeButton);
    EXPECT_EQ(panel.subtitles.size(), 3);
    EXPECT_EQ(panel.progressValue, 104);
    EXPECT_EQ(window.calls, (QStringList{u"showPanel"_s, u"closePanel"_s, u"showPanel"_s}))
        << "a new panel closes the old one first";
}

TEST_F(DisplayControllerTest, ThePanelClosesItselfOnceAfterItsTimeout)
{
    EXPECT_EQ(controller.panelTimer().interval(), 120'000);
    EXPECT_TRUE(controller.panelTimer().isSingleShot());
    controller.setPanelTimeout(20ms);
    controller.displayMessage({{u"Message"_s, u"m"_s}});
    controller.displayMessage({{u"Message"_s, u"m"_s}});
    EXPECT_TRUE(controller.isPanelOpen());
    QElapsedTimer clock;
    clock.start();
    while (controller.isPanelOpen() && clock.elapsed() < 900)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    EXPECT_FALSE(controller.isPanelOpen());
    controller.close(); // closing again asks nothing more of the window
    EXPECT_EQ(window.calls,
              (QStringList{u"showPanel"_s, u"closePanel"_s, u"showPanel"_s, u"closePanel"_s}));
}

} // namespace
