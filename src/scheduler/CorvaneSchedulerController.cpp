#include "CorvaneSchedulerController.h"

#include "ScheduleArchive.h"
#include "product/FileKindTable.h"
#include "product/FilePathAPIs.h"
#include "logging/SLLogger.h"
#include "platform/Clock.h"
#include "platform/PropertyList.h"

using namespace Qt::StringLiterals;

namespace {

constexpr FileKind kSchedulerKinds[] = {
    {0, u"UserDetailsPath", FileKindForm::AsItStands},
    {2, u"LastUserLoginDetailsFilePath", FileKindForm::Standardised},
    {3, u"SessionLogsFolderPath", FileKindForm::AsItStands},
    {4, u"SchedulerState", FileKindForm::AsItStands},
    {5, u"ApplicationStatusPath", FileKindForm::AsItStands},
    {6, u"ApplicationExecName", FileKindForm::AsItStands},
    {7, u"ApplicationExecPath", FileKindForm::AsItStands},
    {8, u"ApplicationRootFolderPath", FileKindForm::AsItStands},
    {10, u"DeamonPreferencePath", FileKindForm::AsItStands},
    {13, u"ApplicationPreferenceFile", FileKindForm::Standardised},
    {14, u"BackupsetPath", FileKindForm::FormatWithPlaceholder},
    {15, u"MultiplePCStateFilePath", FileKindForm::AsItStands},
    {16, u"InteractiveTraceFilePath", FileKindForm::AsItStands},
    {17, u"MonitorTraceFilePath", FileKindForm::AsItStands},
    {18, u"DaemonTraceFilePath", FileKindForm::AsItStands},
    {19, u"InteractiveSessionLog", FileKindForm::AsItStands},
    {20, u"ScheduledBackupLog", FileKindForm::AsItStands},
    {21, u"LogsFolderPath", FileKindForm::AsItStands},
    {29, u"SchedulerSettingsFile", FileKindForm::AsItStands},
    {32, u"ApplicationPreferenceFile", FileKindForm::AsItStands},
    {33, u"SchedulerPreferencesFilePath", FileKindForm::AsItStands},
    {34, u"WebManagementLogFilePath", FileKindForm::AsItStands},
};

constexpr int kMultiplePCStateKind = 15;

// "Start of X In SchedulerController" ... "Exit of X In SchedulerController".
class TracedCall
{
public:
    explicit TracedCall(const QString &name, const QString &exitName = QString())
        : m_exit(exitName.isEmpty() ? name : exitName)
    {
        SLLogger::logMonitorTrace(u"Start of %1 In SchedulerController"_s.arg(name));
    }
    ~TracedCall() { SLLogger::logMonitorTrace(u"Exit of %1 In SchedulerController"_s.arg(m_exit)); }
    TracedCall(const TracedCall &) = delete;
    TracedCall &operator=(const TracedCall &) = delete;

private:
    QString m_exit;
};

bool isImmediate(const CorvaneScheduleItem &record)
{
    return record.frequencyString() == "Immediate"_L1;
}

} // namespace

