#pragma once

// What the monitor controller's sources share: its menu titles, and its reading and writing of
// the one-line state files.

#include "platform/AtomicFile.h"
#include "product/FilePathAPIs.h"
#include "util/StringExtensions.h"

#include <QString>

namespace MonitorFiles {

inline const QString kPauseTitle = QStringLiteral("Pause the scheduled job");
inline const QString kResumeTitle = QStringLiteral("Resume the scheduled job");
inline const QString kEnableAllTitle = QStringLiteral("Enable all scheduled jobs");
inline const QString kDisableAllTitle = QStringLiteral("Disable all scheduled jobs");

inline bool corvane()
{
    return FilePathAPIs::isCorvaneApplication();
}

// A state file's text; "" when it is missing or unreadable.
inline QString readText(const QString &path)
{
    const QString text = stelloaExtension::loadStringFromFile(path);
    return text.isNull() ? QStringLiteral("") : text;
}

inline bool writeText(const QString &path, const QString &text)
{
    return AtomicFile::write(path, text.toUtf8());
}

} // namespace MonitorFiles
