// The log viewer window as the monitor runs it. One source of the monitor controller.

#include "CorvaneMonitorController.h"

#include "DesktopServices.h"
#include "logview/LogViewController.h"

#include <QJsonObject>

using namespace Qt::StringLiterals;

void CorvaneMonitorController::addLogViewToWindow()
{
    m_logView = std::make_unique<LogViewController>(m_services.alerts, *m_services.clock, m_notifications.get());
    m_logView->initializers();
    m_logView->setUrlOpener([this](const QUrl &url) { m_services.desktop->openUrl(url); });
}

void CorvaneMonitorController::viewSessionLog()
{
    if (!m_logView)
        addLogViewToWindow();
    if (m_services.logWindow)
        m_services.logWindow->showLogWindow(m_logView.get());
    m_logView->reloadLogViewOnTableViewSelectionChange();
}

void CorvaneMonitorController::closeSeesionLog()
{
    if (m_services.logWindow)
        m_services.logWindow->closeLogWindow();
}

QJsonValue CorvaneMonitorController::logWindowStatus() const
{
    if (!m_logView || !m_services.logWindow || !m_services.logWindow->isLogWindowOpen())
        return QJsonValue();
    return QJsonObject{{u"period"_s, m_logView->selectedPeriod()},
                       {u"runs"_s, int(m_logView->mLogContainer().size())}};
}
