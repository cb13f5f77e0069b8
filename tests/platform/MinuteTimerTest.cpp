#include "platform/MinuteTimer.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

namespace {

QDateTime at(int hour, int minute, int second, int msec)
{
    return QDateTime(QDate(2026, 11, 23), QTime(hour, minute, second, msec));
}

TEST(MinuteTimer, WaitsUntilJustAfterTheNextMinutesStart)
{
    constexpr int margin = MinuteTimer::kMarginMs;
    EXPECT_EQ(MinuteTimer::msecsToNextMinute(at(10, 0, 0, 0)), 60000 + margin);
    EXPECT_EQ(MinuteTimer::msecsToNextMinute(at(10, 0, 0, margin)), 60000) << "fired on time: a full minute on";
    EXPECT_EQ(MinuteTimer::msecsToNextMinute(at(10, 0, 30, 500)), 29500 + margin);
    EXPECT_EQ(MinuteTimer::msecsToNextMinute(at(10, 59, 59, 999)), 1 + margin) << "never just before the minute";
    EXPECT_EQ(MinuteTimer::msecsToNextMinute(at(23, 59, 59, 990)), 10 + margin) << "across midnight";
}

TEST(MinuteTimer, FiresAtTheMinuteAndArmsItselfForTheNextOne)
{
    FixedClock clock(at(10, 29, 59, 950));
    MinuteTimer timer(clock);
    int fired = 0;
    QObject::connect(&timer, &MinuteTimer::timeout, [&] { ++fired; });
    timer.start();
    EXPECT_LE(timer.remainingTime(), 50 + MinuteTimer::kMarginMs);
    clock.set(at(10, 30, 0, 30)); // by the time it fires
    ASSERT_TRUE(waitUntil([&] { return fired == 1; }, 2000));
    EXPECT_TRUE(timer.isActive()) << "armed again";
    EXPECT_GT(timer.remainingTime(), 59000) << "for the next minute, from the clock's time";
    timer.stop();
    EXPECT_FALSE(timer.isActive());
}

} // namespace
