#include "SleepWatcher.h"

#include "BusConnection.h"

#include <QDBusError>

using namespace Qt::StringLiterals;

Q_LOGGING_CATEGORY(lcSleep, "lumen.sleep")

SleepWatcher::SleepWatcher(BusConnection *bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus ? bus : &BusConnection::system())
{
    connect(m_bus, &BusConnection::reconnected, this, &SleepWatcher::subscribe);
    subscribe();
}

void SleepWatcher::subscribe()
{
    QDBusConnection connection = m_bus->connection();
    if (!connection.isConnected()) {
        qCWarning(lcSleep).noquote()
            << "no system bus, sleep and wake-up go unnoticed:" << connection.lastError().message();
        return;
    }
    m_watching = connection.connect(QString::fromLatin1(kService), QString::fromLatin1(kPath),
                                    QString::fromLatin1(kInterface), u"PrepareForSleep"_s, this,
                                    SLOT(onPrepareForSleep(bool)));
    if (!m_watching)
        qCWarning(lcSleep).noquote()
            << "cannot listen for sleep and wake-up:" << connection.lastError().message();
}

void SleepWatcher::onPrepareForSleep(bool sleeping)
{
    if (sleeping)
        Q_EMIT aboutToSleep();
    else
        Q_EMIT resumed();
}
