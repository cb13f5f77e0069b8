#include "NextRunCalculator.h"

#include "platform/Clock.h"

#include <random>

namespace {

QTime secondsOnly(const QDateTime &time)
{
    const QTime t = time.time();
    return QTime(t.hour(), t.minute(), t.second());
}

} // namespace

QDateTime NextRunCalculator::now() const
{
    return m_clock.now().toLocalTime();
}

QDateTime NextRunCalculator::todayAt(const QTime &time) const
{
    return localDateTime(now().date(), time);
}

QDateTime NextRunCalculator::localDateTime(const QDate &date, const QTime &time)
{
    const QDateTime local(date, time);
    if (local.isValid() || !date.isValid() || !time.isValid())
        return local;
    // The wall-clock time does not exist (the spring-forward gap): like the platform's calendar,
    // move it on by the gap's length (02:30 -> 03:30), using the offset in force before the gap.
    const qint64 wallClock = QDateTime(date, time, Qt::UTC).toMSecsSinceEpoch();
    const int offsetBefore
        = QDateTime::fromMSecsSinceEpoch(wallClock - 86400000).toLocalTime().offsetFromUtc();
    return QDateTime::fromMSecsSinceEpoch(wallClock - qint64(offsetBefore) * 1000).toLocalTime();
}

qint64 NextRunCalculator::wholeMinutes(const QDateTime &from, const QDateTime &to)
{
    return from.secsTo(to) / 60; // truncates toward zero like the calendar's difference
}

qint64 NextRunCalculator::wholeDays(const QDateTime &from, const QDateTime &to)
{
    qint64 days = from.date().daysTo(to.date());
    if (days > 0 && from.addDays(days) > to)
        --days;
    else if (days < 0 && from.addDays(days) < to)
        ++days;
    return days;
}

QDateTime NextRunCalculator::dateFromComponents(int year, int month, int day, const QTime &time)
{
    const int monthIndex = (year * 12 + (month - 1));
    const QDate first(monthIndex / 12, monthIndex % 12 + 1, 1);
    return localDateTime(first.addDays(day - 1), time);
}

QDateTime NextRunCalculator::nextscheduleDateForDailySchedule(const QDateTime &picker) const
{
    const QTime time = secondsOnly(picker);
    const QDateTime graceEnd = todayAt(time).addSecs(60);
    const QDate day = now() < graceEnd ? now().date() : now().date().addDays(1);
    return localDateTime(day, time);
}

QDateTime NextRunCalculator::nextscheduleDateForHourlySchedule(const QDateTime &picker) const
{
    if (now() > picker.addSecs(60))
        return now().addSecs(3600);
    return picker;
}

QDateTime NextRunCalculator::nextScheduleTransferDate(const CorvaneScheduleItem &record,
                                                      const QDateTime &picker) const
{
    const QTime time = secondsOnly(picker);
    const QDateTime candidate = todayAt(time);
    if (currentDayIndexExsistsInTheSelectedArray(record) && !(now() > candidate))
        return candidate;
    const QDateTime next = nextScheduleDateFromTheSelectedDaysArray(&record);
    if (!next.isValid())
        return next;
    const QDateTime start = localDateTime(next.date(), time);
    if (!(start < now()))
        return start;
    // The record's own time may lie later in the day than the picked one, so the day found can
    // be today with the picked time already past: the next selected weekday after today.
    const QList<int> days = record.selectedDayNumbers();
    for (int ahead = 1; ahead <= 7; ++ahead) {
        const QDate day = now().date().addDays(ahead);
        if (days.contains(weekdayNumber(day)))
            return localDateTime(day, time);
    }
    return start;
}

QDateTime
NextRunCalculator::nextScheduleDateFromTheSelectedDaysArray(const CorvaneScheduleItem *record) const
{
    if (!record || !record->scheduleTime().isValid())
        return {};
    const QDateTime t = record->scheduleTime().toLocalTime();
    const QTime time = secondsOnly(t);
    const QDateTime T = localDateTime(t.date(), time);
    const QDateTime C = todayAt(time);
    QDateTime start = wholeMinutes(C, now()) < 0 ? T : C;
    if (wholeDays(start, now()) > 0)
        start = todayAt(time);
    else if (wholeMinutes(start, now()) > 0)
        start = start.addDays(1);

    const QList<int> days = record->selectedDayNumbers();
    QDateTime candidate = start;
    for (int round = 0; round < 7; ++round) {
        for (const int day : days) {
            if (weekdayNumber(candidate.date()) == day && wholeMinutes(candidate, now()) < 1)
                return candidate;
        }
        candidate = candidate.addDays(1);
    }
    return start.addDays(7);
}

