// SLUtility: sizes of folders, backup sets and volumes, and the exclusion rules.

#include "SLUtility.h"

#include "FolderSizer.h"
#include "platform/FoundationValues.h"
#include "platform/Paths.h"
#include "platform/Workspace.h"
#include "StringExtensions.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QMetaObject>
#include <QThread>
#include <QThreadPool>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString real(const QString &path)
{
    return Paths::current().resolve(path);
}

// The size of the item itself, links not followed, as a directory enumeration reports it.
quint64 itemSize(const QString &realPath)
{
    struct stat info;
    return ::lstat(QFile::encodeName(realPath).constData(), &info) == 0 ? quint64(info.st_size) : 0;
}

quint64 followedSize(const QString &realPath)
{
    struct stat info;
    return ::stat(QFile::encodeName(realPath).constData(), &info) == 0 ? quint64(info.st_size) : 0;
}

bool isVolume(const QString &path)
{
    return path == "/"_L1 || SLUtility::listMountedVolumesPaths().contains(path);
}

// Everything a recursive enumeration of the folder yields (links not followed).
QDirIterator enumerate(const QString &realFolder)
{
    return QDirIterator(realFolder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
}

const QStringList kPackageExtensions{u"app"_s, u"bundle"_s, u"framework"_s, u"plugin"_s, u"kext"_s,
                                     u"pkg"_s, u"mpkg"_s, u"rtfd"_s, u"photoslibrary"_s, u"key"_s,
                                     u"pages"_s, u"numbers"_s, u"xcodeproj"_s, u"playground"_s};

quint64 totalOfExclusions(const QString &user, const QVariantMap &excluded, const QString &key)
{
    if (user.isNull() || excluded.isEmpty())
        return 0;
    const QVariantMap exclusions = excluded.value(user).toMap().value(key).toMap();
    quint64 total = 0;
    for (auto it = exclusions.cbegin(); it != exclusions.cend(); ++it) {
        if (!FoundationValues::boolValue(it.value()))
            continue;
        const QString path = real(it.key());
        if (QFileInfo(path).isDir()) {
            for (QDirIterator items = enumerate(path); items.hasNext();)
                total += itemSize(items.next());
        } else {
            total += followedSize(path);
        }
    }
    return total;
}

} // namespace

bool SLUtility::isDirectory(const QString &path)
{
    return QFileInfo(real(path)).isDir();
}

bool SLUtility::isMacDirectory(const QString &path)
{
    // Existence follows links, so a dangling link does not exist.
    const QFileInfo info(real(path));
    if (!info.exists())
        return false;
    if (!info.isDir())
        return true;
    return kPackageExtensions.contains(info.suffix().toLower());
}

bool SLUtility::isFileExists(const QString &path)
{
    return QFileInfo::exists(real(path));
}

bool SLUtility::isWritableFileAtPath(const QString &path)
{
    const QByteArray native = QFile::encodeName(real(path));
    return ::access(native.constData(), W_OK | R_OK) == 0;
}

quint64 SLUtility::fastFolderSizeAtFSRef(const QString &path,
                                         const std::function<void(quint64, quint64)> &progress)
{
    // The path itself is not followed: anything but a folder (a file, a link) holds nothing.
    if (!QFileInfo(real(path)).isDir() || QFileInfo(real(path)).isSymLink())
        return 0;
    FolderSizer::Progress report;
    if (progress)
        report = [&](const FolderSizer::Totals &soFar) { progress(soFar.bytes, soFar.entries); };
    return FolderSizer().measure(real(path), report).bytes;
}

quint64 SLUtility::usedSpaceOfVolume(const QString &path)
{
    struct statvfs info;
    if (::statvfs(QFile::encodeName(real(path)).constData(), &info) != 0)
        return 0;
    return quint64(info.f_blocks - info.f_bfree) * info.f_frsize;
}

