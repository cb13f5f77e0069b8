#include "NetworkWatcher.h"

#include <QNetworkInformation>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

Q_LOGGING_CATEGORY(lcNetworkWatch, "lumen.network")

NetworkWatcher::NetworkWatcher(QString backend, QObject *parent)
    : QObject(parent)
    , m_backend(std::move(backend))
{
    m_patience.setSingleShot(true);
    m_patience.setInterval(2min);
    connect(&m_patience, &QTimer::timeout, this, [this] { runWaiting("the network did not come up in time"); });
}

QNetworkInformation *NetworkWatcher::information()
{
    if (m_loaded)
        return m_information;
    m_loaded = true;
    const bool loaded = m_backend.isEmpty()
        ? QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability)
        : QNetworkInformation::loadBackendByName(m_backend);
    m_information = loaded ? QNetworkInformation::instance() : nullptr;
    if (!m_information) {
        qCInfo(lcNetworkWatch) << "no network information: the network counts as up";
        return nullptr;
    }
    connect(m_information, &QNetworkInformation::reachabilityChanged, this, &NetworkWatcher::reachabilityChanged);
    m_wasOnline = isOnline();
    return m_information;
}

bool NetworkWatcher::isOnline()
{
    const QNetworkInformation *information = this->information();
    if (!information)
        return true;
    using R = QNetworkInformation::Reachability;
    const R reachability = information->reachability();
    return reachability == R::Online || reachability == R::Site;
}

void NetworkWatcher::whenOnline(const QString &key, std::function<void()> work)
{
    if (isOnline()) {
        m_waiting.remove(key);
        work();
        return;
    }
    qCInfo(lcNetworkWatch).noquote() << "the network is down:" << key << "waits for it";
    m_waiting.insert(key, std::move(work));
    if (!m_patience.isActive())
        m_patience.start();
}

void NetworkWatcher::reachabilityChanged()
{
    const bool online = isOnline();
    if (online == m_wasOnline)
        return;
    m_wasOnline = online;
    Q_EMIT onlineChanged(online);
    if (online)
        runWaiting("the network is up");
}

void NetworkWatcher::runWaiting(const char *why)
{
    m_patience.stop();
    // Work may queue more work: run what waits now, by itself.
    const QHash<QString, std::function<void()>> waiting = std::exchange(m_waiting, {});
    for (auto it = waiting.begin(); it != waiting.end(); ++it) {
        qCInfo(lcNetworkWatch).noquote() << why << "- running" << it.key();
        it.value()();
    }
}
