#include "DistributedNotificationCenter.h"

#include "PlatformLog.h"
#include "PropertyList.h"
#include "BusConnection.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

using namespace Qt::StringLiterals;

DistributedNotificationCenter::DistributedNotificationCenter(QObject *parent)
    : QObject(parent)
{
    // A restarted bus daemon forgot the subscription.
    connect(&BusConnection::shared(), &BusConnection::reconnected, this, [this] {
        if (m_subscribed)
            m_subscribed = subscribe();
    });
}

bool DistributedNotificationCenter::post(const QString &name, const QString &object,
                                         const QVariantMap &userInfo, bool deliverImmediately)
{
    QDBusMessage signal = QDBusMessage::createSignal(QString::fromLatin1(kPath),
                                                     QString::fromLatin1(kInterface),
                                                     QString::fromLatin1(kSignal));
    const QByteArray info = userInfo.isEmpty()
                                ? QByteArray()
                                : PropertyList::toData(userInfo, PropertyList::Format::Binary);
    signal << name << object << info;
    QDBusConnection bus = BusConnection::shared().connection();
    const bool sent = bus.send(signal);
    // Sending only queues the signal. A round trip to the bus behind it makes sure it has left,
    // even when the process ends right after posting (as lumenctl notify does).
    if (sent && deliverImmediately)
        bus.interface()->isServiceRegistered(u"org.freedesktop.DBus"_s);
    if (!sent)
        qCWarning(lcPlatform) << "notification" << name << "not posted: no session bus";
    return sent;
}

bool DistributedNotificationCenter::addObserver(const QString &name, Callback callback)
{
    m_observers.append({name, std::move(callback)});
    if (m_subscribed)
        return true;
    m_subscribed = subscribe();
    if (!m_subscribed)
        qCWarning(lcPlatform) << "cannot observe notifications: no session bus";
    return m_subscribed;
}

bool DistributedNotificationCenter::subscribe()
{
    return BusConnection::shared().connection().connect(
        QString(), QString::fromLatin1(kPath), QString::fromLatin1(kInterface),
        QString::fromLatin1(kSignal), this, SLOT(deliver(QString, QString, QByteArray)));
}

void DistributedNotificationCenter::deliver(const QString &name, const QString &object,
                                            const QByteArray &userInfo)
{
    const QVariantMap info = userInfo.isEmpty() ? QVariantMap()
                                                : PropertyList::fromData(userInfo).toMap();
    // A copy: a callback may add observers.
    const auto observers = m_observers;
    for (const auto &[wanted, callback] : observers) {
        if (wanted.isEmpty() || wanted == name)
            callback(name, object, info);
    }
}
