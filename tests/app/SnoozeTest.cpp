#include "app/Snooze.h"
#include "support/TestEnvironment.h"

#include <QTimeZone>

#include <gtest/gtest.h>

#include <ctime>

using namespace Qt::StringLiterals;

namespace {

// Local time is Berlin's while it lives, so that the clock changes are real.
class BerlinTime
{
public:
    BerlinTime() : m_old(qgetenv("TZ")) { set("Europe/Berlin"); }
    ~BerlinTime() { set(m_old); }

private:
    static void set(const QByteArray &zone)
    {
        zone.isEmpty() ? qunsetenv("TZ") : qputenv("TZ", zone);
        ::tzset();
    }
    QByteArray m_old;
};

TEST(Snooze, EachPresetEndsAtItsMomentAcrossMidnightAndClockChanges)
{
    BerlinTime berlin;
    const auto local = [](int y, int mo, int d, int h, int mi) { return QDateTime(QDate(y, mo, d), QTime(h, mi)); };
    const QDateTime lateNight = local(2026, 3, 28, 23, 30); // the clocks go forward at 02:00 next night
    const QDateTime none;
    struct Case {
        Snooze::Preset preset;
        QDateTime now;
        QDateTime end; // local
        qint64 realSeconds; // -1: not checked
    } cases[] = {
        {Snooze::OneHour, lateNight, local(2026, 3, 29, 0, 30), 3600},
        {Snooze::FourHours, lateNight, local(2026, 3, 29, 4, 30), 4 * 3600}, // 23:30 + 4 h of real time
        {Snooze::FourHours, local(2026, 10, 25, 0, 30), local(2026, 10, 25, 3, 30), 4 * 3600}, // an hour comes twice
        {Snooze::UntilTomorrow, lateNight, local(2026, 3, 29, 0, 0), 1800},
        {Snooze::UntilTomorrow, local(2026, 3, 29, 1, 0), local(2026, 3, 30, 0, 0), 22 * 3600}, // a 23-hour day
        {Snooze::UntilTomorrow, local(2026, 10, 25, 0, 30), local(2026, 10, 26, 0, 0), 24 * 3600 + 1800}, // a 25-hour day
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << int(c.preset) << " at " << c.now.toString().toStdString());
        const std::optional<QDateTime> end = Snooze::deadline(c.preset, c.now, std::nullopt);
        ASSERT_TRUE(end);
        EXPECT_EQ(end->toLocalTime(), c.end);
        EXPECT_EQ(c.now.secsTo(*end), c.realSeconds);
    }
    const QDateTime nextBackup = local(2026, 3, 29, 3, 15);
    EXPECT_EQ(Snooze::deadline(Snooze::UntilNextBackup, lateNight, nextBackup), nextBackup);
    EXPECT_FALSE(Snooze::deadline(Snooze::UntilNextBackup, lateNight, std::nullopt)) << "no next backup";
    EXPECT_FALSE(Snooze::deadline(Snooze::UntilNextBackup, lateNight, lateNight.addSecs(-60))) << "one already due";
    EXPECT_EQ(Snooze::pausedUntilText(local(2026, 3, 29, 4, 30)), u"Paused until 04:30"_s);
}

TEST(Snooze, APauseOutlivesItsObjectAndEndsOnceItsMomentHasPassed)
{
    TestEnvironment env;
    FixedClock clock {QDateTime(QDate(2026, 11, 16), QTime(10, 0))};
    {
        Snooze pause(clock);
        pause.start(clock.now().addSecs(3600), u"250"_s);
    }
    Snooze restarted(clock); // a new monitor, or one woken from sleep
    int ended = 0;
    QObject::connect(&restarted, &Snooze::ended, [&] { ++ended; });
    ASSERT_TRUE(restarted.pausedUntil());
    EXPECT_EQ(*restarted.pausedUntil(), clock.now().addSecs(3600));
    EXPECT_EQ(restarted.throttleBefore(), u"250"_s);
    restarted.check();
    EXPECT_EQ(ended, 0);
    clock.set(clock.now().addSecs(3600));
    restarted.check();
    EXPECT_EQ(ended, 1);
    restarted.clear();
    EXPECT_FALSE(restarted.pausedUntil());
    restarted.check();
    EXPECT_EQ(ended, 1) << "no pause: nothing ends";
}

} // namespace
