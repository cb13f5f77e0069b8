#pragma once

#include "CorvaneScheduleItem.h"
#include "notify/AlertPresenter.h"

#include <QDateTime>
#include <QObject>

#include <array>
#include <optional>

class Clock;
class CorvaneSchedulerController;

// What the summary window's editing controls show. The editor changes it and says so; the view
// renders it and forwards what the user does.
struct SummaryControls {
    std::array<bool, 7> days {}; // the day matrix, Sunday first
    bool daily = false;
    QString dailyTitle = QStringLiteral("Daily schedule");
    bool startImmediately = false;
    QDateTime time;
    bool timeEnabled = true;
    bool cutoffOn = false;
    bool cutoffPickerEnabled = false; // besides following its box
    QDateTime cutoff;
    bool emailOn = false;
    QString emails;
    bool notifyAlways = true;
    bool notifyOnFailure = false;
    bool logExtract = false;
    bool missedSchedule = false;
    bool desktopNotification = true;
    QString note;
    bool enabled = true; // every control at once
};

// What the edit sheet's controls show.
struct EditSheetControls {
    enum Row { DailyRow = 0, HourlyRow = 1, ImmediateRow = 2, MonthlyRow = 3, NoRow = -1 };
    int timeSettingsRow = DailyRow;
    QString firstCellTitle = QStringLiteral("Daily Schedule"); // or "Week-Day(s)"
    int dayOfMonth = 1;       // the day pop-up's number
    QList<int> selectedDays;  // the day control's selection, ascending
    QDateTime time;
    bool timeEnabled = true;
    bool cutoffOn = false;
    QDateTime cutoff;
    bool desktopNotification = true;
    bool emailOn = false;
    QString emails;
    bool notifyAlways = true;
    bool notifyOnFailure = false;
    bool logExtract = false;
    bool missedSchedule = false;
    bool notificationsEnabled = true; // time, cut-off, notification and e-mail controls
};

// The windows the editor drives: the summary window, its sheets and the edit sheet.
class SchedulerWindowPresenter {
public:
    virtual ~SchedulerWindowPresenter() = default;
    virtual void showSummaryWindow() = 0;
    virtual bool isSummaryWindowVisible() const = 0;
    // A message on the summary window; when the user answers, the view calls
    // ScheduleEditor::sheetDidEnd with the button (AlertPresenter's numbering) and `context`.
    virtual void beginSheet(const QString &message, const AlertButtons &buttons,
                            const QString &context)
        = 0;
    virtual void showEditSheet() = 0;
    virtual void closeEditSheet() = 0;
};

// The schedule summary window and edit sheet: the table's selection, the day matrix, the daily
// and start-immediately boxes, the pickers and notification controls, the toolbar's actions, and
// the edit sheet's save. Changes go to the store (CorvaneSchedulerController); what the controls
// show is kept here, so that all of it can be driven without a window.
class ScheduleEditor : public QObject {
    Q_OBJECT
public:
    // The menu items of the summary window, by action.
    enum class MenuAction { Edit, Immediate, Refresh, StopFromMenu, Delete, BackUpNow };
    static inline const QString kStopTransferContext = QStringLiteral("Stop transfer");
    static inline const QString kDeleteContext = QStringLiteral("Delete");

    ScheduleEditor(CorvaneSchedulerController &store, const Clock &clock, AlertPresenter *alerts,
                   QObject *parent = nullptr);

    void setPresenter(SchedulerWindowPresenter *presenter);
    const SummaryControls &summary() const { return m_summary; }
    const EditSheetControls &sheet() const { return m_sheet; }

    // ---- the summary window ------------------------------------------------------------------
    void showSchedulerMainWindow();
    void windowWillClose();
    void tableViewSelectionChanged(const QList<int> &rows);
    void updateUIForSelectedItem();
    void setUIForSelectedItem(const CorvaneScheduleItem &record);
    void setDaysUI(const CorvaneScheduleItem &record);
    // A cell of the day matrix clicked: the days are read again and the change applied.
    void dayMatrixCellClicked(int tag, bool on);
    void getSelectedDays();
    void setDailyJobTitle(int count);
    QVariantList getDaysFromUI() const;
    void resetAllDays(bool state);
    void setDailyJob(bool on);
    void timePickerChanged(const QDateTime &time);
    void updateSchedulerDetails();
    void createNewScheduleFromUI();
    void enableCuttoffTime(bool on);
    void cutoffTimeChanged(const QDateTime &time);
    void sendEmailNotificationButtonStateToggle(bool on);
    void emailsEdited(const QString &text) { m_summary.emails = text; }
    void notifyAlwaysSelected();
    void notifyOnFailureSelected();
    void missedScheduleToggled(bool on);
    void logExtractToggled(bool on) { m_summary.logExtract = on; }

