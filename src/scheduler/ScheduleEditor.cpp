#include "ScheduleEditor.h"

#include "CorvaneSchedulerController.h"
#include "ScheduleArchive.h"
#include "SchedulerState.h"
#include "TracedCall.h"
#include "logging/SLLogger.h"
#include "platform/Clock.h"
#include "platform/FoundationValues.h"
#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "product/StringTable.h"
#include "util/SLUtility.h"

#include <QLocale>

using namespace Qt::StringLiterals;

namespace {

constexpr int kPreferenceFileKind = 13;
constexpr int kBackupSetKind = 14;
const QString kAlreadyImmediate
    = u"You already have a scheduled job that has been marked for immediate backup."_s;
const QString kInProgressEdit = u"You cannot edit a scheduled job which is currently in progress."_s;
const QString kConfirmStop = u"Are you sure you wish to stop the scheduled backup operation?"_s;
const QString kSelectRunning = u"Please select the respective scheduled job that is currently in "
                               u"progress to stop the backup operation of the same."_s;

} // namespace

bool ScheduleEditor::startedMeanwhile(const CorvaneScheduleItem &record)
{
    const QList<CorvaneScheduleItem> onDisk = ScheduleArchive::load().records;
    return std::any_of(onDisk.cbegin(), onDisk.cend(), [&](const CorvaneScheduleItem &entry) {
        return entry.username() == record.username() && entry.frequency() == record.frequency()
            && entry.scheduleTime().toSecsSinceEpoch() == record.scheduleTime().toSecsSinceEpoch()
            && entry.status() == CorvaneScheduleItem::InProgress;
    });
}

namespace {

AlertButtons okOnly()
{
    return {SLLocalizedString(u"OK"_s), QString(), QString()};
}

AlertButtons buttons(const QString &first, const QString &second)
{
    return {SLLocalizedString(first), SLLocalizedString(second), QString()};
}

} // namespace

