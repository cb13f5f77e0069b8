#pragma once

#include "ipc/MessageSendingModule.h"
#include "notify/DisplayController.h"
#include "notify/SaveFailureNotice.h"
#include "prefs/CVTabViewController.h"
#include "prefs/GeneralViewController.h"
#include "prefs/User.h"
#include "BackupWatchdog.h"
#include "Snooze.h"
#include "scheduler/CorvaneScheduleItem.h"

#include <QAction>
#include <QJsonValue>
#include <QObject>
#include <QPointer>

#include <memory>
#include <optional>

class AlertPresenter;
class Clock;
class CorvaneSchedulerController;
class DesktopServices;
class DesktopNotifications;
class DistributedNotificationCenter;
class ErrorReportPresenter;
class JobResultNotifier;
class LogViewController;
class LogWindowPresenter;
class SessionLogList;
class SessionLogWindowPresenter;
class TrayHelpPresenter;
class MinuteTimer;
class MonitorAccount;
class PreferencesPanes;
class QNetworkAccessManager;
class QTimer;
class ScheduleEditor;
class NetworkWatcher;
class SleepWatcher;
class WebManagement;

// What the monitor needs from outside; tests hand in fakes.
struct MonitorServices
{
    const Clock *clock = nullptr;
    AlertPresenter *alerts = nullptr;
    DesktopServices *desktop = nullptr;
    QNetworkAccessManager *network = nullptr;
    bool connectChannel = true; // take the monitor's end of the message channel
    int networkTimeoutMs = 20000; // the update check gives up after this long without a byte
    NotificationWindowPresenter *notificationWindow = nullptr; // none: no notification window
    PreferencesWindowPresenter *preferencesWindow = nullptr;   // none: no preferences window
    LogWindowPresenter *logWindow = nullptr;                   // none: no log window
    SessionLogWindowPresenter *sessionLogWindow = nullptr;     // none: no session-log list window
    TrayHelpPresenter *trayHelp = nullptr;                     // none: no first-run help
    ErrorReportPresenter *errorReportWindow = nullptr;         // none: no error-report window
    NetworkWatcher *networkWatcher = nullptr;                  // none: the network counts as up
};

