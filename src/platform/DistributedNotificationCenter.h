#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>

// Broadcast notifications between the programs of one user, as D-Bus signals on the session bus:
// path /com/halvern/Lumen/Notifications, interface com.halvern.Lumen.DistributedNotifications,
// signal Notification(s name, s object, ay userInfo) where userInfo is a property list (binary or
// XML) of a dictionary, or empty.
class DistributedNotificationCenter : public QObject
{
    Q_OBJECT
public:
    using Callback = std::function<void(const QString &name, const QString &object,
                                        const QVariantMap &userInfo)>;

    static constexpr const char *kPath = "/com/halvern/Lumen/Notifications";
    static constexpr const char *kInterface = "com.halvern.Lumen.DistributedNotifications";
    static constexpr const char *kSignal = "Notification";

    explicit DistributedNotificationCenter(QObject *parent = nullptr);

    // With `deliverImmediately` the call returns once the bus has the notification.
    bool post(const QString &name, const QString &object = QString(),
              const QVariantMap &userInfo = {}, bool deliverImmediately = true);
    // Calls `callback` on this object's thread for every notification of that name (every name
    // when `name` is empty). False when the bus cannot be reached.
    bool addObserver(const QString &name, Callback callback);

private Q_SLOTS:
    void deliver(const QString &name, const QString &object, const QByteArray &userInfo);

private:
    bool subscribe();

    QList<std::pair<QString, Callback>> m_observers;
    bool m_subscribed = false;
};
