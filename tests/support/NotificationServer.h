#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>

// A desktop notification service for tests: owns org.freedesktop.Notifications on the session
// bus through a connection of its own, records what it is sent and emits the service's signals
// when told. Ids grow from 1; a Notify that replaces an id gets that id back.
class NotificationServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Notification {
        uint id = 0;
        QString appName;
        uint replacesId = 0;
        QString icon;
        QString summary;
        QString body;
        QStringList actions; // key, label, key, label, ...
        QVariantMap hints;
        int expireTimeout = 0;
    };

    explicit NotificationServer(QObject *parent = nullptr);
    ~NotificationServer() override;

    // Whether it owns the service name.
    bool isRunning() const { return m_running; }
    QList<Notification> notifications() const { return m_notifications; }
    QList<uint> closeRequests() const { return m_closeRequests; }
    // Told of each call as it comes (the stand-alone server prints them). Callbacks, not
    // signals: every signal of this object is relayed to the bus.
    std::function<void(const Notification &)> onNotify;
    std::function<void(uint id)> onCloseRequest;

    // What the desktop sends when the user picks an action or a notification goes away.
    void invokeAction(uint id, const QString &key) { Q_EMIT ActionInvoked(id, key); }
    void closeNotification(uint id, uint reason = 2) { Q_EMIT NotificationClosed(id, reason); }

public Q_SLOTS:
    // The service's methods, as the bus calls them.
    Q_SCRIPTABLE uint Notify(const QString &appName, uint replacesId, const QString &icon,
                             const QString &summary, const QString &body,
                             const QStringList &actions, const QVariantMap &hints,
                             int expireTimeout);
    Q_SCRIPTABLE void CloseNotification(uint id);
    Q_SCRIPTABLE QStringList GetCapabilities() const;
    Q_SCRIPTABLE QString GetServerInformation(QString &vendor, QString &version,
                                              QString &specVersion) const;

Q_SIGNALS:
    Q_SCRIPTABLE void ActionInvoked(uint id, const QString &actionKey);
    Q_SCRIPTABLE void NotificationClosed(uint id, uint reason);

private:
    QString m_connectionName;
    QDBusConnection m_bus;
    bool m_running = false;
    uint m_lastId = 0;
    QList<Notification> m_notifications;
    QList<uint> m_closeRequests;
};
