#include "SynchronousWrapper.h"

#include "ScriptURLConnection.h"

#include <QAuthenticator>
#include <QEventLoop>
#include <QTimer>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>

using namespace Qt::StringLiterals;

namespace {

constexpr int kMaxProxyAnswers = 3;

} // namespace

SynchronousWrapper::SynchronousWrapper(QNetworkAccessManager *network,
                                       SynchronousWrapperDelegate *delegate, QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_delegate(delegate)
{
    useSystemProxySettings();
    connect(m_network, &QNetworkAccessManager::proxyAuthenticationRequired, this,
            &SynchronousWrapper::onProxyChallenge);
    connect(m_network, &QNetworkAccessManager::authenticationRequired, this,
            &SynchronousWrapper::onServerChallenge);
}

void SynchronousWrapper::SetUserName(const QString &userName, const QString &password)
{
    m_userName = userName;
    m_password = password;
}

QByteArray SynchronousWrapper::sendSynchronousRequest(const URLRequest &request,
                                                      std::optional<NetworkError> *error)
{
    m_outputData.clear();
    m_inProgress = true;
    run(request, true);
    m_inProgress = false;
    if (error)
        *error = m_error;
    return m_outputData;
}

bool SynchronousWrapper::ConnectRequest(const URLRequest &request,
                                        std::optional<NetworkError> *error)
{
    run(request, false);
    if (!error)
        return true;
    *error = m_error;
    return false;
}

void SynchronousWrapper::run(const URLRequest &request, bool synchronous)
{
    m_error.reset();
    m_proxyChallenges = 0;
    m_refusedChallenge.reset();
    QEventLoop loop;
    m_loop = &loop;
    QNetworkReply *reply
        = m_network->sendCustomRequest(request.request, request.method, request.body);
    m_reply = reply;
    connect(reply, &QNetworkReply::metaDataChanged, this, [this, reply, synchronous] {
        if (!synchronous && m_delegate)
            m_delegate->connectionDidReceiveResponse(reply);
    });
    qint64 bodyBytes = 0;
    connect(reply, &QNetworkReply::readyRead, this, [this, reply, synchronous, &bodyBytes] {
        const QByteArray chunk = reply->readAll();
        bodyBytes += chunk.size();
        if (synchronous)
            m_outputData.append(chunk);
        else if (m_delegate)
            m_delegate->connectionDidReceiveData(chunk);
    });
    connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    // The request's time-out counts idle time only; a caller that waits for the answer must not
    // wait longer than it in all, whatever a slow server keeps sending.
    QTimer deadline;
    deadline.setSingleShot(true);
    connect(&deadline, &QTimer::timeout, reply, &QNetworkReply::abort);
    if (request.request.transferTimeout() > 0)
        deadline.start(request.request.transferTimeout());
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    m_loop = nullptr;

    const QByteArray tail = reply->isOpen() ? reply->readAll() : QByteArray();
    bodyBytes += tail.size();
    if (synchronous)
        m_outputData.append(tail);
    else if (m_delegate && !tail.isEmpty())
        m_delegate->connectionDidReceiveData(tail);
    // The network layer stops asking once it has seen the same credentials refused.
    if (!m_refusedChallenge && reply->error() == QNetworkReply::ProxyAuthenticationRequiredError)
        m_refusedChallenge = u"proxy refused the stored credentials"_s;
    else if (!m_refusedChallenge && reply->error() == QNetworkReply::AuthenticationRequiredError)
        m_refusedChallenge = u"server %1 refused"_s.arg(reply->url().host());
    if (m_refusedChallenge) {
        m_error = NetworkError {QString::fromLatin1(NetworkError::kAuthDomain),
                                NetworkError::kAuthCode,
                                u"Authentication was refused."_s,
                                {{u"challenge"_s, *m_refusedChallenge}}};
    } else {
        m_error = ScriptURLConnection::transportFailure(reply, bodyBytes);
    }
    if (!synchronous && m_delegate) {
        if (m_error)
            m_delegate->connectionDidFailWithError(*m_error);
        else
            m_delegate->connectionDidFinishLoading();
    }
    reply->disconnect(this);
    reply->deleteLater();
}

void SynchronousWrapper::onProxyChallenge(const QNetworkProxy &proxy, QAuthenticator *authenticator)
{
    if (!m_loop)
        return; // not one of our requests
    const bool haveBoth = !m_userName.isEmpty() && !m_password.isEmpty();
    if (haveBoth && m_proxyChallenges < kMaxProxyAnswers) {
        ++m_proxyChallenges;
        authenticator->setUser(m_userName);
        authenticator->setPassword(m_password);
        return;
    }
    m_refusedChallenge = u"proxy %1:%2 realm \"%3\""_s.arg(proxy.hostName())
                             .arg(proxy.port())
                             .arg(authenticator->realm());
    if (m_reply)
        m_reply->abort();
}

void SynchronousWrapper::onServerChallenge(QNetworkReply *reply, QAuthenticator *authenticator)
{
    if (reply != m_reply)
        return;
    // Only proxies are answered: a server's own challenge fails the request.
    m_refusedChallenge
        = u"server %1 realm \"%2\""_s.arg(reply->url().host(), authenticator->realm());
    reply->abort();
}