// The status item's behaviour: its menu (actions identified by tag), tool tip and icon, job
// control, and the messages of the companion application. Views render the actions and forward
// clicks; nothing here knows of widgets.
class CorvaneMonitorController : public QObject,
                                 public MessageSendingModuleDelegate,
                                 public DisplayControllerDelegate,
                                 public PreferencesWindowDelegate,
                                 public GeneralViewDelegate
{
    Q_OBJECT
public:
    enum Tag {
        UpgradeTag = 100, ReferTag = 101, ChangePasswordTag = 102,
        WebManagementTag = 310, CdpTag = 320,
        ManageSchedulesTag = 2013,
        PauseItemTag = 3712,
        PauseResumeTag = 9122013, CancelScheduledTag = 9132013, EnableDisableAllTag = 9142013,
        // The pause presets and the line that says until when backups are paused.
        PauseOneHourTag = 9152013, PauseFourHoursTag = 9162013, PauseUntilTomorrowTag = 9172013,
        PauseUntilNextBackupTag = 9182013, PausedUntilTag = 9192013,
        DashboardTag = 9300000, // the dashboard's lines at the menu's top: this tag and up
        // Items without a fixed tag in the product: numbered here for the views and tests.
        BackupNowTag = 1, ShowProgressTag = 2, LaunchApplicationTag = 3, OnlineHelpTag = 4,
        UpdateSoftwareTag = 5, ViewSchedulesTag = 6, QuitTag = 7, AccountHomeTag = 8, ShowStatusTag = 9, PreferencesTag = 10,
        ViewLogsTag = 11,
    };
    static constexpr int kBlinkIntervalMs = 500;

    CorvaneMonitorController(const MonitorServices &services, QObject *parent = nullptr);
    ~CorvaneMonitorController() override;

    // The start-up sequence.
    void awakeFromNib();
    // The scheduler controller alone, as the start-up makes it: for a controller used without the
    // rest of the start-up (lumenctl).
    void createScheduler();

    QList<QAction *> statusMenu() const { return m_statusMenu; }
    QList<QAction *> schedulerSubMenu() const { return m_schedulerSubMenu; }
    QAction *itemWithTag(int tag) const;
    QString toolTip() const { return m_toolTip; }
    QString statusImage() const { return m_statusImage; }
    CorvaneSchedulerController *scheduler() const { return m_scheduler.get(); }
    // The schedule summary window's and edit sheet's behaviour.
    ScheduleEditor *scheduleEditor() const { return m_scheduleEditor.get(); }
    bool isOperationInProgress() const { return m_isOperationInProgress; }
    std::optional<CorvaneScheduleItem> newSchedule() const { return m_newSchedule; }
    MonitorAccount *account() const { return m_account.get(); }
    WebManagement *webManagement() const { return m_webManagement.get(); }
    // The login details read at start or on enablePreferences; empty when nobody is logged in.
    QVariantMap mUserDetails() const { return m_mUserDetails; }
    // The account record the preference panes work on, and the name shown in their title bar.
    QString userNameLabel() const;
    // The title of the pane the preferences window shows; empty while the window is closed.
    QString shownPreferencesPane() const;
    PreferencesPanes *preferencesPanes() const { return m_panes.get(); }
    void setPreferencesWindow(PreferencesWindowPresenter *window) { m_services.preferencesWindow = window; }
    void setSessionLogWindow(SessionLogWindowPresenter *window) { m_services.sessionLogWindow = window; }
    void setTrayHelp(TrayHelpPresenter *help) { m_services.trayHelp = help; }
    void setLogWindow(LogWindowPresenter *window) { m_services.logWindow = window; }
    void setErrorReportWindow(ErrorReportPresenter *window);
    // The first-run help, when the installer left its marker: shown for 20 seconds, once.
    void showTrayHelp();
    void closeTrayHelp();
    bool isTrayHelpShown() const { return m_trayHelpShown; }
    QString mPreviouslyLoggedInUser() const { return m_mPreviouslyLoggedInUser; }
    QString mSessionLogScheduledBackup() const { return m_mSessionLogScheduledBackup; }
    bool isBlinking() const;

    // ---- menu actions -----------------------------------------------------------------------
    void backupNow();
    void showProgress();
    void pauseResume(QAction *sender);
    // Pauses backups until the preset's moment; they resume by themselves then, with a
    // notification.
    void pauseFor(Snooze::Preset preset);
    Snooze *snooze() const { return m_snooze.get(); }
    static inline const QString kBackupWarningIcon = QStringLiteral("BackupWarning");
    void removeAllSchedules(QAction *sender);
    void cancelBackupFromSubmenu();
    // Remote Manage chosen: turns web management off, or on (asking first on a support machine).
    void webManagement(QAction *item);

    // ---- continuous data protection --------------------------------------------------------------
    void addCdpItem();
    void removeCdpItem();
    // The CDP item (and the general pane, through cdpStateChanged) in step with the state file.
    void checkCDP();
    // The CDP item or the general pane's box chosen (`item` null from the pane).
    void ContinuousDataProtectionSelected(QAction *item);
    void onCDPYesButton();
    void onCDPNoButton();
    bool isMagicFileExists() const;
    // On a machine set up for internal support (the magic file), asks before `feature` is turned
    // on there; true when it may go on.
    bool supportMachineAgrees(const QString &feature) const;
    void manageSchedules();
    // The scheduler's error-report window.
    void showErrorReport();
    void launchApplication();
    void onlineHelp();
    // The user opened the status menu: a quota warning counts as seen and stops blinking.
    void statusItemClicked();
    // Opens the session log of the last scheduled backup.
    // The last scheduled backup's session log, with the desktop's application for it.
    void openLogfile() override;
    // The session-log list: its window in front, the first row selected.
    void viewLog() override;
    void reloadSessionLogs();
    void openSelectedSessionLogs(const QList<int> &rows);
    void deleteSelectedSessionLogs(const QList<int> &rows);
    SessionLogList *sessionLogArray() const { return m_sessionLogs; }
    void upgradeAccount(const QString &user) override;
    // From the preferences window and its general pane.
    void upgradeAccount() override;
    void changePassword() override;
    void updateSoftware() override;
    void SaveSetting() override;
    void openProductPage() override;
    void ContinuousDataProtectionSelected() override;
    void sendIPCMessage(const QVariant &payload, int type, bool runInThread) override;
    // The account's status in the notification window.
    void showStatusWindow();
    DisplayController *notificationDisplayController() const { return m_notificationDisplayController.get(); }
    JobResultNotifier *jobResultNotifier() const { return m_jobResultNotifier.get(); }
    void enableShowProgress() { m_isRestoreProgress = true; }
    void hideShowProgress() { m_isRestoreProgress = false; }

    // ---- queries and refreshes ----------------------------------------------------------------
    bool shouldExecuteBackup();
    bool isBackupInProgress() const;
    bool isNexaUser(const QString &user) const;
    // The account name of the login details ("" when nobody is logged in) and its throttle file.
    QString loggedInUser() const;
    QString throttleFile() const;
    // How many of the user's processes named `name` run the web-management helper; -1 when the
    // process list could not be read.
    int isApplicationRunning(const QString &name) const;
    // Disables "Launch ..." while the main application runs.
    void isApplicationLaunched();
    void resetMonitorUI();
    void setPauseState(bool paused);
    void updatePauseStatus();
    // Each: whether the throttle file took the new value. A failure to write it or its copy is
    // told once a spell; a pause that did not take leaves the menu as it was.
    bool pauseBackups();
    bool resumeBackups();
    bool writeThrottle(const QString &value, SaveFailureNotice &notice, const QString &failure);
    void pauseEnded();
    void updatePauseItems();
    // The warning icon and a notification offering "Back up now" once the user's backups fall
    // behind; the usual icon again when they catch up.
    void checkBackupWatchdog();
    // The dashboard's lines at the top of the status menu: the account's last backup and each
    // schedule's next run.
    void updateDashboard();
    void setHide(bool hide);
    void enableDisableManageSubMenus();
    void displayScheduleDetails();
    void displayWindowWithAlertMsg(const QString &message);
    // The periodic refresh, at the start of every minute and on waking from sleep: menus, quota,
    // tool tip, the cut-off of a running backup, pause state, and the run-now record's end.
    void checkForTotalQuota();
    void blinkStatusImageOnQuotaExceed();
    // Enables "Remote Manage" when the last login names a user; that name, or "".
    QString setWebManagementState();

    // ---- the logged-in account and the preferences window ------------------------------------
    void initialzePreferences();
    // The window, on the pane an object of "ViewExclude" names.
    void OpenPreferences(const QString &object = QString());
    // The log viewer window: its controller made on first show, the stored period shown again
    // on every show.
    void viewSessionLog();
    void closeSeesionLog();
    void addLogViewToWindow();
    LogViewController *logViewController() const { return m_logView.get(); }
    // {"period": tag, "runs": rows listed} while the log window is open, else null.
    QJsonValue logWindowStatus() const;
    // The window closes: every pane keeps what was edited.
    void windowWillClose();
    void reloadPreferences();
    bool setUserAndProxyToObject(User &user) const;
    void enablePreferences();
    void disablePreferences();
    int spItemIndex() const { return m_spItemIndex; }

    void didReceiveIPCMessage(const IncomingMessage &message) override;

Q_SIGNALS:
    void toolTipChanged(const QString &text);
    void statusImageChanged(const QString &imageName);
    void alertMessageRequested(const QString &title, const QString &imageName, const QString &message);
    void quitRequested();
    // Items were inserted into or removed from the status menu.
    void statusMenuChanged();
    // Continuous protection is on or off for the logged-in user now.
    void cdpStateChanged(bool on);

private:
    static QString brandName();
    void createMenus();
    void updateQuotaState();
    void showJobResult(const QVariantMap &details);
    void updateScheduleToolTip();
    void updatePlanItems(const QString &user);
    void stopBlinking();
    bool isCdpOnForLoggedInUser() const;
    // Runs the stop and start of the web-management helper that the last checks asked for.
    void runWebManagementCommands();
    QAction *addItem(QList<QAction *> &menu, int tag, const QString &title, void (CorvaneMonitorController::*action)());
    void handleMessage(const QVariantList &message, bool fromCompanion);
    void setToolTip(const QString &text);
    void setStatusImage(const QString &name);
    QVariantMap loginDetails() const;
    void trace(const QString &text) const;

    MonitorServices m_services;
    std::unique_ptr<CorvaneSchedulerController> m_scheduler;
    std::unique_ptr<ScheduleEditor> m_scheduleEditor;
    std::unique_ptr<MessageSendingModule> m_channel;
    std::unique_ptr<DistributedNotificationCenter> m_notifications;
    QList<QAction *> m_statusMenu;
    QList<QAction *> m_schedulerSubMenu;
    std::unique_ptr<MonitorAccount> m_account;
    std::unique_ptr<WebManagement> m_webManagement;
    std::unique_ptr<DisplayController> m_notificationDisplayController;
    std::unique_ptr<DesktopNotifications> m_desktopNotifications;
    std::unique_ptr<JobResultNotifier> m_jobResultNotifier;
    MinuteTimer *m_refreshTimer = nullptr;
    SleepWatcher *m_sleepWatcher = nullptr;
    std::unique_ptr<Snooze> m_snooze;
    // Saves nobody waits on, retried by the refresh or on the next close: told once a spell.
    SaveFailureNotice m_preferencesNotice;
    SaveFailureNotice m_pauseNotice;
    SaveFailureNotice m_pauseEndNotice;
    SaveFailureNotice m_resumeNotice;
    BackupWatchdog::Verdict m_watchdogVerdict = BackupWatchdog::Verdict::Fine;
    QList<QAction *> m_dashboardItems;
    QTimer *m_blinkingTimer = nullptr;
    bool m_isMonitorClickedAfterQuotaExceed = false;
    QVariantMap m_mUserDetails;
    std::unique_ptr<PreferencesPanes> m_panes;
    std::unique_ptr<LogViewController> m_logView;
    SessionLogList *m_sessionLogs; // a child
    bool m_trayHelpShown = false;
    QString m_mPreviouslyLoggedInUser;
    std::optional<QString> m_lastSeenLogin;
    QString m_mSessionLogScheduledBackup;
    std::optional<CorvaneScheduleItem> m_newSchedule;
    bool m_isCondifugeredBackupNowItem = false;
    QString m_mSchedulerStateStr;
    QString m_mCurrentThrottleValue;
    bool m_isOperationInProgress = false;
    bool m_isRestoreProgress = false;
    int m_spItemIndex = 0;
    QString m_toolTip;
    QString m_statusImage;
};
