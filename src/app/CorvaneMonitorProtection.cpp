// Continuous data protection: the menu item that comes and goes on request, its per-user state
// file and the confirmations; and the web-management helper's start and stop. One source of the
// monitor controller.

#include "CorvaneMonitorController.h"

#include "DesktopServices.h"
#include "MonitorFiles.h"
#include "WebManagement.h"
#include "logging/SLLogger.h"
#include "net/NetworkWatcher.h"
#include "notify/AlertPresenter.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Paths.h"
#include "platform/ShellCommand.h"
#include "prefs/CdpState.h"
#include "prefs/PreferencesPanes.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"

#include <QDir>

using namespace Qt::StringLiterals;
using namespace MonitorFiles;

namespace {

const QString kCdpTitle = u"Continuous Data Protection"_s;
constexpr int kCdpPosition = 5;
// The helper's start, while it waits for the network.
const QString kWebManagementStart = u"web management helper"_s;

} // namespace

void CorvaneMonitorController::addCdpItem()
{
    if (m_statusMenu.size() > kCdpPosition && m_statusMenu.at(kCdpPosition)->text() == kCdpTitle)
        return;
    auto *item = new QAction(kCdpTitle, this);
    item->setData(int(CdpTag));
    item->setCheckable(true);
    connect(item, &QAction::triggered, this, [this, item] { ContinuousDataProtectionSelected(item); });
    m_statusMenu.insert(qMin(qsizetype(kCdpPosition), m_statusMenu.size()), item);
    checkCDP();
    Q_EMIT statusMenuChanged();
}

void CorvaneMonitorController::removeCdpItem()
{
    QAction *item = itemWithTag(CdpTag);
    if (!item)
        return;
    m_statusMenu.removeAll(item);
    item->deleteLater();
    Q_EMIT statusMenuChanged();
}

bool CorvaneMonitorController::isCdpOnForLoggedInUser() const
{
    return CdpState::isEnabledFor(m_mUserDetails.value(u"CorvaneUsername"_s).toString());
}

void CorvaneMonitorController::checkCDP()
{
    const bool on = isCdpOnForLoggedInUser();
    if (QAction *item = itemWithTag(CdpTag))
        item->setChecked(on);
    Q_EMIT cdpStateChanged(on);
}

void CorvaneMonitorController::ContinuousDataProtectionSelected(QAction *item)
{
    const bool wasOn = item ? !item->isChecked() : isCdpOnForLoggedInUser(); // the click toggled it
    if (item)
        item->setChecked(wasOn); // the state file decides, once confirmed
    const bool a = corvane();
    if (!wasOn && !supportMachineAgrees(u"CDP"_s)) {
        checkCDP(); // the general pane's box goes back to what the file says
        return;
    }
    if (m_mUserDetails.value(u"CorvaneUsername"_s).toString().isEmpty()) {
        displayWindowWithAlertMsg(a ? u"Login to the Corvane Lumen application and enable Continuous backup feature."_s
                                    : u"Login to the Stelloa Lumen application and enable Continuous backup feature."_s);
        checkCDP();
        return;
    }
    const QString image = a ? u"Corvane_Portable"_s : u"stelloa"_s;
    const QString message = wasOn
        ? u"On disabling this option, your files and folders will not be backed up in real time."_s
        : u"On enabling this option, files and folders selected for backup will be backed up in real time on "
          "detecting changes.\n\nNote: To limit resources used for CDP (Continuous Data Protection), file size "
          "limited to 2GB or lower are picked up for backup.\n\nWould you link to enable CDP?"_s;
    const QString title = wasOn ? (a ? u"Corvane Lumen"_s : u"Stelloa for Mac"_s) : (a ? u"Corvane Lumen"_s : u"Stelloa"_s);
    const int answer = m_services.alerts->displayMessage(message, title, {u"Yes"_s, u"No"_s, QString()}, true, image);
    if (answer == AlertPresenter::kDefault)
        onCDPYesButton();
    else
        onCDPNoButton();
}

void CorvaneMonitorController::onCDPYesButton()
{
    CdpState::write(m_mUserDetails.value(u"CorvaneUsername"_s).toString(), !isCdpOnForLoggedInUser());
    if (m_notifications)
        m_notifications->post(u"CDPStateModified"_s);
    checkCDP();
    if (m_panes)
        m_panes->general.loadPrefrences();
}

void CorvaneMonitorController::onCDPNoButton()
{
    checkCDP(); // the general pane's box goes back to what the file says
}

bool CorvaneMonitorController::isMagicFileExists() const
{
    return m_webManagement->isMagicFileExists();
}

bool CorvaneMonitorController::supportMachineAgrees(const QString &feature) const
{
    return !isMagicFileExists()
        || m_services.alerts->displayMessage(
               u"THIS APPLICATION HAS BEEN CONFIGURED FOR INTERNAL SUPPORT USE.\nWould you like to enable "_s + feature
                   + u" in this machine?"_s,
               SLLocalizedString(u"ApplicationName"_s),
               {SLLocalizedString(u"OK"_s), SLLocalizedString(u"Cancel"_s), QString()}, true)
        == AlertPresenter::kDefault;
}

void CorvaneMonitorController::runWebManagementCommands()
{
    const QString stop = m_webManagement->takeStopCommand();
    if (!stop.isEmpty()) {
        if (m_services.networkWatcher)
            m_services.networkWatcher->cancel(kWebManagementStart);
        // The line leaves its ".error" in the folder it runs in: never the user's own. It runs
        // whole in a subshell there, since "&>" is a background job and a redirection to sh.
        m_services.desktop->runCommandLine(u"cd "_s + ShellCommand::quoted(QDir::tempPath()) + u" && ( "_s + stop
                                           + u" )"_s);
    }
    if (!m_webManagement->takeStartRequest())
        return;
    // The line formed for the platform that opens bundles; here the helper program itself starts.
    // It works over the network, which after a wake-up comes back seconds after the monitor does.
    const auto startHelper = [this] {
        const QString helper = SLLocalizedString(u"WebManagementExecPath"_s);
        if (!m_services.desktop->launchApplication(helper))
            SLLogger::logMonitorTrace(u"Could not start the web management helper "_s + helper);
    };
    if (m_services.networkWatcher)
        m_services.networkWatcher->whenOnline(kWebManagementStart, startHelper);
    else
        startHelper();
}
