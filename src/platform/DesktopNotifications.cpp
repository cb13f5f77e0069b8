#include "DesktopNotifications.h"

#include "PlatformLog.h"
#include "BusConnection.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace {

// A service that takes longer than this is as good as missing; the caller never waits for it.
constexpr int kCallTimeoutMs = 5000;

QDBusMessage serviceCall(const QString &method)
{
    return QDBusMessage::createMethodCall(QString::fromLatin1(DesktopNotifications::kService),
                                          QString::fromLatin1(DesktopNotifications::kPath),
                                          QString::fromLatin1(DesktopNotifications::kInterface),
                                          method);
}

} // namespace

DesktopNotifications::DesktopNotifications(const QString &applicationName,
                                           const QString &desktopEntry, QObject *parent)
    : QObject(parent)
    , m_applicationName(applicationName)
    , m_desktopEntry(desktopEntry)
{
    listen();
    // A restarted bus: the service's ids of the old connection mean nothing any more.
    connect(&BusConnection::shared(), &BusConnection::reconnected, this, [this] {
        m_id = 0;
        listen();
    });
}

void DesktopNotifications::listen()
{
    QDBusConnection bus = BusConnection::shared().connection();
    const QString service = QString::fromLatin1(kService);
    const QString path = QString::fromLatin1(kPath);
    const QString interface = QString::fromLatin1(kInterface);
    const bool listening = bus.connect(service, path, interface, u"ActionInvoked"_s, this,
                                       SLOT(onActionInvoked(uint, QString)))
        && bus.connect(service, path, interface, u"NotificationClosed"_s, this,
                       SLOT(onNotificationClosed(uint, uint)));
    if (!listening)
        qCWarning(lcPlatform) << "desktop notifications: cannot listen for actions:"
                              << bus.lastError().message();
}

void DesktopNotifications::notify(const QString &summary, const QString &body,
                                  const Actions &actions, const QString &iconName,
                                  int expireTimeout)
{
    const Request request {summary, body, actions, iconName, expireTimeout};
    m_closeWhenShown = false;
    if (m_pending)
        m_waiting = request;
    else
        send(request);
}

void DesktopNotifications::close()
{
    m_waiting.reset();
    if (m_pending) {
        m_closeWhenShown = true;
        return;
    }
    if (m_id != 0)
        sendClose(std::exchange(m_id, 0));
}

void DesktopNotifications::send(const Request &request)
{
    QStringList actions;
    for (const auto &[key, label] : request.actions)
        actions << key << label;
    QVariantMap hints;
    if (!m_desktopEntry.isEmpty())
        hints.insert(u"desktop-entry"_s, m_desktopEntry);

    QDBusMessage call = serviceCall(u"Notify"_s);
    call << m_applicationName << m_id << request.iconName << request.summary << request.body
         << actions << hints << request.expireTimeout;
    m_pending = true;
    const QDBusPendingCall pending
        = BusConnection::shared().connection().asyncCall(call, kCallTimeoutMs);
    auto *watcher = new QDBusPendingCallWatcher(pending, this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            &DesktopNotifications::onNotifyFinished);
}

void DesktopNotifications::onNotifyFinished(QDBusPendingCallWatcher *watcher)
{
    watcher->deleteLater();
    m_pending = false;
    const QDBusPendingReply<uint> reply = *watcher;
    if (reply.isError())
        reportFailure(u"Notify"_s, reply.error().message());
    else
        m_id = reply.value();

    if (m_closeWhenShown) {
        m_closeWhenShown = false;
        close();
    } else if (m_waiting) {
        send(*std::exchange(m_waiting, std::nullopt));
    }
}

void DesktopNotifications::sendClose(uint id)
{
    QDBusMessage call = serviceCall(u"CloseNotification"_s);
    call << id;
    const QDBusPendingCall pending
        = BusConnection::shared().connection().asyncCall(call, kCallTimeoutMs);
    auto *watcher = new QDBusPendingCallWatcher(pending, this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                if (finished->isError())
                    reportFailure(u"CloseNotification"_s, finished->error().message());
            });
}

void DesktopNotifications::onActionInvoked(uint id, const QString &key)
{
    // Every client of the service hears every action: only ours count.
    if (id != 0 && id == m_id)
        Q_EMIT actionInvoked(key);
}

void DesktopNotifications::onNotificationClosed(uint id, uint reason)
{
    Q_UNUSED(reason)
    // A closed notification cannot be replaced any more; the next one is shown afresh.
    if (id != 0 && id == m_id)
        m_id = 0;
}

void DesktopNotifications::reportFailure(const QString &call, const QString &error)
{
    const QString message = u"desktop notification service: %1 failed: %2"_s.arg(call, error);
    qCWarning(lcPlatform).noquote() << message;
    Q_EMIT failed(message);
}
