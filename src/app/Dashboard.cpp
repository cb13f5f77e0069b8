#include "Dashboard.h"

#include "BackupWatchdog.h"
#include "logview/RecentRuns.h"
#include "platform/StringFormat.h"
#include "product/StringTable.h"

#include <QJsonArray>
#include <QLocale>

using namespace Qt::StringLiterals;

namespace {

QString shortTime(const QDateTime &time)
{
    return QLocale::c().toString(time, u"ddd MMM d, HH:mm"_s);
}

} // namespace

QDateTime Dashboard::nextRun(const CorvaneScheduleItem &record, const QDateTime &now)
{
    CorvaneScheduleItem step = record;
    // A recurring record's time is its first start; later ones follow it by its period.
    for (int guard = 0; guard < 10000 && step.scheduleTime().isValid() && step.scheduleTime() < now; ++guard) {
        const std::optional<QDateTime> after = BackupWatchdog::nextStartAfter(step);
        if (!after)
            break;
        step.setScheduleTime(*after);
    }
    return step.scheduleTime();
}

Dashboard Dashboard::of(const QString &account, const QList<CorvaneScheduleItem> &records, const QDateTime &now)
{
    Dashboard board;
    board.lastRun = RecentRuns::lastRun(account, now.date(), kLookBackDays);
    for (const CorvaneScheduleItem &record : records) {
        if (record.corvaneUserName() == account && record.frequency() != CorvaneScheduleItem::Immediate)
            board.schedules.append({record.frequencyString(), nextRun(record, now)});
    }
    return board;
}

QStringList Dashboard::menuLines() const
{
    QStringList lines;
    if (lastRun) {
        const QDateTime start = QLocale::c().toDateTime(lastRun->datetime(), u"MMM dd, yyyy hh:mm:ss AP"_s);
        const QString result = lastRun->duration().isEmpty() ? lastRun->status()
                                                             : lastRun->status() + u", "_s + lastRun->duration();
        lines << stringWithFormat(SLLocalizedString(u"Last backup: %@ (%@)"_s), {result, shortTime(start)});
    } else {
        lines << SLLocalizedString(u"No backup in the last month"_s);
    }
    for (const Schedule &schedule : schedules)
        lines << stringWithFormat(SLLocalizedString(u"%@ backup: next %@"_s), {schedule.frequency, shortTime(schedule.next)});
    return lines;
}

QJsonObject Dashboard::json() const
{
    QJsonArray next;
    for (const Schedule &schedule : schedules)
        next.append(QJsonObject {{u"frequency"_s, schedule.frequency},
                                 {u"nextRun"_s, iso8601WithOffset(schedule.next)}});
    QJsonValue last;
    if (lastRun)
        last = QJsonObject {{u"start"_s, lastRun->datetime()},
                            {u"status"_s, lastRun->status()},
                            {u"duration"_s, lastRun->duration()}};
    return QJsonObject {{u"lastRun"_s, last}, {u"schedules"_s, next}};
}
