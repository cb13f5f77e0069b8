#pragma once

#include "logview/LogNode.h"
#include "scheduler/CorvaneScheduleItem.h"

#include <QDateTime>
#include <QJsonObject>
#include <QStringList>

#include <optional>

// What the menu's dashboard says of the logged-in account's backups: its last run (result,
// duration, start) and, for each of its schedules, when it runs next.
struct Dashboard {
    static constexpr int kLookBackDays = 31;

    struct Schedule {
        QString frequency;
        QDateTime next;
    };
    std::optional<LogNode> lastRun;
    QList<Schedule> schedules;

    // From the schedules archive's `records` and the day index files of the last month.
    static Dashboard of(const QString &account, const QList<CorvaneScheduleItem> &records,
                        const QDateTime &now);
    // The next start of `record` that is still to come, `now` or later.
    static QDateTime nextRun(const CorvaneScheduleItem &record, const QDateTime &now);

    // One line for the last run, one per schedule.
    QStringList menuLines() const;
    QJsonObject json() const;
};
