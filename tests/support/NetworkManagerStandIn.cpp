#include "NetworkManagerStandIn.h"

#include <QDBusMessage>

using namespace Qt::StringLiterals;

namespace {
const QString kPath = u"/org/freedesktop/NetworkManager"_s;
const QString kService = u"org.freedesktop.NetworkManager"_s;
const QString kConnectionName = u"network-manager-stand-in"_s;

// NMConnectivityState for a state: full, limited or none.
uint connectivityOf(uint state)
{
    return state == NetworkManagerStandIn::ConnectedGlobal ? 4 : state >= NetworkManagerStandIn::ConnectedLocal ? 3 : 1;
}
} // namespace

// The object on the bus, living on the stand-in's thread.
class NetworkManagerStandIn::Manager : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.NetworkManager")
    Q_PROPERTY(uint State READ state)
    Q_PROPERTY(uint Connectivity READ connectivity)
    Q_PROPERTY(uint Metered READ metered)
public:
    explicit Manager(const std::atomic<uint> &state)
        : m_state(state)
    {
    }
    uint state() const { return m_state; }
    uint connectivity() const { return connectivityOf(m_state); }
    uint metered() const { return 0; }

private:
    const std::atomic<uint> &m_state;
};

NetworkManagerStandIn::NetworkManagerStandIn(State state)
    : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, kConnectionName))
    , m_state(state)
    , m_manager(new Manager(m_state))
{
    m_manager->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_manager, &QObject::deleteLater);
    m_thread.start();
    // Registered from its own thread on a connection of its own, or calls wait for the main thread.
    QMetaObject::invokeMethod(
        m_manager,
        [this] {
            m_running = m_bus.registerObject(kPath, m_manager, QDBusConnection::ExportAllProperties)
                && m_bus.registerService(kService);
        },
        Qt::BlockingQueuedConnection);
}

NetworkManagerStandIn::~NetworkManagerStandIn()
{
    if (m_running)
        m_bus.unregisterService(kService);
    m_bus.unregisterObject(kPath);
    m_thread.quit();
    m_thread.wait();
    QDBusConnection::disconnectFromBus(kConnectionName);
}

void NetworkManagerStandIn::setState(State state)
{
    m_state = state;
    QDBusMessage changed
        = QDBusMessage::createSignal(kPath, u"org.freedesktop.DBus.Properties"_s, u"PropertiesChanged"_s);
    const QVariantMap properties{{u"State"_s, QVariant::fromValue(uint(state))},
                                 {u"Connectivity"_s, QVariant::fromValue(connectivityOf(state))}};
    changed << kService << properties << QStringList();
    m_bus.send(changed);
}

#include "NetworkManagerStandIn.moc"
