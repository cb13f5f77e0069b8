#pragma once

#include "CorvaneScheduleItem.h"
#include "NextRunCalculator.h"
#include "ScheduleArchive.h"
#include "ScheduleTableModel.h"
#include "notify/SaveFailureNotice.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>

class AlertPresenter;
class Clock;
class ErrorReport;
class QTimer;

// The schedule store: the configured records of every local user, kept in step with the
// schedules archive that the backup engine shares. Views bind to configuredSchedules() and tell
// the controller which row is selected.
//
// Every change is applied to the archive as read just before it is written, under the writers'
// lock, so that what the engine or another of our processes wrote since the last read is kept.
// Each mutating call says what became of the change (saved, deferred by a running job, failed
// with a message); on failure the list shows what the file holds.
class CorvaneSchedulerController : public QObject {
    Q_OBJECT
public:
    explicit CorvaneSchedulerController(const Clock &clock, QObject *parent = nullptr);
    ~CorvaneSchedulerController() override;

    // The scheduler's own file kinds (wider than the monitor's).
    static QString pathForApplicationFile(int kind);

    ScheduleTableModel *configuredSchedules() { return &m_schedules; }
    const QList<CorvaneScheduleItem> &records() const { return m_schedules.records(); }
    const NextRunCalculator &nextRun() const { return m_nextRun; }

    void corvaneInitializeSchedulerSettings();
    QList<CorvaneScheduleItem> corvaneSchedulerDetailsForAllUsers() const;
    QList<CorvaneScheduleItem> corvaneSchedulerDetailsForUser(const QString &name) const;
    std::optional<QList<CorvaneScheduleItem>> corvaneSchedulerDetailsForCurrentUser() const;
    using SaveResult = ScheduleArchive::SaveResult;
    SaveResult corvaneaddSchedulerDetails(const CorvaneScheduleItem &record);
    SaveResult corvaneUpdateSchedule(const CorvaneScheduleItem &record);
    SaveResult corvaneDeleteSchedulerDeatils(const CorvaneScheduleItem &record);
    // Only the last index of a multiple selection goes (each index is taken from a fresh copy).
    SaveResult corvaneDeleteSchedulerDeatilsAtIndices(const QList<int> &ascendingIndices);
    void removeSchduleJobsForUser(const QString &name);
    // Makes `records` the list and saves it; records already in the archive keep their places.
    SaveResult replaceSchedules(const QList<CorvaneScheduleItem> &records);
    SaveResult removeAllSchduleJobs();
    SaveResult deleteExistingJobOnEditingOnce(const QString &accountName);
    SaveResult checkExistanceOfOnceForSameUser(const CorvaneScheduleItem &record);
    void updateMultipleMacStateOfScheduledItem();
    // Writes the changes made to the list since it was read. Deferred (and the note shown) while
    // a job in the archive is running: the list keeps the change for the next save.
    SaveResult saveSchedulerDetails();
    // What became of the last save (of any call above); Saved before the first.
    const SaveResult &lastSaveResult() const { return m_lastSave; }
    bool isScheduleBackupInProgress() const;
    bool isScheduleBackupNow() const;
    void ReloadSchedules();

    // The main application's login details (empty when nobody logged in) and the account
    // name they give for this brand.
    static QVariantMap loginDetails();
    static QString accountNameFromLogin(const QVariantMap &login);
    // The server, user and password of the login details, as every new record takes them.
    static void applyLoginDetails(CorvaneScheduleItem &record, const QVariantMap &login);
    // The account's entry of the several-computers state file.
    static QVariantMap multipleMacState(const QString &account);
    // The destination a queued or saved record takes from that file ("1" its own folder when
    // named, "1" unnamed or "2" this brand's folder; anything else leaves it).
    void applyMultipleMacDestination(CorvaneScheduleItem &record) const;
    // The record's own quota server, else the one the login details name.
    static void applyQuotaServer(CorvaneScheduleItem &record, const QVariantMap &login);
    QString ownFolderName() const;

    // ---- running jobs -----------------------------------------------------------------------
    // Queues an immediate backup of the logged-in account and returns it; nothing without login
    // details or a backup set holding at least one path, or when it could not be saved
    // (lastSaveResult() says why).
    std::optional<CorvaneScheduleItem> backupNow();
    // The same from the summary window: any account name the login details give, and a backup
    // set that exists (it may be empty); tells the user what is missing otherwise.
    std::optional<CorvaneScheduleItem> scheduleImmeadiateBackup();
    // True once the record has left the list or completed.
    bool isItemCompleted(const CorvaneScheduleItem &record);
    // Asks (OK / Cancel) and, on OK, tells the engine to stop with "3".
    void stopSchedulerSubmenu();
    void setAlertPresenter(AlertPresenter *alerts)
    {
        m_alerts = alerts;
        m_refreshSaveNotice = SaveFailureNotice(alerts);
    }
    // The summary window is the view's; it tells whether it is shown.
    void setSummaryWindowVisibility(std::function<bool()> isVisible)
    {
        m_summaryVisible = std::move(isVisible);
    }
    void showSchedulerMainWindow();
    // The error-report window's controller, and its showing.
    ErrorReport *errorReport() const { return m_errorReport.get(); }
    void showErrorReport();
    void startRefreshTimer();
    void stopRefreshTimer();
    bool isRefreshTimerRunning() const;

    // The edit in progress: the record as it was when the edit began.
    void setScheduleItemOfSelectedIndex(const std::optional<CorvaneScheduleItem> &record)
    {
        m_scheduleItemOfSelectedIndex = record;
    }
    int selectedRow() const { return m_selectedRow; }
    void setSelectedRow(int row) { m_selectedRow = row; }
    // The note under the table that says a save had to wait for a running job.
    bool isSaveSkippedNoteVisible() const { return m_noteVisible; }

Q_SIGNALS:
    void saveSkippedNoteChanged(bool visible);
    void editorResetRequested();
    void rowSelectionRequested(int row);
    void summaryWindowRequested();
    // The main application should be started (the user must log in or pick a backup set).
    void applicationLaunchRequested(const QString &name);

private:
    void setNoteVisible(bool visible);
    void replaceAll(const QList<CorvaneScheduleItem> &records);
    // Reads the archive; records unchanged since the last read keep their identity.
    ScheduleArchive::Contents readArchive() const;
    void takeFromFile(const ScheduleArchive::Contents &contents);
    SaveResult failed(const ScheduleArchive::Contents &onDisk, const QString &message);
    SaveResult writeChanges();

    class WriterScope;
    CorvaneScheduleItem immediateRecord(const QVariantMap &login, const QString &account) const;
    void showQueuedJobPanel();

    const Clock &m_clock;
    NextRunCalculator m_nextRun;
    ScheduleTableModel m_schedules;
    std::optional<CorvaneScheduleItem> m_scheduleItemOfSelectedIndex;
    int m_selectedRow = -1;
    bool m_noteVisible = false;
    AlertPresenter *m_alerts = nullptr;
    // The window's refresh saves again every few seconds: its failures are told once a spell.
    SaveFailureNotice m_refreshSaveNotice;
    std::function<bool()> m_summaryVisible;
    QTimer *m_refreshTimer = nullptr;
    // The records as last read from the archive: what the list's changes are measured against.
    QList<CorvaneScheduleItem> m_base;
    std::unique_ptr<ScheduleArchive::WriteLock> m_lock;
    int m_lockDepth = 0;
    bool m_pendingChanges = false; // a save a running job put off
    SaveResult m_lastSave;
    std::unique_ptr<ErrorReport> m_errorReport;
};
