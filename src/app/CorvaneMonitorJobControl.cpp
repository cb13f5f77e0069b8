// The status menu's job control: backup now, progress, pause and resume, all scheduled jobs on
// or off, the main application, help and the update check. One source of the monitor controller.

#include "CorvaneMonitorController.h"

#include "DesktopServices.h"
#include "MonitorFiles.h"
#include "WebManagement.h"
#include "logging/SLLogger.h"
#include "net/SynchronousWrapper.h"
#include "notify/AlertPresenter.h"
#include "platform/Clock.h"
#include "platform/DesktopNotifications.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FoundationValues.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/ShellCommand.h"
#include "platform/StringFormat.h"
#include "platform/SystemInfo.h"
#include "platform/UserDefaults.h"
#include "platform/Workspace.h"
#include "product/MonitorSettings.h"
#include "product/StringTable.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "Dashboard.h"
#include "logview/RecentRuns.h"
#include "notify/JobResultNotifier.h"
#include "scheduler/NextRunCalculator.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace MonitorFiles;

namespace {

// How far back the watchdog looks for a user's backups the first time it sees them scheduled.
constexpr int kWatchdogLookBackDays = 366;
constexpr int kApplicationStatusKind = 5;
constexpr int kExecNameKind = 6;
constexpr int kExecPathKind = 7;
constexpr int kSchedulerProgressKind = 30;
constexpr int kFailCountKind = 31;

} // namespace

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
    if (sender->text().toLower().contains(u"pause"_s)) {
        pauseBackups();
        return;
    }
    if (m_snooze && m_snooze->pausedUntil()) // resumed by hand before the pause's end
        m_mCurrentThrottleValue = m_snooze->throttleBefore();
    if (m_snooze) {
        m_snooze->clear();
        updatePauseItems();
    }
    resumeBackups();
    updateQuotaState();
}

bool CorvaneMonitorController::pauseBackups()
{
    setPauseState(true);
    itemWithTag(PauseResumeTag)->setText(kResumeTitle);
    setStatusImage(u"CorvanePauseMenuIcon"_s);
    m_mCurrentThrottleValue = readText(throttleFile());
    const bool paused = writeThrottle(u"-1"_s, m_pauseNotice, // "-1": send nothing
                                      SLLocalizedString(u"Backups could not be paused: %1 could not be saved."_s));
    if (!paused) { // the menu must not say paused while backups run
        setPauseState(false);
        itemWithTag(PauseResumeTag)->setText(kPauseTitle);
        setStatusImage(SLLocalizedString(u"ApplicationIcon"_s));
    }
    return paused;
}

bool CorvaneMonitorController::resumeBackups()
{
    itemWithTag(PauseResumeTag)->setText(kPauseTitle);
    setPauseState(false);
    setStatusImage(SLLocalizedString(u"ApplicationIcon"_s));
    return writeThrottle(m_mCurrentThrottleValue, m_resumeNotice,
                         SLLocalizedString(u"Backups could not be resumed: %1 could not be saved."_s));
}

bool CorvaneMonitorController::writeThrottle(const QString &value, SaveFailureNotice &notice, const QString &failure)
{
    const QString throttle = throttleFile();
    const QString saved = stringByAppendingPathComponent(stringByDeletingLastPathComponent(throttle), u"CVThrottleB.txt"_s);
    const bool written = writeText(throttle, value);
    const bool kept = writeText(saved, value);
    notice.report(written && kept, failure.arg(Paths::current().resolve(written ? saved : throttle)));
    return written;
}

