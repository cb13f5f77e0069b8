// ScheduleEditor: the edit sheet, its time settings and its save.

#include "CorvaneSchedulerController.h"
#include "ScheduleEditor.h"
#include "SchedulerState.h"
#include "logging/SLLogger.h"
#include "platform/Clock.h"
#include "platform/FoundationValues.h"
#include "product/StringTable.h"
#include "util/SLUtility.h"

using namespace Qt::StringLiterals;

namespace {

const QString kDailyTitle = u"Daily Schedule"_s;
const QString kWeekDaysTitle = u"Week-Day(s)"_s;

QList<int> allDays()
{
    return {0, 1, 2, 3, 4, 5, 6};
}

} // namespace

void ScheduleEditor::setScheduledJobFields(const CorvaneScheduleItem &record)
{
    m_sheet = EditSheetControls();
    switch (record.frequency()) {
    case CorvaneScheduleItem::Immediate:
        m_sheet.timeSettingsRow = EditSheetControls::ImmediateRow;
        break;
    case CorvaneScheduleItem::Hourly:
        m_sheet.timeSettingsRow = EditSheetControls::HourlyRow;
        m_hourlyRowChosenAt = record.scheduleTime();
        break;
    case CorvaneScheduleItem::Daily:
        m_sheet.selectedDays = allDays();
        break;
    case CorvaneScheduleItem::Monthly:
        m_sheet.timeSettingsRow = EditSheetControls::MonthlyRow;
        m_sheet.dayOfMonth = record.scheduleTime().date().day();
        break;
    default: // weekdays
        m_sheet.firstCellTitle = kWeekDaysTitle;
        for (const int day : record.selectedDayNumbers()) {
            if (day >= 0 && day < 7 && !m_sheet.selectedDays.contains(day))
                m_sheet.selectedDays.append(day);
        }
        std::sort(m_sheet.selectedDays.begin(), m_sheet.selectedDays.end());
    }
    m_sheet.time = record.scheduleTime();
    m_sheet.desktopNotification = record.displayDesktopNotification();
    m_sheet.emailOn = record.sendEmailNotification();
    m_sheet.emails = record.emailids();
    m_sheet.notifyOnFailure = record.notifyOnFailure();
    m_sheet.notifyAlways = !record.notifyOnFailure();
    m_sheet.logExtract = record.sendLogExtract();
    m_sheet.missedSchedule = record.shouldStartMissedScheduleBackup();
    const QVariantMap settings = userPreferences(record.corvaneUserName());
    m_sheet.cutoffOn = FoundationValues::boolValue(settings.value(u"EnableCutoffTimeKey"_s));
    const QDateTime cutoff = settings.value(u"CutoffTimeKey"_s).toDateTime();
    m_sheet.cutoff = cutoff.isValid() ? cutoff : m_clock.now();
    enableSheetControls();
    sheetChanged();
}

void ScheduleEditor::updateScheduleTimeSettings(int row)
{
    const QDateTime now = m_clock.now();
    switch (row) {
    case EditSheetControls::DailyRow: {
        // Each choice of the first row turns it from every day to chosen days and back.
        m_sheet.firstCellTitle = m_sheet.firstCellTitle == kDailyTitle ? kWeekDaysTitle : kDailyTitle;
        m_sheet.selectedDays = m_sheet.firstCellTitle == kDailyTitle ? allDays() : QList<int>();
        m_sheet.time = now;
        break;
    }
    case EditSheetControls::HourlyRow:
        m_hourlyRowChosenAt = now;
        m_sheet.time = now;
        m_sheet.selectedDays.clear();
        break;
    case EditSheetControls::ImmediateRow:
        m_sheet.time = now;
        m_sheet.selectedDays.clear();
        break;
    case EditSheetControls::MonthlyRow:
        m_sheet.selectedDays.clear();
        break;
    default:
        row = EditSheetControls::NoRow;
    }
    m_sheet.timeSettingsRow = row;
    enableSheetControls();
    sheetChanged();
}

void ScheduleEditor::enableSheetControls()
{
    const int row = m_sheet.timeSettingsRow;
    m_sheet.notificationsEnabled = row != EditSheetControls::NoRow;
    m_sheet.timeEnabled = m_sheet.notificationsEnabled && row != EditSheetControls::ImmediateRow;
}

bool ScheduleEditor::enableTimeControls()
{
    switch (m_sheet.timeSettingsRow) {
    case EditSheetControls::DailyRow:
        return m_sheet.firstCellTitle == kDailyTitle || m_sheet.firstCellTitle == kWeekDaysTitle;
    case EditSheetControls::HourlyRow:
        return true;
    case EditSheetControls::ImmediateRow:
        return false;
    case EditSheetControls::MonthlyRow:
        m_popupButtonSelectedFlag = false;
        return true;
    default:
        return std::exchange(m_popupButtonSelectedFlag, false);
    }
}

void ScheduleEditor::dayPopupChanged(int day)
{
    m_sheet.dayOfMonth = day;
    m_popupButtonSelectedFlag = true;
}

void ScheduleEditor::stateDidChange(const QList<int> &days)
{
    m_sheet.selectedDays = days;
}

void ScheduleEditor::sheetCutoffChanged(bool on, const QDateTime &time)
{
    m_sheet.cutoff = time;
    if (on && !m_sheet.cutoffOn && !confirmCutoff(time)) {
        m_sheet.cutoffOn = false;
        m_sheet.cutoff = m_clock.now();
        sheetChanged();
        return;
    }
    m_sheet.cutoffOn = on;
}

