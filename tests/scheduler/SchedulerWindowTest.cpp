#include "SchedulerFixture.h"
#include "support/FakeAlertPresenter.h"
#include "support/LoginDetails.h"

#include "platform/PropertyList.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/ScheduleEditor.h"
#include "scheduler/SchedulerState.h"
#include "scheduler/views/DayControl.h"
#include "scheduler/views/DayControlItem.h"
#include "scheduler/views/ScheduleEditSheetView.h"
#include "scheduler/views/SchedulerWindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QRadioButton>
#include <QTimeEdit>
#include <QHeaderView>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QToolBar>

using namespace Qt::StringLiterals;

namespace {

// A click on a check box's box (its left end), where the user clicks.
void clickBox(QAbstractButton *box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
}

// The summary window on a store and editor of its own, driven as the user drives it.
class SchedulerWindowTest : public SchedulerFixture
{
protected:
    void open(const QList<CorvaneScheduleItem> &records)
    {
        ScheduleArchive::save(records);
        editor.showSchedulerMainWindow();
        ASSERT_TRUE(window.window());
        QApplication::processEvents();
    }
    QTableView *table() const { return window.window()->findChild<QTableView *>(u"schedulerTable"_s); }
    template<typename T> T *control(const QString &name) const { return window.window()->findChild<T *>(name); }
    QAction *toolbarItem(const QString &identifier) const
    {
        return window.window()->findChild<QToolBar *>(SchedulerWindow::kToolbarIdentifier)->findChild<QAction *>(identifier);
    }
    void selectRows(const QList<int> &rows) const
    {
        table()->clearSelection();
        for (const int row : rows)
            table()->selectionModel()->select(table()->model()->index(row, 0),
                                              QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
    // The sheet now open on the summary window (nothing when none).
    QMessageBox *sheet() const
    {
        for (QMessageBox *box : window.window()->findChildren<QMessageBox *>()) {
            if (box->isVisible())
                return box;
        }
        return nullptr;
    }
    void answerSheet(const QString &button) const
    {
        QMessageBox *box = sheet();
        ASSERT_TRUE(box);
        for (QAbstractButton *choice : box->buttons()) {
            if (choice->text() == button) {
                choice->click();
                QApplication::processEvents();
                return;
            }
        }
        FAIL() << "no button " << button.toStdString();
    }
    QStringList usersOnDisk() const
    {
        QStringList users;
        for (const CorvaneScheduleItem &r : ScheduleArchive::load().records)
            users.append(r.username() + u':' + QString::number(r.frequency()));
        return users;
    }

    FakeAlertPresenter alerts;
    CorvaneSchedulerController store {clock};
    ScheduleEditor editor {store, clock, &alerts};
    SchedulerWindow window {&editor, &store};
};

TEST_F(SchedulerWindowTest, BuiltOnFirstOpenRefreshedOnlyWhileShownReleasedOnClose)
{
    store.startRefreshTimer();
    EXPECT_FALSE(store.isRefreshTimerRunning()) << "nothing to refresh while the window is hidden";
    EXPECT_FALSE(window.window());
    open({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0))});
    EXPECT_TRUE(store.isRefreshTimerRunning());
    QStringList identifiers;
    for (QAction *item : window.window()->findChild<QToolBar *>(SchedulerWindow::kToolbarIdentifier)->actions())
        identifiers.append(item->objectName() + u'=' + item->text());
    EXPECT_EQ(identifiers, (QStringList {u"EditItem=Edit"_s, u"ImmediateItem=Immediate"_s, u"RefreshItem=Refresh"_s,
                                         u"StopTransferItem=Stop Transfer"_s, u"DeleteItem=Delete"_s}));
    EXPECT_TRUE(table()->isColumnHidden(ScheduleTableModel::SummaryColumn));
    EXPECT_EQ(table()->model()->rowCount(), 1);