void CorvaneMonitorController::pauseFor(Snooze::Preset preset)
{
    const std::optional<CorvaneScheduleItem> next
        = NextRunCalculator(*m_services.clock).nextScheduledItem(ScheduleArchive::load().records);
    const std::optional<QDateTime> until = Snooze::deadline(
        preset, m_services.clock->now(), next ? std::optional<QDateTime>(next->scheduleTime()) : std::nullopt);
    if (!until)
        return;
    // A pause already on keeps the throttle it replaced; a new one saves the current one.
    const bool paused = readText(stringByAppendingPathComponent(stringByDeletingLastPathComponent(throttleFile()),
                                                                u"pause.txt"_s))
        == "1"_L1;
    QString before = m_snooze->pausedUntil() ? m_snooze->throttleBefore() : m_mCurrentThrottleValue;
    if (!paused) {
        if (!pauseBackups())
            return; // nothing paused, and the user is told
        before = m_mCurrentThrottleValue;
    }
    m_pauseEndNotice.report(
        m_snooze->start(*until, before),
        SLLocalizedString(u"The pause's end could not be saved to %1: backups resume by themselves only if the "
                          u"monitor keeps running until then."_s)
            .arg(Paths::current().resolve(UserDefaults::pathFor(MonitorSettings::defaultsDomain()))));
    updatePauseItems();
    updateQuotaState(); // the tool tip says until when, unless the quota has more to say
}

void CorvaneMonitorController::pauseEnded()
{
    m_mCurrentThrottleValue = m_snooze->throttleBefore();
    m_snooze->clear();
    const bool resumed = resumeBackups();
    updatePauseItems();
    updateQuotaState();
    if (resumed && m_desktopNotifications)
        m_desktopNotifications->notify(SLLocalizedString(u"Backups resumed"_s),
                                       SLLocalizedString(u"The pause you chose has ended; backups run as scheduled again."_s));
}

void CorvaneMonitorController::checkBackupWatchdog()
{
    using BackupWatchdog::Verdict;
    const QString account = loggedInUser();
    Verdict verdict = Verdict::Fine;
    if (!account.isEmpty()) {
        QList<CorvaneScheduleItem> mine = ScheduleArchive::load().records;
        mine.removeIf([&](const CorvaneScheduleItem &record) { return record.corvaneUserName() != account; });
        const int days = BackupWatchdog::staleDays();
        const QDateTime now = m_services.clock->now();
        const bool scheduled = std::any_of(mine.cbegin(), mine.cend(), [](const CorvaneScheduleItem &record) {
            return BackupWatchdog::nextStartAfter(record).has_value();
        });
        // Backups that succeeded before the monitor first looked began the watch then.
        const QDateTime since = BackupWatchdog::watchedSince(account, scheduled, [&] {
            return RecentRuns::lastSuccess(account, now.date(), kWatchdogLookBackDays).value_or(now);
        });
        const std::optional<QDateTime> lastSuccess = RecentRuns::lastSuccess(account, now.date(), days + 1);
        verdict = BackupWatchdog::evaluate(now, mine, lastSuccess ? lastSuccess : since, days);
    }
    // Shown whenever the usual icon would be: the quota's and the pause's icons say more.
    const QString usualIcon = SLLocalizedString(u"ApplicationIcon"_s);
    if (verdict == Verdict::Fine && m_statusImage == kBackupWarningIcon)
        setStatusImage(usualIcon);
    else if (verdict != Verdict::Fine && m_statusImage == usualIcon)
        setStatusImage(kBackupWarningIcon);
    const bool changed = verdict != m_watchdogVerdict;
    m_watchdogVerdict = verdict;
    if (!changed || verdict == Verdict::Fine) // told once each time they fall behind
        return;
    if (!m_desktopNotifications)
        return;
    const bool stale = verdict == Verdict::NoRecentSuccess;
    m_desktopNotifications->notify(
        SLLocalizedString(stale ? u"No recent backup"_s : u"A backup is taking too long"_s),
        stale ? stringWithFormat(SLLocalizedString(u"No backup of %@ has finished successfully in the last %@ days."_s),
                                 {account, QString::number(BackupWatchdog::staleDays())})
              : SLLocalizedString(u"A scheduled backup is still running although its next start has come."_s),
        {{QString::fromLatin1(JobResultNotifier::kBackupNow), SLLocalizedString(u"Back up now"_s)}});
}

