#pragma once

#include "CorvaneScheduleItem.h"

#include <QByteArray>
#include <QList>
#include <QString>

// The schedules archive: every record of every local user, under the key "Schedules", in the
// file the backup engine reads and rewrites.
namespace ScheduleArchive {

enum class State { Missing, Readable, Unreadable };

struct Contents
{
    QList<CorvaneScheduleItem> records;
    State state = State::Missing;
    int skippedRecords = 0; // records dropped for a value of the wrong kind
};

QString path();

QByteArray encode(const QList<CorvaneScheduleItem> &records);
Contents decode(const QByteArray &data);

// Missing or unreadable files give no records; a trace line says what was wrong.
Contents load();
// Writes every record atomically and opens the file to every user (0777).
bool save(const QList<CorvaneScheduleItem> &records);
// Renames an archive that could not be read to "<archive>.unreadable-<yyyyMMdd-HHmmss>" so that
// the next save does not destroy what may still be recovered; the new name, or empty.
QString moveAsideUnreadable(const QDateTime &now);

} // namespace ScheduleArchive
