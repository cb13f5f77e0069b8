#include "Workspace.h"

#include "Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <pwd.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Workspace {

namespace {

// Mount points escape blanks, tabs, newlines and backslashes as three-digit octal.
QString unescapeOctal(const QByteArray &field)
{
    QByteArray out;
    out.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field.at(i) == '\\' && i + 3 < field.size()) {
            bool ok = false;
            const int code = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok) {
                out.append(char(code));
                i += 3;
                continue;
            }
        }
        out.append(field.at(i));
    }
    return QString::fromUtf8(out);
}

bool deviceIsRemovable(const QString &device)
{
    // /sys/dev/block/M:m points at the partition; "removable" sits on the whole disk.
    const QString node = QFileInfo(Paths::system(u"/sys/dev/block/"_s + device)).canonicalFilePath();
    if (node.isEmpty())
        return false;
    for (const QString &dir : {node, node + u"/.."_s}) {
        QFile flag(dir + u"/removable"_s);
        if (flag.open(QIODevice::ReadOnly))
            return flag.readAll().trimmed() == "1";
    }
    return false;
}

bool isNetworkFileSystemType(long type)
{
    switch (static_cast<unsigned long>(type)) {
    case 0x6969:      // NFS
    case 0x517B:      // SMB
    case 0xFF534D42:  // CIFS
    case 0xFE534D42:  // SMB2
    case 0x564C:      // NCP
    case 0x5346414F:  // AFS
    case 0x6B414653:  // kAFS
    case 0x73757245:  // Coda
    case 0x00C36400:  // Ceph
    case 0x01021997:  // 9P
    case 0x47504653:  // GPFS
    case 0x013111A8:  // IBRIX
    case 0x65735546:  // FUSE (sshfs, s3fs, ... are remote more often than not)
        return true;
    default:
        return false;
    }
}

} // namespace

QList<Mount> parseMountInfo(const QByteArray &text)
{
    QList<Mount> result;
    for (const QByteArray &line : text.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype separator = fields.indexOf("-");
        if (fields.size() < 5 || separator < 6 || separator + 1 >= fields.size())
            continue;
        result.append({unescapeOctal(fields.at(4)), QString::fromUtf8(fields.at(separator + 1)),
                       QString::fromUtf8(fields.at(2))});
    }
    return result;
}

QList<Mount> mounts()
{
    QFile file(Paths::system(u"/proc/self/mountinfo"_s));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return parseMountInfo(file.readAll());
}

QStringList mountedRemovableMedia()
{
    QStringList result;
    for (const Mount &mount : mounts()) {
        if (mount.mountPoint != "/"_L1 && deviceIsRemovable(mount.device))
            result.append(mount.mountPoint);
    }
    return result;
}

bool isLocalVolume(const QString &path)
{
    struct statfs info {};
    const QByteArray real = QFile::encodeName(Paths::current().resolve(path));
    if (::statfs(real.constData(), &info) != 0)
        return true; // a path that does not exist is on no remote volume
    return !isNetworkFileSystemType(long(info.f_type));
}

bool isApplicationRunning(const QString &name)
{
    const QByteArray wanted = name.toUtf8().left(15);
    const QStringList entries = QDir(Paths::system(u"/proc"_s)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        if (!entry.at(0).isDigit())
            continue;
        QFile comm(u"/proc/"_s + entry + u"/comm"_s);
        if (comm.open(QIODevice::ReadOnly) && comm.readAll().trimmed() == wanted)
            return true;
    }
    return false;
}

// Each process of `uid` as its whole command line (arguments joined by blanks); nullopt
// without a process table.
static std::optional<QStringList> commandLinesOf(uid_t uid, bool programOnly)
{
    const QDir proc(Paths::system(u"/proc"_s));
    if (!proc.exists())
        return std::nullopt;
    QStringList lines;
    for (const QString &entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (!entry.at(0).isDigit())
            continue;
        const QString folder = proc.filePath(entry);
        struct stat info {};
        if (::stat(QFile::encodeName(folder).constData(), &info) != 0 || info.st_uid != uid)
            continue;
        QFile cmdline(folder + u"/cmdline"_s);
        if (!cmdline.open(QIODevice::ReadOnly))
            continue; // the process ended meanwhile
        const QList<QByteArray> arguments = cmdline.readAll().split('\0');
        const QByteArray command = programOnly ? arguments.value(0) : arguments.join(' ').trimmed();
        if (!command.isEmpty())
            lines.append(QString::fromLocal8Bit(command));
    }
    return lines;
}

std::optional<QStringList> commandsOfUser(const QString &user)
{
    const struct passwd *account = ::getpwnam(QFile::encodeName(user).constData());
    if (!account)
        return QDir(Paths::system(u"/proc"_s)).exists() ? std::optional<QStringList>(QStringList()) : std::nullopt;
    return commandLinesOf(account->pw_uid, true);
}

int countCommandLinesWith(const QString &text)
{
    int count = 0;
    for (const QString &line : commandLinesOf(::getuid(), false).value_or(QStringList()))
        count += line.contains(text) ? 1 : 0;
    return count;
}

} // namespace Workspace
