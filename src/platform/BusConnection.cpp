#include "BusConnection.h"

#include "PlatformLog.h"

#include <QCoreApplication>
#include <QPointer>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

QString freshName(const QString &prefix)
{
    static std::atomic<int> counter {0};
    return u"%1-%2"_s.arg(prefix).arg(++counter);
}

} // namespace

BusConnection &BusConnection::shared()
{
    return sharedOf(QDBusConnection::SessionBus);
}

BusConnection &BusConnection::system()
{
    return sharedOf(QDBusConnection::SystemBus);
}

BusConnection &BusConnection::sharedOf(QDBusConnection::BusType type)
{
    // Owned by the application, so that they go before Qt's own bus machinery does.
    static QMutex lock;
    static QPointer<BusConnection> buses[2];
    QMutexLocker locker(&lock);
    const bool session = type == QDBusConnection::SessionBus;
    QPointer<BusConnection> &bus = buses[session ? 0 : 1];
    if (!bus) {
        const QDBusConnection qtOwn = session ? QDBusConnection::sessionBus() : QDBusConnection::systemBus();
        bus = new BusConnection([type](const QString &name) { return QDBusConnection::connectToBus(type, name); },
                                session ? u"lumen-session"_s : u"lumen-system"_s, &qtOwn,
                                QCoreApplication::instance());
    }
    return *bus;
}

BusConnection::BusConnection(const QString &namePrefix, QObject *parent)
    : BusConnection([](const QString &name) { return QDBusConnection::connectToBus(QDBusConnection::SessionBus, name); },
                    namePrefix, nullptr, parent)
{
}

BusConnection::BusConnection(const QString &address, const QString &namePrefix, QObject *parent)
    : BusConnection([address](const QString &name) { return QDBusConnection::connectToBus(address, name); },
                    namePrefix, nullptr, parent)
{
}

// `first`: a connection made elsewhere (Qt's own) to start with; none: one of this object's own.
BusConnection::BusConnection(Connector connector, const QString &namePrefix, const QDBusConnection *first,
                             QObject *parent)
    : QObject(parent)
    , m_connector(std::move(connector))
    , m_namePrefix(namePrefix)
    , m_connection(first ? *first : m_connector(freshName(namePrefix)))
    , m_owned(!first)
{
    m_retry.setInterval(kRetryMs);
    connect(&m_retry, &QTimer::timeout, this, &BusConnection::reconnect);
    watch(m_connection);
}

BusConnection::~BusConnection()
{
    if (m_owned)
        QDBusConnection::disconnectFromBus(connection().name());
}

QDBusConnection BusConnection::connection() const
{
    QMutexLocker lock(&m_lock);
    return m_connection;
}

void BusConnection::watch(QDBusConnection connection)
{
    // The bus library's own signal when the socket to the daemon closes.
    connection.connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                       u"Disconnected"_s, this, SLOT(lost()));
}

void BusConnection::lost()
{
    if (m_retry.isActive())
        return;
    qCWarning(lcPlatform) << "bus connection" << connection().name()
                          << "lost: connecting again";
    Q_EMIT disconnected();
    m_retry.start();
}

void BusConnection::reconnect()
{
    const QString name = freshName(m_namePrefix);
    const QDBusConnection fresh = m_connector(name);
    if (!fresh.isConnected()) {
        QDBusConnection::disconnectFromBus(name); // Qt keeps even a failed one under its name
        return;
    }
    m_retry.stop();
    QString old;
    {
        QMutexLocker lock(&m_lock);
        old = std::exchange(m_connection, fresh).name();
    }
    if (std::exchange(m_owned, true))
        QDBusConnection::disconnectFromBus(old);
    watch(fresh);
    qCInfo(lcPlatform) << "bus connected again as" << fresh.baseService();
    Q_EMIT reconnected();
}
