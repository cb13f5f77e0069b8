#pragma once

#include <QHash>
#include <QLoggingCategory>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>

Q_DECLARE_LOGGING_CATEGORY(lcNetworkWatch)

class QNetworkInformation;

// Holds back work that needs the network until the system says the network is up
// (NetworkManager on Linux, the system's reachability on macOS). After a wake-up the network
// comes back seconds after the programs do; work started in between fails for nothing.
//
// Up means reachable beyond the local link. "Site" counts: a network whose internet check is
// blocked (a proxy) still reaches its servers. While a backend runs, "Unknown" (asleep, still
// connecting) is not up; without any backend the network counts as up, since nobody can tell.
// The backend is loaded on first use, so a monitor that never waits never loads it.
class NetworkWatcher : public QObject {
    Q_OBJECT
public:
    // `backend`: one by name (e.g. "networkmanager"), or empty for any that reports reachability.
    explicit NetworkWatcher(QString backend = {}, QObject *parent = nullptr);

    bool isOnline();
    // Runs `work` at once when the network is up, else once it is up, or when the patience runs
    // out (a backend that never decides must not hold work back for ever). Work given under a
    // key that already waits replaces the waiting one.
    void whenOnline(const QString &key, std::function<void()> work);
    void cancel(const QString &key) { m_waiting.remove(key); }
    bool isWaiting(const QString &key) const { return m_waiting.contains(key); }
    void setPatience(std::chrono::milliseconds patience) { m_patience.setInterval(patience); }

Q_SIGNALS:
    void onlineChanged(bool online);

private:
    QNetworkInformation *information();
    void reachabilityChanged();
    void runWaiting(const char *why);

    QString m_backend;
    bool m_loaded = false;
    QNetworkInformation *m_information = nullptr;
    bool m_wasOnline = true;
    QHash<QString, std::function<void()>> m_waiting;
    QTimer m_patience;
};
