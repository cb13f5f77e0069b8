#pragma once

#include "CorvaneScheduleItem.h"

#include <QDateTime>
#include <QVariantList>

#include <optional>

class Clock;

// When schedules start. All times are local; "now" comes from the clock; the time picker's
// value is passed in (for most rules only its hour, minute and second count).
class NextRunCalculator {
public:
    explicit NextRunCalculator(const Clock &clock)
        : m_clock(clock)
    {
    }

    QDateTime nextscheduleDateForDailySchedule(const QDateTime &picker) const;
    QDateTime nextscheduleDateForHourlySchedule(const QDateTime &picker) const;
    QDateTime nextScheduleTransferDate(const CorvaneScheduleItem &record,
                                       const QDateTime &picker) const;
    QDateTime nextScheduleDateFromTheSelectedDaysArray(const CorvaneScheduleItem *record) const;
    bool currentDayIndexExsistsInTheSelectedArray(const CorvaneScheduleItem &record) const;
    bool oneMinuteGapWithTheCurrentTime(const QDateTime &picker) const;
    QDateTime recommendedCalendarDateForSchedule() const;
    // The earliest non-immediate record of `records` (the archive), or nothing.
    std::optional<CorvaneScheduleItem>
    nextScheduledItem(const QList<CorvaneScheduleItem> &records) const;

    // The rows of the editor's time settings.
    enum class EditorChoice { DailySchedule, WeekDays, HourlySchedule, Immediate, MonthlySchedule };
    struct EditorSchedule {
        int frequency = CorvaneScheduleItem::Daily;
        QVariantList days;
        QDateTime firstStart;
        bool scheduleHourlyBackup = false;
    };
    // What a schedule saved in the editor stores: its frequency, days and first start.
    // `hourlyRowChosenAt` is the time the hourly row was picked (an hourly record keeps it);
    // `dayOfMonth` is the monthly pop-up's number.
    EditorSchedule scheduleFromEditor(EditorChoice choice, const QDateTime &picker,
                                      const QVariantList &selectedDays, int dayOfMonth,
                                      const QDateTime &hourlyRowChosenAt) const;

    // Whole minutes and whole calendar days from `from` to `to`, truncated toward zero.
    static qint64 wholeMinutes(const QDateTime &from, const QDateTime &to);
    static qint64 wholeDays(const QDateTime &from, const QDateTime &to);
    // A date from components, overflowing days rolling into the next month (31 February is
    // 3 March), as the platform's calendar does.
    static QDateTime dateFromComponents(int year, int month, int day, const QTime &time);
    // The local date and time; one in the spring-forward gap moves on by the gap's length
    // (02:30 becomes 03:30), so that every start is a real instant.
    static QDateTime localDateTime(const QDate &date, const QTime &time);

private:
    QDateTime now() const;
    QDateTime todayAt(const QTime &time) const;

    const Clock &m_clock;
};
