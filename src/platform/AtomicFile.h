#pragma once

#include <QByteArray>
#include <QString>

// Whole-file writes that readers never see half done: a temporary file beside the target, then a
// rename (QSaveFile). Missing parent folders are created.
class AtomicFile
{
public:
    // `path` is a product path. `mode` (octal permission bits such as 0777 for files other
    // processes must rewrite) is applied whatever the outcome of the write when not negative.
    static bool write(const QString &path, const QByteArray &data, int mode = -1);
    static bool setMode(const QString &path, int mode);
};
