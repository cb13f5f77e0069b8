#pragma once

#include <QDBusConnection>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

// A bus connection that survives a restart of the bus daemon. Qt leaves a connection whose daemon
// went away disconnected for good, so when the bus library reports the loss this connects again
// to the same bus under a fresh connection name, once a second until a daemon answers. No timer
// runs while the connection is up. Users take connection() afresh for each call and, on
// reconnected(), register their objects and names and subscribe again: the new connection has a
// new unique name and holds nothing of the old one.
class BusConnection : public QObject {
    Q_OBJECT
public:
    static constexpr int kRetryMs = 1000;

    // The session bus connection the program's long-lived users share; it starts as Qt's own.
    static BusConnection &shared();
    // The same for the system bus.
    static BusConnection &system();

    // A connection of its own, named "<namePrefix>-<n>" (each end of the message channel is a
    // bus peer of its own).
    explicit BusConnection(const QString &namePrefix, QObject *parent = nullptr);
    // The same to the bus at `address`.
    BusConnection(const QString &address, const QString &namePrefix, QObject *parent = nullptr);
    ~BusConnection() override;

    // The current connection; callable from any thread.
    QDBusConnection connection() const;

Q_SIGNALS:
    // The daemon went away; calls fail until reconnected().
    void disconnected();
    void reconnected();

private Q_SLOTS:
    void lost();

private:
    using Connector = std::function<QDBusConnection(const QString &name)>;
    BusConnection(Connector connector, const QString &namePrefix, const QDBusConnection *first,
                  QObject *parent);
    static BusConnection &sharedOf(QDBusConnection::BusType type);
    void watch(QDBusConnection connection);
    void reconnect();

    const Connector m_connector; // a new connection to the same bus, under the given name
    const QString m_namePrefix;
    mutable QMutex m_lock; // guards m_connection
    QDBusConnection m_connection;
    bool m_owned; // made by this object (Qt's own session bus is not)
    QTimer m_retry;
};