void CorvaneMonitorController::updateDashboard()
{
    const QString account = loggedInUser();
    const QStringList lines = account.isEmpty()
        ? QStringList()
        : Dashboard::of(account, ScheduleArchive::load().records, m_services.clock->now()).menuLines();
    if (lines.size() != m_dashboardItems.size()) {
        for (QAction *item : std::as_const(m_dashboardItems)) {
            m_statusMenu.removeOne(item);
            item->deleteLater();
        }
        m_dashboardItems.clear();
        for (int i = 0; i < lines.size(); ++i) {
            auto *item = new QAction(this);
            item->setData(DashboardTag + i);
            item->setEnabled(false); // information, not a command
            m_statusMenu.insert(i, item);
            m_dashboardItems.append(item);
        }
        Q_EMIT statusMenuChanged();
    }
    for (int i = 0; i < lines.size(); ++i)
        m_dashboardItems.at(i)->setText(lines.at(i));
}

// The presets' line "Paused until HH:MM" while a pause is on, and the next backup's preset only
// when there is a next backup.
void CorvaneMonitorController::updatePauseItems()
{
    const std::optional<QDateTime> until = m_snooze->pausedUntil();
    QAction *line = itemWithTag(PausedUntilTag);
    line->setVisible(until.has_value());
    line->setText(until ? Snooze::pausedUntilText(*until) : QString());
    itemWithTag(PauseUntilNextBackupTag)
        ->setEnabled(NextRunCalculator(*m_services.clock).nextScheduledItem(ScheduleArchive::load().records).has_value());
    enableDisableManageSubMenus();
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
    checkForTotalQuota();
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

void CorvaneMonitorController::showErrorReport()
{
    trace(u"Start of showErrorReport: In MonitorController"_s);
    if (m_scheduler)
        m_scheduler->showErrorReport();
    trace(u"Exit of showErrorReport: In MonitorController"_s);
}

void CorvaneMonitorController::enableDisableManageSubMenus()
{
    const bool running = m_scheduler->isScheduleBackupInProgress();
    // A pause with an end can be resumed by hand whether a job runs or not.
    itemWithTag(PauseResumeTag)->setEnabled(running || (m_snooze && m_snooze->pausedUntil()));
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
    const auto q = &ShellCommand::quoted; // the folder comes from TMPDIR, the name from the caller
    ShellCommand::run(stringWithFormat(u"id -u %@ > %@"_s, {q(SystemInfo::loginName()), q(idFile)}));
    const QString uid = readScratch(idFile).value_or(QString()).trimmed();
    ShellCommand::run(stringWithFormat(u"ps -U %d | grep %@ > %@"_s, {uid.toInt(), q(name), q(psFile)}));
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
    stopBlinking();
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

void CorvaneMonitorController::webManagement(QAction *item)
{
    const bool wasOn = !item->isChecked(); // the click has toggled the check mark already
    const QString user = m_mPreviouslyLoggedInUser;
    if (user.isEmpty()) {
        item->setChecked(wasOn);
        displayWindowWithAlertMsg(u"Login to the Corvane application and enable the Remote Manage feature."_s);
        return;
    }
    if (wasOn) {
        m_webManagement->webManagementQuit(true, false, user);
        item->setChecked(false);
        m_webManagement->writeWebManagementState(false, user);
        runWebManagementCommands();
        return;
    }
    if (!supportMachineAgrees(u"Remote Manage"_s)) {
        item->setChecked(false);
        m_webManagement->writeWebManagementState(false, user);
        return;
    }
    m_webManagement->webManagementQuit(false, true, user);
    item->setChecked(true);
    m_webManagement->writeWebManagementState(true, user);
    runWebManagementCommands();
}
