#pragma once

#include <QDateTime>
#include <QObject>
#include <QTimer>

#include <optional>

class Clock;

// Backups paused for a while: until an absolute moment kept in the monitor's defaults, so that
// the pause outlives a restart and a sleep, and ends by itself.
class Snooze : public QObject
{
    Q_OBJECT
public:
    enum Preset { OneHour, FourHours, UntilTomorrow, UntilNextBackup };
    static constexpr Preset kPresets[] = {OneHour, FourHours, UntilTomorrow, UntilNextBackup};
    static QString title(Preset preset);
    // When a preset chosen at `now` ends: an hour or four of real time (a clock change does not
    // stretch them), the start of tomorrow, or the next scheduled backup (none when there is no
    // such backup still to come).
    static std::optional<QDateTime> deadline(Preset preset, const QDateTime &now,
                                             const std::optional<QDateTime> &nextBackup);
    // "Paused until HH:MM".
    static QString pausedUntilText(const QDateTime &until);

    explicit Snooze(const Clock &clock, QObject *parent = nullptr);

    // The end of the pause, when one is set and still to come or not yet ended.
    std::optional<QDateTime> pausedUntil() const;
    // The throttle value the pause replaced, to be put back when it ends.
    QString throttleBefore() const;
    // Whether the end could be saved; when not, this run still ends the pause on time.
    bool start(const QDateTime &until, const QString &throttleBefore);
    // Ends the pause; for the rest of this run even when the defaults cannot be rewritten, so
    // that the refresh does not end it again every minute.
    void clear();
    // Ends the pause when its moment has passed (also when the machine slept through it),
    // otherwise waits for it.
    void check();

Q_SIGNALS:
    void ended();

private:
    struct Pause {
        QDateTime until;
        QString throttleBefore;
    };
    static std::optional<Pause> saved(); // the pause in the defaults
    // The pause the defaults could not take, else theirs.
    std::optional<Pause> stored() const;
    std::optional<QDateTime> storedUntil() const;

    const Clock &m_clock;
    QTimer m_timer;
    QDateTime m_cleared; // the stored end of the pause last cleared
    std::optional<Pause> m_unsaved; // started while the defaults could not be written
};
