#include "LogindStandIn.h"

using namespace Qt::StringLiterals;

LogindStandIn::LogindStandIn(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
    m_running = m_bus.registerObject(u"/org/freedesktop/login1"_s, this,
                                     QDBusConnection::ExportScriptableSignals)
        && m_bus.registerService(u"org.freedesktop.login1"_s);
}

LogindStandIn::~LogindStandIn()
{
    if (m_running)
        m_bus.unregisterService(u"org.freedesktop.login1"_s);
    m_bus.unregisterObject(u"/org/freedesktop/login1"_s);
}
