#include "ScheduleArchive.h"

#include "logging/SLLogger.h"
#include "platform/AtomicFile.h"
#include "platform/FileContents.h"
#include "platform/Paths.h"
#include "product/StringTable.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <cerrno>
#include <optional>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ScheduleArchive {

namespace {

const QString kRootKey = u"Schedules"_s;

// The version of the file whose faults were last traced. Views read the archive on every paint;
// a damaged file must not write the same lines each time.
QString fileVersion(const QString &real)
{
    struct stat info { };
    if (::stat(QFile::encodeName(real).constData(), &info) != 0)
        return QString();
    return u"%1|%2|%3|%4.%5|%6.%7"_s.arg(real)
        .arg(info.st_ino)
        .arg(info.st_size)
        .arg(info.st_mtim.tv_sec)
        .arg(info.st_mtim.tv_nsec)
        .arg(info.st_ctim.tv_sec)
        .arg(info.st_ctim.tv_nsec);
}

QMutex &damagedMutex()
{
    static QMutex mutex;
    return mutex;
}
QString &damagedVersion()
{
    static QString version;
    return version;
}
Contents &damagedContents()
{
    static Contents contents;
    return contents;
}

bool firstReadOfVersion(const QString &version)
{
    static QMutex mutex;
    static QString lastTraced;
    const QMutexLocker locker(&mutex);
    if (!version.isEmpty() && version == lastTraced)
        return false;
    lastTraced = version;
    return true;
}

// The last damaged archive read, by file version: views read the archive on every paint and the
// monitor on every refresh, and the same damage need not be decoded (and reported below) again.
std::optional<Contents> damagedSeenBefore(const QString &version)
{
    const QMutexLocker locker(&damagedMutex());
    if (version.isEmpty() || version != damagedVersion())
        return std::nullopt;
    return damagedContents();
}

void rememberDamaged(const QString &version, const Contents &contents)
{
    const QMutexLocker locker(&damagedMutex());
    const bool damaged = contents.state == State::Unreadable;
    damagedVersion() = damaged ? version : QString();
    damagedContents() = damaged ? contents : Contents();
}

void traceFaults(const Contents &contents)
{
    if (!contents.error.isEmpty())
        SLLogger::logMonitorTrace(u"Schedules archive unreadable: %1"_s.arg(contents.error));
    for (const KeptElement &kept : contents.undecodable)
        SLLogger::logMonitorTrace(
            u"Schedule record kept as it is, it cannot be read: %1"_s.arg(kept.reason));
}

} // namespace

Contents decode(const QByteArray &data)
{
    Contents contents;
    contents.state = State::Unreadable;
    // Dates stay objects: a record kept because it cannot be read goes back exactly as it came.
    const KeyedArchive::Result result = KeyedArchive::unarchive(data, KeyedArchive::Dates::AsObjects);
    if (!result.ok()) {
        contents.error = result.error;
        return contents;
    }
    const QVariant root = result.topObjects.value(kRootKey);
    if (root.typeId() != QMetaType::QVariantList) {
        contents.error = u"it holds no list of schedules"_s;
        return contents;
    }
    contents.state = State::Readable;
    for (const QVariant &element : root.toList()) {
        QString error;
        std::optional<CorvaneScheduleItem> record;
        if (element.typeId() == qMetaTypeId<ArchivedObject>())
            record
                = CorvaneScheduleItem::fromArchivedObject(element.value<ArchivedObject>(), &error);
        else
            error = u"an element is not a schedule record"_s;
        if (record) {
            contents.records.append(*record);
        } else {
            contents.undecodable.append({contents.records.size(), element, error});
        }
    }
    return contents;
}

QString path()
{
    return SLLocalizedString(u"SchedulerSettingsFile"_s);
}

