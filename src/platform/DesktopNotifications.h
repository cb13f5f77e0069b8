#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include <optional>
#include <utility>

class QDBusPendingCallWatcher;

// A client of the desktop's notification service (org.freedesktop.Notifications on the session
// bus). This object shows one notification at a time: each new one replaces the previous rather
// than stacking. Every call is asynchronous, so a missing or stuck service never blocks the
// caller; a call that fails is traced and reported through failed().
class DesktopNotifications : public QObject {
    Q_OBJECT
public:
    // (key, label) pairs; the service shows the labels and answers with the key.
    using Actions = QList<std::pair<QString, QString>>;

    static constexpr const char *kService = "org.freedesktop.Notifications";
    static constexpr const char *kPath = "/org/freedesktop/Notifications";
    static constexpr const char *kInterface = "org.freedesktop.Notifications";

    // `applicationName` names the sender to the service; `desktopEntry`, when given, is sent as
    // the "desktop-entry" hint (the .desktop file name without its suffix). The calls go over
    // the shared session bus (BusConnection).
    explicit DesktopNotifications(const QString &applicationName,
                                  const QString &desktopEntry = QString(),
                                  QObject *parent = nullptr);

    // `expireTimeout` in milliseconds; -1 leaves it to the service, 0 never expires.
    void notify(const QString &summary, const QString &body, const Actions &actions = {},
                const QString &iconName = QString(), int expireTimeout = -1);
    // Withdraws the current notification, if any.
    void close();

    // The service's id of the notification on show, 0 when there is none (yet).
    uint currentId() const { return m_id; }

Q_SIGNALS:
    // The user chose an action of the current notification.
    void actionInvoked(const QString &key);
    // A call to the service failed (no service, an error reply, no reply in time).
    void failed(const QString &message);

private Q_SLOTS:
    void onActionInvoked(uint id, const QString &key);
    void onNotificationClosed(uint id, uint reason);

private:
    struct Request {
        QString summary;
        QString body;
        Actions actions;
        QString iconName;
        int expireTimeout = -1;
    };

    void listen();
    void send(const Request &request);
    void sendClose(uint id);
    void onNotifyFinished(QDBusPendingCallWatcher *watcher);
    void reportFailure(const QString &call, const QString &error);

    QString m_applicationName;
    QString m_desktopEntry;
    uint m_id = 0;
    // While a Notify call is on its way its id is unknown: a newer request waits for it, so that
    // it can replace it, and only the newest waiting one is kept.
    bool m_pending = false;
    std::optional<Request> m_waiting;
    bool m_closeWhenShown = false;
};
