#pragma once

#include <QObject>
#include <QTimer>

class Clock;
class QDateTime;

// Fires at the start of every minute of the clock (a few milliseconds after, never before),
// rather than every 60 seconds from whenever it started: a plain repeating timer drifts, and a
// check that must see a given minute of the wall clock can then step over it.
class MinuteTimer : public QObject
{
    Q_OBJECT
public:
    // How long after the minute's start the timer fires, so that it never fires just before.
    static constexpr int kMarginMs = 20;

    explicit MinuteTimer(const Clock &clock, QObject *parent = nullptr);

    // Arms the timer for the next minute's start (again: after a resume from sleep, whose time
    // the timer's own clock did not count).
    void start();
    void stop() { m_timer.stop(); }
    bool isActive() const { return m_timer.isActive(); }
    int remainingTime() const { return m_timer.remainingTime(); }

    // Milliseconds from `now` until the next minute's start plus the margin.
    static int msecsToNextMinute(const QDateTime &now);

Q_SIGNALS:
    void timeout();

private:
    const Clock &m_clock;
    QTimer m_timer;
};
