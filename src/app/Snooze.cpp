#include "Snooze.h"

#include "platform/Clock.h"
#include "platform/UserDefaults.h"
#include "product/MonitorSettings.h"
#include "product/StringTable.h"
#include "scheduler/NextRunCalculator.h"

#include <QLocale>

using namespace Qt::StringLiterals;

namespace {

const QString kUntilKey = u"PausedUntil"_s;
const QString kThrottleKey = u"PausedThrottle"_s;

UserDefaults defaults()
{
    return UserDefaults(MonitorSettings::defaultsDomain());
}

} // namespace

QString Snooze::title(Preset preset)
{
    switch (preset) {
    case OneHour: return SLLocalizedString(u"Pause for 1 hour"_s);
    case FourHours: return SLLocalizedString(u"Pause for 4 hours"_s);
    case UntilTomorrow: return SLLocalizedString(u"Pause until tomorrow"_s);
    case UntilNextBackup: return SLLocalizedString(u"Pause until the next scheduled backup"_s);
    }
    return QString();
}

std::optional<QDateTime> Snooze::deadline(Preset preset, const QDateTime &now,
                                          const std::optional<QDateTime> &nextBackup)
{
    switch (preset) {
    case OneHour: return now.addSecs(3600);
    case FourHours: return now.addSecs(4 * 3600);
    case UntilTomorrow: return NextRunCalculator::localDateTime(now.date().addDays(1), QTime(0, 0));
    case UntilNextBackup:
        if (nextBackup && nextBackup->isValid() && *nextBackup > now)
            return nextBackup;
        return std::nullopt;
    }
    return std::nullopt;
}

QString Snooze::pausedUntilText(const QDateTime &until)
{
    return SLLocalizedString(u"Paused until %1"_s).arg(QLocale::c().toString(until.toLocalTime().time(), u"HH:mm"_s));
}

Snooze::Snooze(const Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &Snooze::check);
}

std::optional<Snooze::Pause> Snooze::saved()
{
    const UserDefaults values = defaults();
    const QDateTime until = QDateTime::fromString(values.stringForKey(kUntilKey), Qt::ISODateWithMs);
    if (!until.isValid())
        return std::nullopt;
    return Pause {until, values.stringForKey(kThrottleKey)};
}

std::optional<Snooze::Pause> Snooze::stored() const
{
    // A pause the defaults could not take is newer than whatever they still hold.
    return m_unsaved ? m_unsaved : saved();
}

std::optional<QDateTime> Snooze::storedUntil() const
{
    const std::optional<Pause> pause = stored();
    return pause ? std::optional<QDateTime>(pause->until) : std::nullopt;
}

std::optional<QDateTime> Snooze::pausedUntil() const
{
    const std::optional<QDateTime> until = storedUntil();
    return until && *until != m_cleared ? until : std::nullopt;
}

QString Snooze::throttleBefore() const
{
    const std::optional<Pause> pause = stored();
    return pause ? pause->throttleBefore : QString();
}

bool Snooze::start(const QDateTime &until, const QString &throttleBefore)
{
    m_cleared = QDateTime();
    m_unsaved.reset();
    const QDateTime end = until.toUTC();
    UserDefaults values = defaults();
    values.setObject(end.toString(Qt::ISODateWithMs), kUntilKey);
    values.setObject(throttleBefore, kThrottleKey);
    const bool saved = values.synchronize();
    if (!saved)
        m_unsaved = Pause {end, throttleBefore};
    check();
    return saved;
}

void Snooze::clear()
{
    m_timer.stop();
    // What the defaults hold stays ignored should they keep it; a pause kept in memory just goes.
    const std::optional<Pause> inDefaults = saved();
    m_cleared = inDefaults ? inDefaults->until : QDateTime();
    m_unsaved.reset();
    UserDefaults values = defaults();
    values.removeObjectForKey(kUntilKey);
    values.removeObjectForKey(kThrottleKey);
    values.synchronize();
}

void Snooze::check()
{
    const std::optional<QDateTime> until = pausedUntil();
    if (!until)
        return;
    const qint64 left = m_clock.now().msecsTo(*until);
    if (left <= 0) {
        Q_EMIT ended();
        return;
    }
    // The timer keeps no time while the machine sleeps: the minute refresh checks again too.
    m_timer.start(int(qMin<qint64>(left, 60 * 60 * 1000)));
}
