#include "CorvaneMonitorController.h"

#include "DesktopServices.h"
#include "product/FilePathAPIs.h"
#include "product/MonitorSettings.h"
#include "product/StringTable.h"
#include "logging/SLLogger.h"
#include "net/SynchronousWrapper.h"
#include "notify/AlertPresenter.h"
#include "platform/AtomicFile.h"
#include "platform/Clock.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FoundationValues.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/ShellCommand.h"
#include "platform/SystemInfo.h"
#include "platform/UserDefaults.h"
#include "platform/Workspace.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/NextRunCalculator.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"
#include "platform/StringFormat.h"
#include "util/StringExtensions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

constexpr int kApplicationStatusKind = 5;
constexpr int kExecNameKind = 6;
constexpr int kExecPathKind = 7;
constexpr int kSchedulerProgressKind = 30;
constexpr int kFailCountKind = 31;
constexpr int kRefreshIntervalMs = 60 * 1000;

const QString kPauseTitle = u"Pause the scheduled job"_s;
const QString kResumeTitle = u"Resume the scheduled job"_s;
const QString kEnableAllTitle = u"Enable all scheduled jobs"_s;
const QString kDisableAllTitle = u"Disable all scheduled jobs"_s;

bool corvane()
{
    return FilePathAPIs::isCorvaneApplication();
}

QString readText(const QString &path)
{
    const QString text = stelloaExtension::loadStringFromFile(path);
    return text.isNull() ? u""_s : text;
}

void writeText(const QString &path, const QString &text)
{
    AtomicFile::write(path, text.toUtf8());
}

} // namespace

CorvaneMonitorController::CorvaneMonitorController(const MonitorServices &services, QObject *parent)
    : QObject(parent)
    , m_services(services)
{
    createMenus();
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
    addItem(m_statusMenu, ManageSchedulesTag, u"Scheduled Jobs"_s, nullptr);
    addItem(m_statusMenu, LaunchApplicationTag, a ? u"Launch Corvane"_s : u"Launch Stelloa for Mac"_s,
            &CorvaneMonitorController::launchApplication);
    addItem(m_statusMenu, WebManagementTag, u"Web Management"_s, nullptr)->setEnabled(false);
    if (a) {
        addItem(m_statusMenu, UpgradeTag, u"Upgrade Account"_s, nullptr);
        addItem(m_statusMenu, ReferTag, u"Refer a Friend"_s, nullptr);
        addItem(m_statusMenu, BuySpaceTag, u"Buy More Space"_s, nullptr);
    }
    addItem(m_statusMenu, OnlineHelpTag, u"Online Help"_s, &CorvaneMonitorController::onlineHelp);
    addItem(m_statusMenu, UpdateSoftwareTag, u"Check for Updates"_s, &CorvaneMonitorController::updateSoftware);
    addItem(m_statusMenu, QuitTag, u"Quit"_s, nullptr);
    connect(itemWithTag(QuitTag), &QAction::triggered, this, &CorvaneMonitorController::quitRequested);

    addItem(m_schedulerSubMenu, ViewSchedulesTag, u"Manage Schedules…"_s, &CorvaneMonitorController::manageSchedules);
    QAction *pause = addItem(m_schedulerSubMenu, PauseResumeTag, kPauseTitle, nullptr);
    connect(pause, &QAction::triggered, this, [this, pause] { pauseResume(pause); });
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
    UserDefaults defaults(MonitorSettings::defaultsDomain());
    defaults.setObject(50, u"NSInitialToolTipDelay"_s);
    defaults.setObject(true, u"AppleShowAllFiles"_s);
    defaults.synchronize();

    if (m_services.connectChannel) {
        m_channel = std::make_unique<MessageSendingModule>();
        m_channel->setDelegate(this);
        const QString id = SystemInfo::machineID(), login = SystemInfo::loginName();
        m_channel->setupConnection(stringWithFormat(u"CorvanePortableMA%@%@"_s, {id, login}),
                                   stringWithFormat(u"CorvanePortableAM%@%@"_s, {id, login}));
        m_channel->sendIPCMessage(u""_s, 3, true); // announce the monitor
    }
    trace(u"Start of awakeFromNib"_s);
    setStatusImage(SLLocalizedString(u"ApplicationIcon"_s));
    setToolTip(brandName());
    m_isRestoreProgress = false;
    m_isOperationInProgress = false;
    setHide(true);
    createScheduler();
    trace(u"Exit of awakeFromNib"_s);

    m_notifications = std::make_unique<DistributedNotificationCenter>();
    m_notifications->addObserver(u"ShowRestoreProgress"_s, [this](auto &&...) { enableShowProgress(); });
    m_notifications->addObserver(u"HideRestoreProgress"_s, [this](auto &&...) { hideShowProgress(); });

    // A one-shot launch request from the main application: the windows it names come with the
    // preferences; the request is used up either way.
    const QString launch = BrandPaths::launchRequest();
    if (QFileInfo::exists(Paths::current().resolve(launch))) {
        trace(u"Launch request: "_s + readText(launch));
        QFile::remove(Paths::current().resolve(launch));
    }
    if (readText(BrandPaths::schedulerStatus()) == "0"_L1)
        itemWithTag(EnableDisableAllTag)->setText(kEnableAllTitle);

    m_refreshTimer = new QTimer(this);
    m_refreshTimer->setInterval(kRefreshIntervalMs);
    connect(m_refreshTimer, &QTimer::timeout, this, &CorvaneMonitorController::refresh);
    m_refreshTimer->start();
    refresh();
}