    // ---- toolbar and menu ----------------------------------------------------------------------
    void editSchedule();
    // The start-immediately box (`senderIsOn` its new state) or the toolbar's Immediate item.
    void ImmidiatelyRunSchedule(bool senderIsOn);
    void startImmediatelyToggled(bool on);
    void stopRunningSchedule();
    void stopScheduleFromMenu();
    void deleteSchedule();
    void ReloadSchedules();
    void sheetDidEnd(int returnCode, const QString &context);
    bool validateMenuItem(MenuAction action) const;

    // ---- the edit sheet ------------------------------------------------------------------------
    void setScheduledJobFields(const CorvaneScheduleItem &record);
    void updateScheduleTimeSettings(int row);
    void dayPopupChanged(int day);
    // The day control's selection changed (its delegate's stateDidChange).
    void stateDidChange(const QList<int> &days);
    bool enableTimeControls();
    void sheetTimeChanged(const QDateTime &time) { m_sheet.time = time; }
    void sheetCutoffChanged(bool on, const QDateTime &time);
    // The sheet's check boxes and e-mail field, as the user left them.
    void setSheetNotifications(const EditSheetControls &values);
    void updateSchedulerEditWindow();
    void cancelEditSheet();

    bool isAnySheetOpened() const { return m_isEditingSchedule || m_isCreatingNewSchedule; }
    bool canCloseAllWindows();
    bool isEditingSchedule() const { return m_isEditingSchedule; }
    const std::optional<CorvaneScheduleItem> &scheduleItemOfSelectedIndex() const
    {
        return m_scheduleItemOfSelectedIndex;
    }

    // The per-user settings the editor keeps in the application's preference file.
    static QVariantMap userPreferences(const QString &user);

Q_SIGNALS:
    void summaryControlsChanged();
    void editSheetControlsChanged();

private:
    std::optional<CorvaneScheduleItem> selectedRecord() const;
    int frequencyFromControls(int current) const;
    void applySummaryControls(CorvaneScheduleItem &record) const;
    // The selected record when it may be changed; otherwise the alert that says why, and nothing.
    std::optional<CorvaneScheduleItem> selectedIdleRecord(const QString &noneSelected,
                                                          const QString &running) const;
    bool isInProgress(const CorvaneScheduleItem &record) const;
    // True when the engine has marked `record` running in the archive since it was read.
    static bool startedMeanwhile(const CorvaneScheduleItem &record);
    void alert(const QString &message) const;
    // Asks whether the cut-off time may end a job early; true when the user keeps it.
    bool confirmCutoff(const QDateTime &time) const;
    void showSheet(const QString &message, const AlertButtons &buttons, const QString &context);
    void removeRecordsOfSelectedUser();
    void deleteSelectedRows();
    void writeUserPreferences(const QString &user, const QVariantMap &values) const;
    bool emailsAreValid(bool emailOn, const QString &emails);
    void enableSheetControls();
    // The edit sheet's save from adding or replacing the record on.
    void saveEditedRecord(const CorvaneScheduleItem &record, bool creating);
    void summaryChanged() { Q_EMIT summaryControlsChanged(); }
    void sheetChanged() { Q_EMIT editSheetControlsChanged(); }

    CorvaneSchedulerController &m_store;
    const Clock &m_clock;
    AlertPresenter *m_alerts;
    SchedulerWindowPresenter *m_presenter = nullptr;
    SummaryControls m_summary;
    EditSheetControls m_sheet;
    QList<int> m_selectedRows;
    std::optional<CorvaneScheduleItem> m_scheduleItemOfSelectedIndex;
    bool m_isEditingSchedule = false;
    bool m_isCreatingNewSchedule = false;
    bool m_popupButtonSelectedFlag = false;
    bool m_scheduleHourlyBackup = false;
    QDateTime m_hourlyRowChosenAt;
};
