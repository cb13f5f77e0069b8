#include "SchedulerFixture.h"

#include "scheduler/NextRunCalculator.h"

using namespace Qt::StringLiterals;

namespace {

class NextRunTest : public SchedulerFixture {
protected:
    NextRunCalculator calc {clock};
    QDateTime pickerAt(int h, int mi, int s = 0) const
    {
        return QDateTime(QDate(2001, 1, 1), QTime(h, mi, s));
    }
    CorvaneScheduleItem weekly(QVariantList days, const QDateTime &time) const
    {
        CorvaneScheduleItem item = record(u"ann"_s, 5, time);
        item.setSelectedDaysForSchedule(days);
        return item;
    }
};

TEST_F(NextRunTest, DailyStartsTodayWithinTheOneMinuteGraceElseTomorrow)
{
    clock.set(at(2026, 11, 16, 10, 0, 30));
    EXPECT_EQ(calc.nextscheduleDateForDailySchedule(pickerAt(10, 0)), at(2026, 11, 16, 10, 0));
    clock.set(at(2026, 11, 16, 10, 0, 59));
    EXPECT_EQ(calc.nextscheduleDateForDailySchedule(pickerAt(10, 0)), at(2026, 11, 16, 10, 0));
    clock.set(at(2026, 11, 16, 10, 1, 0));
    EXPECT_EQ(calc.nextscheduleDateForDailySchedule(pickerAt(10, 0)), at(2026, 11, 17, 10, 0));
    clock.set(at(2026, 11, 16, 10, 1, 5));
    EXPECT_EQ(calc.nextscheduleDateForDailySchedule(pickerAt(10, 0)), at(2026, 11, 17, 10, 0));
    clock.set(at(2026, 12, 31, 23, 30));
    EXPECT_EQ(calc.nextscheduleDateForDailySchedule(pickerAt(8, 15, 7)), at(2027, 1, 1, 8, 15, 7));
}

TEST_F(NextRunTest, DailyAcrossTheDaylightSavingChanges)
{
    // The evening before the spring change, a 09:00 start lands on the short day at 09:00.
    clock.set(at(2026, 3, 28, 22, 0));
    const QDateTime spring = calc.nextscheduleDateForDailySchedule(pickerAt(9, 0));
    EXPECT_EQ(spring, at(2026, 3, 29, 9, 0));
    EXPECT_EQ(at(2026, 3, 28, 22, 0).secsTo(spring), 10 * 3600) << "one hour fewer that night";
    // In autumn the same start is 12 real hours away.
    clock.set(at(2026, 10, 24, 22, 0));
    EXPECT_EQ(at(2026, 10, 24, 22, 0).secsTo(calc.nextscheduleDateForDailySchedule(pickerAt(9, 0))),
              12 * 3600);
}

TEST_F(NextRunTest, HourlyKeepsThePickerUnlessMoreThanAMinuteHasPassed)
{
    const QDateTime picker = at(2026, 11, 16, 10, 0, 0);
    clock.set(at(2026, 11, 16, 10, 1, 0));
    EXPECT_EQ(calc.nextscheduleDateForHourlySchedule(picker), picker);
    clock.set(at(2026, 11, 16, 10, 1, 1));
    EXPECT_EQ(calc.nextscheduleDateForHourlySchedule(picker), at(2026, 11, 16, 11, 1, 1));
    EXPECT_TRUE(calc.oneMinuteGapWithTheCurrentTime(at(2026, 11, 16, 10, 0, 30)));
    EXPECT_FALSE(calc.oneMinuteGapWithTheCurrentTime(at(2026, 11, 16, 10, 0, 1)));
}

TEST_F(NextRunTest, WeekdaySchedules)
{
    clock.set(at(2026, 11, 16, 11, 0)); // Monday
    const CorvaneScheduleItem monday = weekly({1}, at(2026, 11, 16, 10, 0));
    EXPECT_TRUE(calc.currentDayIndexExsistsInTheSelectedArray(monday));
    // Edited on Monday after the picked time: next Monday.
    EXPECT_EQ(calc.nextScheduleTransferDate(monday, pickerAt(10, 0)), at(2026, 11, 23, 10, 0));
    // Before the picked time: today.
    EXPECT_EQ(calc.nextScheduleTransferDate(monday, pickerAt(12, 0)), at(2026, 11, 16, 12, 0));
    // Days held as text count by their value; the nearest selected day wins.
    const CorvaneScheduleItem midweek = weekly({u"5"_s, u"3"_s}, at(2026, 11, 16, 10, 0));
    EXPECT_EQ(calc.nextScheduleTransferDate(midweek, pickerAt(7, 30)), at(2026, 11, 18, 7, 30));
    EXPECT_FALSE(
        calc.currentDayIndexExsistsInTheSelectedArray(weekly({}, at(2026, 11, 16, 10, 0))));
}

TEST_F(NextRunTest, AnEmptyDayListGivesSevenDaysAfterTheStart)
{
    clock.set(at(2026, 11, 16, 11, 0));
    const CorvaneScheduleItem none = weekly({}, at(2026, 11, 16, 10, 0));
    // The start moved to tomorrow 10:00 (today's time has passed); seven days on from there.
    EXPECT_EQ(calc.nextScheduleDateFromTheSelectedDaysArray(&none), at(2026, 11, 24, 10, 0));
    EXPECT_EQ(calc.nextScheduleTransferDate(none, pickerAt(10, 0)), at(2026, 11, 24, 10, 0));
    EXPECT_FALSE(calc.nextScheduleDateFromTheSelectedDaysArray(nullptr).isValid());
}

TEST_F(NextRunTest, SelectedDaysAcrossTheSpringChange)
{
    // Saturday evening; the next Sunday (the 23-hour day) at 02:30 does not exist on the wall
    // clock, and a Monday 09:00 start is two calendar days away.
    clock.set(at(2026, 3, 28, 20, 0));
    const CorvaneScheduleItem mondays = weekly({1}, at(2026, 3, 20, 9, 0));
    EXPECT_EQ(calc.nextScheduleDateFromTheSelectedDaysArray(&mondays), at(2026, 3, 30, 9, 0));
    const CorvaneScheduleItem sundays = weekly({0}, at(2026, 3, 22, 9, 0));
    EXPECT_EQ(calc.nextScheduleDateFromTheSelectedDaysArray(&sundays), at(2026, 3, 29, 9, 0));
}

TEST_F(NextRunTest, EveryRuleGivesARealInstantInTheSpringForwardGap)
{
    using Choice = NextRunCalculator::EditorChoice;
    // 02:30 does not exist on 29 March 2026 in Berlin: every rule starts at 03:30 instead.
    const QDateTime gapStart = at(2026, 3, 29, 3, 30);
    ASSERT_FALSE(at(2026, 3, 29, 2, 30).isValid()) << "the zone has the gap";
    EXPECT_EQ(NextRunCalculator::localDateTime(QDate(2026, 3, 29), QTime(2, 30)), gapStart);
    EXPECT_EQ(NextRunCalculator::localDateTime(QDate(2026, 3, 29), QTime(1, 59, 59)),
              at(2026, 3, 29, 1, 59, 59));

    clock.set(at(2026, 3, 28, 22, 0)); // the Saturday evening before
    const struct {
        const char *name;
        Choice choice;
        QVariantList days;
        int dayOfMonth;
    } rules[] = {{"daily", Choice::DailySchedule, {}, 1},
                 {"Sundays", Choice::WeekDays, {0}, 1},
                 {"monthly on the 29th", Choice::MonthlySchedule, {}, 29}};
    for (const auto &rule : rules) {
        const auto schedule
            = calc.scheduleFromEditor(rule.choice, pickerAt(2, 30), rule.days, rule.dayOfMonth, {});
        EXPECT_TRUE(schedule.firstStart.isValid()) << rule.name;
        EXPECT_EQ(schedule.firstStart, gapStart) << rule.name;
    }
    // Sunday's own start time in the gap, found from an earlier Sunday's record.
    const CorvaneScheduleItem sundays = weekly({0}, at(2026, 3, 22, 2, 30));
    EXPECT_EQ(calc.nextScheduleDateFromTheSelectedDaysArray(&sundays), gapStart);

    // A record without a start is never the next job.
    CorvaneScheduleItem noStart = record(u"nil"_s, 2, QDateTime());
    EXPECT_EQ(calc.nextScheduledItem({noStart, record(u"real"_s, 2, gapStart)})->username(),
              u"real"_s);
    EXPECT_FALSE(calc.nextScheduledItem({noStart}).has_value());
}

TEST_F(NextRunTest, NoFirstStartIsEarlierThanNow)
{
    using Choice = NextRunCalculator::EditorChoice;
    // Monday after 10:00, the picked time: the next Monday, not this morning.
    clock.set(at(2026, 11, 16, 11, 0));
    EXPECT_EQ(calc.scheduleFromEditor(Choice::WeekDays, pickerAt(10, 0), {1}, 1, {}).firstStart,
              at(2026, 11, 23, 10, 0));
    EXPECT_EQ(calc.scheduleFromEditor(Choice::WeekDays, pickerAt(10, 0), {3, 1}, 1, {}).firstStart,
              at(2026, 11, 18, 10, 0));
    // A record whose own time is later in the day than the picked one.
    EXPECT_EQ(calc.nextScheduleTransferDate(weekly({1}, at(2026, 11, 16, 23, 0)), pickerAt(10, 0)),
              at(2026, 11, 23, 10, 0));

    // Every rule but the hourly one, over a week of "now"s and a day of picked times.
    for (int hours = 0; hours < 7 * 24; hours += 5) {
        clock.set(at(2026, 11, 16, 0, 17).addSecs(hours * 3600));
        for (int pick = 0; pick < 24; pick += 3) {
            for (const Choice choice :
                 {Choice::WeekDays, Choice::MonthlySchedule, Choice::Immediate}) {
                const QDateTime start
                    = calc.scheduleFromEditor(choice, pickerAt(pick, 30), {0, 2, 4}, 16, {})
                          .firstStart;
                EXPECT_GE(start, clock.now()) << clock.now().toString().toStdString() << " pick "
                                              << pick << " rule " << int(choice);
            }
            // The daily rule's one-minute grace is the only start allowed in the (recent) past.
            EXPECT_GT(calc.nextscheduleDateForDailySchedule(pickerAt(pick, 30)),
                      clock.now().addSecs(-60));
        }
    }
}

TEST_F(NextRunTest, ASelectedDayStartsTodayUntilItsMinuteHasPassed)
{
    const CorvaneScheduleItem monday = weekly({1}, at(2026, 11, 9, 10, 0));
    for (const auto &[now, expected] :
         {std::pair {at(2026, 11, 16, 10, 0, 0), at(2026, 11, 16, 10, 0)},
          std::pair {at(2026, 11, 16, 10, 0, 59), at(2026, 11, 16, 10, 0)},
          std::pair {at(2026, 11, 16, 10, 1, 0), at(2026, 11, 23, 10, 0)}}) {
        clock.set(now);
        EXPECT_EQ(calc.nextScheduleDateFromTheSelectedDaysArray(&monday), expected)
            << now.toString().toStdString();
    }
}

TEST_F(NextRunTest, WholeDaysAndMinutesTruncateTowardZero)
{
    using C = NextRunCalculator;
    EXPECT_EQ(C::wholeMinutes(at(2026, 1, 1, 10, 0, 0), at(2026, 1, 1, 10, 0, 59)), 0);
    EXPECT_EQ(C::wholeMinutes(at(2026, 1, 1, 10, 0, 59), at(2026, 1, 1, 10, 0, 0)), 0);
    EXPECT_EQ(C::wholeMinutes(at(2026, 1, 1, 10, 2, 0), at(2026, 1, 1, 10, 0, 0)), -2);
    EXPECT_EQ(C::wholeDays(at(2026, 1, 1, 10, 0), at(2026, 1, 2, 9, 59)), 0);
    EXPECT_EQ(C::wholeDays(at(2026, 1, 1, 10, 0), at(2026, 1, 2, 10, 0)), 1);
    EXPECT_EQ(C::wholeDays(at(2026, 1, 3, 10, 0), at(2026, 1, 1, 11, 0)), -1);
    // A calendar day across the spring change is 23 hours long and still one day.
    EXPECT_EQ(C::wholeDays(at(2026, 3, 28, 12, 0), at(2026, 3, 29, 12, 0)), 1);
}

TEST_F(NextRunTest, MonthEndsOverflowIntoTheNextMonth)
{
    using C = NextRunCalculator;
    EXPECT_EQ(C::dateFromComponents(2026, 2, 31, QTime(9, 0)), at(2026, 3, 3, 9, 0));
    EXPECT_EQ(C::dateFromComponents(2028, 2, 31, QTime(9, 0)), at(2028, 3, 2, 9, 0));
    EXPECT_EQ(C::dateFromComponents(2026, 13, 1, QTime(9, 0)), at(2027, 1, 1, 9, 0));

    clock.set(at(2026, 2, 10, 12, 0));
    NextRunCalculator::EditorSchedule monthly = calc.scheduleFromEditor(
        NextRunCalculator::EditorChoice::MonthlySchedule, pickerAt(9, 0), {}, 31, {});
    EXPECT_EQ(monthly.frequency, 4);
    EXPECT_EQ(monthly.firstStart, at(2026, 3, 3, 9, 0)) << "no clamping to 28 February";
    // Past already this month: one month on.
    clock.set(at(2026, 1, 31, 12, 0));
    monthly = calc.scheduleFromEditor(NextRunCalculator::EditorChoice::MonthlySchedule,
                                      pickerAt(9, 0), {}, 31, {});
    EXPECT_EQ(monthly.firstStart, at(2026, 3, 3, 9, 0));
    EXPECT_EQ(monthly.days, QVariantList {6}) << "weekday of now plus 45 seconds (a Saturday)";
}

TEST_F(NextRunTest, TheEditorsRowsDecideFrequencyDaysAndStart)
{
    using Choice = NextRunCalculator::EditorChoice;
    clock.set(at(2026, 11, 16, 23, 59, 50)); // Monday, ten seconds before Tuesday
    const auto daily = calc.scheduleFromEditor(Choice::DailySchedule, pickerAt(8, 0), {3}, 1, {});
    EXPECT_EQ(daily.frequency, 2);
    EXPECT_TRUE(daily.days.isEmpty());
    EXPECT_EQ(daily.firstStart, at(2026, 11, 17, 8, 0));

    const auto week = calc.scheduleFromEditor(Choice::WeekDays, pickerAt(8, 0), {3}, 1, {});
    EXPECT_EQ(week.frequency, 5);
    EXPECT_EQ(week.days, QVariantList {3});
    EXPECT_EQ(week.firstStart, at(2026, 11, 18, 8, 0));

    const auto now = calc.scheduleFromEditor(Choice::Immediate, pickerAt(8, 0), {}, 1, {});
    EXPECT_EQ(now.frequency, 0);
    EXPECT_EQ(now.firstStart, at(2026, 11, 17, 0, 0, 20));
    EXPECT_EQ(now.days, QVariantList {2}) << "the weekday of the start";

    const QDateTime chosen = at(2026, 11, 16, 23, 40);
    const auto hourly = calc.scheduleFromEditor(Choice::HourlySchedule, chosen, {}, 1, chosen);
    EXPECT_EQ(hourly.frequency, 1);
    EXPECT_EQ(hourly.firstStart, chosen);
    EXPECT_EQ(hourly.days, QVariantList {2}) << "weekday of now plus 45 seconds";
    EXPECT_FALSE(hourly.scheduleHourlyBackup);
}

TEST_F(NextRunTest, RecommendedStartsAreEveningTimesWithANonZeroMinute)
{
    for (int minutes = 0; minutes < 24 * 60; minutes += 7) {
        clock.set(at(2026, 11, 16, 0, 0).addSecs(minutes * 60));
        const QDateTime start = calc.recommendedCalendarDateForSchedule();
        SCOPED_TRACE(clock.now().toString().toStdString());
        EXPECT_NE(start.time().minute(), 0);
        EXPECT_EQ(start.time().second(), 0);
        const int hour = start.time().hour();
        EXPECT_TRUE(hour >= 18 || start.date() == clock.now().date()) << hour;
        EXPECT_GE(start, clock.now().addSecs(-60 * 60 * 24)) << "never a day in the past";
        if (start.date() != clock.now().date()) {
            EXPECT_EQ(start.date(), clock.now().date().addDays(1));
        }
    }
}

TEST_F(NextRunTest, TheNextScheduledItemIsTheEarliestNonImmediateOne)
{
    clock.set(at(2026, 11, 16, 12, 0));
    const CorvaneScheduleItem overdue = record(u"late"_s, 2, at(2026, 11, 16, 9, 0));
    const CorvaneScheduleItem future = record(u"soon"_s, 2, at(2026, 11, 16, 13, 0));
    const CorvaneScheduleItem immediate = record(u"now"_s, 0, at(2026, 11, 16, 8, 0));
    EXPECT_EQ(calc.nextScheduledItem({future, immediate, overdue})->username(), u"late"_s);
    EXPECT_EQ(calc.nextScheduledItem({future})->username(), u"soon"_s);
    EXPECT_FALSE(calc.nextScheduledItem({immediate}).has_value());
    EXPECT_FALSE(calc.nextScheduledItem({}).has_value());
    // On a tie the first record wins, of any frequency.
    const CorvaneScheduleItem tieImmediate = record(u"tie"_s, 0, at(2026, 11, 16, 13, 0, 30));
    EXPECT_EQ(calc.nextScheduledItem({tieImmediate, future})->username(), u"tie"_s);
}

} // namespace
