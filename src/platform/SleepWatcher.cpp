#include "SleepWatcher.h"

#include <QDBusError>

using namespace Qt::StringLiterals;

Q_LOGGING_CATEGORY(lcSleep, "lumen.sleep")

SleepWatcher::SleepWatcher(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
{
    QDBusConnection connection(bus);
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