    window.window()->close();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(store.isRefreshTimerRunning());
    EXPECT_FALSE(window.window()) << "released on close";
}

TEST_F(SchedulerWindowTest, RunNowReplacesTheUsersRecordsOnceAndASecondRequestIsRefused)
{
    open({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)), record(u"bob"_s, 2, at(2026, 11, 17, 8, 0))});
    selectRows({0});
    toolbarItem(u"ImmediateItem"_s)->trigger();
    EXPECT_EQ(usersOnDisk(), (QStringList {u"bob:2"_s, u"ann:0"_s}));
    EXPECT_EQ(SchedulerState::read(), u"2"_s);
    const CorvaneScheduleItem queued = ScheduleArchive::load().records.last();
    EXPECT_EQ(queued.scheduleTime(), clock.now().addSecs(45));
    EXPECT_FALSE(sheet());

    const QByteArray before = archiveBytes();
    selectRows({1});
    toolbarItem(u"ImmediateItem"_s)->trigger();
    ASSERT_TRUE(sheet());
    EXPECT_EQ(sheet()->text(), u"You already have a scheduled job that has been marked for immediate backup."_s);
    answerSheet(u"OK"_s);
    EXPECT_EQ(archiveBytes(), before) << "the list is unchanged";
}

TEST_F(SchedulerWindowTest, StopTransferAsksAndWritesThreeOnlyForARunningJob)
{
    open({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0))});
    selectRows({0});
    toolbarItem(u"StopTransferItem"_s)->trigger();
    EXPECT_EQ(sheet()->text(), u"Please select the respective scheduled job that is currently in progress to stop "
                               u"the backup operation of the same."_s);
    answerSheet(u"OK"_s);
    EXPECT_FALSE(env.exists(SchedulerState::path())) << "nothing running: nothing written";

    ScheduleArchive::save({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)),
                           record(u"bob"_s, 2, at(2026, 11, 16, 9, 0), CorvaneScheduleItem::InProgress)});
    toolbarItem(u"RefreshItem"_s)->trigger();
    selectRows({0}); // the running one is found whatever is selected
    toolbarItem(u"StopTransferItem"_s)->trigger();
    EXPECT_EQ(sheet()->text(), u"Are you sure you wish to stop the scheduled backup operation?"_s);
    answerSheet(u"Cancel"_s);
    EXPECT_FALSE(env.exists(SchedulerState::path()));
    toolbarItem(u"StopTransferItem"_s)->trigger();
    answerSheet(u"Proceed"_s);
    EXPECT_EQ(env.readFile(SchedulerState::path()), QByteArray("3"));
}

TEST_F(SchedulerWindowTest, TheMenusStopIsEnabledOnlyForARunningSelection)
{
    open({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)),
          record(u"bob"_s, 2, at(2026, 11, 16, 9, 0), CorvaneScheduleItem::InProgress)});
    QMenu *menu = window.window()->menuBar()->findChild<QMenu *>();
    ASSERT_TRUE(menu);
    const auto enabled = [&](const QString &name) {
        Q_EMIT menu->aboutToShow();
        return window.window()->findChild<QAction *>(name + u"Menu"_s)->isEnabled();
    };
    EXPECT_FALSE(enabled(u"EditItem"_s)) << "no selection: nothing";
    selectRows({0});
    EXPECT_TRUE(enabled(u"EditItem"_s));
    EXPECT_FALSE(enabled(u"StopTransferItem"_s));
    selectRows({1});
    EXPECT_TRUE(enabled(u"StopTransferItem"_s));
    window.window()->findChild<QAction *>(u"StopTransferItemMenu"_s)->trigger();
    EXPECT_EQ(alerts.lastMessage(), u"Are you sure you wish to stop the scheduled backup operation?"_s);
    EXPECT_EQ(env.readFile(SchedulerState::path()), QByteArray("3"));
}

TEST_F(SchedulerWindowTest, DeletingRowsOneAndThreeRemovesOnlyRowThree)
{
    open({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)), record(u"bob"_s, 2, at(2026, 11, 17, 8, 0)),
          record(u"cy"_s, 2, at(2026, 11, 17, 7, 0))});
    SchedulerState::write(u"2"_s);
    selectRows({0, 2});
    alerts.answerWith({AlertPresenter::kDefault}); // "No"
    toolbarItem(u"DeleteItem"_s)->trigger();
    EXPECT_EQ(alerts.lastMessage(), u"Are you sure you wish to delete the Scheduled job?"_s);
    EXPECT_EQ(ScheduleArchive::load().records.size(), 3);
    alerts.answerWith({AlertPresenter::kAlternate}); // "Yes"
    toolbarItem(u"DeleteItem"_s)->trigger();
    EXPECT_EQ(usersOnDisk(), (QStringList {u"ann:2"_s, u"bob:2"_s}));
    EXPECT_EQ(SchedulerState::read(), u"0"_s);
    toolbarItem(u"DeleteItem"_s)->trigger();
    EXPECT_EQ(alerts.lastMessage(), u"Select a scheduled job that you wish to delete."_s);
}

