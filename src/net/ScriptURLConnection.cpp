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

bool ScriptURLConnection::isTransportFailure(QNetworkReply *reply)
{
    // 1-199: connection, time-out, redirect and proxy errors; 201-299 and 401-499 are statuses
    // the server chose (a reply); 301 and 399 are a scheme or an exchange that went wrong.
    const int code = int(reply->error());
    return (code > 0 && code < 200) || reply->error() == QNetworkReply::ProtocolUnknownError
        || reply->error() == QNetworkReply::ProtocolFailure;
}

void ScriptURLConnection::finished()
{
    QNetworkReply *reply = m_reply;
    appendData(reply->readAll());
    reply->deleteLater();
    m_reply = nullptr;
    if (!m_delegate)
        return;
    if (!isTransportFailure(reply))
        m_delegate->ConnectionDidReceivedData(m_data, this);
    else
        m_delegate->connectionFailedWithError(errorOf(reply), this);
}
