#pragma once

#include <QJsonObject>
#include <QObject>

class Clock;
class CorvaneMonitorController;

// The status menu from scripts: the running monitor exports this object on the session bus
// (service com.halvern.Lumen.Monitor.<brand>, path /com/halvern/Lumen/Monitor, interface
// com.halvern.Lumen.Monitor), so that `lumenctl menu` can choose a menu item as a click would.
class MonitorScripting : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.halvern.Lumen.Monitor")
public:
    static constexpr const char *kPath = "/com/halvern/Lumen/Monitor";
    static constexpr const char *kInterface = "com.halvern.Lumen.Monitor";
    static QString serviceName(const QString &brand);

    explicit MonitorScripting(CorvaneMonitorController *controller, QObject *parent = nullptr);
    // False when another monitor of the brand holds the name already. Published again when the
    // bus daemon restarts.
    bool publish(const QString &brand);

    // What the monitor knows of the user's backups, from the shared files: the logged-in account,
    // the SchedulerState, whether scheduled jobs are enabled or paused, the running and the next
    // scheduled job. `lumenctl status` uses it when no monitor runs; Status() adds what only the
    // running monitor knows (the engine's progress lines).
    static QJsonObject status(const CorvaneMonitorController &controller, const Clock &clock);

public Q_SLOTS:
    // Chooses the enabled menu item with that tag; false when there is none.
    Q_SCRIPTABLE bool Activate(int tag);
    Q_SCRIPTABLE QString ToolTip() const;
    // status() of this monitor as compact JSON text, with "source": "monitor", its tool tip and
    // the preferences pane on screen ("preferencesPane", null while the window is closed) and the
    // log window ("logWindow": its period and the runs listed, null while it is closed).
    Q_SCRIPTABLE QString Status() const;

private:
    bool registerOnBus();

    CorvaneMonitorController *m_controller;
    QString m_brand;
};