bool NextRunCalculator::currentDayIndexExsistsInTheSelectedArray(
    const CorvaneScheduleItem &record) const
{
    const int today = weekdayNumber(now().date());
    for (const int day : record.selectedDayNumbers()) {
        if (day == today)
            return true;
    }
    return false;
}

bool NextRunCalculator::oneMinuteGapWithTheCurrentTime(const QDateTime &picker) const
{
    return picker.addSecs(60) > now();
}

QDateTime NextRunCalculator::recommendedCalendarDateForSchedule() const
{
    const QDateTime epoch(QDate(2000, 1, 1), QTime(1, 1, 1));
    const qint64 minutes = qAbs(wholeMinutes(epoch, now()));
    const unsigned seed = unsigned(minutes % 13);

    // A generator of our own rather than the process-wide srand/rand, seeded the same way.
    std::minstd_rand random(seed);
    int minute = int(random() % 60);
    if (minute == 0)
        minute = 10;
    const QDateTime morning = todayAt(QTime(6, minute, 0));

    random.seed(seed);
    int hour = int(random() % 24);
    while (hour < 18)
        hour = int(random() % 24);
    const QDateTime candidate = todayAt(QTime(hour, minute, 0));
    if (!(candidate < now()))
        return candidate;
    if (!(now() > morning)) {
        random.seed(seed);
        hour = int(random() % 24);
        if (hour == 18)
            hour = 17;
        return todayAt(QTime(hour, minute, 0));
    }
    return candidate.addDays(1);
}

std::optional<CorvaneScheduleItem>
NextRunCalculator::nextScheduledItem(const QList<CorvaneScheduleItem> &records) const
{
    std::optional<qint64> smallest;
    for (const CorvaneScheduleItem &record : records) {
        if (record.frequency() == CorvaneScheduleItem::Immediate
            || !record.scheduleTime().isValid())
            continue; // a record without a start is never the next job
        const qint64 minutes = wholeMinutes(now(), record.scheduleTime());
        if (!smallest || minutes < *smallest)
            smallest = minutes;
    }
    if (!smallest)
        return std::nullopt;
    // The first record of any frequency with that difference.
    for (const CorvaneScheduleItem &record : records) {
        if (record.scheduleTime().isValid()
            && wholeMinutes(now(), record.scheduleTime()) == *smallest)
            return record;
    }
    return std::nullopt;
}

NextRunCalculator::EditorSchedule
NextRunCalculator::scheduleFromEditor(EditorChoice choice, const QDateTime &picker,
                                      const QVariantList &selectedDays, int dayOfMonth,
                                      const QDateTime &hourlyRowChosenAt) const
{
    EditorSchedule out;
    const QDateTime soon = now().addSecs(45);
    switch (choice) {
    case EditorChoice::DailySchedule:
        out.frequency = CorvaneScheduleItem::Daily;
        out.firstStart = nextscheduleDateForDailySchedule(picker);
        break;
    case EditorChoice::WeekDays: {
        out.frequency = CorvaneScheduleItem::SelectedDays;
        out.days = selectedDays;
        CorvaneScheduleItem record(m_clock);
        record.setSelectedDaysForSchedule(selectedDays);
        // The record starts from the picked time, not from now: edited on a selected day after
        // that time, the start is the next such day.
        record.setScheduleTime(todayAt(secondsOnly(picker)));
        out.firstStart = nextScheduleTransferDate(record, picker);
        break;
    }
    case EditorChoice::HourlySchedule:
        out.frequency = CorvaneScheduleItem::Hourly;
        out.days = {weekdayNumber(soon.date())};
        out.firstStart = hourlyRowChosenAt;
        out.scheduleHourlyBackup = oneMinuteGapWithTheCurrentTime(picker);
        break;
    case EditorChoice::Immediate:
        out.frequency = CorvaneScheduleItem::Immediate;
        out.firstStart = now().addSecs(30);
        out.days = {weekdayNumber(out.firstStart.date())};
        break;
    case EditorChoice::MonthlySchedule: {
        out.frequency = CorvaneScheduleItem::Monthly;
        out.days = {weekdayNumber(soon.date())};
        const QTime time = secondsOnly(picker);
        QDateTime start
            = dateFromComponents(soon.date().year(), soon.date().month(), dayOfMonth, time);
        // One month on from the (already normalised) date, normalised again.
        if (start < now())
            start = dateFromComponents(start.date().year(), start.date().month() + 1,
                                       start.date().day(), time);
        out.firstStart = start;
        break;
    }
    }
    return out;
}
