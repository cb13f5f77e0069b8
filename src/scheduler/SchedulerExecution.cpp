// CorvaneSchedulerController: queueing run-now jobs, asking the engine to stop, and keeping the
// summary window current while jobs run.

#include "CorvaneSchedulerController.h"

#include "ScheduleArchive.h"
#include "SchedulerState.h"
#include "logging/SLLogger.h"
#include "notify/AlertPresenter.h"
#include "platform/Clock.h"
#include "platform/FoundationValues.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"

#include <QFileInfo>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

constexpr int kLoginDetailsKind = 2;
constexpr int kBackupSetKind = 14;
constexpr int kMultiplePCStateKind = 15;
constexpr int kRefreshMs = 5000;

} // namespace

CorvaneScheduleItem CorvaneSchedulerController::immediateRecord(const QVariantMap &login,
                                                                const QString &account) const
{
    CorvaneScheduleItem record(m_clock);
    record.setFrequency(CorvaneScheduleItem::Immediate);
    record.setScheduleTime(m_clock.now().addSecs(45));
    record.setScheduleType(CorvaneScheduleItem::Backup);
    record.setStatus(CorvaneScheduleItem::NotStarted);
    record.setDisplayDesktopNotification(true);
    applyLoginDetails(record, login);
    record.setSSL(login.value(u"SSL"_s).toString());
    record.setCorvaneUserName(account);
    return record;
}

void CorvaneSchedulerController::showQueuedJobPanel()
{
    if (!m_alerts)
        return;
    const bool corvane = FilePathAPIs::isCorvaneApplication();
    m_alerts->displayMessage(
        u"The immediate backup has been scheduled, it will commence in a few seconds"_s,
        corvane ? u"Corvane"_s : u"Stelloa"_s, {SLLocalizedString(u"OK"_s), QString(), QString()},
        false, corvane ? u"corvane"_s : u"stelloa"_s);
}

void CorvaneSchedulerController::applyLoginDetails(CorvaneScheduleItem &record,
                                                   const QVariantMap &login)
{
    record.setUserAtServer(login.value(u"UserAtServer"_s).toString());
    record.setUsername(login.value(u"Username"_s).toString());
    record.setServerName(login.value(u"serverName"_s).toString());
    record.setPassword(login.value(u"Password"_s).toString());
}

QVariantMap CorvaneSchedulerController::loginDetails()
{
    return PropertyList::readDictionary(pathForApplicationFile(kLoginDetailsKind));
}

QString CorvaneSchedulerController::accountNameFromLogin(const QVariantMap &login)
{
    return login.value(FilePathAPIs::isCorvaneApplication() ? u"CorvaneUsername"_s : u"Username"_s)
        .toString();
}

QVariantMap CorvaneSchedulerController::multipleMacState(const QString &account)
{
    return PropertyList::readDictionary(pathForApplicationFile(kMultiplePCStateKind))
        .value(account)
        .toMap();
}

void CorvaneSchedulerController::applyMultipleMacDestination(CorvaneScheduleItem &record) const
{
    const QVariantMap several = multipleMacState(record.corvaneUserName());
    const QString enabled = several.value(u"EnableMultipleMacBackupKey"_s).toString();
    if (enabled == "1"_L1 || enabled == "2"_L1) {
        const QString folder = several.value(u"MultipleMacFolderName"_s).toString();
        record.setDestination(enabled == "1"_L1 && !folder.isEmpty() ? folder : ownFolderName());
    }
}

void CorvaneSchedulerController::applyQuotaServer(CorvaneScheduleItem &record,
                                                  const QVariantMap &login)
{
    if (!record.quotaServername().isEmpty())
        return;
    const QVariant quota = login.contains(u"quotaServername"_s)
        ? login.value(u"quotaServername"_s)
        : login.value(login.value(u"StelloaUserName"_s).toString());
    record.setQuotaServerName(quota.toString());
}

