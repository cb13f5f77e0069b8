#include "CorvaneMonitorController.h"

#include "DesktopServices.h"
#include "MonitorAccount.h"
#include "MonitorFiles.h"
#include "SessionLogList.h"
#include "logview/LogViewController.h"
#include "prefs/PreferencesPanes.h"
#include "WebManagement.h"
#include "product/FilePathAPIs.h"
#include "product/MonitorSettings.h"
#include "product/StringTable.h"
#include "logging/SLLogger.h"
#include "notify/AlertPresenter.h"
#include "notify/JobResultNotifier.h"
#include "platform/DesktopNotifications.h"
#include "platform/Clock.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/MinuteTimer.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/SleepWatcher.h"
#include "platform/SystemInfo.h"
#include "platform/UserDefaults.h"
#include "platform/Workspace.h"
#include "prefs/UserPreferences.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/ErrorReport.h"
#include "scheduler/NextRunCalculator.h"
#include "scheduler/ScheduleEditor.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"
#include "platform/StringFormat.h"

#include <QFile>
#include <QFileInfo>
#include <QTimer>

using namespace Qt::StringLiterals;

using namespace MonitorFiles;

namespace {

const QString kUpgradeIcon = u"CorvaneUpgradeMenuIcon"_s;
const QString kBlinkIcon = u"Portable_tray1"_s;

} // namespace

CorvaneMonitorController::CorvaneMonitorController(const MonitorServices &services, QObject *parent)
    : QObject(parent)
    , m_services(services)
    , m_preferencesNotice(services.alerts)
    , m_pauseNotice(services.alerts)
    , m_pauseEndNotice(services.alerts)
    , m_resumeNotice(services.alerts)
    , m_sessionLogs(new SessionLogList(this))
{
    MonitorAccount::Services account{services.clock, services.desktop, services.network,
                                     [this](const QString &name) { return isApplicationRunning(name); }};
    m_account = std::make_unique<MonitorAccount>(account);
    // The helper is looked for by its path in the process table's command lines: the process list
    // of the other platform shows paths, this one's short names only.
    m_webManagement = std::make_unique<WebManagement>(WebManagement::Services{
        [](const QString &helper) { return Workspace::countCommandLinesWith(Paths::current().resolve(helper)); },
        [this](const QString &message) { displayWindowWithAlertMsg(message); }});
    createMenus();
    if (services.notificationWindow) {
        m_notificationDisplayController = std::make_unique<DisplayController>(services.notificationWindow);
        m_notificationDisplayController->setDelegate(this);
    }
}

CorvaneMonitorController::~CorvaneMonitorController()
{
    if (m_channel)
        m_channel->closeIPCConnection();
}

void CorvaneMonitorController::trace(const QString &text) const
{
    SLLogger::logMonitorTrace(text);
}

QAction *CorvaneMonitorController::addItem(QList<QAction *> &menu, int tag, const QString &title,
                                           void (CorvaneMonitorController::*action)())
{
    auto *item = new QAction(title, this);
    item->setData(tag);
    if (action)
        connect(item, &QAction::triggered, this, action);
    menu.append(item);
    return item;
}

