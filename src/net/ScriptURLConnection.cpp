#include "ScriptURLConnection.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

using namespace Qt::StringLiterals;

ScriptURLConnection::ScriptURLConnection(QNetworkAccessManager *network, const URLRequest &request,
                                         QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_request(request)
{
    useSystemProxySettings();
}

ScriptURLConnection::~ScriptURLConnection()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
    }
}

void ScriptURLConnection::startLoading()
{
    m_data.reset();
    m_reply = m_network->sendCustomRequest(m_request.request, m_request.method, m_request.body);
    connect(m_reply, &QNetworkReply::readyRead, this, [this] { appendData(m_reply->readAll()); });
    connect(m_reply, &QNetworkReply::finished, this, &ScriptURLConnection::finished);
}

void ScriptURLConnection::stopLoading()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
        m_reply = nullptr;
    }
}

void ScriptURLConnection::appendData(const QByteArray &chunk)
{
    if (chunk.isEmpty())
        return;
    if (!m_data)
        m_data = chunk;
    else
        m_data->append(chunk);
}

NetworkError ScriptURLConnection::errorOf(QNetworkReply *reply)
{
    return NetworkError {u"QNetworkReply"_s, int(reply->error()), reply->errorString(), {}};
}

std::optional<NetworkError> ScriptURLConnection::transportFailure(QNetworkReply *reply,
                                                                  qint64 bodyBytes)
{
    // 1-199: connection, time-out, redirect and proxy errors; 201-299 and 401-499 are statuses
    // the server chose (a reply); 301 and 399 are a scheme or an exchange that went wrong.
    const int code = int(reply->error());
    if ((code > 0 && code < 200) || reply->error() == QNetworkReply::ProtocolUnknownError
        || reply->error() == QNetworkReply::ProtocolFailure)
        return errorOf(reply);
    // With an error status the network layer may finish before it notices the body was cut.
    const QVariant announced = reply->header(QNetworkRequest::ContentLengthHeader);
    const bool decoded = reply->hasRawHeader("Content-Encoding");
    if (announced.isValid() && !decoded && bodyBytes < announced.toLongLong()
        && reply->operation() != QNetworkAccessManager::HeadOperation) {
        return NetworkError {
            u"QNetworkReply"_s,
            int(QNetworkReply::RemoteHostClosedError),
            u"The reply ended after %1 of %2 bytes"_s.arg(bodyBytes).arg(announced.toLongLong()),
            {}};
    }
    return std::nullopt;
}

void ScriptURLConnection::finished()
{
    QNetworkReply *reply = m_reply;
    if (reply->isOpen())
        appendData(reply->readAll());
    reply->deleteLater();
    m_reply = nullptr;
    if (!m_delegate)
        return;
    const std::optional<NetworkError> failure
        = transportFailure(reply, m_data ? m_data->size() : 0);
    if (!failure)
        m_delegate->ConnectionDidReceivedData(m_data, this);
    else
        m_delegate->connectionFailedWithError(*failure, this);
}
