#pragma once

#include "scheduler/CorvaneScheduleItem.h"

#include <QDateTime>

#include <functional>
#include <optional>

// Tells when a user's backups have fallen behind: no run finished successfully for a number of
// days although backups are scheduled, or a scheduled job still running when its next start has
// come.
namespace BackupWatchdog {

enum class Verdict { Fine, NoRecentSuccess, RunningPastNextStart };

constexpr int kDefaultDays = 7;
// The days without a successful backup that are too many: "StaleBackupDays" of the monitor's
// defaults, 7 when it is not set (and never less than one).
int staleDays();

// The start after `record`'s own of a recurring record: an hour, a day, the next chosen weekday,
// a month on; nothing for a run-now record.
std::optional<QDateTime> nextStartAfter(const CorvaneScheduleItem &record);

// Since when `account`'s backups are watched ("BackupWatchedSince" of the monitor's defaults):
// `beginning()` when the monitor first sees them scheduled, kept while any are, forgotten once none
// are. A user who has only just scheduled a first backup has not fallen behind.
QDateTime watchedSince(const QString &account, bool scheduled, const std::function<QDateTime()> &beginning);

// `lastSuccess`: the last successful run, else the time the watch began.
Verdict evaluate(const QDateTime &now, const QList<CorvaneScheduleItem> &usersRecords,
                 const std::optional<QDateTime> &lastSuccess, int days);

} // namespace BackupWatchdog