TEST_F(SchedulerWindowTest, TheDayMatrixEditsInPlaceAndTheLastDayOffRemovesTheUsersRecords)
{
    CorvaneScheduleItem weekdays = record(u"ann"_s, 5, at(2026, 11, 17, 9, 0));
    weekdays.setSelectedDaysForSchedule(QVariantList {1, 3});
    open({weekdays, record(u"bob"_s, 2, at(2026, 11, 17, 8, 0))});
    selectRows({0});
    auto *monday = control<QCheckBox>(u"mDayMatrix_1"_s);
    auto *friday = control<QCheckBox>(u"mDayMatrix_5"_s);
    EXPECT_TRUE(monday->isChecked());
    EXPECT_FALSE(control<QCheckBox>(u"dailyCheckBox"_s)->isChecked());
    clickBox(friday);
    EXPECT_EQ(usersOnDisk(), (QStringList {u"bob:2"_s, u"ann:5"_s})) << "the changed records go to the end";
    EXPECT_EQ(ScheduleArchive::load().records.last().selectedDaysForSchedule(),
              (QVariantList {u"1"_s, u"3"_s, u"5"_s}));
    EXPECT_EQ(table()->selectionModel()->selectedRows().value(0).row(), 1) << "the selection follows";
    clickBox(friday);
    clickBox(control<QCheckBox>(u"mDayMatrix_3"_s));
    EXPECT_EQ(usersOnDisk(), (QStringList {u"bob:2"_s, u"ann:5"_s}));
    clickBox(monday);
    EXPECT_EQ(usersOnDisk(), (QStringList {u"bob:2"_s}));
    EXPECT_FALSE(control<QTimeEdit>(u"scheduleTimeField"_s)->isEnabled());

    selectRows({0}); // bob, daily: every day on; the daily box turns all off again
    EXPECT_TRUE(control<QCheckBox>(u"mDayMatrix_6"_s)->isChecked());
    clickBox(control<QCheckBox>(u"dailyCheckBox"_s));
    EXPECT_TRUE(usersOnDisk().isEmpty());
}

TEST_F(SchedulerWindowTest, TickingEveryDayMakesTheScheduleDaily)
{
    CorvaneScheduleItem weekdays = record(u"ann"_s, 5, at(2026, 11, 17, 9, 0));
    weekdays.setSelectedDaysForSchedule(QVariantList {1, 3});
    open({weekdays});
    selectRows({0});
    for (const int day : {0, 2, 4, 5})
        clickBox(control<QCheckBox>(u"mDayMatrix_%1"_s.arg(day)));
    EXPECT_EQ(ScheduleArchive::load().records.first().frequency(), CorvaneScheduleItem::SelectedDays);
    EXPECT_FALSE(control<QCheckBox>(u"dailyCheckBox"_s)->isChecked());
    clickBox(control<QCheckBox>(u"mDayMatrix_6"_s));
    EXPECT_TRUE(control<QCheckBox>(u"dailyCheckBox"_s)->isChecked());
    EXPECT_EQ(ScheduleArchive::load().records.first().frequency(), CorvaneScheduleItem::Daily);
}

TEST_F(SchedulerWindowTest, StartImmediatelyMakesTheUsersRecordsRunNow)
{
    open({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)), record(u"bob"_s, 2, at(2026, 11, 17, 8, 0))});
    auto *box = control<QCheckBox>(u"startImmediatelyCheckBox"_s);
    clickBox(box);
    EXPECT_FALSE(box->isChecked()) << "nothing selected: the box stays as it was";
    selectRows({0});
    clickBox(box);
    EXPECT_TRUE(box->isChecked());
    const CorvaneScheduleItem now = ScheduleArchive::load().records.last();
    EXPECT_EQ(now.username(), u"ann"_s);
    EXPECT_EQ(now.frequency(), CorvaneScheduleItem::Immediate);
    EXPECT_EQ(now.scheduleTime(), clock.now());
    EXPECT_FALSE(control<QCheckBox>(u"dailyCheckBox"_s)->isChecked());
    EXPECT_TRUE(control<QTimeEdit>(u"cutoffTime"_s)->isEnabled());
}

