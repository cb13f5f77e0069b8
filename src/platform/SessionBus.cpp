#include "SessionBus.h"

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

SessionBus &SessionBus::shared()
{
    // Owned by the application, so that it goes before Qt's own bus machinery does.
    static QMutex lock;
    static QPointer<SessionBus> bus;
    QMutexLocker locker(&lock);
    if (!bus)
        bus = new SessionBus(u"lumen-session"_s, QDBusConnection::sessionBus(), false,
                             QCoreApplication::instance());
    return *bus;
}

SessionBus::SessionBus(const QString &namePrefix, QObject *parent)
    : SessionBus(namePrefix,
                 QDBusConnection::connectToBus(QDBusConnection::SessionBus, freshName(namePrefix)),
                 true, parent)
{
}

SessionBus::SessionBus(const QString &namePrefix, const QDBusConnection &first, bool owned,
                       QObject *parent)
    : QObject(parent)
    , m_namePrefix(namePrefix)
    , m_connection(first)
    , m_owned(owned)
{
    m_retry.setInterval(kRetryMs);
    connect(&m_retry, &QTimer::timeout, this, &SessionBus::reconnect);
    watch(first);
}

SessionBus::~SessionBus()
{
    if (m_owned)
        QDBusConnection::disconnectFromBus(connection().name());
}

QDBusConnection SessionBus::connection() const
{
    QMutexLocker lock(&m_lock);
    return m_connection;
}

void SessionBus::watch(QDBusConnection connection)
{
    // The bus library's own signal when the socket to the daemon closes.
    connection.connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                       u"Disconnected"_s, this, SLOT(lost()));
}

void SessionBus::lost()
{
    if (m_retry.isActive())
        return;
    qCWarning(lcPlatform) << "session bus connection" << connection().name()
                          << "lost: connecting again";
    Q_EMIT disconnected();
    m_retry.start();
}

void SessionBus::reconnect()
{
    const QString name = freshName(m_namePrefix);
    const QDBusConnection fresh = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
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
    qCInfo(lcPlatform) << "session bus connected again as" << fresh.baseService();
    Q_EMIT reconnected();
}