void CorvaneMonitorController::createScheduler()
{
    m_scheduler = std::make_unique<CorvaneSchedulerController>(*m_services.clock);
    m_scheduler->setAlertPresenter(m_services.alerts);
}

QVariantMap CorvaneMonitorController::loginDetails() const
{
    return PropertyList::readDictionary(BrandPaths::loginDetails());
}

QString CorvaneMonitorController::loggedInUser() const
{
    return loginDetails().value(corvane() ? u"CorvaneUsername"_s : u"Username"_s).toString();
}

QString CorvaneMonitorController::throttleFile() const
{
    const QString user = loggedInUser();
    const QString key = isNexaUser(user) ? u"BandwidthThrottleFilePathForNexa"_s : u"BandwidthThrottleFilePath"_s;
    return stringByStandardizingPath(stringWithFormat(SLLocalizedString(key), {user}));
}

bool CorvaneMonitorController::isNexaUser(const QString &user) const
{
    const QString path = stringByStandardizingPath(stringWithFormat(SLLocalizedString(u"NexaUserDetails"_s), {user}));
    return QFileInfo::exists(Paths::current().resolve(path));
}

bool CorvaneMonitorController::shouldExecuteBackup()
{
    const QString statusPath = FilePathAPIs::pathForApplicationFile(kApplicationStatusKind);
    if (!QFileInfo::exists(Paths::current().resolve(statusPath)))
        AtomicFile::write(statusPath, QByteArray());
    const QVariantMap status = PropertyList::readDictionary(statusPath);
    if (!status.contains(u"Interactive"_s) || status.value(u"Interactive"_s).toString() != loggedInUser())
        return true;
    m_services.alerts->displayMessage(
        u"Backup is in progress. Wait till it is complete to begin the backup on this machine."_s,
        SLLocalizedString(u"ApplicationName"_s), {SLLocalizedString(u"OK"_s), QString(), QString()}, true);
    return false;
}

void CorvaneMonitorController::backupNow()
{
    if (!shouldExecuteBackup())
        return;
    if (m_scheduler->corvaneSchedulerDetailsForAllUsers().isEmpty())
        SchedulerState::remove();
    QString state = SchedulerState::read();
    m_mSchedulerStateStr = state;
    if (m_newSchedule && state == "0"_L1) {
        m_isCondifugeredBackupNowItem = false;
        m_newSchedule.reset();
    }
    if (state != "0"_L1) {
        displayWindowWithAlertMsg(u"Immediate schedule has already been scheduled. Please try after it completes."_s);
        return;
    }
    if (m_isCondifugeredBackupNowItem)
        return;
    m_newSchedule = m_scheduler->backupNow();
    if (!m_newSchedule) {
        // A record that could not be saved is no login problem: say what kept it from the file.
        const ScheduleArchive::SaveResult &save = m_scheduler->lastSaveResult();
        displayWindowWithAlertMsg(save.status == ScheduleArchive::SaveResult::Status::Failed
                                      ? save.message
                                      : u"Please login to the Corvane and configure a backup set"_s);
        return;
    }
    m_isCondifugeredBackupNowItem = true;
    m_mSchedulerStateStr = u"2"_s;
    SchedulerState::write(u"2"_s);
}

void CorvaneMonitorController::displayWindowWithAlertMsg(const QString &message)
{
    const bool a = corvane();
    // One in-progress window, refilled on each click rather than stacked.
    m_services.alerts->displayInWindow(u"in-progress"_s, message, a ? u"Corvane Lumen"_s : u"Stelloa Lumen"_s,
                                       {SLLocalizedString(u"OK"_s), QString(), QString()},
                                       a ? u"Corvane_Portable"_s : u"Stelloa_Portable"_s);
}

