#include "BackupWatchdog.h"

#include "platform/UserDefaults.h"
#include "product/MonitorSettings.h"

using namespace Qt::StringLiterals;

namespace BackupWatchdog {

int staleDays()
{
    const UserDefaults defaults(MonitorSettings::defaultsDomain());
    if (defaults.objectForKey(u"StaleBackupDays"_s).isNull())
        return kDefaultDays;
    return int(qMax<qint64>(1, defaults.integerForKey(u"StaleBackupDays"_s)));
}

std::optional<QDateTime> nextStartAfter(const CorvaneScheduleItem &record)
{
    const QDateTime start = record.scheduleTime();
    if (!start.isValid())
        return std::nullopt;
    switch (record.frequency()) {
    case CorvaneScheduleItem::Hourly: return start.addSecs(3600);
    case CorvaneScheduleItem::Daily: return start.addDays(1);
    case CorvaneScheduleItem::Monthly: return start.addMonths(1);
    case CorvaneScheduleItem::Weekdays:
    case CorvaneScheduleItem::SelectedDays: {
        const QList<int> days = record.selectedDayNumbers();
        for (int ahead = 1; ahead <= 7; ++ahead) {
            if (days.isEmpty() || days.contains(weekdayNumber(start.date().addDays(ahead))))
                return start.addDays(ahead);
        }
        return start.addDays(7);
    }
    default: return std::nullopt;
    }
}

QDateTime watchedSince(const QString &account, bool scheduled, const std::function<QDateTime()> &beginning)
{
    const QString key = u"BackupWatchedSince"_s;
    UserDefaults defaults(MonitorSettings::defaultsDomain());
    QVariantMap since = defaults.dictionaryForKey(key);
    const QDateTime known = since.value(account).toDateTime();
    if (scheduled == known.isValid())
        return known;
    const QDateTime begun = scheduled ? beginning() : QDateTime();
    if (scheduled)
        since.insert(account, begun);
    else
        since.remove(account);
    defaults.setObject(since, key);
    defaults.synchronize();
    return begun;
}

Verdict evaluate(const QDateTime &now, const QList<CorvaneScheduleItem> &usersRecords,
                 const std::optional<QDateTime> &lastSuccess, int days)
{
    bool scheduled = false;
    for (const CorvaneScheduleItem &record : usersRecords) {
        const std::optional<QDateTime> next = nextStartAfter(record);
        scheduled |= next.has_value();
        if (next && record.status() == CorvaneScheduleItem::InProgress && *next <= now)
            return Verdict::RunningPastNextStart;
    }
    if (scheduled && (!lastSuccess || lastSuccess->secsTo(now) > qint64(days) * 86400))
        return Verdict::NoRecentSuccess;
    return Verdict::Fine;
}

} // namespace BackupWatchdog
