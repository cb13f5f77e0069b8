#include "controls/CVLevelIndicator.h"
#include "notify/DisplayController.h"
#include "support/FakeDisplayDelegate.h"
#include "notify/views/DesktopNotificationWindow.h"
#include "notify/views/DisplayWindow.h"
#include "notify/views/ProgressView.h"
#include "support/TestEnvironment.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Monitor = FakeDisplayDelegate;

const QVariantMap kJobResult{{u"Username"_s, u"ann@example.com"_s}, {u"UsedQuota"_s, u"36 GB"_s},
                             {u"TotalQuota"_s, u"50 GB"_s},         {u"PercentageQuota"_s, u"72"_s},
                             {u"TotalCount"_s, u"1152"_s},          {u"SyncFileCount"_s, u"1024"_s},
                             {u"FailureCount"_s, u"0"_s}};

class NotificationWindowTest : public ::testing::Test
{
protected:
    NotificationWindowTest() { controller.setDelegate(&monitor); }
    QString text(const QString &name) const
    {
        const QLabel *field = window.findChild<QLabel *>(name);
        return field ? field->text() : u"<missing>"_s;
    }
    bool shown(const QString &name) const
    {
        const QWidget *widget = window.findChild<QWidget *>(name);
        return widget && widget->isVisibleTo(&window);
    }

    TestEnvironment env;
    DesktopNotificationWindow window;
    DisplayController controller{&window};
    Monitor monitor;
};

TEST_F(NotificationWindowTest, ShowsTheLayoutAtTheTopRightWithoutTakingTheFocus)
{
    EXPECT_FALSE(window.isBuilt());
    controller.displayDesktopNotfn(false, false, kJobResult);
    ASSERT_TRUE(window.isVisible());
    // The offscreen platform activates every window it shows, whatever its flags: what keeps the
    // focus with the user on a real desktop is asked for here.
    EXPECT_TRUE(window.testAttribute(Qt::WA_ShowWithoutActivating));
    EXPECT_TRUE(window.windowFlags().testFlags(Qt::Tool | Qt::FramelessWindowHint
                                               | Qt::WindowDoesNotAcceptFocus | Qt::WindowStaysOnTopHint));
    EXPECT_EQ(text(u"usernameLabel"_s), u"ann@example.com"_s);
    EXPECT_EQ(text(u"mQuotaLabel"_s), u"36 GB out of 50 GB"_s);
    EXPECT_EQ(window.findChild<CVLevelIndicator *>(u"quotaInd"_s)->value(), 72);
    EXPECT_EQ(text(u"totalFileCountNumberLabel"_s), u"1152 files"_s);
    EXPECT_TRUE(shown(u"SyncFileCountNumberLabel"_s));
    EXPECT_FALSE(shown(u"FailureFileCountLabel"_s));
    EXPECT_FALSE(shown(u"FailureFileCountNumberLabel"_s));
    EXPECT_EQ(text(u"mNextJobLabel"_s), u"You have no scheduled jobs"_s);
    EXPECT_TRUE(shown(u"mNextJobLabel"_s));
    EXPECT_FALSE(shown(u"statusLabel"_s)) << "no status message";
    QVariantMap withStatus = kJobResult;
    withStatus.insert(u"StatusMessage"_s, u"Backup completed"_s);
    controller.displayDesktopNotfn(false, false, withStatus);
    EXPECT_TRUE(shown(u"statusLabel"_s));
    EXPECT_EQ(text(u"statusLabel"_s), u"Backup completed"_s);
    EXPECT_TRUE(shown(u"mQuotaLabel"_s)) << "a personal plan's quota";
    EXPECT_TRUE(shown(u"quotaInd"_s));
    EXPECT_NEAR(window.windowOpacity(), 0.98, 0.01) << "stored by the platform in 256 steps";
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    EXPECT_EQ(window.geometry().right(), available.right() - 20);
    EXPECT_EQ(window.geometry().top(), available.top());
    const auto nothingClipped = [this] {
        for (const QLabel *field : window.findChildren<QLabel *>()) {
            if (field->isVisibleTo(&window) && !field->wordWrap()) {
                EXPECT_GE(field->width(), field->sizeHint().width()) << "clipped: " << field->text().toStdString();
            }
        }
    };
    nothingClipped();

    // Reused: a status with an error and a failure count on a business plan rearranges it.
    QVariantMap failed = kJobResult;
    failed.insert(u"FailureCount"_s, u"3"_s);
    failed.insert(u"Username"_s, u"annemarie.weber-oberholzer.accounts.department@example.com"_s);
    controller.displayDesktopNotfn(false, true, failed);
    nothingClipped();
    EXPECT_TRUE(text(u"usernameLabel"_s).endsWith(u"@example.com"_s));
    EXPECT_TRUE(shown(u"FailureFileCountNumberLabel"_s));
    EXPECT_FALSE(shown(u"quotaView"_s));
    EXPECT_FALSE(shown(u"upgradeView"_s));
    const int plainHeight = window.height();
    failed.insert(u"ErrorMessage"_s, QString(141, u'x'));
    controller.displayDesktopNotfn(false, true, failed);
    EXPECT_FALSE(shown(u"backupStatusView"_s));
    EXPECT_TRUE(shown(u"errorLabel"_s));
    EXPECT_GE(window.findChild<QLabel *>(u"errorLabel"_s)->height(), 3 * 18);
    EXPECT_TRUE(window.isVisible());
    EXPECT_NE(window.height(), plainHeight);
}