std::optional<CorvaneScheduleItem> CorvaneSchedulerController::backupNow()
{
    m_lastSave = {}; // what follows decides; an older failure says nothing about this request
    const QVariantMap login = loginDetails();
    if (login.isEmpty())
        return std::nullopt;
    const bool corvane = FilePathAPIs::isCorvaneApplication();
    const QString account = accountNameFromLogin(login);
    CorvaneScheduleItem record = immediateRecord(login, account);

    applyMultipleMacDestination(record);
    applyQuotaServer(record, login);
    for (const CorvaneScheduleItem &other : records()) {
        if (other.corvaneUserName() == account) {
            record.setSendEmailNotification(other.sendEmailNotification());
            record.setEmailids(other.emailids());
            record.setNotifyOnFailure(other.notifyOnFailure());
            record.setSendLogExtract(other.sendLogExtract());
            break;
        }
    }
    const QString backupSet = stringWithFormat(pathForApplicationFile(kBackupSetKind),
                                               {corvane ? account : record.username()});
    if (PropertyList::readArray(backupSet).isEmpty())
        return std::nullopt;
    record.setProcessReferenceFile(backupSet);
    if (corvaneaddSchedulerDetails(record).status == SaveResult::Status::Failed)
        return std::nullopt;
    showQueuedJobPanel();
    return record;
}

std::optional<CorvaneScheduleItem> CorvaneSchedulerController::scheduleImmeadiateBackup()
{
    const QVariantMap login = loginDetails();
    const auto refuse = [this](const QString &message) -> std::optional<CorvaneScheduleItem> {
        if (m_alerts)
            m_alerts->displayMessage(message, SLLocalizedString(u"ApplicationName"_s),
                                     {SLLocalizedString(u"OK"_s), QString(), QString()}, true);
        Q_EMIT applicationLaunchRequested(u"Stelloax"_s);
        return std::nullopt;
    };
    if (login.isEmpty())
        return refuse(u"Login to Corvane using the Corvane application atleast once"_s);
    // The account name is "CorvaneUsername" whatever the brand, here.
    const QString account = login.value(u"CorvaneUsername"_s).toString();
    CorvaneScheduleItem record = immediateRecord(login, account);
    const bool corvane = FilePathAPIs::isCorvaneApplication();
    const QString backupSet = stringWithFormat(pathForApplicationFile(kBackupSetKind),
                                               {corvane ? account : record.username()});
    if (!QFileInfo::exists(Paths::current().resolve(backupSet)))
        return refuse(u"Login to Corvane for Mac to configure a backup set"_s);
    record.setProcessReferenceFile(backupSet);
    const SaveResult saved = corvaneaddSchedulerDetails(record);
    if (saved.status == SaveResult::Status::Failed) {
        if (m_alerts)
            m_alerts->displayMessage(saved.message, SLLocalizedString(u"ApplicationName"_s),
                                     {SLLocalizedString(u"OK"_s), QString(), QString()}, true);
        return std::nullopt;
    }
    showQueuedJobPanel();
    return record;
}

bool CorvaneSchedulerController::isItemCompleted(const CorvaneScheduleItem &record)
{
    for (const CorvaneScheduleItem &entry : ScheduleArchive::load().records) {
        // The engine rewrites the file: the same record is the one of the same account, kind and
        // start (the archive keeps times to the second).
        if (entry.corvaneUserName() == record.corvaneUserName()
            && entry.frequency() == record.frequency()
            && entry.scheduleTime().toSecsSinceEpoch() == record.scheduleTime().toSecsSinceEpoch())
            return entry.status() == CorvaneScheduleItem::Completed;
    }
    return true; // gone from the list
}

void CorvaneSchedulerController::stopSchedulerSubmenu()
{
    if (!m_alerts)
        return;
    const int answer = m_alerts->displayMessage(
        u"Are you sure you wish to stop the scheduled backup operation?"_s,
        SLLocalizedString(u"ApplicationName"_s),
        {SLLocalizedString(u"OK"_s), SLLocalizedString(u"Cancel"_s), QString()}, true);
    if (answer == AlertPresenter::kDefault)
        SchedulerState::write(u"3"_s);
}

void CorvaneSchedulerController::showSchedulerMainWindow()
{
    ReloadSchedules();
    Q_EMIT summaryWindowRequested();
    startRefreshTimer();
}

void CorvaneSchedulerController::startRefreshTimer()
{
    if (m_refreshTimer || !m_summaryVisible || !m_summaryVisible())
        return;
    m_refreshTimer = new QTimer(this);
    m_refreshTimer->setInterval(kRefreshMs);
    connect(m_refreshTimer, &QTimer::timeout, this, &CorvaneSchedulerController::ReloadSchedules);
    m_refreshTimer->start();
}

void CorvaneSchedulerController::stopRefreshTimer()
{
    if (!m_refreshTimer)
        return;
    m_refreshTimer->stop();
    m_refreshTimer->deleteLater();
    m_refreshTimer = nullptr;
}

bool CorvaneSchedulerController::isRefreshTimerRunning() const
{
    return m_refreshTimer && m_refreshTimer->isActive();
}
