#pragma once

#include "notify/SaveFailureNotice.h"
#include "util/ProxyData.h"

#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

class ProxyController;

// What the proxy controls show: the chosen mode, the four text fields, the authentication box,
// and which controls take input. The views render it and send edits back to the controller.
struct ProxyControls {
    int mode = 0; // tag of the chosen radio button (ProxyController::Mode)
    QString address;
    QString port;
    bool authOn = false;
    QString userName;
    QString password; // clear text, never shown unmasked
    bool modeEnabled = true;
    bool addressEnabled = false;
    bool portEnabled = false;
    bool authEnabled = false;
    bool userNameEnabled = false;
    bool passwordEnabled = false;
    // Asks the system again; only meaningful while the system's proxy is chosen.
    bool getSettingsEnabled = false;

    bool operator==(const ProxyControls &) const = default;
};

// The stand-alone proxy window, built by the views on first use.
class ProxyWindowPresenter {
public:
    virtual ~ProxyWindowPresenter() = default;
    // Builds the window for `controller`; false when it cannot be built.
    virtual bool loadProxyWindow(ProxyController *controller) = 0;
    virtual void bringProxyWindowToFront() = 0;
    virtual void closeProxyWindow() = 0;
};

// The proxy settings: no proxy, a proxy typed in by hand, or the system's proxy, optionally with
// a user name and password. The settings file ("setting.plist" in the login user's support
// folder) is what the engine reads; its password is enciphered. A second small file holds the
// two switches while they are being edited, and only while it exists are settings saved.
class ProxyController : public QObject {
    Q_OBJECT
public:
    using Mode = ProxyData::Mode;
    using enum ProxyData::Mode;
    enum class Field { Address, Port, UserName, Password };

    // The settings of the user running the monitor. `alerts` is not owned; without one the
    // alert becomes a trace line.
    explicit ProxyController(AlertPresenter *alerts = nullptr, QObject *parent = nullptr);
    // The settings at `settingFilePath` (a product path); the record stays empty.
    explicit ProxyController(const QString &settingFilePath, AlertPresenter *alerts = nullptr,
                             QObject *parent = nullptr);
    // The settings at `path`, with the record filled from that file (see ProxyData).
    static std::unique_ptr<ProxyController> initWithProxyDetailsFilePath(const QString &path);
    // The one shared controller, made on first use for `path` (later paths are ignored).
    static ProxyController *sharedProxyControllerForPath(const QString &path);

    // "/Library/Application Support/<brand folder>/<user>/setting.plist", standardised.
    static QString settingFilePathForUser(const QString &userName);
    // The switch file, from the string table.
    static QString switchFilePath();

    QString settingFilePath() const { return mSettingFilePath; }
    void setAlertPresenter(AlertPresenter *alerts)
    {
        m_alerts = alerts;
        m_switchNotice = m_settingsNotice = SaveFailureNotice(alerts);
    }
    void setWindowPresenter(ProxyWindowPresenter *window) { m_window = window; }
    // Shows a help page (the desktop's browser in the monitor).
    void setHelpViewer(std::function<void(const QUrl &page)> viewer) { m_helpViewer = std::move(viewer); }

    // The settings file as a dictionary; empty when there is none.
    QVariantMap ProxySetting() const;

    // The record the engine argument is made of.
    const ProxyData &proxyData() const { return *mProxyData; }
    void setUserName(const QString &value) { mProxyData->setUserName(value); }
    void setPassword(const QString &value) { mProxyData->setPassword(value); }
    void setIpaddress(const QString &value) { mProxyData->setIpaddress(value); }
    void setPort(const QString &value) { mProxyData->setPort(value); }
    // Refills the record from the settings file.
    void loadProxyData();
    // The engine's proxy argument: "--proxy=", "--proxy=:@host:port" or
    // "--proxy=user:password@host:port", values inserted as they are.
    QString proxyArgument() const { return proxyArgument(*mProxyData); }
    static QString proxyArgument(const ProxyData &data);

    const ProxyControls &controls() const { return m_controls; }
    // Text typed into a field; no other effect until the next save.
    void setFieldText(Field field, const QString &text);

    // The controls have been built: show the stored settings and apply the mode.
    void awakeFromNib();
    void loadProxySettings();
    // A mode was chosen (0, 1 or 2).
    void EnableProxy(int tag);
    void EnableProxyAuth(bool on);
    void GetProxySetting();
    // 1 saved, 0 a required field is empty (nothing saved), -1 no switch file (nothing saved).
    int SaveSetting();
    void selectFirstMatrixRow();
    void EnableNetworkPrefrences();
    void DisableNetworkPrefrences();

    // The stand-alone window: built once, brought to the front, filled from the file.
    void show();
    void Cancel();
    // The proxy page of the help book in the resources folder.
    void launchProxyHelp();

Q_SIGNALS:
    void controlsChanged();
    void focusRequested(ProxyController::Field field);

private:
    void refresh() { Q_EMIT controlsChanged(); }
    void storeSwitch(const QString &key, int value);
    // Whether `values` went to `path`; the user is told through `notice` when not.
    bool write(const QString &path, const QVariantMap &values, SaveFailureNotice &notice);
    void showSystemProxy(const std::optional<std::pair<QString, QString>> &proxy);

    AlertPresenter *m_alerts = nullptr;
    // The switch and settings files, each told once a spell (they may lie on different disks).
    SaveFailureNotice m_switchNotice;
    SaveFailureNotice m_settingsNotice;
    ProxyWindowPresenter *m_window = nullptr;
    std::function<void(const QUrl &)> m_helpViewer;
    QString mSettingFilePath;
    bool isNibLoaded = false;
    std::unique_ptr<ProxyData> mProxyData;
    // The two switches as decimal text, written whole to the switch file.
    QVariantMap mProxySettingDict;
    ProxyControls m_controls;
};

// The proxy the system would use for the product's web traffic: the HTTPS proxy, else the HTTP
// proxy, as host and port; none when the system goes direct.
std::optional<std::pair<QString, QString>> systemProxyHostAndPort();