ScheduleEditor::ScheduleEditor(CorvaneSchedulerController &store, const Clock &clock,
                               AlertPresenter *alerts, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_clock(clock)
    , m_alerts(alerts)
{
    m_summary.time = m_clock.now();
    m_summary.cutoff = m_clock.now();
    connect(&m_store, &CorvaneSchedulerController::editorResetRequested, this, [this] {
        m_summary = SummaryControls();
        m_summary.time = m_summary.cutoff = m_clock.now();
        summaryChanged();
    });
}

void ScheduleEditor::setPresenter(SchedulerWindowPresenter *presenter)
{
    m_presenter = presenter;
    m_store.setSummaryWindowVisibility(
        [this] { return m_presenter && m_presenter->isSummaryWindowVisible(); });
    connect(&m_store, &CorvaneSchedulerController::summaryWindowRequested, this, [this] {
        if (m_presenter)
            m_presenter->showSummaryWindow();
    });
}

// ---- the summary window --------------------------------------------------------------------

void ScheduleEditor::showSchedulerMainWindow()
{
    m_store.showSchedulerMainWindow();
}

void ScheduleEditor::windowWillClose()
{
    m_store.stopRefreshTimer();
}

std::optional<CorvaneScheduleItem> ScheduleEditor::selectedRecord() const
{
    const int row = m_store.selectedRow();
    if (row < 0 || row >= m_store.records().size())
        return std::nullopt;
    return m_store.records().at(row);
}

bool ScheduleEditor::isInProgress(const CorvaneScheduleItem &record) const
{
    return record.statusString() == "In progress"_L1;
}

void ScheduleEditor::alert(const QString &message) const
{
    if (m_alerts)
        m_alerts->displayMessage(message, SLLocalizedString(u"ApplicationName"_s), okOnly(), true);
}

void ScheduleEditor::showSheet(const QString &message, const AlertButtons &buttons,
                               const QString &context)
{
    if (m_presenter)
        m_presenter->beginSheet(message, buttons, context);
}

void ScheduleEditor::tableViewSelectionChanged(const QList<int> &rows)
{
    m_selectedRows = rows;
    std::sort(m_selectedRows.begin(), m_selectedRows.end());
    m_store.setSelectedRow(m_selectedRows.isEmpty() ? -1 : m_selectedRows.first());
    updateUIForSelectedItem();
}

void ScheduleEditor::updateUIForSelectedItem()
{
    if (const std::optional<CorvaneScheduleItem> record = selectedRecord())
        setUIForSelectedItem(*record);
}

void ScheduleEditor::setUIForSelectedItem(const CorvaneScheduleItem &record)
{
    setDaysUI(record);
    m_summary.timeEnabled = true;
    m_summary.time = record.scheduleTime();
    // Another user's addresses must not stay in the field to be saved into this record.
    m_summary.emails = record.emailids();
    m_summary.startImmediately = record.frequency() == CorvaneScheduleItem::Immediate;
    m_summary.cutoffPickerEnabled = false;
    m_summary.emailOn = record.sendEmailNotification();
    m_summary.notifyOnFailure = record.notifyOnFailure();
    m_summary.notifyAlways = !record.notifyOnFailure();
    m_summary.logExtract = record.sendLogExtract();
    m_summary.missedSchedule = record.shouldStartMissedScheduleBackup();
    m_summary.desktopNotification = record.displayDesktopNotification();
    const QVariantMap settings = userPreferences(record.username());
    m_summary.cutoffOn = FoundationValues::boolValue(settings.value(u"EnableCutoffTimeKey"_s));
    if (settings.value(u"CutoffTimeKey"_s).toDateTime().isValid())
        m_summary.cutoff = settings.value(u"CutoffTimeKey"_s).toDateTime();
    const bool running = isInProgress(record);
    m_summary.note = running ? u"Note: Changes to the scheduled job will not be saved as the "
                               u"scheduled backup is underway."_s
                             : QString();
    m_summary.enabled = !running;
    summaryChanged();
}

void ScheduleEditor::setDaysUI(const CorvaneScheduleItem &record)
{
    if (record.frequency() == CorvaneScheduleItem::Daily
        || record.frequency() == CorvaneScheduleItem::Hourly) {
        m_summary.days.fill(true);
        m_summary.daily = true;
        m_summary.dailyTitle = u"Daily schedule"_s;
        return;
    }
    m_summary.days.fill(false);
    int count = 0;
    for (const int day : record.selectedDayNumbers()) {
        if (day >= 0 && day < 7 && !m_summary.days[day]) {
            m_summary.days[day] = true;
            ++count;
        }
    }
    setDailyJobTitle(count);
}

void ScheduleEditor::setDailyJobTitle(int count)
{
    if (count == 0) {
        m_summary.daily = false;
        m_summary.timeEnabled = false;
        m_summary.dailyTitle = u"Daily schedule"_s;
    } else {
        m_summary.daily = count == 7;
    }
}

void ScheduleEditor::dayMatrixCellClicked(int tag, bool on)
{
    if (tag < 0 || tag >= 7)
        return;
    m_summary.days[tag] = on;
    getSelectedDays();
    // With no day left the user's records are gone: there is nothing to apply the controls to
    // (and the selection may now point at another user's row).
    if (std::find(m_summary.days.cbegin(), m_summary.days.cend(), true) != m_summary.days.cend())
        updateSchedulerDetails();
    summaryChanged();
}

void ScheduleEditor::getSelectedDays()
{
    const int count = int(std::count(m_summary.days.cbegin(), m_summary.days.cend(), true));
    setDailyJobTitle(count);
    if (count == 0)
        removeRecordsOfSelectedUser();
}

void ScheduleEditor::removeRecordsOfSelectedUser()
{
    const std::optional<CorvaneScheduleItem> record = selectedRecord();
    if (!record)
        return;
    m_store.removeSchduleJobsForUser(record->username());
    m_store.saveSchedulerDetails();
    m_selectedRows.clear();
    m_store.setSelectedRow(-1);
}

QVariantList ScheduleEditor::getDaysFromUI() const
{
    QVariantList days;
    for (int tag = 0; tag < 7; ++tag) {
        if (m_summary.days[tag])
            days.append(QString::number(tag));
    }
    return days;
}

void ScheduleEditor::resetAllDays(bool state)
{
    m_summary.days.fill(state);
    summaryChanged();
}

void ScheduleEditor::setDailyJob(bool on)
{
    m_summary.days.fill(on);
    m_summary.daily = on;
    m_summary.timeEnabled = true;
    if (!m_summary.daily && !m_summary.startImmediately) {
        m_summary.timeEnabled = false;
        removeRecordsOfSelectedUser();
    } else {
        updateSchedulerDetails();
    }
    summaryChanged();
}

void ScheduleEditor::timePickerChanged(const QDateTime &time)
{
    m_summary.time = time;
    updateSchedulerDetails();
}

int ScheduleEditor::frequencyFromControls(int current) const
{
    const bool allDays
        = std::find(m_summary.days.cbegin(), m_summary.days.cend(), false) == m_summary.days.cend();
    if (m_summary.daily)
        return allDays ? CorvaneScheduleItem::Daily : CorvaneScheduleItem::SelectedDays;
    if (m_summary.startImmediately)
        return CorvaneScheduleItem::Immediate;
    return current;
}

// What the summary's controls say of a schedule: its start, e-mail and missed-backup settings,
// days and frequency.
void ScheduleEditor::applySummaryControls(CorvaneScheduleItem &record) const
{
    record.setScheduleTime(m_summary.time);
    record.setSendEmailNotification(m_summary.emailOn);
    record.setEmailids(m_summary.emails);
    record.setNotifyOnFailure(m_summary.notifyOnFailure);
    record.setShouldStartMissedScheduleBackup(m_summary.missedSchedule);
    record.setSelectedDaysForSchedule(getDaysFromUI());
    record.setFrequency(frequencyFromControls(record.frequency()));
}

void ScheduleEditor::updateSchedulerDetails()
{
    const std::optional<CorvaneScheduleItem> selected = selectedRecord();
    const QString user = selected
        ? selected->username()
        : CorvaneSchedulerController::loginDetails().value(u"Username"_s).toString();
    m_store.corvaneInitializeSchedulerSettings();
    QList<CorvaneScheduleItem> others;
    QList<CorvaneScheduleItem> mine;
    for (const CorvaneScheduleItem &record : m_store.records())
        (record.username() == user ? mine : others).append(record);
    if (mine.isEmpty() && (m_summary.daily || m_summary.startImmediately)) {
        createNewScheduleFromUI();
        return;
    }
    int selectedInMine = -1;
    for (CorvaneScheduleItem &record : mine) {
        if (selected && record.isSameRecord(*selected))
            selectedInMine = int(&record - mine.data());
        record.detach(); // the user's records go to the end of the list
        if (record.status() == CorvaneScheduleItem::InProgress
            && record.frequency() == CorvaneScheduleItem::Immediate)
            continue; // the engine is running it
        applySummaryControls(record);
    }
    if (selectedInMine >= 0) // the row follows its record to the end
        m_store.setSelectedRow(int(others.size()) + selectedInMine);
    m_store.replaceSchedules(others + mine);
}

void ScheduleEditor::createNewScheduleFromUI()
{
    if (const std::optional<CorvaneScheduleItem> selected = selectedRecord()) {
        const QList<CorvaneScheduleItem> theirs
            = m_store.corvaneSchedulerDetailsForUser(selected->username());
        if (!theirs.isEmpty()) {
            setUIForSelectedItem(theirs.first());
            return;
        }
    }
    const QVariantMap login = CorvaneSchedulerController::loginDetails();
    if (login.isEmpty()) {
        alert(u"Login to Corvane using the Corvane application atleast once"_s);
        return;
    }
    CorvaneScheduleItem record(m_clock);
    CorvaneSchedulerController::applyLoginDetails(record, login);
    record.setCorvaneUserName(login.value(u"CorvaneUsername"_s).toString());
    record.setDisplayDesktopNotification(true);
    record.setSSL(u"YES"_s);
    record.setProcessReferenceFile(
        stringWithFormat(CorvaneSchedulerController::pathForApplicationFile(kBackupSetKind),
                         {record.username()}));
    applySummaryControls(record);
    m_store.corvaneaddSchedulerDetails(record);
}

QVariantMap ScheduleEditor::userPreferences(const QString &user)
{
    return PropertyList::readDictionary(
               CorvaneSchedulerController::pathForApplicationFile(kPreferenceFileKind))
        .value(user)
        .toMap();
}

void ScheduleEditor::writeUserPreferences(const QString &user, const QVariantMap &values) const
{
    const QString path = CorvaneSchedulerController::pathForApplicationFile(kPreferenceFileKind);
    QVariantMap all = PropertyList::readDictionary(path);
    QVariantMap mine = all.value(user).toMap();
    mine.insert(values);
    all.insert(user, mine);
    if (!PropertyList::writeDictionary(path, all))
        SLLogger::logMonitorTrace(u"The schedule preferences could not be written to %1"_s.arg(path));
}

bool ScheduleEditor::confirmCutoff(const QDateTime &time) const
{
    if (!m_alerts)
        return true;
    const QString message
        = stringWithFormat(u"You have set '%@' as the cut-off time for the scheduled backup "
                           u"operation. This may terminate the scheduled job before it completes.\n\n"_s,
                           {QLocale::c().toString(time.time(), u"hh:mm:ss AP"_s)});
    return m_alerts->displayMessage(message, SLLocalizedString(u"ApplicationName"_s),
                                  buttons(u"No"_s, u"Yes"_s), true)
        == AlertPresenter::kAlternate;
}

void ScheduleEditor::enableCuttoffTime(bool on)
{
    m_summary.cutoffOn = on;
    if (on && !confirmCutoff(m_summary.cutoff)) {
        m_summary.cutoffOn = false;
        m_summary.cutoff = m_clock.now();
    }
    if (const std::optional<CorvaneScheduleItem> record = selectedRecord())
        writeUserPreferences(record->username(), {{u"EnableCutoffTimeKey"_s, m_summary.cutoffOn},
                                                  {u"CutoffTimeKey"_s, m_summary.cutoff}});
    summaryChanged();
}

// A new time for a cut-off that is on is kept at once, as the box keeps it.
void ScheduleEditor::cutoffTimeChanged(const QDateTime &time)
{
    m_summary.cutoff = time;
    const std::optional<CorvaneScheduleItem> record = selectedRecord();
    if (m_summary.cutoffOn && record)
        writeUserPreferences(record->username(), {{u"CutoffTimeKey"_s, time}});
}

void ScheduleEditor::sendEmailNotificationButtonStateToggle(bool on)
{
    m_summary.emailOn = on;
    summaryChanged();
}

void ScheduleEditor::notifyAlwaysSelected()
{
    m_summary.notifyAlways = true;
    m_summary.notifyOnFailure = false;
    summaryChanged();
}

void ScheduleEditor::notifyOnFailureSelected()
{
    m_summary.notifyOnFailure = true;
    m_summary.notifyAlways = false;
    summaryChanged();
}

void ScheduleEditor::missedScheduleToggled(bool on)
{
    m_summary.missedSchedule = on;
    summaryChanged();
}

// ---- toolbar and menu ------------------------------------------------------------------------

std::optional<CorvaneScheduleItem> ScheduleEditor::selectedIdleRecord(const QString &noneSelected,
                                                                      const QString &running) const
{
    const std::optional<CorvaneScheduleItem> record = selectedRecord();
    if (!record || isInProgress(*record)) {
        alert(record ? running : noneSelected);
        return std::nullopt;
    }
    return record;
}

void ScheduleEditor::editSchedule()
{
    const std::optional<CorvaneScheduleItem> record
        = selectedIdleRecord(u"Select the scheduled job that you wish to edit."_s, kInProgressEdit);
    if (!record)
        return;
    m_scheduleItemOfSelectedIndex = *record;
    m_store.setScheduleItemOfSelectedIndex(*record);
    setScheduledJobFields(*record);
    m_isEditingSchedule = true;
    if (m_presenter)
        m_presenter->showEditSheet();
}

void ScheduleEditor::ImmidiatelyRunSchedule(bool senderIsOn)
{
    const std::optional<CorvaneScheduleItem> selected = selectedRecord();
    if (!selected) {
        summaryChanged(); // a box the user ticked goes back to what it shows
        return;
    }
    if (isInProgress(*selected)) {
        summaryChanged();
        showSheet(kAlreadyImmediate, okOnly(), QString());
        return;
    }
    m_summary.daily = false;
    m_summary.days.fill(false);
    m_summary.timeEnabled = true;
    m_summary.cutoffPickerEnabled = true;
    if (senderIsOn) {
        m_summary.startImmediately = true;
        m_summary.time = m_clock.now();
        summaryChanged();
        updateSchedulerDetails();
        m_store.ReloadSchedules();
        return;
    }
    m_summary.timeEnabled = false;
    summaryChanged();

    CorvaneScheduleItem run = selected->copy();
    run.setFrequency(CorvaneScheduleItem::Immediate);
    run.setScheduleTime(m_clock.now().addSecs(45));
    run.setStatus(CorvaneScheduleItem::NotStarted);
    const QVariantMap several = CorvaneSchedulerController::multipleMacState(run.corvaneUserName());
    const QString folder = several.value(u"MultipleMacFolderName"_s).toString();
    run.setDestination(several.value(u"EnableMultipleMacBackupKey"_s).toString() == "1"_L1
                               && !folder.isEmpty()
                           ? folder
                           : m_store.ownFolderName());
    run.setQuotaServerName(selected->quotaServername());
    run.setSelectedDaysForSchedule(QVariantList {weekdayNumber(run.scheduleTime().date())});
    // A queued run-now is looked for before the user's records make way for the new one, so
    // that a second request is refused with the list as it was.
    const QList<CorvaneScheduleItem> &listed = m_store.records();
    const bool refused = std::any_of(listed.cbegin(), listed.cend(), [&](const auto &record) {
        return record.frequency() == CorvaneScheduleItem::Immediate
            || run.isEqualToScheduleItem(record);
    });
    TracedCall trace(u"ImmidiatelyRunSchedule"_s);
    if (!refused) {
        m_store.removeSchduleJobsForUser(selected->username());
        m_store.saveSchedulerDetails();
        m_selectedRows.clear();
        m_store.setSelectedRow(-1);
        if (startedMeanwhile(*selected)) { // the engine took it up before it could go
            showSheet(kAlreadyImmediate, okOnly(), QString());
            return;
        }
    }
    if (refused)
        showSheet(kAlreadyImmediate, okOnly(), QString());
    if (SchedulerState::read() == "0"_L1)
        SchedulerState::write(u"2"_s);
    if (!refused) {
        m_store.corvaneaddSchedulerDetails(run);
        m_store.ReloadSchedules();
    }
}

void ScheduleEditor::startImmediatelyToggled(bool on)
{
    const std::optional<CorvaneScheduleItem> selected = selectedRecord();
    if (selected && !isInProgress(*selected))
        m_summary.startImmediately = on; // otherwise the box goes back to what it showed
    ImmidiatelyRunSchedule(on);
}

void ScheduleEditor::stopRunningSchedule()
{
    TracedCall trace(u"stopRunningSchedule"_s);
    std::optional<CorvaneScheduleItem> record;
    for (const CorvaneScheduleItem &entry : m_store.records()) {
        if (entry.status() == CorvaneScheduleItem::InProgress) {
            record = entry;
            break;
        }
    }
    if (!record)
        record = selectedRecord();
    if (!record)
        return;
    if (record->status() == CorvaneScheduleItem::InProgress)
        showSheet(kConfirmStop, buttons(u"Proceed"_s, u"Cancel"_s), kStopTransferContext);
    else
        showSheet(kSelectRunning, okOnly(), QString());
}

void ScheduleEditor::stopScheduleFromMenu()
{
    TracedCall trace(u"stopRunningSchedule"_s);
    const std::optional<CorvaneScheduleItem> record = selectedRecord();
    if (!record || !m_alerts)
        return;
    if (record->status() != CorvaneScheduleItem::InProgress) {
        alert(kSelectRunning);
        return;
    }
    if (m_alerts->displayMessage(kConfirmStop, SLLocalizedString(u"ApplicationName"_s),
                                 buttons(u"Proceed"_s, u"Cancel"_s), true)
        == AlertPresenter::kDefault)
        SchedulerState::write(u"3"_s);
}

void ScheduleEditor::deleteSchedule()
{
    if (!selectedIdleRecord(u"Select a scheduled job that you wish to delete."_s,
                            u"You cannot delete a scheduled job which is in progress."_s))
        return;
    if (m_alerts
        && m_alerts->displayMessage(u"Are you sure you wish to delete the Scheduled job?"_s,
                                    SLLocalizedString(u"ApplicationName"_s),
                                    buttons(u"No"_s, u"Yes"_s), true)
            == AlertPresenter::kAlternate)
        deleteSelectedRows();
}

void ScheduleEditor::deleteSelectedRows()
{
    m_store.corvaneDeleteSchedulerDeatilsAtIndices(m_selectedRows);
    m_selectedRows.clear();
    m_store.setSelectedRow(-1);
    if (SchedulerState::read() != "0"_L1)
        SchedulerState::write(u"0"_s);
}

void ScheduleEditor::ReloadSchedules()
{
    m_store.ReloadSchedules();
}

void ScheduleEditor::sheetDidEnd(int returnCode, const QString &context)
{
    if (context == kStopTransferContext && returnCode == AlertPresenter::kDefault)
        SchedulerState::write(u"3"_s);
    else if (context == kDeleteContext && returnCode == AlertPresenter::kAlternate)
        deleteSelectedRows();
}

bool ScheduleEditor::validateMenuItem(MenuAction action) const
{
    const std::optional<CorvaneScheduleItem> record = selectedRecord();
    if (!record)
        return false;
    if (action == MenuAction::StopFromMenu)
        return record->status() == CorvaneScheduleItem::InProgress;
    return true;
}

bool ScheduleEditor::canCloseAllWindows()
{
    if (!m_isEditingSchedule)
        return true;
    if (m_alerts
        && m_alerts->displayMessage(kInProgressEdit, SLLocalizedString(u"ApplicationName"_s),
                                    buttons(u"OK"_s, u"Cancel"_s), true)
            != AlertPresenter::kDefault)
        return false;
    cancelEditSheet();
    return true;
}
