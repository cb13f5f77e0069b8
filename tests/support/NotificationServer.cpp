#include "NotificationServer.h"

#include <QAtomicInt>

using namespace Qt::StringLiterals;

namespace {

const QString kService = u"org.freedesktop.Notifications"_s;
const QString kPath = u"/org/freedesktop/Notifications"_s;

QString nextConnectionName()
{
    static QAtomicInt counter;
    return u"lumen-test-notification-server-%1"_s.arg(counter.fetchAndAddRelaxed(1));
}

} // namespace

NotificationServer::NotificationServer(QObject *parent)
    : QObject(parent)
    , m_connectionName(nextConnectionName())
    , m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName))
{
    m_running = m_bus.registerObject(kPath, this,
                                     QDBusConnection::ExportScriptableSlots
                                         | QDBusConnection::ExportScriptableSignals)
        && m_bus.registerService(kService);
}

NotificationServer::~NotificationServer()
{
    if (m_running)
        m_bus.unregisterService(kService);
    m_bus.unregisterObject(kPath);
    QDBusConnection::disconnectFromBus(m_connectionName);
}

uint NotificationServer::Notify(const QString &appName, uint replacesId, const QString &icon,
                                const QString &summary, const QString &body,
                                const QStringList &actions, const QVariantMap &hints,
                                int expireTimeout)
{
    const uint id = replacesId != 0 ? replacesId : ++m_lastId;
    m_notifications.append(
        {id, appName, replacesId, icon, summary, body, actions, hints, expireTimeout});
    if (onNotify)
        onNotify(m_notifications.last());
    return id;
}

void NotificationServer::CloseNotification(uint id)
{
    m_closeRequests.append(id);
    if (onCloseRequest)
        onCloseRequest(id);
    Q_EMIT NotificationClosed(id, 3); // closed by a call to CloseNotification
}

QStringList NotificationServer::GetCapabilities() const
{
    return {u"actions"_s, u"body"_s};
}

QString NotificationServer::GetServerInformation(QString &vendor, QString &version,
                                                 QString &specVersion) const
{
    vendor = u"Lumen tests"_s;
    version = u"1.0"_s;
    specVersion = u"1.2"_s;
    return u"lumen-test-notification-server"_s;
}
