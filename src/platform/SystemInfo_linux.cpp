#include "SystemInfo.h"

#include "Paths.h"

#include <QFile>

#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace SystemInfo {

QString machineID()
{
    for (const QString &path : {u"/etc/machine-id"_s, u"/var/lib/dbus/machine-id"_s}) {
        QFile file(Paths::system(path));
        if (file.open(QIODevice::ReadOnly)) {
            const QString id = QString::fromLatin1(file.readAll()).trimmed();
            if (!id.isEmpty())
                return id;
        }
    }
    return u""_s;
}

QString loginName()
{
    if (const passwd *entry = getpwuid(geteuid()))
        return QString::fromLocal8Bit(entry->pw_name);
    return qEnvironmentVariable("USER");
}

} // namespace SystemInfo
