// The session-log list and the log viewer window, as the monitor runs them.

#include "MonitorFixture.h"

#include "app/SessionLogList.h"
#include "app/TrayHelp.h"
#include "logview/LogViewController.h"
#include "platform/Paths.h"
#include "product/FilePathAPIs.h"

namespace {

class FakeSessionLogWindow : public SessionLogWindowPresenter
{
public:
    void showSessionLogWindow(SessionLogList *list, bool first) override
    {
        shown.append(int(list->rows().size()));
        selectFirst.append(first);
    }
    QList<int> shown;
    QList<bool> selectFirst;
};

class MonitorLogsTest : public MonitorControllerTest
{
protected:
    void SetUp() override
    {
        MonitorControllerTest::SetUp();
        controller->setSessionLogWindow(&window);
        folder = stringByStandardizingPath(FilePathAPIs::pathForApplicationFile(3));
    }
    QStringList descriptions() const
    {
        QStringList names;
        for (const SessionLogRow &row : controller->sessionLogArray()->rows())
            names.append(row.Description);
        return names;
    }
    FakeSessionLogWindow window;
    QString folder;
};

TEST_P(MonitorLogsTest, TheListNamesEachLogAndItsStartWithOrWithoutSeconds)
{
    env.writeFile(folder + u"/.DS_Store"_s, "");
    controller->viewLog();
    EXPECT_EQ(window.shown, QList<int>{0}) << "hidden files only: an empty list";
    EXPECT_EQ(window.selectFirst, QList<bool>{false}) << "no row to select";

    env.writeFile(folder + u"/Backup 11-16-2026-10-20-30"_s, "a");
    env.writeFile(folder + u"/Restore 11-15-2026-09-05"_s, "b");
    env.writeFile(folder + u"/Odd"_s, "c");
    controller->viewLog();
    EXPECT_EQ(window.selectFirst.last(), true);
    const QList<SessionLogRow> rows = controller->sessionLogArray()->rows();
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(descriptions(), (QStringList{u"Backup"_s, u"Odd"_s, u"Restore"_s}));
    EXPECT_EQ(rows[0].Filepath, folder + u"/Backup 11-16-2026-10-20-30"_s);
    EXPECT_EQ(rows[0].StartTime, QDateTime(QDate(2026, 11, 16), QTime(10, 20, 30)));
    EXPECT_FALSE(rows[1].StartTime.isValid()) << "a name without a date keeps its row";
    EXPECT_EQ(rows[2].StartTime, QDateTime(QDate(2026, 11, 15), QTime(9, 5)));
    EXPECT_FALSE(rows[0].Type);
}

TEST_P(MonitorLogsTest, OpeningGoesInOrderAndARowWhoseFileIsGoneStays)
{
    for (const QString &name : {u"A 11-16-2026-10-20-30"_s, u"B 11-16-2026-10-21-30"_s, u"C 11-16-2026-10-22-30"_s})
        env.writeFile(folder + u'/' + name, "log");
    controller->reloadSessionLogs();
    controller->openSelectedSessionLogs({2, 0});
    ASSERT_EQ(desktop.opened.size(), 2);
    EXPECT_EQ(desktop.opened[0], QUrl::fromLocalFile(env.real(folder + u"/A 11-16-2026-10-20-30"_s)));
    EXPECT_EQ(desktop.opened[1], QUrl::fromLocalFile(env.real(folder + u"/C 11-16-2026-10-22-30"_s)));

    QFile::remove(env.real(folder + u"/B 11-16-2026-10-21-30"_s)); // gone behind the list's back
    controller->deleteSelectedSessionLogs({0, 1});
    EXPECT_EQ(descriptions(), (QStringList{u"B"_s, u"C"_s}));
    EXPECT_FALSE(env.exists(folder + u"/A 11-16-2026-10-20-30"_s));
}

TEST_P(MonitorLogsTest, TheNotificationWindowsViewLogsShowsTheList)
{
    env.writeFile(folder + u"/Backup 11-16-2026-10-20-30"_s, "a");
    receive(QVariantMap{{u"FileCount"_s, 3}, {u"StatusMessage"_s, u"Backup completed"_s}}, 1, true);
    ASSERT_FALSE(notificationWindow.shown.isEmpty());
    controller->notificationDisplayController()->didClickViewLogs();
    EXPECT_EQ(window.shown, QList<int>{1});
}

TEST_P(MonitorLogsTest, TheLogViewerIsMadeOnceAndShowsTheStoredPeriodEachTime)
{
    EXPECT_EQ(controller->logViewController(), nullptr) << "nothing before it is asked for";
    controller->itemWithTag(CorvaneMonitorController::ViewLogsTag)->trigger();
    LogViewController *viewer = controller->logViewController();
    ASSERT_NE(viewer, nullptr);
    controller->viewSessionLog();
    EXPECT_EQ(controller->logViewController(), viewer);
    EXPECT_TRUE(controller->logWindowStatus().isNull()) << "no window in this test";
}

class FakeTrayHelp : public TrayHelpPresenter
{
public:
    void showTrayHelp() override { ++shown; }
    void closeTrayHelp() override { ++closed; }
    int shown = 0, closed = 0;
};

TEST_P(MonitorLogsTest, TheFirstRunHelpShowsOnceWhenTheInstallerLeftItsMarker)
{
    FakeTrayHelp help;
    trayHelp = &help;
    const QString marker = u"~/Library/Application Support/CorvanePortableforMac/installfortray.txt"_s;
    start();
    EXPECT_EQ(help.shown, 0) << "no marker, no help";

    env.writeFile(marker, "");
    start();
    EXPECT_EQ(help.shown, 1);
    EXPECT_TRUE(controller->isTrayHelpShown());
    EXPECT_FALSE(env.exists(marker)) << "shown once";
    controller->closeTrayHelp();
    EXPECT_EQ(help.closed, 1);
    start();
    EXPECT_EQ(help.shown, 1);
    trayHelp = nullptr;
}

TEST(TrayHelpPlacement, HalfTheArrowViewLeftOfTheItemAnd130PointsBelowIt)
{
    EXPECT_EQ(TrayHelp::origin(QRect(1000, 0, 24, 24)), QPoint(1000 - 153, 24 + 130));
    EXPECT_EQ(TrayHelp::origin(QRect()), QPoint(0, 130)) << "no frame known";
    EXPECT_EQ(TrayHelp::kWindowSize, QSize(307, 99));
}

INSTANTIATE_TEST_SUITE_P(Brands, MonitorLogsTest, ::testing::ValuesIn(kBrands), brandName);

} // namespace
