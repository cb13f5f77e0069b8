#pragma once

#include <QByteArray>
#include <QString>

// Whole-file writes that readers never see half done: a temporary file beside the target, then a
// rename over it, which replaces a link at the path instead of following it. A rewrite keeps the
// file's mode; a new file gets 0666 less the umask. Missing parent folders are created.
class AtomicFile
{
public:
    // `path` is a product path. `mode` (octal permission bits such as 0777 for files other
    // processes must rewrite) is applied whatever the outcome of the write when not negative.
    // setMode changes a regular file only, never through a link.
    static bool write(const QString &path, const QByteArray &data, int mode = -1);
    static bool setMode(const QString &path, int mode);
};
