#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QThread>

#include <atomic>

// Stands in for NetworkManager on the test's bus (the session bus, which the test makes its system
// bus too): owns org.freedesktop.NetworkManager, answers
// for the manager's State and Connectivity, and announces changes as NetworkManager does. The
// manager answers on a thread of its own: Qt's backend asks it with blocking calls.
class NetworkManagerStandIn {
public:
    // NetworkManager's own numbers (NMState).
    enum State : uint { Asleep = 10, Disconnected = 20, Connecting = 40, ConnectedLocal = 50, ConnectedSite = 60,
                        ConnectedGlobal = 70 };

    explicit NetworkManagerStandIn(State state);
    ~NetworkManagerStandIn();

    bool isRunning() const { return m_running; }
    void setState(State state);

private:
    class Manager;

    QDBusConnection m_bus;
    std::atomic<uint> m_state;
    QThread m_thread;
    Manager *m_manager;
    bool m_running = false;
};
