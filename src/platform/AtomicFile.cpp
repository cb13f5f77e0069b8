#include "AtomicFile.h"

#include "Paths.h"
#include "PlatformLog.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

#include <sys/stat.h>

bool AtomicFile::write(const QString &path, const QByteArray &data, int mode)
{
    const QString real = Paths::current().resolve(path);
    QDir().mkpath(QFileInfo(real).absolutePath());
    QSaveFile file(real);
    bool ok = file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit();
    if (!ok)
        qCWarning(lcPlatform) << "cannot write" << real << file.errorString();
    if (mode >= 0)
        setMode(path, mode);
    return ok;
}

bool AtomicFile::setMode(const QString &path, int mode)
{
    // chmod rather than QFile::setPermissions: the bits are given as the platform gives them, and
    // the process umask must not narrow them.
    const QByteArray real = QFile::encodeName(Paths::current().resolve(path));
    return ::chmod(real.constData(), mode_t(mode)) == 0;
}