bool CorvaneMonitorController::isBackupInProgress() const
{
    const QVariantMap status = PropertyList::readDictionary(FilePathAPIs::pathForApplicationFile(kApplicationStatusKind));
    if (status.contains(u"Interactive"_s) && status.value(u"Interactive"_s).toString() == loggedInUser())
        return true;
    if (!status.contains(u"Schedule"_s))
        return false;
    const QString scheduled = status.value(u"Schedule"_s).toString();
    for (const CorvaneScheduleItem &record : ScheduleArchive::load().records) {
        if (record.corvaneUserName() == scheduled)
            return true;
    }
    return false;
}

void CorvaneMonitorController::showProgress()
{
    if (!isBackupInProgress() && !m_isRestoreProgress) {
        displayWindowWithAlertMsg(u"No backup operation is in progress"_s);
        return;
    }
    trace(u"Start of showProgress: In MonitorController"_s);
    if (m_notifications)
        m_notifications->post(u"ShowInteractiveBackupProgress"_s);
    writeText(FilePathAPIs::pathForApplicationFile(kSchedulerProgressKind), u"1"_s);
    trace(u"Exit of showProgress: In MonitorController"_s);
}

void CorvaneMonitorController::pauseResume(QAction *sender)
{
    if (!sender || sender->data().toInt() != PauseResumeTag)
        return;
    const QString throttle = throttleFile();
    const QString folder = stringByDeletingLastPathComponent(throttle);
    const QString saved = stringByAppendingPathComponent(folder, u"CVThrottleB.txt"_s);
    if (sender->text().toLower().contains(u"pause"_s)) {
        setPauseState(true);
        sender->setText(kResumeTitle);
        setStatusImage(u"CorvanePauseMenuIcon"_s);
        m_mCurrentThrottleValue = readText(throttle);
        writeText(throttle, u"-1"_s); // "-1": send nothing
        writeText(saved, u"-1"_s);
        return;
    }
    sender->setText(kPauseTitle);
    setPauseState(false);
    setStatusImage(SLLocalizedString(u"ApplicationIcon"_s));
    writeText(throttle, m_mCurrentThrottleValue);
    writeText(saved, m_mCurrentThrottleValue);
}

void CorvaneMonitorController::setPauseState(bool paused)
{
    const QString folder = stringByDeletingLastPathComponent(throttleFile());
    writeText(stringByAppendingPathComponent(folder, u"pause.txt"_s), paused ? u"1"_s : u"0"_s);
}

void CorvaneMonitorController::updatePauseStatus()
{
    setHide(!isBackupInProgress());
    const QString folder = stringByDeletingLastPathComponent(throttleFile());
    const bool paused = readText(stringByAppendingPathComponent(folder, u"pause.txt"_s)) == "1"_L1;
    itemWithTag(PauseResumeTag)->setText(paused ? kResumeTitle : kPauseTitle);
}

void CorvaneMonitorController::setHide(bool)
{
    // Only the position where the pause item belongs is kept; the flag is not consulted.
    m_spItemIndex = corvane() ? 8 : 6;
}

void CorvaneMonitorController::removeAllSchedules(QAction *sender)
{
    if (!sender)
        return;
    const bool disable = sender->text() == kDisableAllTitle;
    sender->setText(disable ? kEnableAllTitle : kDisableAllTitle);
    writeText(BrandPaths::schedulerStatus(), disable ? u"0"_s : u"1"_s);
    refresh();
}

void CorvaneMonitorController::cancelBackupFromSubmenu()
{
    m_scheduler->stopSchedulerSubmenu();
}

void CorvaneMonitorController::manageSchedules()
{
    trace(u"Start of manageSchedules: In MonitorController"_s);
    m_scheduler->showSchedulerMainWindow();
    m_scheduler->corvaneInitializeSchedulerSettings();
    trace(u"Exit of manageSchedules: In MonitorController"_s);
}

void CorvaneMonitorController::enableDisableManageSubMenus()
{
    const bool running = m_scheduler->isScheduleBackupInProgress();
    itemWithTag(PauseResumeTag)->setEnabled(running);
    itemWithTag(CancelScheduledTag)->setEnabled(running);
}

void CorvaneMonitorController::displayScheduleDetails()
{
    const QString user = loginDetails().value(corvane() ? u"CorvaneUsername"_s : u"StelloaUserName"_s).toString();
    if (user.isEmpty())
        return;
    const QString path = stringWithFormat(FilePathAPIs::pathForApplicationFile(kFailCountKind), {user});
    QVariantMap failCount = PropertyList::readDictionary(path);
    if (!FoundationValues::boolValue(failCount.value(u"ViewScheduleDetails"_s)))
        return;
    manageSchedules();
    failCount.insert(u"ViewScheduleDetails"_s, false);
    PropertyList::writeDictionary(path, failCount);
}