TEST_F(NotificationWindowTest, ButtonsReachTheController)
{
    controller.displayDesktopNotfn(true, false, kJobResult);
    window.findChild<QPushButton *>(u"viewLogsButton"_s)->click();
    window.findChild<QPushButton *>(u"upgradeButton"_s)->click();
    EXPECT_EQ(monitor.listsShown, 1) << "the notification window's View Logs shows the list";
    EXPECT_EQ(monitor.logsOpened, 0);
    EXPECT_EQ(monitor.upgrades, QStringList{u"ann@example.com"_s});
    window.findChild<QToolButton *>(u"closeButton"_s)->click();
    EXPECT_FALSE(window.isVisible());
}

TEST_F(NotificationWindowTest, ThePanelShowsItsMessageAndClosesThroughTheController)
{
    controller.displayMessage({{u"Title"_s, u"Quota"_s},
                               {u"Message"_s, u"You have exceeded your quota"_s},
                               {u"UsedQuota"_s, u"104"_s}});
    DisplayWindow *panel = window.panel();
    ASSERT_NE(panel, nullptr);
    EXPECT_TRUE(panel->isVisible());
    EXPECT_EQ(panel->size(), QSize(428, 264));
    EXPECT_TRUE(panel->upgradeButton()->isVisibleTo(panel));
    EXPECT_EQ(panel->progressView()->progressValue(), 104);
    EXPECT_EQ(panel->lastSoundName(), u"Morse"_s);
    panel->viewLogButton()->click();
    EXPECT_EQ(monitor.logsOpened, 1);

    controller.displayMessage({{u"Message"_s, u"Backed up"_s}});
    EXPECT_NE(window.panel(), panel);
    EXPECT_FALSE(window.panel()->upgradeButton()->isVisibleTo(window.panel()));
    window.panel()->closeButton()->click();
    EXPECT_FALSE(controller.isPanelOpen());
}

TEST(CustomDrawnBars, RenderEveryValueAndShowTheirShare)
{
    ProgressView progress;
    CVLevelIndicator level;
    progress.resize(200, 20);
    level.resize(level.sizeHint());
    QImage progressAt[4], levelAt[4];
    const int values[] = {0, 50, 100, 150};
    for (int i = 0; i < 4; ++i) {
        progress.setProgressValue(values[i]);
        level.setValue(values[i]);
        progressAt[i] = progress.grab().toImage();
        levelAt[i] = level.grab().toImage();
    }
    // Left of the label the bar fills from 50 on, right of it only at 100 and beyond.
    const auto at = [&](int i, double share) { return progressAt[i].pixel(int(progressAt[i].width() * share), 10); };
    EXPECT_NE(at(0, 0.1), at(1, 0.1));
    EXPECT_EQ(at(0, 0.9), at(1, 0.9));
    EXPECT_NE(at(1, 0.9), at(2, 0.9));
    EXPECT_EQ(at(2, 0.9), at(3, 0.9));
    EXPECT_EQ(progress.label(), u"150 %"_s);
    EXPECT_EQ(level.value(), 100);
    EXPECT_NE(progressAt[0], progressAt[2]);
    EXPECT_NE(levelAt[0], levelAt[2]);
    EXPECT_NE(levelAt[1], levelAt[2]);
    EXPECT_EQ(levelAt[2], levelAt[3]) << "above 100 is full";

    level.setValue(89);
    const QColor normal = level.fillColor();
    level.setValue(90);
    const QColor warning = level.fillColor();
    level.setValue(100);
    EXPECT_NE(normal, warning);
    EXPECT_NE(warning, level.fillColor());
}

} // namespace