void CorvaneMonitorController::createMenus()
{
    const bool a = corvane();
    addItem(m_statusMenu, BackupNowTag, u"Backup Now"_s, &CorvaneMonitorController::backupNow);
    addItem(m_statusMenu, ShowProgressTag, u"Show Progress"_s, &CorvaneMonitorController::showProgress);
    addItem(m_statusMenu, ShowStatusTag, u"Account Status"_s, &CorvaneMonitorController::showStatusWindow);
    addItem(m_statusMenu, ManageSchedulesTag, u"Scheduled Jobs"_s, nullptr);
    addItem(m_statusMenu, LaunchApplicationTag, a ? u"Launch Corvane"_s : u"Launch Stelloa for Mac"_s,
            &CorvaneMonitorController::launchApplication);
    QAction *remoteManage = addItem(m_statusMenu, WebManagementTag, u"Remote Manage"_s, nullptr);
    remoteManage->setCheckable(true);
    remoteManage->setEnabled(false);
    connect(remoteManage, &QAction::triggered, this, [this, remoteManage] { webManagement(remoteManage); });
    MonitorAccount *account = m_account.get();
    connect(addItem(m_statusMenu, AccountHomeTag, u"My Account"_s, nullptr), &QAction::triggered, account,
            &MonitorAccount::launchWeb);
    if (a) {
        connect(addItem(m_statusMenu, UpgradeTag, u"Upgrade Storage"_s, nullptr), &QAction::triggered, account,
                [account] { account->upgradeAccount(); });
        connect(addItem(m_statusMenu, ReferTag, u"Refer a Friend"_s, nullptr), &QAction::triggered, account,
                &MonitorAccount::referCorvaneCall);
        connect(addItem(m_statusMenu, ChangePasswordTag, u"Change Password"_s, nullptr), &QAction::triggered,
                account, &MonitorAccount::changePassword);
    }
    connect(addItem(m_statusMenu, ViewLogsTag, u"View Logs…"_s, nullptr), &QAction::triggered, this,
            &CorvaneMonitorController::viewSessionLog);
    connect(addItem(m_statusMenu, PreferencesTag, u"Preferences…"_s, nullptr), &QAction::triggered, this,
            [this] { OpenPreferences(); });
    addItem(m_statusMenu, OnlineHelpTag, u"Online Help"_s, &CorvaneMonitorController::onlineHelp);
    addItem(m_statusMenu, UpdateSoftwareTag, u"Check for Updates"_s, &CorvaneMonitorController::updateSoftware);
    addItem(m_statusMenu, QuitTag, u"Quit"_s, nullptr);
    // An edit in progress is the user's to give up first.
    connect(itemWithTag(QuitTag), &QAction::triggered, this, [this] {
        if (!m_scheduleEditor || m_scheduleEditor->canCloseAllWindows())
            Q_EMIT quitRequested();
    });

    addItem(m_schedulerSubMenu, ViewSchedulesTag, u"Manage Schedules…"_s, &CorvaneMonitorController::manageSchedules);
    QAction *pause = addItem(m_schedulerSubMenu, PauseResumeTag, kPauseTitle, nullptr);
    connect(pause, &QAction::triggered, this, [this, pause] { pauseResume(pause); });
    addItem(m_schedulerSubMenu, PausedUntilTag, QString(), nullptr)->setEnabled(false);
    const int presetTags[] = {PauseOneHourTag, PauseFourHoursTag, PauseUntilTomorrowTag, PauseUntilNextBackupTag};
    for (const Snooze::Preset preset : Snooze::kPresets)
        connect(addItem(m_schedulerSubMenu, presetTags[preset], Snooze::title(preset), nullptr), &QAction::triggered,
                this, [this, preset] { pauseFor(preset); });
    addItem(m_schedulerSubMenu, CancelScheduledTag, u"Cancel the Scheduled Job"_s,
            &CorvaneMonitorController::cancelBackupFromSubmenu);
    QAction *all = addItem(m_schedulerSubMenu, EnableDisableAllTag, kDisableAllTitle, nullptr);
    connect(all, &QAction::triggered, this, [this, all] { removeAllSchedules(all); });
    itemWithTag(PauseResumeTag)->setEnabled(false);
    itemWithTag(CancelScheduledTag)->setEnabled(false);
}

QAction *CorvaneMonitorController::itemWithTag(int tag) const
{
    for (const QList<QAction *> *menu : {&m_statusMenu, &m_schedulerSubMenu}) {
        for (QAction *item : *menu) {
            if (item->data().toInt() == tag)
                return item;
        }
    }
    return nullptr;
}

