#include "CorvaneSchedulerController.h"

#include "ErrorReport.h"
#include "ScheduleArchive.h"
#include "TracedCall.h"
#include "logging/SLLogger.h"
#include "platform/Clock.h"
#include "platform/PropertyList.h"
#include "product/FileKindTable.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"

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

bool isImmediate(const CorvaneScheduleItem &record)
{
    return record.frequencyString() == "Immediate"_L1;
}

using Records = QList<CorvaneScheduleItem>;

qsizetype indexOfRecord(const Records &list, const CorvaneScheduleItem &record)
{
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (list.at(i).isSameRecord(record))
            return i;
    }
    return -1;
}

bool sameFields(const Records &a, const Records &b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (!a.at(i).hasSameFields(b.at(i)))
            return false;
    }
    return true;
}

bool sameList(const Records &a, const Records &b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (!a.at(i).isSameRecord(b.at(i)) || !a.at(i).hasSameFields(b.at(i))
            || a.at(i).isBackupNow() != b.at(i).isBackupNow())
            return false;
    }
    return true;
}

struct Merged {
    Records records;
    QList<ScheduleArchive::KeptElement> kept;
};

// The changes made to `mine` since it was `base` (records removed, changed, added), applied to
// `theirs`, the archive as read now: what others wrote meanwhile stays, in its place, and so do
// the elements this program cannot decode.
Merged applyChanges(const Records &base, const Records &mine,
                    const ScheduleArchive::Contents &theirs)
{
    Merged out;
    QList<qsizetype> positions(theirs.records.size(), -1);
    for (qsizetype i = 0; i < theirs.records.size(); ++i) {
        const CorvaneScheduleItem &record = theirs.records.at(i);
        const qsizetype here = indexOfRecord(mine, record);
        if (here < 0 && indexOfRecord(base, record) >= 0)
            continue; // removed here
        positions[i] = out.records.size();
        out.records.append(here < 0 ? record : mine.at(here));
    }
    const qsizetype surviving = out.records.size();
    for (const CorvaneScheduleItem &record : mine) {
        if (indexOfRecord(base, record) < 0 && indexOfRecord(out.records, record) < 0)
            out.records.append(record); // added here
    }
    for (const ScheduleArchive::KeptElement &kept : theirs.undecodable) {
        qsizetype before = surviving;
        for (qsizetype j = kept.before; j < positions.size(); ++j) {
            if (positions.at(j) >= 0) {
                before = positions.at(j);
                break;
            }
        }
        out.kept.append({before, kept.element, kept.reason});
    }
    return out;
}

bool anyRunning(const Records &records)
{
    return std::any_of(records.cbegin(), records.cend(), [](const CorvaneScheduleItem &record) {
        return record.status() == CorvaneScheduleItem::InProgress;
    });
}

} // namespace

// Holds the writers' lock on the archive while any call of this controller needs it (calls nest).
class CorvaneSchedulerController::WriterScope {
public:
    explicit WriterScope(CorvaneSchedulerController &owner)
        : m_owner(owner)
    {
        if (m_owner.m_lockDepth++ == 0)
            m_owner.m_lock = std::make_unique<ScheduleArchive::WriteLock>();
    }
    ~WriterScope()
    {
        if (--m_owner.m_lockDepth == 0)
            m_owner.m_lock.reset();
    }
    WriterScope(const WriterScope &) = delete;
    WriterScope &operator=(const WriterScope &) = delete;

private:
    CorvaneSchedulerController &m_owner;
};

