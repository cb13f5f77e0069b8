#pragma once

#include "CorvaneScheduleItem.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariant>

// The schedules archive: every record of every local user, under the key "Schedules", in the
// file the backup engine reads and rewrites.
namespace ScheduleArchive {

// Missing: no file. Unreadable: the file's bytes are not a schedules archive (damaged).
// Inaccessible: the file is there but cannot be read (permissions, a folder, a device or FIFO,
// far too large); it is never replaced.
enum class State { Missing, Readable, Unreadable, Inaccessible };

// An element of the list that is not a record this program can decode (a newer engine's record,
// a value of the wrong kind, a date it cannot read). It is kept as read and written back in its
// place: before the decoded record at index `before` (at the end when there is none).
struct KeptElement {
    qsizetype before = 0;
    QVariant element;
    QString reason; // why it cannot be decoded
};

struct Contents {
    QList<CorvaneScheduleItem> records;
    QList<KeptElement> undecodable;
    State state = State::Missing;
    QString error; // what kept the file from being read, for a trace line or the user
};

// What became of a change to the archive.
struct SaveResult {
    enum class Status { Saved, Deferred, Failed };
    Status status = Status::Saved;
    QString message; // for the user when nothing was written

    bool saved() const { return status == Status::Saved; }
    explicit operator bool() const { return saved(); }
};

QString path();

QByteArray encode(const QList<CorvaneScheduleItem> &records, const QList<KeptElement> &kept = {});
// Writes no trace line (load() does, once per version of the file).
Contents decode(const QByteArray &data);

// Missing, inaccessible or damaged files give no records. A trace line says what was wrong, once
// for each version of the file however often it is read.
Contents load();
// Writes every record (and the kept elements in their places) atomically and opens the file to
// every user (0777).
SaveResult save(const QList<CorvaneScheduleItem> &records, const QList<KeptElement> &kept = {});
// Renames an archive that could not be read to "<archive>.unreadable-<yyyyMMdd-HHmmss>" (with
// "-2", "-3", ... when that name is taken) so that the next save does not destroy what may still
// be recovered; the new name, or empty when it could not be moved.
QString moveAsideUnreadable(const QDateTime &now);

// Our own writers (the monitor, lumenctl) hold this advisory lock on "<archive>.lock" from the
// read of the archive to the write of their change, so that none loses another's records. The
// engine does not take it; a save therefore re-reads the file under the lock first.
class WriteLock {
public:
    WriteLock(); // waits for the lock; without a lock file (no folder, no rights) it holds nothing
    ~WriteLock();
    WriteLock(const WriteLock &) = delete;
    WriteLock &operator=(const WriteLock &) = delete;
    bool held() const { return m_fd >= 0; }

private:
    int m_fd = -1;
};

} // namespace ScheduleArchive
