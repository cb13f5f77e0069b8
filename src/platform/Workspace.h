#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// What the desktop knows about mounted volumes. One backend per platform (Workspace_linux.cpp).
namespace Workspace {

struct Mount
{
    QString mountPoint;  // unescaped, "/" for the root
    QString fileSystem;  // "ext4", "nfs4", "fuse.sshfs", ...
    QString device;      // "major:minor"
};

// Parses the text of /proc/<pid>/mountinfo.
QList<Mount> parseMountInfo(const QByteArray &text);
QList<Mount> mounts();

// Mount points of removable media (USB sticks, card readers, optical discs).
QStringList mountedRemovableMedia();

// False when the volume holding `path` is a network file system.
bool isLocalVolume(const QString &path);

// Whether a process of that program name runs (the kernel keeps the first 15 characters).
bool isApplicationRunning(const QString &name);
// The command (the program as started, without its arguments) of every process the user owns;
// nullopt when the process table cannot be read. An unknown user owns no process.
std::optional<QStringList> commandsOfUser(const QString &user);
// How many of this user's processes have `text` in their command line (a program started by its
// path, or a script run by an interpreter, shows the path there).
int countCommandLinesWith(const QString &text);

} // namespace Workspace