CorvaneSchedulerController::CorvaneSchedulerController(const Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_nextRun(clock)
    , m_errorReport(std::make_unique<ErrorReport>())
{
    corvaneInitializeSchedulerSettings();
}

CorvaneSchedulerController::~CorvaneSchedulerController() = default;

void CorvaneSchedulerController::showErrorReport()
{
    m_errorReport->showErrorReport();
}

QString CorvaneSchedulerController::pathForApplicationFile(int kind)
{
    return pathForFileKind(kSchedulerKinds, kind);
}

void CorvaneSchedulerController::replaceAll(const QList<CorvaneScheduleItem> &records)
{
    if (!sameList(records, m_schedules.records()))
        m_schedules.setRecords(records);
}

ScheduleArchive::Contents CorvaneSchedulerController::readArchive() const
{
    ScheduleArchive::Contents contents = ScheduleArchive::load();
    // A record read again unchanged is the same record: the list's changes since the last read
    // can then be told from what others wrote.
    QList<bool> used(m_base.size(), false);
    for (qsizetype i = 0; i < contents.records.size(); ++i) {
        CorvaneScheduleItem &record = contents.records[i];
        const auto adopt = [&](qsizetype b) {
            if (b >= m_base.size() || used.at(b) || !record.hasSameFields(m_base.at(b)))
                return false;
            used[b] = true;
            record.takeIdentityOf(m_base.at(b));
            return true;
        };
        if (adopt(i))
            continue;
        for (qsizetype b = 0; b < m_base.size() && !adopt(b); ++b) { }
    }
    return contents;
}

void CorvaneSchedulerController::takeFromFile(const ScheduleArchive::Contents &contents)
{
    m_base = contents.records;
    replaceAll(contents.records);
}

ScheduleArchive::SaveResult
CorvaneSchedulerController::failed(const ScheduleArchive::Contents &onDisk, const QString &message)
{
    // The list shows what the file holds; the change is not kept.
    m_pendingChanges = false;
    takeFromFile(onDisk);
    return {SaveResult::Status::Failed, message};
}

void CorvaneSchedulerController::corvaneInitializeSchedulerSettings()
{
    if (!m_pendingChanges) {
        takeFromFile(readArchive());
        return;
    }
    // Changes a running job kept from the file stay on top of what the file holds now, and are
    // written once no job runs.
    WriterScope writer(*this);
    const ScheduleArchive::Contents onDisk = readArchive();
    if (onDisk.state == ScheduleArchive::State::Inaccessible)
        return;
    const Merged merged = applyChanges(m_base, records(), onDisk);
    m_base = onDisk.records;
    replaceAll(merged.records);
    if (!anyRunning(onDisk.records))
        saveSchedulerDetails();
}

QList<CorvaneScheduleItem> CorvaneSchedulerController::corvaneSchedulerDetailsForAllUsers() const
{
    return ScheduleArchive::load().records;
}

QList<CorvaneScheduleItem>
CorvaneSchedulerController::corvaneSchedulerDetailsForUser(const QString &name) const
{
    QList<CorvaneScheduleItem> out;
    for (const CorvaneScheduleItem &record : records()) {
        if (record.username() == name)
            out.append(record);
    }
    return out;
}

std::optional<QList<CorvaneScheduleItem>>
CorvaneSchedulerController::corvaneSchedulerDetailsForCurrentUser() const
{
    if (m_selectedRow < 0 || m_selectedRow >= records().size())
        return std::nullopt;
    const QString user = records().at(m_selectedRow).username();
    if (user.isNull())
        return std::nullopt;
    return corvaneSchedulerDetailsForUser(user);
}

ScheduleArchive::SaveResult
CorvaneSchedulerController::corvaneaddSchedulerDetails(const CorvaneScheduleItem &record)
{
    TracedCall trace(u"corvaneaddSchedulerDetails"_s);
    WriterScope writer(*this);
    // Reload first: another user's records may have been added since.
    corvaneInitializeSchedulerSettings();
    m_schedules.append(record);
    return saveSchedulerDetails();
}

ScheduleArchive::SaveResult
CorvaneSchedulerController::corvaneUpdateSchedule(const CorvaneScheduleItem &record)
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
                CorvaneScheduleItem replacement = record;
                replacement.takeIdentityOf(entry); // replaced in its place in the archive
                m_schedules.replace(row, replacement);
                break;
            }
        }
    }
    return saveSchedulerDetails();
}

ScheduleArchive::SaveResult
CorvaneSchedulerController::corvaneDeleteSchedulerDeatils(const CorvaneScheduleItem &record)
{
    TracedCall trace(u"corvaneDeleteSchedulerDeatils"_s);
    for (qsizetype row = records().size() - 1; row >= 0; --row) {
        if (records().at(row).isSameRecord(record))
            m_schedules.removeAt(row);
    }
    return saveSchedulerDetails();
}

ScheduleArchive::SaveResult CorvaneSchedulerController::corvaneDeleteSchedulerDeatilsAtIndices(
    const QList<int> &ascendingIndices)
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
    return saveSchedulerDetails();
}

void CorvaneSchedulerController::removeSchduleJobsForUser(const QString &name)
{
    corvaneInitializeSchedulerSettings();
    QList<CorvaneScheduleItem> kept = records();
    kept.removeIf([&](const CorvaneScheduleItem &record) { return record.username() == name; });
    replaceAll(kept);
}

ScheduleArchive::SaveResult
CorvaneSchedulerController::replaceSchedules(const QList<CorvaneScheduleItem> &records)
{
    replaceAll(records);
    return saveSchedulerDetails();
}

ScheduleArchive::SaveResult CorvaneSchedulerController::removeAllSchduleJobs()
{
    Q_EMIT editorResetRequested();
    replaceAll({});
    const SaveResult result = saveSchedulerDetails();
    corvaneInitializeSchedulerSettings();
    return result;
}

