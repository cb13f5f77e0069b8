// The log viewer window as the monitor runs it. One source of the monitor controller.

#include "CorvaneMonitorController.h"

#include "DesktopServices.h"
#include "SessionLogList.h"
#include "TrayHelp.h"
#include "logging/SLLogger.h"
#include "logview/LogViewController.h"
#include "platform/Paths.h"
#include "product/FilePathAPIs.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QTimer>
#include <QUrl>

#include <algorithm>

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
    // The last load's rows go before the window is built, so it is never laid out for them.
    m_logView->reloadLogViewOnTableViewSelectionChange();
    if (m_services.logWindow)
        m_services.logWindow->showLogWindow(m_logView.get());
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

// ---- the session-log list ------------------------------------------------------------------

void CorvaneMonitorController::reloadSessionLogs()
{
    m_sessionLogs->reload(stringByStandardizingPath(FilePathAPIs::pathForApplicationFile(3)));
}

void CorvaneMonitorController::viewLog()
{
    reloadSessionLogs();
    if (m_services.sessionLogWindow)
        m_services.sessionLogWindow->showSessionLogWindow(m_sessionLogs, m_sessionLogs->rowCount() > 0);
}

void CorvaneMonitorController::openSelectedSessionLogs(const QList<int> &rows)
{
    QList<int> ascending = rows;
    std::sort(ascending.begin(), ascending.end());
    for (const int row : std::as_const(ascending)) {
        if (row < 0 || row >= m_sessionLogs->rows().size())
            continue;
        // With the desktop's application for the file; one it cannot open is named in the trace.
        const QString path = Paths::current().resolve(m_sessionLogs->rows().at(row).Filepath);
        if (!m_services.desktop->openUrl(QUrl::fromLocalFile(path)))
            SLLogger::logMonitorTrace(u"Could not open the session log "_s + path);
    }
}

void CorvaneMonitorController::deleteSelectedSessionLogs(const QList<int> &rows)
{
    m_sessionLogs->deleteRows(rows);
}

// ---- the first-run help --------------------------------------------------------------------

void CorvaneMonitorController::showTrayHelp()
{
    const QString marker = u"~/Library/Application Support/CorvanePortableforMac/installfortray.txt"_s;
    if (!QFileInfo::exists(Paths::current().resolve(marker)))
        return;
    if (m_services.trayHelp) {
        m_services.trayHelp->showTrayHelp();
        m_trayHelpShown = true;
        QTimer::singleShot(TrayHelp::kShownMs, this, &CorvaneMonitorController::closeTrayHelp);
    }
    QFile::remove(Paths::current().resolve(marker)); // once
}

void CorvaneMonitorController::closeTrayHelp()
{
    if (m_services.trayHelp && m_trayHelpShown)
        m_services.trayHelp->closeTrayHelp();
    m_trayHelpShown = false;
}
