#pragma once

#include "URLRequest.h"

#include <QNetworkReply>
#include <QObject>
#include <QPointer>

#include <optional>

class QAuthenticator;
class QEventLoop;
class QNetworkAccessManager;
class QNetworkProxy;
class QNetworkReply;

// Optional receiver of the asynchronous request's events.
class SynchronousWrapperDelegate {
public:
    virtual ~SynchronousWrapperDelegate() = default;
    virtual void connectionDidReceiveResponse(QNetworkReply *) { }
    virtual void connectionDidReceiveData(const QByteArray &) { }
    virtual void connectionDidFailWithError(const NetworkError &) { }
    virtual void connectionDidFinishLoading() { }
};

// Runs one request to completion while the caller waits in a nested event loop, answering a
// proxy's challenges (at most three times) with the stored credentials. A server's own
// challenge, or a proxy challenge without both credentials, fails with "Auth error" 1001.
class SynchronousWrapper : public QObject {
    Q_OBJECT
public:
    explicit SynchronousWrapper(QNetworkAccessManager *network,
                                SynchronousWrapperDelegate *delegate = nullptr,
                                QObject *parent = nullptr);

    void SetUserName(const QString &userName, const QString &password);

    // The reply body (whatever arrived, also on failure); the failure, if any, in `error`.
    QByteArray sendSynchronousRequest(const URLRequest &request,
                                      std::optional<NetworkError> *error = nullptr);
    // Runs the request with the delegate told of each event. Returns true when no `error` was
    // asked for; otherwise stores the failure (nothing on success) and returns false.
    bool ConnectRequest(const URLRequest &request, std::optional<NetworkError> *error = nullptr);

    bool isSynchrounousRequestIsInProgress() const { return m_inProgress; }
    int proxyChallengesAnswered() const { return m_proxyChallenges; }

private:
    void run(const URLRequest &request, bool synchronous);
    void onProxyChallenge(const QNetworkProxy &proxy, QAuthenticator *authenticator);
    void onServerChallenge(QNetworkReply *reply, QAuthenticator *authenticator);

    QNetworkAccessManager *m_network;
    SynchronousWrapperDelegate *m_delegate;
    QString m_userName;
    QString m_password;
    bool m_inProgress = false;
    QByteArray m_outputData;
    std::optional<NetworkError> m_error;
    QPointer<QNetworkReply> m_reply;
    QEventLoop *m_loop = nullptr;
    int m_proxyChallenges = 0;
    std::optional<QString> m_refusedChallenge;
};
