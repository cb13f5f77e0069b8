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
    return NetworkError{u"QNetworkReply"_s, int(reply->error()), reply->errorString(), {}};
}

void ScriptURLConnection::finished()
{
    QNetworkReply *reply = m_reply;
    appendData(reply->readAll());
    const bool answered = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    reply->deleteLater();
    m_reply = nullptr;
    if (!m_delegate)
        return;
    if (reply->error() == QNetworkReply::NoError || answered)
        m_delegate->ConnectionDidReceivedData(m_data, this);
    else
        m_delegate->connectionFailedWithError(errorOf(reply), this);
}