void ScheduleEditor::setSheetNotifications(const EditSheetControls &values)
{
    m_sheet.desktopNotification = values.desktopNotification;
    m_sheet.emailOn = values.emailOn;
    m_sheet.emails = values.emails;
    m_sheet.notifyAlways = values.notifyAlways;
    m_sheet.notifyOnFailure = values.notifyOnFailure;
    m_sheet.logExtract = values.logExtract;
    m_sheet.missedSchedule = values.missedSchedule;
    m_sheet.cutoff = values.cutoff;
}

bool ScheduleEditor::emailsAreValid(bool emailOn, const QString &emails)
{
    if (!emailOn)
        return true;
    if (emails.trimmed().isEmpty()) {
        alert(u"Enter an email address to receive the email notification"_s);
        return false;
    }
    for (const QString &address : emails.split(u',')) {
        if (!SLUtility::isEmailID(address.trimmed())) {
            alert(u"Provide a valid email address"_s);
            return false;
        }
    }
    return true;
}

void ScheduleEditor::updateSchedulerEditWindow()
{
    const bool creating = m_isCreatingNewSchedule || !m_scheduleItemOfSelectedIndex;
    CorvaneScheduleItem record
        = creating ? CorvaneScheduleItem(m_clock) : *m_scheduleItemOfSelectedIndex;
    if (isInProgress(record) || (!creating && startedMeanwhile(record))) {
        cancelEditSheet(); // the engine took it up while the sheet was open: nothing is saved
        return;
    }
    const QVariantMap login = CorvaneSchedulerController::loginDetails();
    CorvaneSchedulerController::applyLoginDetails(record, login);
    record.setSSL(login.value(u"SSL"_s).toString());
    record.setCorvaneUserName(CorvaneSchedulerController::accountNameFromLogin(login));
    m_store.applyMultipleMacDestination(record);
    CorvaneSchedulerController::applyQuotaServer(record, login);

    using Choice = NextRunCalculator::EditorChoice;
    Choice choice = Choice::DailySchedule;
    switch (m_sheet.timeSettingsRow) {
    case EditSheetControls::HourlyRow: choice = Choice::HourlySchedule; break;
    case EditSheetControls::ImmediateRow: choice = Choice::Immediate; break;
    case EditSheetControls::MonthlyRow: choice = Choice::MonthlySchedule; break;
    default:
        choice = m_sheet.firstCellTitle == kWeekDaysTitle ? Choice::WeekDays : Choice::DailySchedule;
    }
    QVariantList days;
    for (const int day : m_sheet.selectedDays)
        days.append(day);
    const NextRunCalculator::EditorSchedule schedule = m_store.nextRun().scheduleFromEditor(
        choice, m_sheet.time, days, m_sheet.dayOfMonth, m_hourlyRowChosenAt);
    record.setFrequency(schedule.frequency);
    record.setSelectedDaysForSchedule(schedule.days);
    record.setScheduleTime(schedule.firstStart);
    m_scheduleHourlyBackup = schedule.scheduleHourlyBackup;
    record.setSendLogExtract(m_sheet.logExtract);
    record.setNotifyOnFailure(m_sheet.notifyOnFailure);
    record.setShouldStartMissedScheduleBackup(m_sheet.missedSchedule);
    record.setDisplayDesktopNotification(m_sheet.desktopNotification);
    record.setSendEmailNotification(m_sheet.emailOn);
    record.setEmailids(m_sheet.emails);
    if (!emailsAreValid(m_sheet.emailOn, m_sheet.emails))
        return; // the sheet stays open for the address to be put right

    try {
        saveEditedRecord(record, creating);
    } catch (...) {
        SLLogger::logMonitorTrace(u"The schedule could not be saved"_s);
        cancelEditSheet();
    }
}

void ScheduleEditor::saveEditedRecord(const CorvaneScheduleItem &record, bool creating)
{
    CorvaneSchedulerController::SaveResult saved;
    if (creating) {
        SLLogger::logMonitorTrace(u"Adding New Schedule"_s);
        saved = m_store.corvaneaddSchedulerDetails(record);
    } else {
        SLLogger::logMonitorTrace(u"Updating Existing Schedule"_s);
        m_store.setScheduleItemOfSelectedIndex(m_scheduleItemOfSelectedIndex);
        saved = m_store.corvaneUpdateSchedule(record);
    }
    if (saved.status == CorvaneSchedulerController::SaveResult::Status::Failed) {
        alert(saved.message); // nothing was written: the sheet keeps the user's values
        return;
    }
    writeUserPreferences(record.corvaneUserName(),
                         {{u"EnableCutoffTimeKey"_s, m_sheet.cutoffOn},
                          {u"CutoffTimeKey"_s, m_sheet.cutoff},
                          {u"DesktopNotificationKey "_s, m_sheet.desktopNotification},
                          {u"StartMissedScheduleBackupKey"_s, m_sheet.missedSchedule}});
    const bool immediate = record.frequency() == CorvaneScheduleItem::Immediate;
    if (immediate && SchedulerState::read() == "0"_L1)
        SchedulerState::write(u"2"_s);
    cancelEditSheet();
    m_store.startRefreshTimer();
    if (immediate)
        m_store.checkExistanceOfOnceForSameUser(record);
}

void ScheduleEditor::cancelEditSheet()
{
    m_isEditingSchedule = false;
    m_isCreatingNewSchedule = false;
    if (m_presenter)
        m_presenter->closeEditSheet();
}
