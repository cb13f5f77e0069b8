#pragma once

#include <QObject>

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
    // False when another monitor of the brand holds the name already.
    bool publish(const QString &brand);

public Q_SLOTS:
    // Chooses the enabled menu item with that tag; false when there is none.
    Q_SCRIPTABLE bool Activate(int tag);
    Q_SCRIPTABLE QString ToolTip() const;

private:
    CorvaneMonitorController *m_controller;
};
