#pragma once

#include "ipc/MessageSendingModule.h"
#include "scheduler/CorvaneScheduleItem.h"

#include <QAction>
#include <QObject>
#include <QPointer>

#include <memory>
#include <optional>

class AlertPresenter;
class Clock;
class CorvaneSchedulerController;
class DesktopServices;
class DistributedNotificationCenter;
class QNetworkAccessManager;
class QTimer;

// What the monitor needs from outside; tests hand in fakes.
struct MonitorServices
{
    const Clock *clock = nullptr;
    AlertPresenter *alerts = nullptr;
    DesktopServices *desktop = nullptr;
    QNetworkAccessManager *network = nullptr;
    bool connectChannel = true; // take the monitor's end of the message channel
    int networkTimeoutMs = 20000; // the update check gives up after this long without a byte
};

// The status item's behaviour: its menu (actions identified by tag), tool tip and icon, job
// control, and the messages of the companion application. Views render the actions and forward
// clicks; nothing here knows of widgets.
class CorvaneMonitorController : public QObject, public MessageSendingModuleDelegate
{
    Q_OBJECT
public:
    enum Tag {
        UpgradeTag = 100, ReferTag = 101, BuySpaceTag = 102,
        WebManagementTag = 310, CdpTag = 320,
        ManageSchedulesTag = 2013,
        PauseItemTag = 3712,
        PauseResumeTag = 9122013, CancelScheduledTag = 9132013, EnableDisableAllTag = 9142013,
        // Items without a fixed tag in the product: numbered here for the views and tests.
        BackupNowTag = 1, ShowProgressTag = 2, LaunchApplicationTag = 3, OnlineHelpTag = 4,
        UpdateSoftwareTag = 5, ViewSchedulesTag = 6, QuitTag = 7,
    };

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
    bool isOperationInProgress() const { return m_isOperationInProgress; }
    std::optional<CorvaneScheduleItem> newSchedule() const { return m_newSchedule; }

    // ---- menu actions -----------------------------------------------------------------------
    void backupNow();
    void showProgress();
    void pauseResume(QAction *sender);
    void removeAllSchedules(QAction *sender);
    void cancelBackupFromSubmenu();
    void manageSchedules();
    void launchApplication();
    void onlineHelp();
    void updateSoftware();
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
    void setHide(bool hide);
    void enableDisableManageSubMenus();
    void displayScheduleDetails();
    void displayWindowWithAlertMsg(const QString &message);
    // The periodic refresh: menus, pause state, tool tip, and the run-now record's end.
    void refresh();
    int spItemIndex() const { return m_spItemIndex; }

    void didReceiveIPCMessage(const IncomingMessage &message) override;

Q_SIGNALS:
    void toolTipChanged(const QString &text);
    void statusImageChanged(const QString &imageName);
    void alertMessageRequested(const QString &title, const QString &imageName, const QString &message);
    void quitRequested();

private:
    static QString brandName();
    void createMenus();
    QAction *addItem(QList<QAction *> &menu, int tag, const QString &title, void (CorvaneMonitorController::*action)());
    void handleMessage(const QVariantList &message, bool fromCompanion);
    void setToolTip(const QString &text);
    void setStatusImage(const QString &name);
    QVariantMap loginDetails() const;
    void trace(const QString &text) const;

    MonitorServices m_services;
    std::unique_ptr<CorvaneSchedulerController> m_scheduler;
    std::unique_ptr<MessageSendingModule> m_channel;
    std::unique_ptr<DistributedNotificationCenter> m_notifications;
    QList<QAction *> m_statusMenu;
    QList<QAction *> m_schedulerSubMenu;
    QTimer *m_refreshTimer = nullptr;
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
