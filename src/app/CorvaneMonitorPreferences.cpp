// The preferences window as the monitor runs it: its controllers made at start, filled with the
// logged-in account, switched on and off with the login, opened on request, saved on close. One
// source of the monitor controller.

#include "CorvaneMonitorController.h"

#include "DesktopServices.h"
#include "MonitorAccount.h"
#include "MonitorFiles.h"
#include "platform/Paths.h"
#include "platform/UserDefaults.h"
#include "prefs/PreferencesPanes.h"
#include "prefs/UserPreferences.h"
#include "product/MonitorSettings.h"
#include "product/StringTable.h"

#include <QUrl>

using namespace Qt::StringLiterals;
using namespace MonitorFiles;

void CorvaneMonitorController::initialzePreferences()
{
    m_panes = std::make_unique<PreferencesPanes>(m_services.alerts, m_notifications.get());
    m_panes->general.initialize();
    // The stored proxy settings are known before anything can save them, window or not.
    m_panes->proxy.loadProxySettings();
    m_panes->proxy.setHelpViewer([this](const QUrl &page) { m_services.desktop->openUrl(page); });
    m_panes->general.setDelegate(this);
    m_panes->tabs.setLogoForMainScreen(true);
    m_panes->tabs.setMainController(this);
    m_panes->tabs.setUpgradeEnabled(corvane()); // the second brand's window has no upgrade button
    connect(this, &CorvaneMonitorController::cdpStateChanged, &m_panes->general,
            &GeneralViewController::setMCDPCheckBox);
    stopBlinking();
    m_isMonitorClickedAfterQuotaExceed = false;
}

bool CorvaneMonitorController::setUserAndProxyToObject(User &user) const
{
    return fillUser(user, m_mUserDetails);
}

void CorvaneMonitorController::reloadPreferences()
{
    if (!m_panes)
        return; // a controller without its start-up (lumenctl)
    setUserAndProxyToObject(m_panes->general.userInfo());
    setUserAndProxyToObject(m_panes->exclude.userInfo());
    m_panes->exclude.loadExcludeSet();
    m_panes->general.loadPrefrences();
    m_panes->tabs.setUserName(m_mUserDetails.value(u"CorvaneUsername"_s).toString());
}

void CorvaneMonitorController::enablePreferences()
{
    if (!m_panes)
        return;
    resetMonitorUI();
    m_panes->tabs.tableViewSelectionChanged(CVTabViewController::GeneralRow);
    m_mUserDetails = loginDetails();
    updatePlanItems(m_mUserDetails.value(u"CorvaneUsername"_s).toString());
    m_panes->tabs.setPanesEnabled(true);
    m_panes->proxy.EnableNetworkPrefrences();
    reloadPreferences();
    m_panes->tabs.setControlsStatus(true);
    m_panes->tabs.setUpgradeEnabled(corvane()); // the second brand's window has no upgrade button
    m_panes->general.refreshView();
    checkCDP();
}

void CorvaneMonitorController::disablePreferences()
{
    if (!m_panes)
        return;
    m_panes->tabs.setPanesEnabled(false);
    m_panes->proxy.DisableNetworkPrefrences();
    m_panes->tabs.tableViewSelectionChanged(CVTabViewController::GeneralRow);
    m_panes->tabs.setControlsStatus(false);
    m_panes->tabs.setUpgradeEnabled(false);
    m_panes->tabs.setUserName(QString()); // hidden while nobody is logged in
}

QString CorvaneMonitorController::userNameLabel() const
{
    return m_panes ? m_panes->tabs.userName() : QString();
}

QString CorvaneMonitorController::shownPreferencesPane() const
{
    if (!m_panes || !m_services.preferencesWindow || !m_services.preferencesWindow->isOpen())
        return QString();
    return CVTabViewController::panes().value(m_panes->tabs.mLastSelectedIndex()).title;
}

void CorvaneMonitorController::OpenPreferences(const QString &object)
{
    if (object == "sendErrorReport"_L1) {
        showErrorReport();
        return;
    }
    if (!m_panes)
        return;
    if (object == "ViewExclude"_L1)
        m_panes->tabs.tableViewSelectionChanged(CVTabViewController::ExcludeRow);
    if (m_services.preferencesWindow)
        m_services.preferencesWindow->openPreferences();
}

void CorvaneMonitorController::windowWillClose()
{
    if (!m_panes)
        return;
    const bool general = m_panes->general.savePreferences();
    const bool exclusions = m_panes->exclude.saveExcludePreference();
    SaveSetting();
    const QString unsaved = general ? Paths::current().resolve(UserDefaults::pathFor(MonitorSettings::defaultsDomain()))
                                    : m_panes->general.unsavedFile();
    m_preferencesNotice.report(general && exclusions,
                               SLLocalizedString(u"The preferences could not be saved to %1."_s).arg(unsaved));
}

void CorvaneMonitorController::SaveSetting()
{
    if (!m_panes)
        return;
    m_panes->proxy.SaveSetting();
}

void CorvaneMonitorController::upgradeAccount()
{
    m_account->upgradeAccount();
}

void CorvaneMonitorController::changePassword()
{
    m_account->changePassword();
}

void CorvaneMonitorController::openProductPage()
{
    m_services.desktop->openUrl(QUrl(SLLocalizedString(u"WebSiteURL"_s)));
}

void CorvaneMonitorController::ContinuousDataProtectionSelected()
{
    ContinuousDataProtectionSelected(nullptr);
}

void CorvaneMonitorController::sendIPCMessage(const QVariant &payload, int type, bool runInThread)
{
    if (m_channel)
        m_channel->sendIPCMessage(payload, type, runInThread);
}
