#include "ProxyController.h"

#include "logging/SLLogger.h"
#include "notify/AlertPresenter.h"
#include "platform/FoundationValues.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "platform/SystemInfo.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "util/StringExtensions.h"

#include <QFileInfo>
#include <QNetworkProxyFactory>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

int intValue(const QVariantMap &map, const QString &key)
{
    return int(FoundationValues::integerValue(map.value(key)));
}

} // namespace

ProxyController::ProxyController(AlertPresenter *alerts, QObject *parent)
    : ProxyController(settingFilePathForUser(SystemInfo::loginName()), alerts, parent)
{
}

ProxyController::ProxyController(const QString &settingFilePath, AlertPresenter *alerts,
                                 QObject *parent)
    : QObject(parent)
    , m_alerts(alerts)
    , m_switchNotice(alerts)
    , m_settingsNotice(alerts)
    , mSettingFilePath(settingFilePath)
    , mProxyData(std::make_unique<ProxyData>())
{
}

std::unique_ptr<ProxyController> ProxyController::initWithProxyDetailsFilePath(const QString &path)
{
    auto controller = std::make_unique<ProxyController>(path);
    controller->loadProxyData();
    return controller;
}

ProxyController *ProxyController::sharedProxyControllerForPath(const QString &path)
{
    // Lives as long as the process, like the string table.
    static ProxyController *const shared = new ProxyController(path);
    return shared;
}

QString ProxyController::settingFilePathForUser(const QString &userName)
{
    const QString folder = FilePathAPIs::isCorvaneApplication()
        ? u"/Library/Application Support/CorvanePortableforMac/%@"_s
        : u"/Library/Application Support/StelloaLumen/%@"_s;
    return stringByStandardizingPath(
        stringByAppendingPathComponent(stringWithFormat(folder, {userName}), u"setting.plist"_s));
}

QString ProxyController::switchFilePath()
{
    return stringByStandardizingPath(SLLocalizedString(u"ProxyEnableCheck"_s));
}

QVariantMap ProxyController::ProxySetting() const
{
    return PropertyList::readDictionary(mSettingFilePath);
}

void ProxyController::loadProxyData()
{
    *mProxyData = ProxyData::fromSettingFile(mSettingFilePath);
}

QString ProxyController::proxyArgument(const ProxyData &data)
{
    // Joined, not formatted: a password may hold anything, "%" included.
    if (data.userName().isEmpty() && data.ipaddress().isEmpty())
        return u"--proxy="_s;
    if (data.userName().isEmpty())
        return u"--proxy=:@"_s + data.ipaddress() + u':' + data.port();
    return u"--proxy="_s + data.userName() + u':' + data.password() + u'@' + data.ipaddress() + u':'
        + data.port();
}

void ProxyController::setFieldText(Field field, const QString &text)
{
    switch (field) {
    case Field::Address:
        m_controls.address = text;
        break;
    case Field::Port:
        m_controls.port = text;
        break;
    case Field::UserName:
        m_controls.userName = text;
        break;
    case Field::Password:
        m_controls.password = text;
        break;
    }
}

void ProxyController::awakeFromNib()
{
    loadProxySettings();
    EnableProxy(m_controls.mode);
}

void ProxyController::loadProxySettings()
{
    const QVariantMap settings = ProxySetting();
    int mode = intValue(settings, ProxyData::kProxyEnable);
    if (mode < NoProxy || mode > SystemProxy)
        mode = NoProxy; // no such radio button
    const bool auth = intValue(settings, ProxyData::kProxyAuthEnable) == 1;
    const bool proxied = mode != NoProxy;
    m_controls.mode = mode;
    m_controls.authOn = auth;
    m_controls.addressEnabled = m_controls.portEnabled = m_controls.authEnabled = proxied;
    m_controls.userNameEnabled = m_controls.passwordEnabled = auth && proxied;
    m_controls.getSettingsEnabled = mode == SystemProxy;
    if (settings.contains(ProxyData::kProxyAddress) && settings.contains(ProxyData::kProxyPort)) {
        m_controls.address = settings.value(ProxyData::kProxyAddress).toString();
        m_controls.port = settings.value(ProxyData::kProxyPort).toString();
    }
    if (settings.contains(ProxyData::kProxyUserName)
        && settings.contains(ProxyData::kProxyPassword)) {
        m_controls.userName = settings.value(ProxyData::kProxyUserName).toString();
        m_controls.password = stelloaExtension::decryptedString(
            settings.value(ProxyData::kProxyPassword).toString());
    }
    // The switches being edited start as shown; otherwise the first change of mode would save
    // the stored authentication as off while the box still shows it on.
    mProxySettingDict.insert(ProxyData::kProxyEnable, QString::number(mode));
    mProxySettingDict.insert(ProxyData::kProxyAuthEnable, QString::number(auth ? 1 : 0));
    refresh();
}