std::optional<quint64> SLUtility::getFolderSize(const QString &path,
                                                const std::function<void(quint64, quint64)> &progress)
{
    if (isVolume(path))
        return usedSpaceOfVolume(path);
    if (!QFileInfo::exists(real(path)))
        return std::nullopt;
    return fastFolderSizeAtFSRef(path, progress);
}

quint64 SLUtility::calculateTotalSizeInArray(const QStringList &paths,
                                             const std::function<void(quint64, quint64)> &progress)
{
    quint64 total = 0;
    for (const QString &path : paths) {
        if (!QFileInfo::exists(real(path)))
            continue;
        if (isDirectory(path)) {
            const quint64 before = total;
            total += getFolderSize(path, progress ? [&](quint64 bytes, quint64 entries) {
                progress(before + bytes, entries);
            } : std::function<void(quint64, quint64)>()).value_or(0);
        } else {
            total += followedSize(real(path));
        }
    }
    return total;
}

quint64 SLUtility::calculateSizeOfFile(const QString &path)
{
    if (isVolume(path))
        return usedSpaceOfVolume(path);
    const QString folder = real(path);
    if (!QFileInfo(folder).isDir())
        return followedSize(folder);
    quint64 total = 0;
    for (QDirIterator items = enumerate(folder); items.hasNext();) {
        total += itemSize(items.next());
        QThread::msleep(10); // deliberately gentle on a large tree
    }
    return total;
}

void SLUtility::calculateSizeOfFileInBackground(const QString &path, QObject *context,
                                                std::function<void(quint64)> done)
{
    QThreadPool::globalInstance()->start([path, context, done = std::move(done)] {
        const quint64 size = calculateSizeOfFile(path);
        QMetaObject::invokeMethod(context, [done, size] { done(size); }, Qt::QueuedConnection);
    });
}

quint64 SLUtility::calculateSizeOfFile(const QString &path, const QString &user, const QVariantMap &excluded)
{
    if (isVolume(path)) {
        quint64 used = usedSpaceOfVolume(path);
        if (path == "/"_L1) {
            const quint64 excludedBytes = totalSizeOfDefaultExclusionForUser(user, excluded)
                                          + totalSizeOfUserExclusionForUser(user, excluded);
            used = used > excludedBytes ? used - excludedBytes : 0;
        }
        return used;
    }
    const QString folder = real(path);
    if (!QFileInfo(folder).isDir())
        return followedSize(folder);
    const QVariantMap userDictionary = excluded.value(user).toMap();
    QDirIterator items = enumerate(folder);
    if (items.hasNext())
        items.next(); // the first item is passed over uncounted, as it always has been
    quint64 total = 0;
    while (items.hasNext()) {
        const QString item = items.next();
        const QString productPath = path + item.mid(folder.size());
        // The hidden-file rule gets the whole dictionary, not the user's: kept as it is.
        if (shouldExcludeUserFile(productPath, userDictionary) || shouldExcludeHiddenFile(productPath, excluded))
            continue;
        total += itemSize(item);
    }
    return total;
}

quint64 SLUtility::totalSizeOfDefaultExclusionForUser(const QString &user, const QVariantMap &excluded)
{
    return totalOfExclusions(user, excluded, u"Default Exclusion"_s);
}

quint64 SLUtility::totalSizeOfUserExclusionForUser(const QString &user, const QVariantMap &excluded)
{
    return totalOfExclusions(user, excluded, u"User specified Exclusion"_s);
}

bool SLUtility::shouldExcludeUserFile(const QString &path, const QVariantMap &userDictionary)
{
    const QVariantMap exclusions = userDictionary.value(u"User specified Exclusion"_s).toMap();
    for (auto it = exclusions.cbegin(); it != exclusions.cend(); ++it) {
        if (path.startsWith(it.key()) && FoundationValues::boolValue(it.value()))
            return true;
    }
    return false;
}

