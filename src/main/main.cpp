// lumen-monitor: the tray companion of the backup product.

#include "app/CorvaneMonitorController.h"
#include "app/DesktopServices.h"
#include "app/MonitorScripting.h"
#include "app/views/SessionLogWindow.h"
#include "app/views/StatusItemView.h"
#include "app/views/TrayHelpWindow.h"
#include "ipc/MessageSendingModule.h"
#include "logging/SLBackupProgressLogger.h"
#include "logging/SLLogger.h"
#include "logview/views/LogWindow.h"
#include "net/NetworkWatcher.h"
#include "notify/views/AlertPaneWindowController.h"
#include "notify/views/DesktopNotificationWindow.h"
#include "platform/Clock.h"
#include "platform/SystemInfo.h"
#include "prefs/views/PreferencesWindow.h"
#include "product/FilePathAPIs.h"
#include "product/LaunchOptions.h"
#include "scheduler/views/ErrorReportWindow.h"
#include "scheduler/views/SchedulerWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QLockFile>
#include <QNetworkAccessManager>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QSystemTrayIcon>
#include <QTimer>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

using namespace Qt::StringLiterals;

namespace {

int g_signalPipe[2] = {-1, -1};

extern "C" void requestQuit(int)
{
    const char byte = 1;
    (void)!::write(g_signalPipe[1], &byte, 1);
}

// Warnings of our own categories go to the monitor's trace file as well.
QtMessageHandler g_defaultHandler = nullptr;
void routeToTrace(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (context.category && QByteArrayView(context.category).startsWith("lumen."))
        SLLogger::logMonitorTrace(message);
    if (g_defaultHandler)
        g_defaultHandler(type, context, message);
}

} // namespace

int main(int argc, char *argv[])
{
#ifdef __GLIBC__
    // Large blocks (a burst of big channel messages) go back to the system when freed, so that
    // the idle monitor's resident size returns after the burst. A fixed threshold keeps the
    // allocator from raising it once the first such block has been freed.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
#endif
    QApplication app(argc, argv);
    QApplication::setApplicationName(u"lumen-monitor"_s);
    QApplication::setQuitOnLastWindowClosed(false); // a tray application: no window keeps it alive

    QCommandLineParser parser;
    parser.setApplicationDescription(u"Tray companion of the Lumen backup products."_s);
    parser.addHelpOption();
    parser.addOptions(LaunchOptions::commandLineOptions());
    parser.addOption({u"show-menu"_s, u"Open the status menu once the icon is shown (for demos)."_s});
    parser.addOption({u"show-jobs-menu"_s, u"Open the status menu with Scheduled Jobs open (for demos)."_s});
    parser.addOption({u"no-channel"_s, u"Do not take the monitor's end of the message channel."_s});
    parser.process(app);
    const std::optional<LaunchOptions> options = LaunchOptions::applyFromParser(parser);
    if (!options)
        return 2;
    g_defaultHandler = qInstallMessageHandler(routeToTrace);

    // One monitor per user and brand.
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    QDir().mkpath(runtime);
    QLockFile lock(runtime + u"/lumen-monitor-"_s + options->brand + u".lock"_s);
    lock.setStaleLockTime(0);
    if (!lock.tryLock(100)) {
        QTextStream(stderr) << FilePathAPIs::applicationName() << u" is already running.\n"_s;
        return 1;
    }

    // SIGTERM and SIGINT end the monitor like its Quit item: buffered logs are written out.
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, g_signalPipe) == 0) {
        auto *notifier = new QSocketNotifier(g_signalPipe[0], QSocketNotifier::Read, &app);
        QObject::connect(notifier, &QSocketNotifier::activated, &app, &QApplication::quit);
        std::signal(SIGTERM, requestQuit);
        std::signal(SIGINT, requestQuit);
    }
    MessageSendingModule::installSignalCaughtHandler({SIGHUP, SIGQUIT});

    QNetworkAccessManager network;
    NetworkWatcher networkWatcher;
    SystemDesktopServices desktop;
    AlertPanePresenter alerts(FilePathAPIs::isCorvaneApplication());
    DesktopNotificationWindow notificationWindow; // its rows are built when first shown
    MonitorServices services{&Clock::system(), &alerts, &desktop, &network, !parser.isSet(u"no-channel"_s)};
    services.notificationWindow = &notificationWindow;
    services.networkWatcher = &networkWatcher;
    CorvaneMonitorController controller(services);
    SessionLogWindow sessionLogs([&controller](const QList<int> &rows) { controller.openSelectedSessionLogs(rows); },
                                 [&controller](const QList<int> &rows) { controller.deleteSelectedSessionLogs(rows); });
    controller.setSessionLogWindow(&sessionLogs);
    PreferencesWindow preferences([&controller] { return controller.preferencesPanes(); },
                                  [&controller] { controller.windowWillClose(); });
    controller.setPreferencesWindow(&preferences);
    const StatusItemView *statusItemView = nullptr; // made once the monitor has started
    TrayHelpWindow trayHelp([&statusItemView] {
        return statusItemView ? statusItemView->trayIcon()->geometry() : QRect();
    });
    controller.setTrayHelp(&trayHelp);
    LogWindow logWindow; // its pane is built when first shown, and goes before the monitor
    controller.setLogWindow(&logWindow);
    ErrorReportWindow errorReport; // built when first opened
    controller.setErrorReportWindow(&errorReport);
    QObject::connect(&controller, &CorvaneMonitorController::quitRequested, &app, &QApplication::quit);
    controller.awakeFromNib();
    // Built when first shown (Manage Schedules…, or the engine's request to show the schedules).
    SchedulerWindow schedules(controller.scheduleEditor(), controller.scheduler());

    MonitorScripting scripting(&controller);
    if (!scripting.publish(options->brand))
        SLLogger::logMonitorTrace(u"The monitor cannot be scripted: its bus name is taken or there is no bus"_s);

    StatusItemView statusItem(&controller);
    statusItemView = &statusItem;
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        SLLogger::logMonitorTrace(u"No system tray is available yet; the icon appears when one starts"_s);
    statusItem.show();
    if (parser.isSet(u"show-menu"_s))
        QTimer::singleShot(500, &statusItem, &StatusItemView::popUpMenu);
    if (parser.isSet(u"show-jobs-menu"_s))
        QTimer::singleShot(500, &statusItem, &StatusItemView::popUpSchedulerMenu);

    const int status = QApplication::exec();
    SLBackupProgressLogger::progressLogger().flushAll();
    return status;
}
