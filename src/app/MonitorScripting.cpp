#include "MonitorScripting.h"

#include "CorvaneMonitorController.h"

#include <QDBusConnection>
#include <QTimer>

using namespace Qt::StringLiterals;

QString MonitorScripting::serviceName(const QString &brand)
{
    return u"com.halvern.Lumen.Monitor."_s + brand;
}

MonitorScripting::MonitorScripting(CorvaneMonitorController *controller, QObject *parent)
    : QObject(parent)
    , m_controller(controller)
{
}

bool MonitorScripting::publish(const QString &brand)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.registerObject(QString::fromLatin1(kPath), this, QDBusConnection::ExportScriptableSlots)
           && bus.registerService(serviceName(brand));
}

bool MonitorScripting::Activate(int tag)
{
    QAction *item = m_controller->itemWithTag(tag);
    if (!item || !item->isEnabled())
        return false;
    // After the reply: an item may open a window that waits for the user.
    QTimer::singleShot(0, item, &QAction::trigger);
    return true;
}

QString MonitorScripting::ToolTip() const
{
    return m_controller->toolTip();
}
