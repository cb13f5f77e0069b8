#pragma once

#include <QByteArray>
#include <QNetworkRequest>
#include <QString>
#include <QVariantMap>

// A request as the HTTP layer runs it: the Qt request plus its method and body.
struct URLRequest {
    QNetworkRequest request;
    QByteArray method = QByteArrayLiteral("GET");
    QByteArray body;

    // Every request ends: without a byte for this long it fails with a time-out.
    static constexpr int kDefaultTimeoutMs = 20000;

    static URLRequest get(const QUrl &url, int timeoutMs = kDefaultTimeoutMs);
    // POST of a form: never answered from a cache, 20-second time-out,
    // "application/x-www-form-urlencoded", the body as UTF-8.
    static URLRequest formPost(const QUrl &url, const QString &body);
};

// Why a request failed. Authentication refusals have domain "Auth error" and code 1001, with
// the challenge described under "challenge".
struct NetworkError {
    QString domain;
    int code = 0;
    QString message;
    QVariantMap userInfo;

    static constexpr const char *kAuthDomain = "Auth error";
    static constexpr int kAuthCode = 1001;
    bool isAuthError() const { return domain == QLatin1String(kAuthDomain) && code == kAuthCode; }
};

// Applies the system's proxy settings to every request of the process (done once).
void useSystemProxySettings();
