#include "SystemInfo.h"

#include "Paths.h"

#include "PropertyList.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QFile>
#include <QHostInfo>
#include <QRegularExpression>

#include <utmpx.h>

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

QString computerName()
{
    QFile info(Paths::system(u"/etc/machine-info"_s));
    if (info.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : info.readAll().split('\n')) {
            if (line.startsWith("PRETTY_HOSTNAME=")) {
                QString name = QString::fromUtf8(line.mid(16)).trimmed();
                if (name.size() >= 2 && name.startsWith(u'"') && name.endsWith(u'"'))
                    name = name.mid(1, name.size() - 2);
                if (!name.isEmpty())
                    return name;
            }
        }
    }
    return QHostInfo::localHostName();
}

namespace {

void setVersion(OSVersion &version, const QString &text)
{
    version.versionText = text;
    const QStringList parts = text.split(u'.');
    version.major = parts.value(0).toInt();
    version.minor = parts.value(1).toInt();
    version.bugfix = parts.value(2).toInt();
}

} // namespace

OSVersion parseOsRelease(const QByteArray &text)
{
    OSVersion version;
    for (const QByteArray &line : text.split('\n')) {
        const qsizetype equals = line.indexOf('=');
        if (equals <= 0)
            continue;
        const QByteArray key = line.left(equals).trimmed();
        QString value = QString::fromUtf8(line.mid(equals + 1)).trimmed();
        if (value.size() >= 2 && (value.startsWith(u'"') || value.startsWith(u'\'')))
            value = value.mid(1, value.size() - 2);
        if (key == "NAME")
            version.productName = value;
        else if (key == "VERSION_ID")
            setVersion(version, value);
    }
    return version;
}

OSVersion osVersion()
{
    const QString plist = u"/System/Library/CoreServices/SystemVersion.plist"_s;
    if (QFile::exists(Paths::current().resolve(plist))) {
        const QVariantMap info = PropertyList::readDictionary(plist);
        OSVersion version;
        version.fromSystemVersionPlist = true;
        version.productName = info.value(u"ProductName"_s).toString();
        const QString text = info.value(u"ProductUserVisibleVersion"_s, info.value(u"ProductVersion"_s)).toString();
        setVersion(version, text);
        return version;
    }
    QFile release(Paths::system(u"/etc/os-release"_s));
    if (!release.open(QIODevice::ReadOnly))
        return {};
    return parseOsRelease(release.readAll());
}

namespace {

// The user of the session logind reports active on seat0, or null.
QString logindActiveUser()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return QString();
    QDBusInterface seat(u"org.freedesktop.login1"_s, u"/org/freedesktop/login1/seat/seat0"_s,
                        u"org.freedesktop.login1.Seat"_s, bus);
    if (!seat.isValid())
        return QString();
    const QVariant active = seat.property("ActiveSession");
    if (!active.canConvert<QDBusArgument>())
        return QString();
    QString id;
    QDBusObjectPath path;
    const QDBusArgument argument = active.value<QDBusArgument>();
    argument.beginStructure();
    argument >> id >> path;
    argument.endStructure();
    if (path.path().isEmpty() || path.path() == "/"_L1)
        return QString();
    QDBusInterface session(u"org.freedesktop.login1"_s, path.path(), u"org.freedesktop.login1.Session"_s, bus);
    return session.isValid() ? session.property("Name").toString() : QString();
}

} // namespace

QString consoleUserName()
{
    const QString active = logindActiveUser();
    if (!active.isEmpty())
        return active;
    // Otherwise utmp: the first user process on an X display or the console.
    setutxent();
    QString user;
    while (const utmpx *entry = getutxent()) {
        if (entry->ut_type != USER_PROCESS)
            continue;
        const QString line = QString::fromLocal8Bit(entry->ut_line);
        const QString host = QString::fromLocal8Bit(entry->ut_host);
        if (line.startsWith(u':') || host.startsWith(u':') || line == "console"_L1 || line == "tty7"_L1) {
            user = QString::fromLocal8Bit(entry->ut_user);
            break;
        }
    }
    endutxent();
    return user;
}

} // namespace SystemInfo