bool SLUtility::shouldExcludeHiddenFile(const QString &path, const QVariantMap &dictionary)
{
    return FoundationValues::boolValue(dictionary.value(u"enableExcludeHiddenFilesKey"_s))
           && stelloaExtension::isChildOfHiddenFolder(path);
}

bool SLUtility::hasReadPermissionForFile(const QString &path)
{
    // Counted as the platform counts path components: an absolute path starts with "/".
    const QStringList components = path.split(u'/', Qt::SkipEmptyParts);
    if (components.size() + (path.startsWith(u'/') ? 1 : 0) < 2)
        return true;
    QString prefix = u"/"_s;
    for (const QString &component : components) {
        prefix += component + u'/';
        const QByteArray native = QFile::encodeName(real(prefix));
        if (::access(native.constData(), F_OK) == 0 && ::access(native.constData(), R_OK) != 0)
            return false;
    }
    return true;
}

void SLUtility::filterUndeletableFiles(QStringList &paths)
{
    paths.removeIf([](const QString &path) {
        for (const QString &bad : {u";"_s, u"="_s, u".."_s, u"./"_s, u"././"_s}) {
            if (path.contains(bad))
                return true;
        }
        return false;
    });
}

bool SLUtility::isEmptyFolder(const QString &path)
{
    const QDir folder(real(path));
    if (!folder.exists())
        return true;
    return folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot).isEmpty();
}

bool SLUtility::isSupportedImageFile(const QString &path, const QStringList &extensions)
{
    return extensions.contains(QFileInfo(path).suffix().toLower());
}

QStringList SLUtility::listMountedVolumesPaths()
{
    static const QStringList pseudo{
        u"proc"_s, u"sysfs"_s, u"tmpfs"_s, u"devtmpfs"_s, u"devpts"_s, u"cgroup"_s, u"cgroup2"_s,
        u"mqueue"_s, u"debugfs"_s, u"tracefs"_s, u"securityfs"_s, u"pstore"_s, u"bpf"_s,
        u"autofs"_s, u"fusectl"_s, u"configfs"_s, u"hugetlbfs"_s, u"binfmt_misc"_s, u"nsfs"_s,
        u"rpc_pipefs"_s, u"efivarfs"_s, u"squashfs"_s, u"ramfs"_s, u"selinuxfs"_s, u"overlay"_s};
    const auto insideSystemFolder = [](const QString &mountPoint) {
        for (const QString &system : {u"/proc"_s, u"/sys"_s, u"/dev"_s, u"/run"_s}) {
            if (mountPoint == system || mountPoint.startsWith(system + u'/'))
                return true;
        }
        return false;
    };
    QStringList volumes{u"/"_s}; // the start-up volume is always "/"
    for (const Workspace::Mount &mount : Workspace::mounts()) {
        if (mount.mountPoint == "/"_L1 || pseudo.contains(mount.fileSystem)
            || insideSystemFolder(mount.mountPoint) || volumes.contains(mount.mountPoint))
            continue;
        volumes.append(mount.mountPoint);
    }
    return volumes;
}

QStringList SLUtility::timeMachineFolders()
{
    QStringList folders;
    for (const QString &volume : listMountedVolumesPaths()) {
        const QString candidate = (volume == "/"_L1 ? QString() : volume) + u"/Backups.backupdb"_s;
        if (QFileInfo::exists(Paths::system(candidate)))
            folders.append(candidate);
    }
    return folders;
}

bool SLUtility::isTimeMachineFolderPresent()
{
    for (const QString &folder : timeMachineFolders()) {
        if (QFileInfo(Paths::system(folder)).isDir())
            return true;
    }
    return false;
}

bool SLUtility::isTimeMachineFolderPresentLocallyAndInBackupSet(const QStringList &paths)
{
    for (const QString &folder : timeMachineFolders()) {
        if (!QFileInfo(Paths::system(folder)).isDir())
            continue;
        for (const QString &path : paths) {
            if (path.contains(u"Backups.backupdb"_s) || path == folder)
                return true;
        }
    }
    return false;
}
