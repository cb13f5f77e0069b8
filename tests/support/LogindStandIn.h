#pragma once

#include <QDBusConnection>
#include <QObject>

// Stands in for logind on a test's bus: owns org.freedesktop.login1 and emits the manager's
// PrepareForSleep signal when told.
class LogindStandIn : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")
public:
    explicit LogindStandIn(const QDBusConnection &bus, QObject *parent = nullptr);
    ~LogindStandIn() override;

    bool isRunning() const { return m_running; }
    void prepareForSleep(bool sleeping) { Q_EMIT PrepareForSleep(sleeping); }

Q_SIGNALS:
    Q_SCRIPTABLE void PrepareForSleep(bool start);

private:
    QDBusConnection m_bus;
    bool m_running = false;
};