ScheduleArchive::SaveResult
CorvaneSchedulerController::deleteExistingJobOnEditingOnce(const QString &accountName)
{
    QList<CorvaneScheduleItem> kept = records();
    kept.removeIf([&](const CorvaneScheduleItem &record) {
        return !isImmediate(record) && record.corvaneUserName() == accountName;
    });
    replaceAll(kept);
    const SaveResult result = saveSchedulerDetails();
    corvaneInitializeSchedulerSettings();
    return result;
}

ScheduleArchive::SaveResult
CorvaneSchedulerController::checkExistanceOfOnceForSameUser(const CorvaneScheduleItem &record)
{
    if (record.frequency() != CorvaneScheduleItem::Immediate)
        return {};
    WriterScope writer(*this);
    const ScheduleArchive::Contents onDisk = ScheduleArchive::load();
    QList<CorvaneScheduleItem> list = onDisk.records;
    std::optional<CorvaneScheduleItem> keeper;
    for (qsizetype i = 0; i < list.size();) {
        const CorvaneScheduleItem &entry = list.at(i);
        if (entry.corvaneUserName() != record.corvaneUserName()
            || entry.frequency() != CorvaneScheduleItem::Immediate) {
            ++i;
            continue;
        }
        if (entry.status() == CorvaneScheduleItem::InProgress)
            return {}; // a run of this account is under way: leave everything as it is
        if (!keeper)
            keeper = entry;
        else if (entry.scheduleTime() > keeper->scheduleTime())
            keeper->setScheduleTime(entry.scheduleTime());
        list.removeAt(i);
    }
    if (!keeper)
        return {};
    keeper->detach(); // it moves to the end of the list
    list.append(*keeper);
    const Merged merged = applyChanges(onDisk.records, list, onDisk);
    return ScheduleArchive::save(merged.records, merged.kept);
}

QString CorvaneSchedulerController::ownFolderName() const
{
    return FilePathAPIs::isCorvaneApplication() ? u"MyCorvane"_s : u"MyStelloa"_s;
}

void CorvaneSchedulerController::updateMultipleMacStateOfScheduledItem()
{
    const QVariantMap state
        = PropertyList::readDictionary(pathForApplicationFile(kMultiplePCStateKind));
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
        const ScheduleArchive::SaveResult saved = saveSchedulerDetails();
        m_refreshSaveNotice.report(saved.status != ScheduleArchive::SaveResult::Status::Failed, saved.message);
    }
}

ScheduleArchive::SaveResult CorvaneSchedulerController::saveSchedulerDetails()
{
    m_lastSave = writeChanges();
    return m_lastSave;
}

ScheduleArchive::SaveResult CorvaneSchedulerController::writeChanges()
{
    using ScheduleArchive::State;
    WriterScope writer(*this);
    // Read again just before writing: the engine may have changed the file since the last read.
    const ScheduleArchive::Contents onDisk = readArchive();
    if (onDisk.state == State::Inaccessible) // never replace a file that could not be read
        return failed(
            onDisk,
            SLLocalizedString(u"The schedules archive cannot be read: %1"_s).arg(onDisk.error));
    const Merged merged = applyChanges(m_base, records(), onDisk);
    if (anyRunning(onDisk.records)) {
        setNoteVisible(true); // kept in memory; the next save or reload with no job running writes it
        m_pendingChanges = true;
        m_base = onDisk.records;
        replaceAll(merged.records);
        return {SaveResult::Status::Deferred,
                SLLocalizedString(
                    u"A scheduled job is running; the change will be saved when it ends."_s)};
    }
    setNoteVisible(false);
    m_pendingChanges = false;
    // Nothing to write leaves the engine's file alone (and its time stamp).
    const bool unchanged
        = onDisk.state == State::Readable && sameFields(merged.records, onDisk.records);
    if (!unchanged) {
        if (onDisk.state == State::Unreadable
            && ScheduleArchive::moveAsideUnreadable(m_clock.now()).isEmpty())
            return failed(
                onDisk,
                SLLocalizedString(
                    u"The unreadable schedules archive could not be set aside; nothing was saved."_s));
        // The atomic rename replaces the old file in one step, so it is not deleted first: the
        // engine never finds the archive missing.
        const SaveResult result = ScheduleArchive::save(merged.records, merged.kept);
        if (!result)
            return failed(onDisk, result.message);
    }
    m_base = merged.records;
    replaceAll(merged.records);
    return {};
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
    corvaneInitializeSchedulerSettings();
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
