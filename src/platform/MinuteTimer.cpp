#include "MinuteTimer.h"

#include "Clock.h"

#include <QDateTime>

MinuteTimer::MinuteTimer(const Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        start();
        Q_EMIT timeout();
    });
}

void MinuteTimer::start()
{
    m_timer.start(msecsToNextMinute(m_clock.now()));
}

int MinuteTimer::msecsToNextMinute(const QDateTime &now)
{
    const QTime time = now.time();
    const int intoMinute = time.second() * 1000 + time.msec();
    return 60 * 1000 - intoMinute + kMarginMs;
}
