#pragma once

#include <QString>

// Mounts for fault tests, in a mount namespace of this process's own: the process leaves the
// machine's namespace when it is loaded (before any thread exists, as unshare needs), so nothing
// mounted here is seen outside it, and everything goes when the process ends.
namespace PrivateMounts {

// Empty when this process has its own mount namespace; otherwise why not (not root, no
// CAP_SYS_ADMIN, a container without the right): the reason to skip with.
QString unavailableReason();

// A tmpfs of `bytes` over `folder` while it lives, unmounted again before the folder is removed.
class Tmpfs {
public:
    Tmpfs(const QString &folder, qint64 bytes);
    ~Tmpfs();
    Tmpfs(const Tmpfs &) = delete;
    Tmpfs &operator=(const Tmpfs &) = delete;

    bool mounted() const { return m_mounted; }
    QString error() const { return m_error; }
    // The mount made read-only or writable again (the files stay as they are).
    bool setReadOnly(bool readOnly);
    // Fills the file system with one file until a write fails for want of space; whether it did.
    bool fill();

private:
    QString m_folder;
    QString m_error;
    bool m_mounted = false;
};

} // namespace PrivateMounts
