#pragma once

#include <QLoggingCategory>
#include <QObject>

Q_DECLARE_LOGGING_CATEGORY(lcSleep)

class BusConnection;

// Tells when the machine goes to sleep and wakes up again, from logind's PrepareForSleep signal
// on the system bus. Timers do not run while the machine sleeps, so whatever must happen at a
// given minute is checked again on resumed(). Without a system bus (or logind) it stays quiet;
// when the system bus daemon restarts, it listens again on the new one.
class SleepWatcher : public QObject {
    Q_OBJECT
public:
    static constexpr const char *kService = "org.freedesktop.login1";
    static constexpr const char *kPath = "/org/freedesktop/login1";
    static constexpr const char *kInterface = "org.freedesktop.login1.Manager";

    // The system bus by default.
    explicit SleepWatcher(BusConnection *bus = nullptr, QObject *parent = nullptr);

    // Whether the subscription to logind's signal is in place.
    bool isWatching() const { return m_watching; }

Q_SIGNALS:
    void aboutToSleep();
    void resumed();

private Q_SLOTS:
    void onPrepareForSleep(bool sleeping);

private:
    void subscribe();

    BusConnection *m_bus;
    bool m_watching = false;
};
