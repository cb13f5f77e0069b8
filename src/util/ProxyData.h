#pragma once

#include <QString>

// The proxy the engine is told to use: host, port and credentials. The password is the clear
// one and lives in memory only; on disk it is always enciphered.
class ProxyData {
public:
    // The settings file's "ProxyEnable" values.
    enum Mode { NoProxy = 0, ManualProxy = 1, SystemProxy = 2 };

    // The keys of the proxy settings file.
    static inline const QString kProxyEnable = QStringLiteral("ProxyEnable");
    static inline const QString kProxyAuthEnable = QStringLiteral("ProxyAuthEnable");
    static inline const QString kProxyAddress = QStringLiteral("ProxyAddress");
    static inline const QString kProxyPort = QStringLiteral("ProxyPort");
    static inline const QString kProxyUserName = QStringLiteral("ProxyUserName");
    static inline const QString kProxyPassword = QStringLiteral("ProxyPassword");

    QString userName() const { return mUserName; }
    QString password() const { return mPassword; }
    QString ipaddress() const { return mIpaddress; }
    QString port() const { return mPort; }
    void setUserName(const QString &value) { mUserName = value; }
    void setPassword(const QString &value) { mPassword = value; }
    void setIpaddress(const QString &value) { mIpaddress = value; }
    void setPort(const QString &value) { mPort = value; }

    void clearProxyData();

    // What the settings file at `path` (a product path) asks of the engine: host and port only
    // for a hand-typed proxy (mode 1), the credentials only when authentication is on. No file,
    // no proxy or the system's proxy (the engine finds that itself) give an empty record.
    static ProxyData fromSettingFile(const QString &path);

private:
    QString mUserName;
    QString mPassword;
    QString mIpaddress;
    QString mPort;
};
