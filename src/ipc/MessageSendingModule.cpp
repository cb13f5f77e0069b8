#include "MessageSendingModule.h"

#include "ChannelEndpoint.h"
#include "platform/PlatformLog.h"
#include "platform/PropertyList.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QSemaphore>

#include <atomic>
#include <csignal>
#include <cstring>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString kBusPrefix = u"com.halvern.Lumen.Channel."_s;

extern "C" void signalCaught(int signal)
{
    // Only async-signal-safe calls here: format by hand, write, _exit.
    char text[32] = "Signal caught:";
    size_t at = std::strlen(text);
    char digits[12];
    int n = 0;
    unsigned value = unsigned(signal);
    do {
        digits[n++] = char('0' + value % 10);
        value /= 10;
    } while (value && n < 11);
    while (n)
        text[at++] = digits[--n];
    text[at++] = '\n';
    (void)!::write(STDERR_FILENO, text, at);
    ::_exit(1);
}

} // namespace

QString MessageSendingModule::busNameForChannel(const QString &channelName)
{
    QString element;
    const QByteArray bytes = channelName.toUtf8();
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const char c = bytes.at(i);
        const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        const bool digit = c >= '0' && c <= '9';
        if (letter || (digit && i > 0))
            element.append(QLatin1Char(c));
        else
            element.append(u'_' + QString::number(uchar(c), 16).toUpper().rightJustified(2, u'0'));
    }
    return kBusPrefix + (element.isEmpty() ? u"_"_s : element);
}

QString MessageSendingModule::channelNameForBusName(const QString &busName)
{
    if (!busName.startsWith(kBusPrefix))
        return QString();
    const QString element = busName.mid(kBusPrefix.size());
    if (element == "_"_L1)
        return u""_s;
    QByteArray bytes;
    for (qsizetype i = 0; i < element.size(); ++i) {
        if (element.at(i) == u'_') {
            if (i + 2 >= element.size())
                return QString();
            bool ok = false;
            const int code = element.mid(i + 1, 2).toInt(&ok, 16);
            if (!ok)
                return QString();
            bytes.append(char(code));
            i += 2;
        } else {
            bytes.append(element.at(i).toLatin1());
        }
    }
    return QString::fromUtf8(bytes);
}

void MessageSendingModule::installSignalCaughtHandler(std::initializer_list<int> signalNumbers)
{
    for (const int signal : signalNumbers)
        std::signal(signal, signalCaught);
}

namespace {

QString nextConnectionName()
{
    static std::atomic<int> counter{0};
    return u"lumen-channel-%1"_s.arg(++counter);
}

} // namespace

MessageSendingModule::MessageSendingModule(QObject *parent)
    : QObject(parent)
    , m_connectionName(nextConnectionName())
{
    QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName);
    m_endpoint = std::make_unique<ChannelEndpoint>(m_connectionName);
    m_listenerThread.setObjectName(u"channel-listener"_s);
    m_senderThread.setObjectName(u"channel-sender"_s);
    // Calls are answered and delivered off the main thread, which may itself be waiting in a
    // send to another end of this very process.
    m_endpoint->moveToThread(&m_listenerThread);
    m_endpoint->listener()->moveToThread(&m_listenerThread);
    m_listenerThread.start();
    m_senderWorker = std::make_unique<QObject>();
    m_senderWorker->moveToThread(&m_senderThread);
    m_oneShotThreads.setMaxThreadCount(8);
}

MessageSendingModule::~MessageSendingModule()
{
    closeIPCConnection();
    waitForPendingSends();
    m_senderThread.quit();
    m_senderThread.wait();
    m_senderWorker.reset(); // its thread has ended (or never ran)
    m_listenerThread.quit();
    m_listenerThread.wait();
    m_endpoint.reset();
    QDBusConnection::disconnectFromBus(m_connectionName);
}

QDBusConnection MessageSendingModule::bus() const
{
    return QDBusConnection(m_connectionName);
}

void MessageSendingModule::setDelegate(MessageSendingModuleDelegate *delegate)
{
    m_endpoint->setDelegate(delegate);
}

MessageSendingModuleDelegate *MessageSendingModule::delegate() const
{
    return m_endpoint->delegate();
}