CorvaneSchedulerController::CorvaneSchedulerController(const Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_nextRun(clock)
{
    corvaneInitializeSchedulerSettings();
}

QString CorvaneSchedulerController::pathForApplicationFile(int kind)
{
    return pathForFileKind(kSchedulerKinds, kind);
}

void CorvaneSchedulerController::replaceAll(const QList<CorvaneScheduleItem> &records)
{
    m_schedules.setRecords(records);
}

void CorvaneSchedulerController::corvaneInitializeSchedulerSettings()
{
    replaceAll(ScheduleArchive::load().records);
}

QList<CorvaneScheduleItem> CorvaneSchedulerController::corvaneSchedulerDetailsForAllUsers() const
{
    return ScheduleArchive::load().records;
}

QList<CorvaneScheduleItem> CorvaneSchedulerController::corvaneSchedulerDetailsForUser(const QString &name) const
{
    QList<CorvaneScheduleItem> out;
    for (const CorvaneScheduleItem &record : records()) {
        if (record.username() == name)
            out.append(record);
    }
    return out;
}

std::optional<QList<CorvaneScheduleItem>> CorvaneSchedulerController::corvaneSchedulerDetailsForCurrentUser() const
{
    if (m_selectedRow < 0 || m_selectedRow >= records().size())
        return std::nullopt;
    const QString user = records().at(m_selectedRow).username();
    if (user.isNull())
        return std::nullopt;
    return corvaneSchedulerDetailsForUser(user);
}

void CorvaneSchedulerController::corvaneaddSchedulerDetails(const CorvaneScheduleItem &record)
{
    TracedCall trace(u"corvaneaddSchedulerDetails"_s);
    // Reload first: another user's records may have been added since.
    corvaneInitializeSchedulerSettings();
    m_schedules.append(record);
    saveSchedulerDetails();
}

void CorvaneSchedulerController::corvaneUpdateSchedule(const CorvaneScheduleItem &record)
{
    TracedCall trace(u"corvaneUpdateSchedule"_s);
    if (m_scheduleItemOfSelectedIndex) {
        const CorvaneScheduleItem &edited = *m_scheduleItemOfSelectedIndex;
        const bool editedIsImmediate = isImmediate(edited);
        for (qsizetype row = 0; row < records().size(); ++row) {
            const CorvaneScheduleItem &entry = records().at(row);
            if (editedIsImmediate && !entry.isEqualToScheduleItem(edited))
                continue;
            if (entry.username() == record.username() && entry.compareScheduleItems(edited)) {
                m_schedules.replace(row, record);
                break;
            }
        }
    }
    saveSchedulerDetails();
}

void CorvaneSchedulerController::corvaneDeleteSchedulerDeatils(const CorvaneScheduleItem &record)
{
    TracedCall trace(u"corvaneDeleteSchedulerDeatils"_s);
    for (qsizetype row = records().size() - 1; row >= 0; --row) {
        if (records().at(row).isSameRecord(record))
            m_schedules.removeAt(row);
    }
    saveSchedulerDetails();
}

void CorvaneSchedulerController::corvaneDeleteSchedulerDeatilsAtIndices(const QList<int> &ascendingIndices)
{
    TracedCall trace(u"corvaneDeleteSchedulerDeatilsAtIndices"_s);
    const QList<CorvaneScheduleItem> arranged = records();
    for (const int index : ascendingIndices) {
        if (index < 0 || index >= arranged.size())
            continue;
        QList<CorvaneScheduleItem> fresh = arranged;
        fresh.removeAt(index);
        replaceAll(fresh);
    }
    saveSchedulerDetails();
}

void CorvaneSchedulerController::removeSchduleJobsForUser(const QString &name)
{
    QList<CorvaneScheduleItem> kept = ScheduleArchive::load().records;
    kept.removeIf([&](const CorvaneScheduleItem &record) { return record.username() == name; });
    replaceAll(kept);
}

void CorvaneSchedulerController::removeAllSchduleJobs()
{
    Q_EMIT editorResetRequested();
    replaceAll({});
    saveSchedulerDetails();
    corvaneInitializeSchedulerSettings();
}

void CorvaneSchedulerController::deleteExistingJobOnEditingOnce(const QString &accountName)
{
    QList<CorvaneScheduleItem> kept = records();
    kept.removeIf([&](const CorvaneScheduleItem &record) {
        return !isImmediate(record) && record.corvaneUserName() == accountName;
    });
    replaceAll(kept);
    saveSchedulerDetails();
    corvaneInitializeSchedulerSettings();
}

void CorvaneSchedulerController::checkExistanceOfOnceForSameUser(const CorvaneScheduleItem &record)
{
    if (record.frequency() != CorvaneScheduleItem::Immediate)
        return;
    QList<CorvaneScheduleItem> list = ScheduleArchive::load().records;
    std::optional<CorvaneScheduleItem> keeper;
    for (qsizetype i = 0; i < list.size();) {
        const CorvaneScheduleItem &entry = list.at(i);
        if (entry.corvaneUserName() != record.corvaneUserName()
            || entry.frequency() != CorvaneScheduleItem::Immediate) {
            ++i;
            continue;
        }
        if (entry.status() == CorvaneScheduleItem::InProgress)
            return; // a run of this account is under way: leave everything as it is
        if (!keeper)
            keeper = entry;
        else if (entry.scheduleTime() > keeper->scheduleTime())
            keeper->setScheduleTime(entry.scheduleTime());
        list.removeAt(i);
    }
    if (keeper) {
        list.append(*keeper);
        ScheduleArchive::save(list);
    }
}

QString CorvaneSchedulerController::ownFolderName() const
{
    return FilePathAPIs::isCorvaneApplication() ? u"MyCorvane"_s : u"MyStelloa"_s;
}

void CorvaneSchedulerController::updateMultipleMacStateOfScheduledItem()
{
    const QVariantMap state = PropertyList::readDictionary(pathForApplicationFile(kMultiplePCStateKind));
    for (qsizetype row = 0; row < records().size(); ++row) {
        CorvaneScheduleItem record = records().at(row);
        if (record.status() == CorvaneScheduleItem::InProgress)
            continue; // the engine owns a running record
        const QVariantMap entry = state.value(record.corvaneUserName()).toMap();
        QString destination = ownFolderName();
        if (entry.value(u"EnableMultipleMacBackupKey"_s).toString() == "1"_L1) {
            const QString folder = entry.value(u"MultipleMacFolderName"_s).toString();
            if (!folder.isEmpty())
                destination = folder;
        }
        // Saved only when it changes: an unchanged list need not be written again on every
        // refresh while the engine may be writing the same file.
        if (record.destination() == destination)
            continue;
        record.setDestination(destination);
        m_schedules.replace(row, record);
        saveSchedulerDetails();
    }
}

bool CorvaneSchedulerController::saveSchedulerDetails()
{
    const ScheduleArchive::Contents onDisk = ScheduleArchive::load();
    for (const CorvaneScheduleItem &record : onDisk.records) {
        if (record.status() == CorvaneScheduleItem::InProgress) {
            setNoteVisible(true); // kept in memory; the next save with no job running writes it
            return false;
        }
    }
    setNoteVisible(false);
    if (onDisk.state == ScheduleArchive::State::Unreadable)
        ScheduleArchive::moveAsideUnreadable(m_clock.now());
    // The atomic rename replaces the old file in one step, so it is not deleted first: the
    // engine never finds the archive missing.
    return ScheduleArchive::save(records());
}

bool CorvaneSchedulerController::isScheduleBackupInProgress() const
{
    const QList<CorvaneScheduleItem> onDisk = ScheduleArchive::load().records;
    return std::any_of(onDisk.cbegin(), onDisk.cend(), [](const CorvaneScheduleItem &record) {
        return record.status() == CorvaneScheduleItem::InProgress;
    });
}

bool CorvaneSchedulerController::isScheduleBackupNow() const
{
    TracedCall trace(u"isScheduleBackupNow"_s, u"corvaneaddSchedulerDetails"_s);
    return std::any_of(records().cbegin(), records().cend(),
                       [](const CorvaneScheduleItem &record) { return record.isBackupNow(); });
}

void CorvaneSchedulerController::ReloadSchedules()
{
    const int row = m_selectedRow;
    replaceAll(ScheduleArchive::load().records);
    updateMultipleMacStateOfScheduledItem();
    if (row >= 0)
        Q_EMIT rowSelectionRequested(row);
}

void CorvaneSchedulerController::setNoteVisible(bool visible)
{
    if (m_noteVisible == visible)
        return;
    m_noteVisible = visible;
    Q_EMIT saveSkippedNoteChanged(visible);
}
