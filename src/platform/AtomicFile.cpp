#include "AtomicFile.h"

#include "Paths.h"
#include "PlatformLog.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryFile>

#include <cstdio>
#include <sys/stat.h>

namespace {

// QSaveFile writes through a link to its target, which in a shared folder may be any file on the
// machine. A link is replaced instead: a new file beside it, renamed over the link.
bool replaceLink(const QString &link, const QByteArray &data)
{
    QTemporaryFile file(link + QStringLiteral(".XXXXXX"));
    file.setAutoRemove(true);
    if (!file.open() || file.write(data) != data.size() || !file.flush()) {
        qCWarning(lcPlatform) << "cannot write" << link << file.errorString();
        return false;
    }
    const QByteArray from = QFile::encodeName(file.fileName());
    if (std::rename(from.constData(), QFile::encodeName(link).constData()) != 0) {
        qCWarning(lcPlatform) << "cannot replace the link" << link;
        return false;
    }
    file.setAutoRemove(false);
    return true;
}

} // namespace

bool AtomicFile::write(const QString &path, const QByteArray &data, int mode)
{
    const QString real = Paths::current().resolve(path);
    QDir().mkpath(QFileInfo(real).absolutePath());
    bool ok = false;
    if (QFileInfo(real).isSymLink()) {
        ok = replaceLink(real, data);
    } else {
        QSaveFile file(real);
        ok = file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit();
        if (!ok)
            qCWarning(lcPlatform) << "cannot write" << real << file.errorString();
    }
    if (mode >= 0)
        setMode(path, mode);
    return ok;
}

bool AtomicFile::setMode(const QString &path, int mode)
{
    // chmod rather than QFile::setPermissions: the bits are given as the platform gives them, and
    // the process umask must not narrow them. A link is never followed to its target.
    const QByteArray real = QFile::encodeName(Paths::current().resolve(path));
    struct stat info {};
    if (::lstat(real.constData(), &info) != 0 || S_ISLNK(info.st_mode))
        return false;
    return ::chmod(real.constData(), mode_t(mode)) == 0;
}
