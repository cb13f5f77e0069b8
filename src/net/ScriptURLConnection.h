#pragma once

#include "URLRequest.h"

#include <QNetworkReply>
#include <QObject>
#include <QPointer>

#include <optional>

class QNetworkAccessManager;
class QNetworkReply;
class ScriptURLConnection;

class ScriptURLConnectionDelegate {
public:
    virtual ~ScriptURLConnectionDelegate() = default;
    // The whole body; nothing when the body was empty.
    virtual void ConnectionDidReceivedData(const std::optional<QByteArray> &data,
                                           ScriptURLConnection *connection)
        = 0;
    virtual void connectionFailedWithError(const NetworkError &error,
                                           ScriptURLConnection *connection)
        = 0;
};

// One asynchronous request whose whole reply body goes to the delegate when complete. A reply
// with any HTTP status is a reply; a transport failure (no connection, a time-out, a body cut
// short) is a failure whatever status came before it.
class ScriptURLConnection : public QObject {
    Q_OBJECT
public:
    explicit ScriptURLConnection(QNetworkAccessManager *network, const URLRequest &request = {},
                                 QObject *parent = nullptr);
    ~ScriptURLConnection() override;

    const URLRequest &request() const { return m_request; }
    void setRequest(const URLRequest &request) { m_request = request; }
    ScriptURLConnectionDelegate *delegate() const { return m_delegate; }
    void setDelegate(ScriptURLConnectionDelegate *delegate) { m_delegate = delegate; }
    QString outPutFormat() const { return m_outputFormat; }
    void setOutPutFormat(const QString &format) { m_outputFormat = format; }
    bool isOutPutInJSONFormat() const { return m_outputFormat == QLatin1String("JSONFORMAT"); }
    // The body so far; nothing before the first chunk.
    const std::optional<QByteArray> &data() const { return m_data; }
    QNetworkReply *connection() const { return m_reply; }

    void startLoading();
    void stopLoading();
    void appendData(const QByteArray &chunk);

    static NetworkError errorOf(QNetworkReply *reply);
    // The transport failure of a finished reply, if any, rather than the server's choice of
    // status: no connection, a time-out, or a body shorter than announced (`bodyBytes` arrived).
    static std::optional<NetworkError> transportFailure(QNetworkReply *reply, qint64 bodyBytes);

private:
    void finished();

    QNetworkAccessManager *m_network;
    URLRequest m_request;
    QPointer<QNetworkReply> m_reply;
    std::optional<QByteArray> m_data;
    QString m_outputFormat;
    ScriptURLConnectionDelegate *m_delegate = nullptr;
};
