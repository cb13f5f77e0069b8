#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

class DesktopNotifications;

// Sends the result of each finished job (the details of a type-1 message) to the desktop's
// notification service, with the actions "View log", "Back up now" and, for a personal plan near
// its quota, "Upgrade". A new result replaces the previous notification.
class JobResultNotifier : public QObject {
    Q_OBJECT
public:
    // The keys of the actions as the service reports them back.
    static constexpr const char *kViewLog = "view-log";
    static constexpr const char *kBackupNow = "backup-now";
    static constexpr const char *kUpgrade = "upgrade";

    // `notifications` must outlive this object. `iconName` is a themed icon name or a file path.
    explicit JobResultNotifier(DesktopNotifications *notifications,
                               const QString &iconName = QString(), QObject *parent = nullptr);

    // Shows `details`; false when it asks not to be shown ("ShouldForceHide" "YES").
    bool showJobResult(const QVariantMap &details);

Q_SIGNALS:
    void viewLogRequested(const QString &sessionLogPath);
    void backupNowRequested();
    void upgradeRequested(const QString &user);

private:
    void onAction(const QString &key);

    DesktopNotifications *m_notifications;
    QString m_iconName;
    // Of the notification on show: its actions act on these.
    QString m_sessionLogPath;
    QString m_user;
};