bool MessageSendingModule::setupConnection(const QString &localName, const QString &remoteName,
                                           bool listen)
{
    // A peer that vanishes mid-write must not end this process.
    std::signal(SIGPIPE, SIG_IGN);
    m_localName = localName;
    m_remoteName = remoteName;
    m_endpoint->setRemoteBusName(busNameForChannel(remoteName));
    return listen && listenForRequests();
}

bool MessageSendingModule::listenForRequests()
{
    closeIPCConnection(); // a stale registration of ours under the local name
    if (m_localName.isEmpty())
        return false;
    QDBusConnection bus = this->bus();
    if (!bus.isConnected()) {
        qCWarning(lcPlatform) << "no session bus: the channel cannot listen";
        return false;
    }
    if (!bus.registerVirtualObject(QString::fromLatin1(kObjectPath), m_endpoint.get())) {
        qCWarning(lcPlatform) << "channel object not exported:" << bus.lastError().message();
        return false;
    }
    const QString name = busNameForChannel(m_localName);
    if (!bus.registerService(name)) {
        qCWarning(lcPlatform) << "channel name" << name << "not taken:" << bus.lastError().message();
        bus.unregisterObject(QString::fromLatin1(kObjectPath));
        return false;
    }
    m_currentlyReceivingData = true;
    return true;
}

void MessageSendingModule::closeIPCConnection()
{
    if (!m_currentlyReceivingData)
        return;
    QDBusConnection bus = this->bus();
    bus.unregisterService(busNameForChannel(m_localName));
    bus.unregisterObject(QString::fromLatin1(kObjectPath));
    m_currentlyReceivingData = false;
}

int MessageSendingModule::applicationShouldTerminate()
{
    const bool wasListening = m_currentlyReceivingData;
    closeIPCConnection();
    return wasListening ? 0 : 1;
}

QVariantList MessageSendingModule::buildMessage(const QVariant &payload, int type) const
{
    return {payload.isValid() ? payload : QVariant(u""_s), QString::number(type), m_localName,
            m_remoteName};
}

void MessageSendingModule::sendIPCMessage(const QVariant &payload, int type, bool runInThread)
{
    const QVariantList message = buildMessage(payload, type);
    if (runInThread) {
        m_oneShotThreads.start([this, message] { sendMessageInternal(message); });
        return;
    }
    if (!m_senderThread.isRunning())
        m_senderThread.start();
    QMetaObject::invokeMethod(m_senderWorker.get(), [this, message] { sendMessageInternal(message); },
                              Qt::QueuedConnection);
}

void MessageSendingModule::waitForPendingSends()
{
    m_oneShotThreads.waitForDone();
    if (m_senderThread.isRunning()) {
        // A marker behind everything queued so far.
        QSemaphore done;
        QMetaObject::invokeMethod(m_senderWorker.get(), [&done] { done.release(); }, Qt::QueuedConnection);
        done.acquire();
    }
}

QString MessageSendingModule::remoteOwner()
{
    if (!m_cachedRemoteOwner.isEmpty())
        return m_cachedRemoteOwner;
    QDBusMessage ask = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                      u"org.freedesktop.DBus"_s, u"GetNameOwner"_s);
    ask << busNameForChannel(m_remoteName);
    const QDBusMessage reply = bus().call(ask, QDBus::Block, kTimeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
        m_cachedRemoteOwner = reply.arguments().first().toString();
    return m_cachedRemoteOwner;
}

bool MessageSendingModule::sendMessageInternal(const QVariantList &message)
{
    if (message.size() != 4)
        return false;
    QMutexLocker lock(&m_sendLock);
    const QString owner = remoteOwner();
    if (owner.isEmpty())
        return false; // nobody listens under the remote name: the message is dropped
    QDBusMessage call = QDBusMessage::createMethodCall(owner, QString::fromLatin1(kObjectPath),
                                                       QString::fromLatin1(kInterface),
                                                       QString::fromLatin1(kMethod));
    call.setAutoStartService(false);
    call << PropertyList::toData(message.at(0), PropertyList::Format::Binary) << message.at(1).toString()
         << message.at(2).toString() << message.at(3).toString();
    const QDBusMessage reply = bus().call(call, QDBus::Block, kTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        // Forget the peer: the next message looks the name up again (the peer may restart).
        m_cachedRemoteOwner.clear();
        return false;
    }
    return true;
}
