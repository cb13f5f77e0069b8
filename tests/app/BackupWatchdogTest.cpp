#include "app/BackupWatchdog.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using BackupWatchdog::Verdict;

TEST(BackupWatchdog, TooManyDaysWithoutASuccessOrAJobRunningIntoItsNextStart)
{
    TestEnvironment env;
    const FixedClock clock {QDateTime(QDate(2026, 11, 16), QTime(10, 0))}; // a Monday
    const QDateTime now = clock.now();
    const auto record = [&](int frequency, const QDateTime &start, int status = CorvaneScheduleItem::NotStarted) {
        CorvaneScheduleItem item(clock);
        item.setFrequency(frequency);
        item.setScheduleTime(start);
        item.setStatus(status);
        return item;
    };
    const QList<CorvaneScheduleItem> daily = {record(CorvaneScheduleItem::Daily, now.addSecs(3600))};
    EXPECT_EQ(BackupWatchdog::staleDays(), 7) << "the default";
    EXPECT_EQ(BackupWatchdog::evaluate(now, daily, now.addDays(-7), 7), Verdict::Fine) << "exactly seven days";
    EXPECT_EQ(BackupWatchdog::evaluate(now, daily, now.addDays(-7).addSecs(-1), 7), Verdict::NoRecentSuccess);
    EXPECT_EQ(BackupWatchdog::evaluate(now, daily, std::nullopt, 7), Verdict::NoRecentSuccess);
    EXPECT_EQ(BackupWatchdog::evaluate(now, daily, now.addDays(-2), 1), Verdict::NoRecentSuccess) << "a shorter limit";
    EXPECT_EQ(BackupWatchdog::evaluate(now, {}, std::nullopt, 7), Verdict::Fine) << "nothing scheduled, nothing missed";
    EXPECT_EQ(BackupWatchdog::evaluate(now, {record(CorvaneScheduleItem::Immediate, now)}, std::nullopt, 7),
              Verdict::Fine) << "a run-now record is no schedule";

    // Running into the next start, by frequency.
    const struct {
        int frequency;
        QVariantList days;
        qint64 secondsToNextStart;
    } running[] = {{CorvaneScheduleItem::Hourly, {}, 3600},
                   {CorvaneScheduleItem::Daily, {}, 86400},
                   {CorvaneScheduleItem::SelectedDays, {1, 3}, 2 * 86400}, // Monday, then Wednesday
                   {CorvaneScheduleItem::SelectedDays, {1}, 7 * 86400},
                   {CorvaneScheduleItem::Monthly, {}, 30 * 86400}};        // 16 November to 16 December
    for (const auto &c : running) {
        SCOPED_TRACE(c.frequency);
        CorvaneScheduleItem job = record(c.frequency, now, CorvaneScheduleItem::InProgress);
        job.setSelectedDaysForSchedule(c.days);
        const QDateTime due = now.addSecs(c.secondsToNextStart);
        EXPECT_EQ(BackupWatchdog::nextStartAfter(job), due);
        EXPECT_EQ(BackupWatchdog::evaluate(due.addSecs(-1), {job}, due.addDays(-1), 7), Verdict::Fine);
        EXPECT_EQ(BackupWatchdog::evaluate(due, {job}, due.addDays(-1), 7), Verdict::RunningPastNextStart);
    }
}

TEST(BackupWatchdog, TheWatchBeginsWhenBackupsAreFirstScheduledAndEndsWhenNoneAre)
{
    TestEnvironment env;
    const QDateTime first(QDate(2026, 11, 1), QTime(9, 0));
    const auto at = [](const QDateTime &time) { return [time] { return time; }; };
    using BackupWatchdog::watchedSince;
    EXPECT_FALSE(watchedSince(u"ann"_s, false, at(first)).isValid()) << "nothing scheduled yet";
    EXPECT_EQ(watchedSince(u"ann"_s, true, at(first)), first);
    EXPECT_EQ(watchedSince(u"ann"_s, true, at(first.addDays(9))), first) << "kept, across restarts";
    EXPECT_EQ(watchedSince(u"bob"_s, true, at(first.addDays(9))), first.addDays(9)) << "per account";
    EXPECT_FALSE(watchedSince(u"ann"_s, false, at(first.addDays(10))).isValid());
    EXPECT_EQ(watchedSince(u"ann"_s, true, at(first.addDays(11))), first.addDays(11)) << "scheduled again: a new watch";
}

} // namespace
