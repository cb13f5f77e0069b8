#include "URLRequest.h"

#include <QNetworkProxyFactory>

#include <mutex>

using namespace Qt::StringLiterals;

URLRequest URLRequest::get(const QUrl &url, int timeoutMs)
{
    URLRequest out;
    out.request.setUrl(url);
    out.request.setTransferTimeout(timeoutMs);
    return out;
}

URLRequest URLRequest::formPost(const QUrl &url, const QString &body)
{
    URLRequest out;
    out.request.setUrl(url);
    out.request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                             QNetworkRequest::AlwaysNetwork);
    out.request.setTransferTimeout(kDefaultTimeoutMs);
    out.request.setHeader(QNetworkRequest::ContentTypeHeader,
                          u"application/x-www-form-urlencoded"_s);
    out.method = QByteArrayLiteral("POST");
    out.body = body.toUtf8();
    return out;
}

void useSystemProxySettings()
{
    static std::once_flag once;
    std::call_once(once, [] { QNetworkProxyFactory::setUseSystemConfiguration(true); });
}
