#pragma once

#include <QList>
#include <QString>
#include <QVariantMap>

// Process and script helpers of the desktop workspace.
namespace SLXExtension {

// Runs a script file with the system's script runner; the error dictionary, or an empty one on
// success. Where no script runner exists the dictionary says so.
QVariantMap executeAppleScriptFromFile(const QString &path);

// Process IDs of every "ps" line that mentions `name` (the search itself may be among them).
QList<qint64> getAllProcessIDsWithName(const QString &name);
void killAllProcessesWithName(const QString &name);

// The ID at the start of each line's text before `name`; lines without it or with no number are
// skipped.
QList<qint64> parseProcessIDs(const QString &psOutput, const QString &name);

} // namespace SLXExtension
