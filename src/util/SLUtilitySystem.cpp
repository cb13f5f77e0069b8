// SLUtility: facts about the machine, its users and their processes.

#include "SLUtility.h"

#include "product/StringTable.h"
#include "platform/Paths.h"
#include "platform/ShellCommand.h"
#include "platform/SystemInfo.h"
#include "platform/Workspace.h"
#include "StringExtensions.h"
#include "platform/StringFormat.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <csignal>
#include <new>

using namespace Qt::StringLiterals;

QString SLUtility::machineID()
{
    return SystemInfo::machineID();
}

QString SLUtility::machineName()
{
    QString name = SystemInfo::computerName();
    name.removeIf([](QChar c) { return !c.isLetterOrNumber(); });
    return name;
}

QString SLUtility::MacOSVersion()
{
    const SystemInfo::OSVersion version = SystemInfo::osVersion();
    return u"%1.%2"_s.arg(version.major).arg(version.minor);
}

QString SLUtility::MacOSVersionWithBugfix()
{
    const SystemInfo::OSVersion version = SystemInfo::osVersion();
    return u"%1.%2.%3"_s.arg(version.major).arg(version.minor).arg(version.bugfix);
}

QString SLUtility::lastConsoleUserName()
{
    const QString output = SLLocalizedString(u"LastConsoleUserNameFilePath"_s);
    const QString real = Paths::current().resolve(output);
    QDir().mkpath(QFileInfo(real).absolutePath());
    ShellCommand::run(u"last | grep console | awk '{print $1}' > "_s + ShellCommand::quoted(real));
    const QString text = stelloaExtension::loadStringFromFile(output);
    return text.isNull() ? u""_s : text.section(u'\n', 0, 0);
}

QString SLUtility::currentConsoleUserName()
{
    return SystemInfo::consoleUserName();
}

namespace {

// Any command naming the application (its arguments do not count); an unreadable process table counts as running (when in
// doubt, assume the application runs).
bool isInCommandLines(const std::optional<QStringList> &lines, const QString &application)
{
    if (!lines)
        return true;
    return std::any_of(lines->cbegin(), lines->cend(),
                       [&](const QString &line) { return line.contains(application); });
}

} // namespace

bool SLUtility::isApplicationRunningForUser(const QString &application, const QString &user)
{
    const SystemInfo::OSVersion version = SystemInfo::osVersion();
    if (!version.fromSystemVersionPlist || version.major != 10)
        return isInCommandLines(Workspace::commandsOfUser(user), application);
    // The commands below are those of the platform's 10.4 and later systems; older ones are
    // assumed to run the application.
    if (version.minor < 4)
        return true;
    const QString output = SLLocalizedString(u"LogoutCommandOutputFilePath"_s);
    const QString real = Paths::current().resolve(output);
    const QString format = version.minor == 4 ? u"sudo ps -xwwwU %@ | awk '{print $5}' | grep %@ > %@"_s
                                              : u"sudo ps -xwwwu %@ | awk '{print $5}' | grep %@ > %@"_s;
    const QVariantList words{ShellCommand::quoted(user), ShellCommand::quoted(application), ShellCommand::quoted(real)};
    if (ShellCommand::run(stringWithFormat(format, words)).exitCode < 0)
        return true;
    const QString text = stelloaExtension::loadStringFromFile(output);
    for (const QString &line : text.split(u'\n')) {
        if (line.contains(application)) {
            QFile::remove(real);
            return true;
        }
    }
    return false;
}

bool SLUtility::isFrontWindow(const WindowOrder &order, const void *window)
{
    const QList<const void *> windows = order.windowsFrontToBack();
    return !windows.isEmpty() && windows.first() == window;
}

int SLUtility::killProcess(qint64 pid)
{
    if (pid < 1)
        return 0;
    return ::kill(pid_t(pid), SIGKILL);
}

std::optional<QByteArray> SLUtility::dataWithContentsOfFile(const QString &path, qint64 size)
{
    QFile file(Paths::current().resolve(path));
    if (size < 0 || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    try {
        QByteArray buffer(size, '\0'); // a shorter file leaves zeros, never stale memory
        file.read(buffer.data(), size);
        return buffer;
    } catch (const std::bad_alloc &) {
        return std::nullopt;
    }
}

QString SLUtility::userPreferencePath()
{
    return Paths::current().home() + u"/Library/Preferences/"_s;
}

void SLUtility::removeFile(const QString &path)
{
    const QString real = Paths::current().resolve(path);
    if (QFileInfo::exists(real) || QFileInfo(real).isSymLink())
        ShellCommand::run(u"rm -rf "_s + ShellCommand::quoted(real));
}

void SLUtility::removeFolder(const QString &path)
{
    if (path == "."_L1 || path == ".."_L1)
        return;
    const QFileInfo info(Paths::current().resolve(path));
    if (info.isDir() && !info.isSymLink())
        QDir(info.filePath()).removeRecursively();
    else if (info.exists() || info.isSymLink())
        QFile::remove(info.filePath());
}
