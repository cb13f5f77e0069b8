#pragma once

#include <QString>

// One signed-in account as a preference pane sees it. Every text starts empty and every flag
// false; the monitor fills the record from the login details (see UserPreferences::fillUser).
// Accessor names are the ones the panes and the engine's tools have always used.
class User
{
public:
    QString UserName() const { return mUserName; }
    void setUserName(const QString &value) { mUserName = value; }
    // The password in clear: held in memory only, never written anywhere.
    QString Password() const { return mPassword; }
    void setPassword(const QString &value) { mPassword = value; }
    // The engine's port argument, already "--port=<port>".
    QString Port() const { return mPort; }
    void setPort(const QString &value) { mPort = value; }
    QString NexaServerIP() const { return mNexaServerIP; }
    void setNexaServerIP(const QString &value) { mNexaServerIP = value; }
    QString WebServerIP() const { return mWebServerIP; }
    void setWebServerIP(const QString &value) { mWebServerIP = value; }
    QString PrivateKey() const { return mPrivateKey; }
    void setPrivateKey(const QString &value) { mPrivateKey = value; }
    bool isDefaultKey() const { return m_isDefaultKey; }
    void setISDefaultKey(bool value) { m_isDefaultKey = value; }
    // The maker's own storage account: only such an account saves the general preferences.
    bool isNexaUser() const { return m_isNexaUser; }
    void setNexaUser(bool value) { m_isNexaUser = value; }
    bool isBusinessUser() const { return m_isBusinessUser; }
    void setIsBusinessUser(bool value) { m_isBusinessUser = value; }
    QString LoggedUserName() const { return mLoggedUserName; }
    void setLoggedUserName(const QString &value) { mLoggedUserName = value; }
    QString LoggedPassword() const { return mLoggedPassword; }
    void setLoggedPassword(const QString &value) { mLoggedPassword = value; }
    // The computer's name for backups of several computers into one account.
    QString mMPCName() const { return m_mMPCName; }
    void setMPCName(const QString &value) { m_mMPCName = value; }
    QString mEncodedPassword() const { return m_mEncodedPassword; }
    void setMEncodedPassword(const QString &value) { m_mEncodedPassword = value; }
    QString mEncodedKey() const { return m_mEncodedKey; }
    void setMEncodedKey(const QString &value) { m_mEncodedKey = value; }
    QString Server1() const { return mServer1; }
    void setServer1Name(const QString &value) { mServer1 = value; }
    QString mSyncUserName() const { return m_mSyncUserName; }
    void setMSyncUserName(const QString &value) { m_mSyncUserName = value; }
    QString mSyncPassword() const { return m_mSyncPassword; }
    void setMSyncPassword(const QString &value) { m_mSyncPassword = value; }
    QString mSyncNexaServerIP() const { return m_mSyncNexaServerIP; }
    void setMSyncNexaServerIP(const QString &value) { m_mSyncNexaServerIP = value; }
    QString mSyncEncodedPwd() const { return m_mSyncEncodedPwd; }
    void setMSyncEncodedPwd(const QString &value) { m_mSyncEncodedPwd = value; }
    QString mSyncWebServerIP() const { return m_mSyncWebServerIP; }
    void setMSyncWebServerIP(const QString &value) { m_mSyncWebServerIP = value; }

private:
    QString mUserName;
    QString mPassword;
    QString mPort;
    QString mNexaServerIP;
    QString mWebServerIP;
    QString mPrivateKey;
    bool m_isDefaultKey = false;
    bool m_isNexaUser = false;
    bool m_isBusinessUser = false;
    QString mLoggedUserName;
    QString mLoggedPassword;
    QString m_mMPCName;
    QString m_mEncodedPassword;
    QString m_mEncodedKey;
    QString mServer1;
    QString m_mSyncUserName;
    QString m_mSyncPassword;
    QString m_mSyncNexaServerIP;
    QString m_mSyncEncodedPwd;
    QString m_mSyncWebServerIP;
};
