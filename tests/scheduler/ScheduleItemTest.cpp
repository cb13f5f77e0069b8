#include "SchedulerFixture.h"

using namespace Qt::StringLiterals;

namespace {

using ScheduleItemTest = SchedulerFixture;

TEST_F(ScheduleItemTest, ANewRecordIsADailyBackupStartingNow)
{
    const CorvaneScheduleItem item(clock);
    const QVariantList defaults {
        item.scheduleType(),      item.frequency(),   item.status(),          item.scheduleTime(),
        item.destination(),       item.username(),    item.corvaneUserName(), item.emailids(),
        item.isUseSSL(),          item.isBackupNow(), item.frequencyString(), item.statusString(),
        item.scheduleTypeString()};
    EXPECT_EQ(defaults,
              (QVariantList {0, 2, 0, clock.now(), u"My Corvane"_s, u"None"_s, u"None"_s, u""_s,
                             false, false, u"Daily"_s, u""_s, u"Backup"_s}));
    ASSERT_TRUE(item.selectedDaysForSchedule().has_value());
    EXPECT_TRUE(item.selectedDaysForSchedule()->isEmpty());
}

TEST_F(ScheduleItemTest, TheSslSetterTakesTextAndOnlyYesCounts)
{
    CorvaneScheduleItem item(clock);
    item.setSSL(u"YES"_s);
    EXPECT_TRUE(item.isUseSSL());
    item.setSSL(u"yes"_s);
    EXPECT_FALSE(item.isUseSSL());
}

TEST_F(ScheduleItemTest, ACopyStartsWithoutDaysBackupNowOrTimeSettings)
{
    CorvaneScheduleItem item = record(u"ann"_s, 5, at(2026, 11, 20, 9, 0));
    item.setSelectedDaysForSchedule(QVariantList{1, 3});
    item.setBackupNow(true);
    item.setScheduleTimeSettings(3);
    item.setQuotaServerName(u"q.example"_s);
    item.setAutoSyncEnabled(true);
    item.setNotifyOnFailure(true);
    const CorvaneScheduleItem copy = item.copy();
    EXPECT_FALSE(copy.isBackupNow());
    EXPECT_EQ(copy.scheduleTimeSettings(), 0);
    EXPECT_TRUE(copy.selectedDaysForSchedule()->isEmpty());
    EXPECT_EQ(copy.quotaServername(), u"q.example"_s);
    EXPECT_TRUE(copy.isAutoSyncEnabled());
    EXPECT_TRUE(copy.notifyOnFailure());
    EXPECT_EQ(copy.scheduleTime(), item.scheduleTime());
    EXPECT_FALSE(copy.isSameRecord(item)) << "a copy is a new record";
    EXPECT_TRUE(item.isSameRecord(CorvaneScheduleItem(item)));
}

TEST_F(ScheduleItemTest, EqualityAllowsTheReceiverUpToOneMinuteLaterNeverEarlier)
{
    const CorvaneScheduleItem base = record(u"ann"_s, 2, at(2026, 11, 20, 9, 0, 0));
    CorvaneScheduleItem later = base.copy();
    later.setScheduleTime(base.scheduleTime().addSecs(60));
    EXPECT_TRUE(later.isEqualToScheduleItem(base));
    EXPECT_FALSE(base.isEqualToScheduleItem(later));
    later.setScheduleTime(base.scheduleTime().addSecs(61));
    EXPECT_FALSE(later.isEqualToScheduleItem(base));

    CorvaneScheduleItem other = base.copy();
    other.setFrequency(4);
    other.setPassword(u"different"_s);
    other.setCorvaneUserName(u"someone else"_s);
    EXPECT_TRUE(other.isEqualToScheduleItem(base)) << "frequency and account are not compared";
    other.setSendLogExtract(true);
    EXPECT_FALSE(other.isEqualToScheduleItem(base));

    CorvaneScheduleItem running = base.copy();
    running.setStatus(1);
    EXPECT_FALSE(running.compareScheduleItems(base));
    running.setStatus(0);
    running.setDestination(u"elsewhere"_s);
    EXPECT_TRUE(running.compareScheduleItems(base)) << "same status is all it asks";
}

TEST_F(ScheduleItemTest, TextsOfTheEnumerations)
{
    CorvaneScheduleItem item(clock);
    const struct
    {
        int frequency;
        QString text;
        bool dayBased;
    } frequencies[] = {{0, u"Immediate"_s, false}, {1, u"Hourly "_s, false}, {2, u"Daily"_s, true},
                       {3, u"Weekdays"_s, true},   {4, u"Monthly"_s, true},   {7, u"None"_s, false},
                       {-1, u"None"_s, false}};
    for (const auto &f : frequencies) {
        item.setFrequency(f.frequency);
        EXPECT_EQ(item.frequencyString(), f.text) << f.frequency;
        EXPECT_EQ(item.frequencyState(), f.dayBased) << f.frequency;
    }
    const QString statuses[] = {u""_s, u"In progress"_s, u"Canceled"_s, u"Completed"_s, u"InvalidStatus"_s};
    for (int status = 0; status < 5; ++status) {
        item.setStatus(status);
        EXPECT_EQ(item.statusString(), statuses[status]);
    }
    item.setScheduleType(1);
    EXPECT_EQ(item.scheduleTypeString(), u"Restore"_s);
    item.setScheduleType(2);
    EXPECT_TRUE(item.scheduleTypeString().isNull());

    item.setScheduleTime(at(2026, 3, 5, 14, 7, 9));
    EXPECT_EQ(item.scheduleTimeString(), u"Thu Mar 05 2026 02:07:09 PM"_s);
}

TEST_F(ScheduleItemTest, DaysAsNamesFlagsAndNumbersHeldAsText)
{
    CorvaneScheduleItem item = record(u"ann"_s, 5, at(2026, 11, 20, 9, 0));
    item.setSelectedDaysForSchedule(QVariantList{3, 1});
    EXPECT_EQ(item.scheduledDays(), u"Wednesday,Monday"_s);
    EXPECT_EQ(item.frequencyString(), u"Wednesday,Monday"_s);

    item.setSelectedDaysForSchedule(QVariantList{u"0"_s, u"6"_s, 9});
    EXPECT_EQ(item.scheduledDays(), u"Sunday,Saturday"_s) << "out-of-range days are skipped";
    EXPECT_EQ(item.daysArray(), (QList<bool>{true, false, false, false, false, false, true}));

    item.setFrequency(2);
    EXPECT_EQ(item.scheduledDays(), u"Daily"_s);
}

TEST_F(ScheduleItemTest, AWeekdayRecordWithoutDaysBorrowsFromTheUsersOtherRecords)
{
    const CorvaneScheduleItem asking = record(u"ann"_s, 5, at(2026, 11, 20, 9, 0));
    EXPECT_EQ(asking.scheduledDays({}), u"None"_s);

    CorvaneScheduleItem first = record(u"ann"_s, 5, at(2026, 11, 20, 9, 0));
    first.setSelectedDaysForSchedule(QVariantList{1, 2});
    CorvaneScheduleItem second = record(u"ann"_s, 5, at(2026, 11, 20, 9, 0));
    second.setSelectedDaysForSchedule(QVariantList{3, 4, 5});
    const CorvaneScheduleItem daily = record(u"ann"_s, 2, at(2026, 11, 20, 9, 0));
    const CorvaneScheduleItem bobs = record(u"bob"_s, 5, at(2026, 11, 20, 9, 0));

    // The second record only adds what lies beyond the first one's two days.
    EXPECT_EQ(asking.scheduledDays({bobs, first, second}), u"Monday,Tuesday,Friday"_s);
    // A record without days stands for Monday to Friday.
    EXPECT_EQ(asking.scheduledDays({daily}), u"Monday,Tuesday,Wednesday,Thursday,Friday"_s);
    EXPECT_EQ(asking.scheduledDays({bobs}), u"None"_s);

    // Without a list of records, the archive is read.
    ScheduleArchive::save({first});
    EXPECT_EQ(asking.scheduledDays(), u"Monday,Tuesday"_s);
}

TEST_F(ScheduleItemTest, SortingByStartTime)
{
    QList<CorvaneScheduleItem> items{record(u"a"_s, 2, at(2026, 11, 20, 9, 0)),
                                     record(u"b"_s, 2, at(2026, 11, 19, 9, 0)),
                                     record(u"c"_s, 2, at(2026, 11, 21, 9, 0))};
    std::sort(items.begin(), items.end(), scheduleSorting);
    EXPECT_EQ(items.at(0).username(), u"b"_s);
    EXPECT_EQ(items.at(2).username(), u"c"_s);
    EXPECT_FALSE(scheduleSorting(items.at(0), items.at(0)));
}

} // namespace