void CorvaneMonitorController::awakeFromNib()
{
    m_desktopNotifications = std::make_unique<DesktopNotifications>(brandName(), u"lumen-monitor"_s);
    m_jobResultNotifier = std::make_unique<JobResultNotifier>(m_desktopNotifications.get());
    connect(m_jobResultNotifier.get(), &JobResultNotifier::backupNowRequested, this, &CorvaneMonitorController::backupNow);
    connect(m_jobResultNotifier.get(), &JobResultNotifier::upgradeRequested, this,
            qOverload<const QString &>(&CorvaneMonitorController::upgradeAccount));
    connect(m_jobResultNotifier.get(), &JobResultNotifier::viewLogRequested, this, [this](const QString &log) {
        m_services.desktop->openUrl(QUrl::fromLocalFile(Paths::current().resolve(log)));
    });
    m_notifications = std::make_unique<DistributedNotificationCenter>();
    m_notifications->addObserver(u"CorvanePortableOpenPreferencesNotification"_s,
                                 [this](const QString &, const QString &object, const QVariantMap &) {
                                     OpenPreferences(object);
                                 });
    m_notifications->addObserver(u"CorvanePortableDisablePreferencesNotification"_s,
                                 [this](auto &&...) { disablePreferences(); });
    m_notifications->addObserver(u"CorvanePortableEnablePreferencesNotification"_s,
                                 [this](auto &&...) { enablePreferences(); });
    UserDefaults defaults(MonitorSettings::defaultsDomain());
    defaults.setObject(50, u"NSInitialToolTipDelay"_s);
    defaults.setObject(true, u"AppleShowAllFiles"_s);
    defaults.synchronize();
    initialzePreferences();

    if (m_services.connectChannel) {
        m_channel = std::make_unique<MessageSendingModule>();
        m_channel->setDelegate(this);
        const QString id = SystemInfo::machineID(), login = SystemInfo::loginName();
        m_channel->setupConnection(stringWithFormat(u"CorvanePortableMA%@%@"_s, {id, login}),
                                   stringWithFormat(u"CorvanePortableAM%@%@"_s, {id, login}));
        m_channel->sendIPCMessage(u""_s, 3, true); // announce the monitor
    }
    if (QFileInfo::exists(Paths::current().resolve(BrandPaths::loginDetails()))) {
        m_mUserDetails = loginDetails();
        reloadPreferences();
        m_mSessionLogScheduledBackup.clear();
    }
    trace(u"Start of awakeFromNib"_s);
    setStatusImage(SLLocalizedString(u"ApplicationIcon"_s));
    m_mPreviouslyLoggedInUser = setWebManagementState();
    setToolTip(brandName());
    // The plan's items are right from the start, not only once the preferences are enabled.
    updatePlanItems(m_mUserDetails.value(u"CorvaneUsername"_s).toString());
    m_isRestoreProgress = false;
    m_isOperationInProgress = false;
    setHide(true);
    createScheduler();
    trace(u"Exit of awakeFromNib"_s);

    m_notifications->addObserver(u"AddCDPItem"_s, [this](auto &&...) { addCdpItem(); });
    m_notifications->addObserver(u"RemoveCDPItem"_s, [this](auto &&...) { removeCdpItem(); });
    m_notifications->addObserver(u"ShowRestoreProgress"_s, [this](auto &&...) { enableShowProgress(); });
    m_notifications->addObserver(u"HideRestoreProgress"_s, [this](auto &&...) { hideShowProgress(); });

    // A one-shot launch request from the main application, used up either way.
    const QString launch = BrandPaths::launchRequest();
    if (QFileInfo::exists(Paths::current().resolve(launch))) {
        const QString request = readText(launch);
        trace(u"Launch request: "_s + request);
        if (request == "DisablePreferencesNotification"_L1)
            disablePreferences();
        OpenPreferences(request == "DisablePreferencesNotification"_L1 ? QString() : request);
        QFile::remove(Paths::current().resolve(launch));
    }
    if (m_mUserDetails.isEmpty())
        disablePreferences();
    if (readText(BrandPaths::schedulerStatus()) == "0"_L1)
        itemWithTag(EnableDisableAllTag)->setText(kEnableAllTitle);

    m_snooze = std::make_unique<Snooze>(*m_services.clock);
    connect(m_snooze.get(), &Snooze::ended, this, &CorvaneMonitorController::pauseEnded);

    // The refresh must see every minute of the wall clock (the cut-off is an exact minute), also
    // across a sleep, which the timer's own clock does not count.
    m_refreshTimer = new MinuteTimer(*m_services.clock, this);
    connect(m_refreshTimer, &MinuteTimer::timeout, this, &CorvaneMonitorController::checkForTotalQuota);
    m_refreshTimer->start();
    m_sleepWatcher = new SleepWatcher(nullptr, this);
    connect(m_sleepWatcher, &SleepWatcher::resumed, this, [this] {
        trace(u"Resumed from sleep: refreshing at once"_s);
        m_refreshTimer->start();
        checkForTotalQuota();
    });
    showTrayHelp();
    checkCDP();
    checkForTotalQuota();
}

