// Backup now without the tray: the monitor's own decision (the application status, the
// SchedulerState file, the login details and backup set), its alert texts printed instead of shown.

#include "Command.h"

#include "app/CorvaneMonitorController.h"
#include "notify/AlertPresenter.h"
#include "platform/Clock.h"

using namespace Qt::StringLiterals;

namespace {

// Collects what the monitor would show; every pane is answered with its default button.
class PrintingAlertPresenter : public AlertPresenter {
public:
    int displayMessage(const QString &message, const QString &, const AlertButtons &, bool,
                       const QString &, AlertDelegate *) override
    {
        m_messages.append(message);
        return kDefault;
    }
    const QStringList &messages() const { return m_messages; }

private:
    QStringList m_messages;
};

} // namespace

int runBackupNowCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    if (!arguments.isEmpty()) {
        err << u"usage: lumenctl backup-now\n"_s;
        return 2;
    }
    PrintingAlertPresenter alerts;
    MonitorServices services;
    services.clock = &Clock::system();
    services.alerts = &alerts;
    services.connectChannel = false;
    CorvaneMonitorController monitor(services);
    monitor.createScheduler();
    monitor.backupNow();
    const bool queued = monitor.newSchedule().has_value();
    QTextStream &stream = queued ? out : err;
    for (const QString &message : alerts.messages())
        stream << message << u'\n';
    if (queued)
        out << u"Queued: first start "_s << monitor.newSchedule()->scheduleTimeString() << u'\n';
    return queued ? 0 : 1;
}
