#pragma once

#include <QDBusConnection>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QTimer>

// A session bus connection that survives a restart of the bus daemon. Qt leaves a connection
// whose daemon went away disconnected for good, so when the bus library reports the loss this
// connects again to the same address under a fresh connection name, once a second until a
// daemon answers. No timer runs while the connection is up. Users take connection() afresh for
// each call and, on reconnected(), register their objects and names and subscribe again: the new
// connection has a new unique name and holds nothing of the old one.
class SessionBus : public QObject {
    Q_OBJECT
public:
    static constexpr int kRetryMs = 1000;

    // The connection the program's long-lived users share; it starts as Qt's session bus.
    static SessionBus &shared();

    // A connection of its own, named "<namePrefix>-<n>" (each end of the message channel is a
    // bus peer of its own).
    explicit SessionBus(const QString &namePrefix, QObject *parent = nullptr);
    ~SessionBus() override;

    // The current connection; callable from any thread.
    QDBusConnection connection() const;

Q_SIGNALS:
    // The daemon went away; calls fail until reconnected().
    void disconnected();
    void reconnected();

private Q_SLOTS:
    void lost();

private:
    SessionBus(const QString &namePrefix, const QDBusConnection &first, bool owned,
               QObject *parent);
    void watch(QDBusConnection connection);
    void reconnect();

    const QString m_namePrefix;
    mutable QMutex m_lock; // guards m_connection
    QDBusConnection m_connection;
    bool m_owned; // made by this object (Qt's own session bus is not)
    QTimer m_retry;
};