void CorvaneMonitorController::createScheduler()
{
    m_scheduler = std::make_unique<CorvaneSchedulerController>(*m_services.clock);
    m_scheduler->setAlertPresenter(m_services.alerts);
    m_scheduleEditor = std::make_unique<ScheduleEditor>(*m_scheduler, *m_services.clock, m_services.alerts);
    // The main application, for a user who must log in or choose a backup set first.
    connect(m_scheduler.get(), &CorvaneSchedulerController::applicationLaunchRequested, this,
            [this](const QString &name) {
                if (m_services.desktop)
                    m_services.desktop->launchApplicationNamed(name);
            });
    ErrorReport *report = m_scheduler->errorReport();
    report->setAlertPresenter(m_services.alerts);
    report->setNetwork(m_services.network);
    report->setPresenter(m_services.errorReportWindow);
}

void CorvaneMonitorController::setErrorReportWindow(ErrorReportPresenter *window)
{
    m_services.errorReportWindow = window;
    if (m_scheduler)
        m_scheduler->errorReport()->setPresenter(window);
}

QVariantMap CorvaneMonitorController::loginDetails() const
{
    return PropertyList::readDictionary(BrandPaths::loginDetails());
}

QString CorvaneMonitorController::loggedInUser() const
{
    return loginDetails().value(corvane() ? u"CorvaneUsername"_s : u"Username"_s).toString();
}

void CorvaneMonitorController::checkForTotalQuota()
{
    if (!m_scheduler)
        return;
    enableDisableManageSubMenus();
    updateQuotaState();
    displayScheduleDetails();
    // A user who logged out or changed: the previous user's helper is quitted, once per change
    // rather than every minute. Nobody logged in: nobody's helper is started.
    const QString lastLogin = setWebManagementState();
    if ((lastLogin.isEmpty() || lastLogin != m_mPreviouslyLoggedInUser) && m_lastSeenLogin != lastLogin)
        m_webManagement->webManagementQuit(true, false, m_mPreviouslyLoggedInUser);
    m_lastSeenLogin = lastLogin;
    if (!lastLogin.isEmpty())
        m_mPreviouslyLoggedInUser = lastLogin;
    itemWithTag(WebManagementTag)->setChecked(
        !lastLogin.isEmpty() && m_webManagement->checkWebmanagementState(m_mPreviouslyLoggedInUser));
    runWebManagementCommands();
    checkCDP();
    m_account->triggerCutOffBackup();
    updatePauseStatus();
    if (m_snooze) {
        m_snooze->check(); // a pause whose end the machine slept through ends now
        updatePauseItems();
    }
    checkBackupWatchdog();
    updateDashboard();
    isApplicationLaunched();
    if (m_newSchedule && m_scheduler->isItemCompleted(*m_newSchedule)) {
        m_newSchedule.reset();
        m_isCondifugeredBackupNowItem = false;
    }
}