TEST_F(SchedulerWindowTest, TheCutOffAsksAndIsKeptPerLocalUser)
{
    open({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0))});
    selectRows({0});
    auto *box = control<QCheckBox>(u"enableCutoffForScheduleJobPreferenceButton"_s);
    auto *picker = control<QTimeEdit>(u"cutoffTime"_s);
    picker->setTime(QTime(18, 5, 9));
    alerts.answerWith({AlertPresenter::kDefault}); // "No"
    clickBox(box);
    EXPECT_EQ(alerts.lastMessage(), u"You have set '06:05:09 PM' as the cut-off time for the scheduled backup "
                                    u"operation. This may terminate the scheduled job before it completes.\n\n"_s);
    EXPECT_FALSE(box->isChecked());
    EXPECT_EQ(picker->time(), clock.now().time()) << "No: the picker goes back to now";
    EXPECT_EQ(ScheduleEditor::userPreferences(u"ann"_s).value(u"EnableCutoffTimeKey"_s), QVariant(false));
    alerts.answerWith({AlertPresenter::kAlternate}); // "Yes"
    clickBox(box);
    EXPECT_TRUE(box->isChecked());
    EXPECT_TRUE(picker->isEnabled());
    picker->setTime(QTime(22, 30, 0)); // a time chosen afterwards is kept too
    const QVariantMap saved = ScheduleEditor::userPreferences(u"ann"_s);
    EXPECT_EQ(saved.value(u"EnableCutoffTimeKey"_s), QVariant(true));
    EXPECT_EQ(saved.value(u"CutoffTimeKey"_s).toDateTime().time(), QTime(22, 30, 0));
    EXPECT_TRUE(ScheduleEditor::userPreferences(u"ann@example.com"_s).isEmpty()) << "keyed by the local user";
}

TEST_F(SchedulerWindowTest, TheEditSheetChecksEveryAddressAndSavesWithThePreferences)
{
    writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s}, {u"Username"_s, u"ann"_s}});
    open({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0)),
          record(u"bob"_s, 2, at(2026, 11, 16, 9, 0), CorvaneScheduleItem::InProgress)});
    selectRows({1});
    toolbarItem(u"EditItem"_s)->trigger();
    EXPECT_EQ(alerts.lastMessage(), u"You cannot edit a scheduled job which is currently in progress."_s);
    EXPECT_FALSE(editor.isEditingSchedule());
    ScheduleArchive::save({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0))});
    toolbarItem(u"RefreshItem"_s)->trigger();
    selectRows({0});
    toolbarItem(u"EditItem"_s)->trigger();
    ScheduleEditSheetView *sheetView = window.editSheet();
    ASSERT_TRUE(sheetView && sheetView->isVisible());

    auto *email = sheetView->findChild<QCheckBox *>(u"sendEmailNotificationButton"_s);
    auto *addresses = sheetView->findChild<QLineEdit *>(u"emailField"_s);
    clickBox(email);
    const auto save = [&] { sheetView->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Save)->click(); };
    save();
    EXPECT_EQ(alerts.lastMessage(), u"Enter an email address to receive the email notification"_s);
    QTest::keyClicks(addresses, u"ann@example.com,ann@"_s);
    save();
    EXPECT_EQ(alerts.lastMessage(), u"Provide a valid email address"_s);
    EXPECT_TRUE(sheetView->isVisible()) << "the sheet stays open";

    QTest::keyClicks(addresses, u"example.org"_s);
    // Weekdays: the first row chosen again turns daily into chosen days.
    sheetView->findChild<QRadioButton *>(u"timeSettingsMatrix_0"_s)->click();
    DayControl *days = sheetView->dayControl();
    QTest::mouseClick(days->items().at(2), Qt::LeftButton);
    save();
    EXPECT_FALSE(sheetView->isVisible());
    const CorvaneScheduleItem saved = ScheduleArchive::load().records.value(0, CorvaneScheduleItem(clock));
    EXPECT_EQ(saved.frequency(), CorvaneScheduleItem::SelectedDays);
    EXPECT_EQ(saved.selectedDaysForSchedule(), QVariantList {2});
    EXPECT_EQ(saved.emailids(), u"ann@example.com,ann@example.org"_s);
    EXPECT_EQ(ScheduleArchive::load().records.size(), 1) << "replaced, not added";
    const QVariantMap preferences = ScheduleEditor::userPreferences(u"ann@example.com"_s);
    EXPECT_TRUE(preferences.contains(u"DesktopNotificationKey "_s)) << preferences.keys().join(u'|').toStdString();
    EXPECT_FALSE(preferences.contains(u"DesktopNotificationKey"_s));
    EXPECT_TRUE(preferences.contains(u"StartMissedScheduleBackupKey"_s));
}

