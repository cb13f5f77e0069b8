#include "PrivateMounts.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace PrivateMounts {

namespace {

// unshare(CLONE_NEWNS) moves only the calling thread: it is done while the process loads, before
// Qt or a test starts a thread, so that every later thread shares the namespace. "/" is made
// private in it so that no mount made here propagates back to the machine's.
const char *g_failedStep = nullptr;
int g_errno = 0;
[[maybe_unused]] const bool g_ownNamespace = [] {
    if (::unshare(CLONE_NEWNS) != 0) {
        g_failedStep = "unshare(CLONE_NEWNS)";
    } else if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        g_failedStep = "making / private";
    } else {
        return true;
    }
    g_errno = errno;
    return false;
}();

QString systemError(const char *step)
{
    return QString::fromUtf8(step) + u": "_s + QString::fromLocal8Bit(std::strerror(errno));
}

} // namespace

QString unavailableReason()
{
    if (!g_failedStep)
        return QString();
    return u"no mount namespace of this test's own (%1: %2); read-only and full file systems need "
           "root or CAP_SYS_ADMIN"_s.arg(QString::fromUtf8(g_failedStep),
                                         QString::fromLocal8Bit(std::strerror(g_errno)));
}

Tmpfs::Tmpfs(const QString &folder, qint64 bytes)
    : m_folder(folder)
{
    if (!unavailableReason().isEmpty()) {
        m_error = unavailableReason();
        return;
    }
    const QByteArray options = "size=" + QByteArray::number(bytes) + ",mode=0755";
    m_mounted = ::mount("tmpfs", QFile::encodeName(folder).constData(), "tmpfs",
                        MS_NOSUID | MS_NODEV, options.constData())
        == 0;
    if (!m_mounted)
        m_error = systemError("mount tmpfs");
}

Tmpfs::~Tmpfs()
{
    // Detached even when a file in it is still open, so that the folder can be removed.
    if (m_mounted)
        ::umount2(QFile::encodeName(m_folder).constData(), MNT_DETACH);
}

bool Tmpfs::setReadOnly(bool readOnly)
{
    // A bind remount changes this mount point only, even with files open for writing in it.
    const unsigned long flags
        = MS_REMOUNT | MS_BIND | MS_NOSUID | MS_NODEV | (readOnly ? MS_RDONLY : 0);
    if (::mount(nullptr, QFile::encodeName(m_folder).constData(), nullptr, flags, nullptr) == 0)
        return true;
    m_error = systemError("remount");
    return false;
}

bool Tmpfs::fill()
{
    const QByteArray path = QFile::encodeName(m_folder + u"/filler"_s);
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        m_error = systemError("open filler");
        return false;
    }
    static const char block[4096] = {};
    ssize_t written = 0;
    while ((written = ::write(fd, block, sizeof block)) > 0) { }
    const bool full = written < 0 && errno == ENOSPC;
    if (!full)
        m_error = systemError("fill");
    ::close(fd);
    return full;
}

} // namespace PrivateMounts
