#include "AtomicFile.h"

#include "Paths.h"
#include "PlatformLog.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// What follows a target's name in the name of its temporary.
constexpr char kTemporaryMark[] = ".tmp-";
// A writer killed mid-write leaves its temporary behind; one older than this is nobody's.
constexpr int kAbandonedAfterSeconds = 600;

// Removes the temporaries that killed writers left beside `real`.
void removeAbandonedTemporaries(const QString &real)
{
    const QFileInfo target(real);
    const QString prefix = target.fileName() + QLatin1String(kTemporaryMark);
    const QDateTime abandoned = QDateTime::currentDateTimeUtc().addSecs(-kAbandonedAfterSeconds);
    const QString pattern = QRegularExpression::escape(prefix) + u"[0-9a-z]+"_s;
    const QRegularExpression temporaryName(QRegularExpression::anchoredPattern(pattern));
    QDirIterator entries(target.absolutePath(), {prefix + u'*'}, QDir::Files | QDir::Hidden | QDir::System);
    while (entries.hasNext()) {
        const QFileInfo left(entries.next());
        if (temporaryName.match(left.fileName()).hasMatch() && left.lastModified().toUTC() < abandoned)
            QFile::remove(left.absoluteFilePath());
    }
}

// A new file beside `target`, opened for writing; never a link, never an existing file. A rewrite
// keeps the target's permission bits; a new file gets what the umask leaves of 0666 (as
// QSaveFile does in both cases).
int createBeside(const QByteArray &target, QByteArray *name)
{
    struct stat old { };
    const bool rewrite = ::lstat(target.constData(), &old) == 0 && S_ISREG(old.st_mode);
    for (int attempt = 0; attempt < 100; ++attempt) {
        *name = target + kTemporaryMark + QByteArray::number(QRandomGenerator::global()->generate(), 36);
        const int fd
            = ::open(name->constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                     rewrite ? 0600 : 0666);
        if (fd >= 0) {
            if (rewrite)
                ::fchmod(fd, old.st_mode & 0777);
            return fd;
        }
        if (errno != EEXIST)
            return -1;
    }
    return -1;
}

bool writeAll(int fd, const QByteArray &data)
{
    for (qsizetype done = 0; done < data.size();) {
        const ssize_t n = ::write(fd, data.constData() + done, size_t(data.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        done += n;
    }
#ifdef __linux__
    return ::fdatasync(fd) == 0; // as QSaveFile's commit
#else
    return ::fsync(fd) == 0;
#endif
}

// Writes `data` to a new file beside `target` and renames it over the target: 0, or the error
// of the step that failed (nothing is left behind then).
int replaceWhole(const QByteArray &target, const QByteArray &data)
{
    QByteArray temporary;
    const int fd = createBeside(target, &temporary);
    if (fd < 0)
        return errno;
    int error = writeAll(fd, data) ? 0 : errno;
    if (::close(fd) != 0 && error == 0)
        error = errno;
    if (error == 0 && std::rename(temporary.constData(), target.constData()) != 0)
        error = errno;
    if (error != 0)
        ::unlink(temporary.constData());
    return error;
}

} // namespace

bool AtomicFile::write(const QString &path, const QByteArray &data, int mode)
{
    // Not QSaveFile: it follows a link at the path and writes over the link's target, which in a
    // folder other users write to may be any file of ours. Here the new file is renamed over the
    // path, replacing a link there rather than following it.
    const QString real = Paths::current().resolve(path);
    QDir().mkpath(QFileInfo(real).absolutePath());
    removeAbandonedTemporaries(real);
    const int error = replaceWhole(QFile::encodeName(real), data);
    if (error != 0)
        qCWarning(lcPlatform) << "cannot write" << real << ::strerror(error);
    if (mode >= 0)
        setMode(path, mode);
    return error == 0;
}

bool AtomicFile::setMode(const QString &path, int mode)
{
    // Not QFile::setPermissions: the bits are given as the platform gives them, and the process
    // umask must not narrow them. The file is opened without following a link and changed
    // through that descriptor, so a link put in its place meanwhile is never followed either.
    const QByteArray real = QFile::encodeName(Paths::current().resolve(path));
    const int fd = ::open(real.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat info { };
    const bool ok
        = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && ::fchmod(fd, mode_t(mode)) == 0;
    ::close(fd);
    return ok;
}