void CorvaneMonitorController::updateQuotaState()
{
    const std::optional<bool> exceeded = corvane() ? m_account->isQuotaExceeded(loggedInUser()) : std::nullopt;
    if (exceeded.value_or(false)) {
        if (m_isMonitorClickedAfterQuotaExceed) {
            stopBlinking();
            setStatusImage(kUpgradeIcon);
        } else if (!isBlinking()) {
            m_blinkingTimer = new QTimer(this);
            connect(m_blinkingTimer, &QTimer::timeout, this, &CorvaneMonitorController::blinkStatusImageOnQuotaExceed);
            m_blinkingTimer->start(kBlinkIntervalMs);
        }
        setToolTip(u"You have exceeded the allocated quota limit. For further backups you have to upgrade your "
                   "account. Click the 'Upgrade Storage' menu item to upgrade your Corvane account"_s);
        return;
    }
    // Back to the normal icon only from the quota's: a paused job keeps its own icon. The blinking
    // lasts only while the quota is exceeded, and a later excess blinks again.
    const bool showedQuota = isBlinking() || m_statusImage == kUpgradeIcon;
    stopBlinking();
    m_isMonitorClickedAfterQuotaExceed = false;
    if (showedQuota)
        setStatusImage(SLLocalizedString(u"ApplicationIcon"_s));
    if (!m_scheduler->isScheduleBackupInProgress())
        updateScheduleToolTip(); // the engine's own progress lines are the tool tip meanwhile
}

void CorvaneMonitorController::updateScheduleToolTip()
{
    if (const std::optional<QDateTime> until = m_snooze ? m_snooze->pausedUntil() : std::nullopt) {
        setToolTip(Snooze::pausedUntilText(*until));
        return;
    }
    if (readText(BrandPaths::schedulerStatus()) == "0"_L1) {
        setToolTip(u"You have disabled all your scheduled job(s)"_s);
        return;
    }
    const std::optional<CorvaneScheduleItem> next
        = NextRunCalculator(*m_services.clock).nextScheduledItem(ScheduleArchive::load().records);
    if (next)
        setToolTip(stringWithFormat(u"Your next scheduled backup will start on %@"_s, {next->scheduleTimeString()}));
    else if (m_toolTip != brandName())
        setToolTip(u"You have no scheduled jobs"_s); // the brand's name says as much until then
}

void CorvaneMonitorController::blinkStatusImageOnQuotaExceed()
{
    setStatusImage(m_statusImage == kUpgradeIcon ? kBlinkIcon : kUpgradeIcon);
}

bool CorvaneMonitorController::isBlinking() const
{
    return m_blinkingTimer != nullptr;
}

void CorvaneMonitorController::stopBlinking()
{
    delete m_blinkingTimer;
    m_blinkingTimer = nullptr;
}

void CorvaneMonitorController::statusItemClicked()
{
    if (isBlinking())
        m_isMonitorClickedAfterQuotaExceed = true;
    checkForTotalQuota();
}

QString CorvaneMonitorController::setWebManagementState()
{
    const QVariantMap lastLogin = m_account->getActiveUserDetails();
    const QString user = lastLogin.value(corvane() ? u"CorvaneUsername"_s : u"StelloaUserName"_s).toString();
    itemWithTag(WebManagementTag)->setEnabled(!user.isEmpty());
    return user;
}

void CorvaneMonitorController::updatePlanItems(const QString &user)
{
    m_account->getPlanForUser(user);
    const bool planUser = m_account->isBusinessUser() || m_account->isPersonalUser();
    for (const int tag : {UpgradeTag, ReferTag, ChangePasswordTag}) {
        if (QAction *item = itemWithTag(tag))
            item->setVisible(!planUser);
    }
}