TEST_F(SchedulerWindowTest, TheEditSheetSavesAMonthlyScheduleWithItsCutOffAndEscapeEndsTheEdit)
{
    writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s}, {u"Username"_s, u"ann"_s}});
    open({record(u"ann"_s, 2, at(2026, 11, 17, 9, 0))});
    selectRows({0});
    toolbarItem(u"EditItem"_s)->trigger();
    ScheduleEditSheetView *sheetView = window.editSheet();
    ASSERT_TRUE(sheetView);
    sheetView->findChild<QRadioButton *>(u"timeSettingsMatrix_3"_s)->click();
    auto *day = sheetView->findChild<QComboBox *>(u"dayPopupButton"_s);
    day->setFocus();
    QTest::keyClicks(day, u"15"_s); // the pop-up chosen from the keyboard
    Q_EMIT day->activated(day->currentIndex());
    alerts.answerWith({AlertPresenter::kAlternate}); // "Yes" to the cut-off
    clickBox(sheetView->findChild<QCheckBox *>(u"enableCutoffForScheduleJobPreferenceButton"_s));
    sheetView->findChild<QTimeEdit *>(u"cutoffTime"_s)->setTime(QTime(23, 0));
    sheetView->findChild<QTimeEdit *>(u"scheduleTimeField"_s)->setTime(QTime(2, 0));
    sheetView->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Save)->click();
    const CorvaneScheduleItem saved = ScheduleArchive::load().records.value(0, CorvaneScheduleItem(clock));
    EXPECT_EQ(saved.frequency(), CorvaneScheduleItem::Monthly);
    EXPECT_EQ(saved.scheduleTime(), at(2026, 12, 15, 2, 0)) << "the 15th, the picked time";
    const QVariantMap preferences = ScheduleEditor::userPreferences(u"ann@example.com"_s);
    EXPECT_EQ(preferences.value(u"EnableCutoffTimeKey"_s), QVariant(true));
    EXPECT_EQ(preferences.value(u"CutoffTimeKey"_s).toDateTime().time(), QTime(23, 0));

    selectRows({0});
    toolbarItem(u"EditItem"_s)->trigger();
    ASSERT_TRUE(editor.isEditingSchedule());
    QTest::keyClick(sheetView, Qt::Key_Escape);
    EXPECT_FALSE(editor.isEditingSchedule());
    EXPECT_TRUE(editor.canCloseAllWindows());
    EXPECT_NE(alerts.lastMessage(), u"You cannot edit a scheduled job which is currently in progress."_s);
}

TEST(DayControl, ClicksToggleDaysAndTheStateIsEncodedInverted)
{
    DayControl control;
    control.resize(7 * 90, 44);
    control.show();
    int changes = 0;
    QObject::connect(&control, &DayControl::stateDidChange, [&] { ++changes; });
    EXPECT_EQ(control.dayState(), 1) << "none selected";
    DayControlItem *tuesday = control.items().at(2);
    const QRect rest = tuesday->geometry();
    EXPECT_EQ(rest, QRect(180, 0, 90, 44)) << "a seventh of the width each";
    QTest::mouseClick(tuesday, Qt::LeftButton);
    EXPECT_EQ(control.selectedDays(), QList<int> {2});
    EXPECT_EQ(control.dayState(), -1);
    EXPECT_EQ(changes, 1);
    QTest::qWait(DayControlItem::kGrowMs - 30);
    EXPECT_GT(tuesday->geometry().width(), rest.width()) << "it grows first";
    QTest::qWait(DayControlItem::kGrowMs + DayControlItem::kShrinkMs + 100);
    EXPECT_EQ(tuesday->geometry(), rest) << "and settles back";

    control.setDayState(0);
    EXPECT_EQ(control.selectedDays(), (QList<int> {0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(control.dayState(), 0);
    control.setDayState(-1);
    EXPECT_EQ(control.dayState(), 0) << "other values leave the days";
    control.setSelectedDays({6, 0});
    EXPECT_EQ(control.selectedDays(), (QList<int> {0, 6}));
    control.setDayState(1);
    EXPECT_EQ(control.dayState(), 1);
    EXPECT_EQ(changes, 1) << "only the user's clicks are told";
}

} // namespace