void ProxyController::EnableProxy(int tag)
{
    if (tag < NoProxy || tag > SystemProxy)
        return;
    m_controls.mode = tag;
    m_controls.getSettingsEnabled = tag == SystemProxy;
    if (tag == SystemProxy) {
        GetProxySetting();
        if (m_controls.mode != SystemProxy)
            return; // no system proxy: it fell back to no proxy, which saved already
    }
    if (tag == NoProxy) {
        m_controls.authOn = false;
        m_controls.address.clear();
        m_controls.port.clear();
        m_controls.userName.clear();
        m_controls.password.clear();
        m_controls.addressEnabled = m_controls.portEnabled = m_controls.authEnabled = false;
        m_controls.userNameEnabled = m_controls.passwordEnabled = false;
        // The box was cleared, so is its switch: a later manual proxy must not wait for
        // credentials that the disabled fields cannot take.
        mProxySettingDict.insert(ProxyData::kProxyAuthEnable, u"0"_s);
    } else if (tag == ManualProxy) {
        m_controls.addressEnabled = m_controls.portEnabled = m_controls.authEnabled = true;
        m_controls.userNameEnabled = m_controls.passwordEnabled = m_controls.authOn;
    }
    refresh();
    if (tag != SystemProxy)
        Q_EMIT focusRequested(Field::Address);
    storeSwitch(ProxyData::kProxyEnable, m_controls.mode);
    SaveSetting();
}

void ProxyController::EnableProxyAuth(bool on)
{
    m_controls.authOn = on;
    storeSwitch(ProxyData::kProxyAuthEnable, on ? 1 : 0);
    m_controls.userNameEnabled = m_controls.passwordEnabled = on;
    refresh();
    Q_EMIT focusRequested(Field::UserName);
    SaveSetting();
}

void ProxyController::GetProxySetting()
{
    const auto proxy = systemProxyHostAndPort();
    showSystemProxy(proxy);
    if (proxy)
        return;
    const QString message = SLLocalizedString(u"Internet proxy settings are currently disabled."_s);
    if (m_alerts) {
        m_alerts->displayMessage(message, FilePathAPIs::applicationName(),
                                 AlertButtons {SLLocalizedString(u"OK"_s), {}, {}}, true);
    } else {
        SLLogger::logMonitorTrace(message);
    }
    selectFirstMatrixRow();
}

void ProxyController::showSystemProxy(const std::optional<std::pair<QString, QString>> &proxy)
{
    m_controls.address = proxy ? proxy->first : QString();
    m_controls.port = proxy ? proxy->second : QString();
    if (proxy)
        m_controls.addressEnabled = m_controls.portEnabled = m_controls.authEnabled = true;
    refresh();
}