void CorvaneMonitorController::showJobResult(const QVariantMap &details)
{
    m_mSessionLogScheduledBackup = details.value(u"SessionLogPath"_s).toString();
    trace(u"Job finished: "_s + m_mSessionLogScheduledBackup);
    if (m_notificationDisplayController) {
        const bool business = details.value(u"AccountType"_s).toString() == "Business"_L1;
        m_notificationDisplayController->displayDesktopNotfn(false, business, details);
    }
    if (m_jobResultNotifier)
        m_jobResultNotifier->showJobResult(details);
}

void CorvaneMonitorController::showStatusWindow()
{
    if (!m_notificationDisplayController)
        return;
    QVariantMap details = m_account->constructDetailsforDesktopNotificationWindowForUser(
        m_account->getActiveUserDetails().value(u"CorvaneUsername"_s).toString());
    const std::optional<CorvaneScheduleItem> next
        = NextRunCalculator(*m_services.clock).nextScheduledItem(ScheduleArchive::load().records);
    details.insert(u"NextScheduledItem"_s, next ? next->scheduleTimeString() : u""_s);
    if (m_isOperationInProgress)
        details.insert(u"StatusMessage"_s, u"Scheduled backup is in progress"_s);
    m_notificationDisplayController->displayDesktopNotfn(true, m_account->isBusinessUser(), details);
}

void CorvaneMonitorController::upgradeAccount(const QString &user)
{
    // The window names the account it shows; without a name, the last login's.
    m_account->upgradeAccount(user.isEmpty() ? std::nullopt : std::optional<QString>(user));
}

void CorvaneMonitorController::openLogfile()
{
    if (!m_mSessionLogScheduledBackup.isEmpty())
        m_services.desktop->openUrl(QUrl::fromLocalFile(Paths::current().resolve(m_mSessionLogScheduledBackup)));
}

QString CorvaneMonitorController::brandName()
{
    return corvane() ? u"Corvane Lumen"_s : u"Stelloa Lumen"_s;
}

void CorvaneMonitorController::setToolTip(const QString &text)
{
    if (text == m_toolTip)
        return;
    m_toolTip = text;
    Q_EMIT toolTipChanged(text);
}

void CorvaneMonitorController::setStatusImage(const QString &name)
{
    if (name == m_statusImage)
        return;
    m_statusImage = name;
    Q_EMIT statusImageChanged(name);
}

void CorvaneMonitorController::didReceiveIPCMessage(const IncomingMessage &message)
{
    // Arrives on the channel's thread; everything the monitor does happens on the main thread.
    QMetaObject::invokeMethod(this, [this, message] { handleMessage(message.message, message.fromRemoteEnd); },
                              Qt::QueuedConnection);
}

void CorvaneMonitorController::handleMessage(const QVariantList &message, bool fromCompanion)
{
    const int type = message.value(1).toString().toInt();
    const QVariant payload = message.value(0);
    switch (type) {
    case 2:
        setToolTip(payload.toString());
        break;
    case 3:
        if (m_channel)
            m_channel->sendIPCMessage(u""_s, 8, true);
        break;
    case 4:
        if (payload.toString() != "Start"_L1 && payload.toString() != "Terminate"_L1) {
            trace(u"Ignored an operation message that is neither Start nor Terminate"_s);
            break;
        }
        m_isOperationInProgress = payload.toString() == "Start"_L1;
        trace(u"Operation "_s + payload.toString());
        if (!m_isOperationInProgress)
            checkForTotalQuota();
        break;
    case 5:
    case 6:
        // Command lines only from the companion application itself, and never on this thread:
        // the user interface does not wait for them.
        if (fromCompanion && payload.typeId() == QMetaType::QString)
            m_services.desktop->runCommandLine(payload.toString());
        else
            trace(u"Refused a command line from a program other than the companion application"_s);
        break;
    case 1:
        if (payload.typeId() == QMetaType::QVariantMap)
            showJobResult(payload.toMap());
        else
            trace(u"Ignored a job result that is not a dictionary"_s);
        break;
    default:
        break; // types the monitor does not know are ignored
    }
}
