#include "DesktopServices.h"

#include "platform/Paths.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QProcess>

bool SystemDesktopServices::openUrl(const QUrl &url)
{
    return QDesktopServices::openUrl(url);
}

bool SystemDesktopServices::launchApplication(const QString &path)
{
    const QString real = Paths::current().resolve(path);
    const QFileInfo info(real);
    if (!info.exists())
        return false;
    if (info.isFile() && info.isExecutable())
        return QProcess::startDetached(real, {});
    return QDesktopServices::openUrl(QUrl::fromLocalFile(real));
}