int CorvaneMonitorController::isApplicationRunning(const QString &name) const
{
    const QString stamp = m_services.clock->now().toString(u"MM-dd-yyyy-HH-mm-ss"_s);
    const QString temp = QDir::tempPath();
    const QString idFile = temp + u'/' + stamp + u"_id_sl"_s;
    const QString psFile = temp + u'/' + stamp + u"_sl"_s;
    // Scratch files of the system's temporary folder: not product paths.
    const auto readScratch = [](const QString &path) -> std::optional<QString> {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return std::nullopt;
        return QString::fromUtf8(file.readAll());
    };
    ShellCommand::run(stringWithFormat(u"id -u \"%@\" > %@"_s, {SystemInfo::loginName(), idFile}));
    const QString uid = readScratch(idFile).value_or(QString()).trimmed();
    ShellCommand::run(stringWithFormat(u"ps -U %d | grep %@ > %@"_s, {uid.toInt(), name, psFile}));
    const std::optional<QString> output = readScratch(psFile);
    QFile::remove(idFile);
    QFile::remove(psFile);
    if (!output)
        return -1;
    const QString helper = corvane() ? u"/Applications/Corvane/CVWebManagement.app/Contents/MacOS/CVWebManagement"_s
                                     : u"/Applications/StelloaforMac/SLWebManagement.app/Contents/MacOS/SLWebManagement"_s;
    return int(output->split(helper).size()) - 1;
}

void CorvaneMonitorController::isApplicationLaunched()
{
    // Read from the process table directly: this runs on every refresh.
    const bool running = Workspace::isApplicationRunning(corvane() ? u"Corvane"_s : u"StelloaforMac"_s);
    itemWithTag(LaunchApplicationTag)->setEnabled(!running);
}

void CorvaneMonitorController::resetMonitorUI()
{
    setToolTip(brandName());
    setStatusImage(corvane() ? u"Portable_tray1"_s : u"trayicon"_s);
}

void CorvaneMonitorController::launchApplication()
{
    if (!m_services.desktop->launchApplication(FilePathAPIs::pathForApplicationFile(kExecPathKind)))
        m_services.desktop->launchApplicationNamed(FilePathAPIs::pathForApplicationFile(kExecNameKind));
}

void CorvaneMonitorController::onlineHelp()
{
    m_services.desktop->openUrl(QUrl(SLLocalizedString(u"HelpSiteURL"_s)));
}

void CorvaneMonitorController::updateSoftware()
{
    const bool a = corvane();
    QUrl url(SLLocalizedString(u"UpdateServiceURL"_s) + u"/cgi-bin/check_version_upgrades_slwin_new.cgi"_s);
    const QString version = StringTable::shared().info().value(u"CFBundleVersion"_s).toString();
    url.setQuery(stringWithFormat(a ? u"appln=CorvaneLumenMac&version=%@"_s : u"appln=StelloaLumenMac&version=%@"_s,
                                  {version}));
    SynchronousWrapper wrapper(m_services.network);
    std::optional<NetworkError> error;
    const QString reply
        = QString::fromUtf8(wrapper.sendSynchronousRequest(URLRequest::get(url, m_services.networkTimeoutMs), &error));
    if (error)
        return; // a transport error shows nothing
    const QString name = a ? u"Corvane Lumen"_s : u"Stelloa Lumen"_s;
    const QString image = a ? u"Corvane_Portable"_s : u"Stelloa_Portable"_s;
    if (reply.startsWith(u'Y')) {
        const int answer = m_services.alerts->displayMessage(
            u"Do you want to upgrade to the latest version of %1?"_s.arg(name), name, {u"Yes"_s, u"No"_s, QString()},
            true, image);
        if (answer == AlertPresenter::kDefault) {
            const QString path = a ? u"/downloads/lumen/CorvaneLumen.dmg"_s : u"/slwin/downloads/lumen/StelloaLumen.dmg"_s;
            m_services.desktop->openUrl(QUrl(SLLocalizedString(u"WebSiteURL"_s) + path));
        }
    } else if (reply.startsWith(u'N')) {
        m_services.alerts->displayMessage(
            u"The latest version of %1 is already installed on your computer."_s.arg(name), name,
            {SLLocalizedString(u"OK"_s), QString(), QString()}, true, image);
    }
}

void CorvaneMonitorController::refresh()
{
    if (!m_scheduler)
        return;
    enableDisableManageSubMenus();
    displayScheduleDetails();
    updatePauseStatus();
    isApplicationLaunched();
    if (m_newSchedule && m_scheduler->isItemCompleted(*m_newSchedule)) {
        m_newSchedule.reset();
        m_isCondifugeredBackupNowItem = false;
    }
    if (m_scheduler->isScheduleBackupInProgress())
        return; // the engine's own progress lines are the tool tip meanwhile
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
            refresh();
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
        trace(u"Job finished: "_s + payload.toMap().value(u"SessionLogPath"_s).toString());
        break;
    default:
        break; // types the monitor does not know are ignored
    }
}