QByteArray encode(const QList<CorvaneScheduleItem> &records, const QList<KeptElement> &kept)
{
    QVariantList list;
    list.reserve(records.size() + kept.size());
    qsizetype next = 0;
    const auto keptBefore = [&](qsizetype index) {
        for (const KeptElement &element : kept) {
            if (element.before == index || (index == records.size() && element.before > index))
                list.append(element.element);
        }
    };
    for (; next < records.size(); ++next) {
        keptBefore(next);
        list.append(QVariant::fromValue(records.at(next).toArchivedObject()));
    }
    keptBefore(records.size());
    return KeyedArchive::archive({{kRootKey, list}});
}

Contents load()
{
    const QString real = Paths::current().resolve(path());
    const QString version = fileVersion(real);
    const bool traced = firstReadOfVersion(version);
    if (std::optional<Contents> damaged = damagedSeenBefore(version))
        return *damaged;
    const FileContents file = FileContents::read(path());
    switch (file.status()) {
    case FileContents::Status::Ok: {
        if (file.data().isEmpty())
            return {}; // created, not yet written: no schedules, nothing damaged to set aside
        const Contents contents = decode(file.data());
        rememberDamaged(version, contents);
        if (traced)
            traceFaults(contents);
        return contents;
    }
    case FileContents::Status::Missing:
        return {};
    default:
        break;
    }
    Contents contents;
    contents.state = State::Inaccessible;
    contents.error = file.errorString();
    if (traced)
        SLLogger::logMonitorTrace(u"Schedules archive cannot be read: %1"_s.arg(contents.error));
    return contents;
}

SaveResult save(const QList<CorvaneScheduleItem> &records, const QList<KeptElement> &kept)
{
    if (AtomicFile::write(path(), encode(records, kept), 0777))
        return {};
    const QString real = Paths::current().resolve(path());
    const QString message
        = SLLocalizedString(u"The schedules could not be saved to %1."_s).arg(real);
    SLLogger::logMonitorTrace(message);
    return {SaveResult::Status::Failed, message};
}

QString moveAsideUnreadable(const QDateTime &now)
{
    const QString real = Paths::current().resolve(path());
    const QString base = real + u".unreadable-"_s + now.toString(u"yyyyMMdd-HHmmss"_s);
    // QFile::rename never replaces an existing file: a name taken already (two in one second)
    // moves on to the next free one.
    for (int n = 1; n <= 1000; ++n) {
        const QString aside = n == 1 ? base : base + u'-' + QString::number(n);
        if (QFile::rename(real, aside)) {
            SLLogger::logMonitorTrace(u"Unreadable schedules archive kept as %1"_s.arg(aside));
            return aside;
        }
        if (!QFileInfo::exists(aside))
            break; // the rename failed for another reason
    }
    SLLogger::logMonitorTrace(u"Unreadable schedules archive could not be moved aside"_s);
    return QString();
}

WriteLock::WriteLock()
{
    const QString real = Paths::current().resolve(path()) + u".lock"_s;
    QDir().mkpath(QFileInfo(real).absolutePath());
    // Never through a link, nor into a file with other names: the folder is shared, and the mode
    // below must not reach a file of someone else's choosing.
    m_fd = ::open(QFile::encodeName(real).constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC,
                  0666);
    if (m_fd < 0) {
        if (errno == ELOOP)
            SLLogger::logMonitorTrace(u"The schedules lock file is a link, not used: %1"_s.arg(real));
        return;
    }
    struct stat info {};
    if (::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_nlink != 1) {
        SLLogger::logMonitorTrace(u"The schedules lock file is not a file of its own, not used: %1"_s.arg(real));
        ::close(m_fd);
        m_fd = -1;
        return;
    }
    ::fchmod(m_fd, 0666); // every local user's monitor takes it; the umask must not narrow it
    while (::flock(m_fd, LOCK_EX) != 0) {
        if (errno != EINTR) {
            ::close(m_fd);
            m_fd = -1;
            return;
        }
    }
}

WriteLock::~WriteLock()
{
    if (m_fd >= 0)
        ::close(m_fd); // closing the descriptor releases the lock
}

} // namespace ScheduleArchive
