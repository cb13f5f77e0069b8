#pragma once

#include "net/ScriptURLConnection.h"

#include <QObject>
#include <QPointer>
#include <QVariantMap>

#include <functional>
#include <optional>

class Clock;
class DesktopServices;
class QNetworkAccessManager;

// The account side of the monitor: quota and plan of the logged-in user, the cut-off of a running
// scheduled backup, and the account's web pages, opened through a one-time sign-in token.
class MonitorAccount : public QObject, public ScriptURLConnectionDelegate
{
    Q_OBJECT
public:
    struct Services
    {
        const Clock *clock = nullptr;
        DesktopServices *desktop = nullptr;
        QNetworkAccessManager *network = nullptr;
        // How many of this user's processes of that name run (the monitor's process-table test).
        std::function<int(const QString &name)> isApplicationRunning;
    };

    explicit MonitorAccount(const Services &services, QObject *parent = nullptr);
    ~MonitorAccount() override;

    // ---- quota and plan ------------------------------------------------------------------------
    // "TOTALQUOTASIZE" and "USEDQUOTASIZE" in megabytes as numbers; 0 for what is missing.
    QVariantMap getQuotaDetailsForUser(const QString &user) const;
    // Whether the user is within 10 MB of the plan's size; nothing without a quota file.
    std::optional<bool> isQuotaExceeded(const QString &user) const;
    void getPlanForUser(const QString &user);
    bool isBusinessUser() const { return mIsBusinessUser; }
    bool isPersonalUser() const { return mIsPersonalUser; }
    // What the notification window shows of the account.
    QVariantMap constructDetailsforDesktopNotificationWindowForUser(const QString &user);

    // ---- the last login and the running job --------------------------------------------------
    QVariantMap getActiveUserDetails() const;
    // The owner of the first running schedule of any user, or "".
    QString usernameOfJobInProgress() const;
    // Asks the engine to stop the running job when its owner's cut-off is this minute; whether
    // it asked.
    bool triggerCutOffBackup();

    // ---- web pages -----------------------------------------------------------------------------
    bool shouldShowWebFiles() const;
    bool isDisconnnectedUser(const QString &user) const;
    void launchWeb();
    // With a user name, that account's own login details are used instead of the last login.
    void upgradeAccount(const std::optional<QString> &userName = std::nullopt);
    void changePassword();
    void referCorvaneCall();
    ScriptURLConnection *setupConnectionForURL(const QUrl &url, const QString &body, const QString &format);
    ScriptURLConnection *getAccessTokenConnection() const { return m_getAccessTokenConnection; }

    void ConnectionDidReceivedData(const std::optional<QByteArray> &data, ScriptURLConnection *connection) override;
    void connectionFailedWithError(const NetworkError &error, ScriptURLConnection *connection) override;

private:
    void openPageWithToken(const QString &user, const QString &password, const QString &operation);
    // The last login's user name key: "CorvaneUsername", or "Username" for the second brand.
    static QString userNameKey();
    QString lastLoginUser() const;
    QString lastLoginPassword() const;

    Services m_services;
    QPointer<ScriptURLConnection> m_getAccessTokenConnection;
    bool mIsBusinessUser = false;
    bool mIsPersonalUser = false;
};