int ProxyController::SaveSetting()
{
    const QString switchPath = switchFilePath();
    if (!QFileInfo::exists(Paths::current().resolve(switchPath)))
        return -1;
    const QVariantMap switches = PropertyList::readDictionary(switchPath);
    const int mode = intValue(switches, ProxyData::kProxyEnable);
    const int auth = intValue(switches, ProxyData::kProxyAuthEnable);
    const ProxyControls &c = m_controls;
    if (mode != NoProxy && (c.address.isEmpty() || c.port.isEmpty()))
        return 0;
    if (mode != NoProxy && auth == 1 && (c.userName.isEmpty() || c.password.isEmpty()))
        return 0;

    QVariantMap settings;
    if (mode == ManualProxy || mode == SystemProxy) {
        settings.insert(ProxyData::kProxyAddress, c.address);
        settings.insert(ProxyData::kProxyPort, c.port);
        if (c.authOn) {
            settings.insert(ProxyData::kProxyUserName, c.userName);
            settings.insert(ProxyData::kProxyPassword,
                            stelloaExtension::encryptedString(c.password));
        }
    }
    settings.insert(ProxyData::kProxyEnable, qint64(mode));
    settings.insert(ProxyData::kProxyAuthEnable, qint64(auth));
    // A failed write leaves the previous settings, which the engine keeps using, and the window
    // open with what was typed.
    if (!write(mSettingFilePath, settings, m_settingsNotice))
        return 0;
    // Never the password, not even enciphered.
    SLLogger::logMonitorTrace(
        stringWithFormatArgs(u"Proxy settings saved: mode %d, authentication %d"_s, mode, auth));
    return 1;
}

void ProxyController::selectFirstMatrixRow()
{
    m_controls.mode = NoProxy;
    EnableProxy(NoProxy);
}

void ProxyController::EnableNetworkPrefrences()
{
    EnableProxy(m_controls.mode);
}

void ProxyController::DisableNetworkPrefrences()
{
    // Despite its name this has always made the mode and the address and port fields editable.
    m_controls.modeEnabled = m_controls.addressEnabled = m_controls.portEnabled = true;
    refresh();
}

void ProxyController::show()
{
    if (!isNibLoaded) {
        isNibLoaded = m_window && m_window->loadProxyWindow(this);
        if (!isNibLoaded) {
            SLLogger::logDaemonTrace(u"Proxy NIB"_s);
            SLLogger::logInteractiveTrace(u"Pxy load : x"_s);
        }
    }
    if (isNibLoaded)
        m_window->bringProxyWindowToFront();
    loadProxySettings();
}

void ProxyController::launchProxyHelp()
{
    const QString resources = StringTable::shared().resourcesFolder();
    if (resources.isEmpty()) {
        // The embedded tables come without a help book.
        SLLogger::logInteractiveTrace(u"Unable to register the help book"_s);
        return;
    }
    const QString page = FilePathAPIs::isCorvaneApplication() ? u"%@/CorvaneHelp/html/proxy.htm"_s
                                                              : u"%@/StelloaHelp/pages/proxy.htm"_s;
    if (m_helpViewer)
        m_helpViewer(QUrl::fromLocalFile(stringWithFormat(page, {resources})));
}

void ProxyController::Cancel()
{
    if (isNibLoaded)
        m_window->closeProxyWindow();
}

void ProxyController::storeSwitch(const QString &key, int value)
{
    mProxySettingDict.insert(key, QString::number(value));
    write(switchFilePath(), mProxySettingDict, m_switchNotice);
}

bool ProxyController::write(const QString &path, const QVariantMap &values, SaveFailureNotice &notice)
{
    const bool written = PropertyList::writeDictionary(path, values);
    notice.report(written, SLLocalizedString(u"The proxy settings could not be saved to %1."_s)
                                     .arg(Paths::current().resolve(path)));
    return written;
}

std::optional<std::pair<QString, QString>> systemProxyHostAndPort()
{
    // The system's proxy as such, not its choice for one host: a host it bypasses (no_proxy)
    // must not hide the proxy the engine's traffic goes through.
    const QString host = u"proxy-query.invalid"_s;
    for (const QString &scheme : {u"https"_s, u"http"_s}) {
        QUrl url;
        url.setScheme(scheme);
        url.setHost(host);
        const QList<QNetworkProxy> proxies
            = QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url));
        if (proxies.isEmpty())
            continue;
        const QNetworkProxy &proxy = proxies.first();
        if (proxy.type() == QNetworkProxy::HttpProxy && !proxy.hostName().isEmpty()) {
            // A proxy named without a port leaves the field for the user to fill in.
            const QString port = proxy.port() ? QString::number(proxy.port()) : QString();
            return std::pair {proxy.hostName(), port};
        }
    }
    return std::nullopt;
}
