#include "MessageSendingModule.h"

#include "ChannelEndpoint.h"
#include "platform/PlatformLog.h"
#include "platform/PropertyList.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QDeadlineTimer>

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

constexpr int kShutdownFlushMs = 300;

QDBusMessage nameOwnerQuery(const QString &busName)
{
    QDBusMessage ask
        = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                         u"org.freedesktop.DBus"_s, u"GetNameOwner"_s);
    ask << busName;
    return ask;
}

QDBusMessage channelCall(const QString &owner, const QByteArray &payload,
                         const QVariantList &message)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        owner, QString::fromLatin1(MessageSendingModule::kObjectPath),
        QString::fromLatin1(MessageSendingModule::kInterface),
        QString::fromLatin1(MessageSendingModule::kMethod));
    call.setAutoStartService(false);
    call << payload << message.at(1).toString() << message.at(2).toString()
         << message.at(3).toString();
    return call;
}

} // namespace

// Sends queued messages from the sending thread, never waiting there for an answer: the peer's
// owner is looked up and each call made asynchronously, in the order the messages were queued.
class MessageSendingModule::Sender : public QObject {
public:
    explicit Sender(MessageSendingModule *module)
        : m_module(module)
    {
    }

    // `message` holds the encoded payload in place of the payload.
    void dispatch(const QVariantList &message)
    {
        m_queue.append(message);
        pump();
    }

    // The bus came back: the peer's unique name may now be somebody else's.
    void forgetOwner() { m_owner.clear(); }

private:
    static constexpr int kMaxInFlight = 8; // a burst must not flood the peer's backlog

    void pump()
    {
        if (m_owner.isEmpty()) {
            if (!m_lookingUp && !m_queue.isEmpty())
                lookUpOwner();
            return;
        }
        while (m_inFlight < kMaxInFlight && !m_queue.isEmpty())
            call(m_queue.takeFirst());
    }

    void lookUpOwner()
    {
        m_lookingUp = true;
        const QDBusPendingCall pending = m_module->bus().asyncCall(
            nameOwnerQuery(busNameForChannel(m_module->m_remoteName)), kTimeoutMs);
        auto *watcher = new QDBusPendingCallWatcher(pending, this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            watcher->deleteLater();
            const QDBusPendingReply<QString> reply = *watcher;
            m_lookingUp = false;
            m_owner = reply.isValid() ? reply.value() : QString();
            if (m_owner.isEmpty()) {
                // Nobody listens: what is queued now is dropped.
                for (qsizetype i = m_queue.size(); i > 0; --i)
                    m_module->finishedSend();
                m_queue.clear();
            }
            pump();
        });
    }

    void call(const QVariantList &message)
    {
        ++m_inFlight;
        const QString owner = m_owner;
        const QDBusPendingCall pending = m_module->bus().asyncCall(
            channelCall(owner, message.at(0).toByteArray(), message), kTimeoutMs);
        auto *watcher = new QDBusPendingCallWatcher(pending, this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, owner] {
            watcher->deleteLater();
            --m_inFlight;
            // Forget the peer: the next message looks the name up again (the peer may restart).
            if (watcher->isError() && m_owner == owner)
                m_owner.clear();
            m_module->finishedSend();
            pump();
        });
    }

    MessageSendingModule *m_module;
    QString m_owner;
    bool m_lookingUp = false;
    int m_inFlight = 0;
    QList<QVariantList> m_queue;
};

MessageSendingModule::MessageSendingModule(QObject *parent)
    : QObject(parent)
    , m_bus(u"lumen-channel"_s)
{
    m_endpoint = std::make_unique<ChannelEndpoint>(m_bus);
    m_listenerThread.setObjectName(u"channel-listener"_s);
    m_senderThread.setObjectName(u"channel-sender"_s);
    // Messages are delivered off the main thread, which may itself be waiting in a send to
    // another end of this very process.
    m_endpoint->moveToThread(&m_listenerThread);
    m_listenerThread.start();
    m_sender = std::make_unique<Sender>(this);
    m_sender->moveToThread(&m_senderThread);
    connect(&m_bus, &BusConnection::reconnected, this, &MessageSendingModule::rejoinBus);
}

MessageSendingModule::~MessageSendingModule()
{
    closeIPCConnection();
    // A moment for what is already queued; a peer that does not answer is not waited for.
    waitForPendingSends(kShutdownFlushMs);
    m_senderThread.quit();
    m_senderThread.wait();
    m_sender.reset(); // its thread has ended (or never ran); unanswered calls are abandoned
    m_listenerThread.quit();
    m_listenerThread.wait();
    m_endpoint.reset();
}

QDBusConnection MessageSendingModule::bus() const
{
    return m_bus.connection();
}

void MessageSendingModule::rejoinBus()
{
    QMetaObject::invokeMethod(m_endpoint.get(), &ChannelEndpoint::followRemoteOwner);
    QMetaObject::invokeMethod(m_sender.get(), [this] { m_sender->forgetOwner(); });
    {
        QMutexLocker lock(&m_sendLock);
        m_cachedRemoteOwner.clear();
    }
    if (m_currentlyReceivingData && !listenForRequests())
        qCWarning(lcPlatform) << "the channel does not listen on the new bus connection";
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
        qCWarning(lcPlatform) << "channel name" << name
                              << "not taken:" << bus.lastError().message();
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

std::optional<QByteArray> MessageSendingModule::encodePayload(const QVariant &payload)
{
    const QByteArray bytes = PropertyList::toData(payload, PropertyList::Format::Binary);
    if (bytes.isEmpty()) {
        qCWarning(lcPlatform) << "channel message not sent: its payload has no property-list form";
        return std::nullopt;
    }
    if (bytes.size() > ChannelEndpoint::kMaxPayloadBytes) {
        qCWarning(lcPlatform) << "channel message not sent: a payload of" << bytes.size()
                              << "bytes is over the bound of" << ChannelEndpoint::kMaxPayloadBytes;
        return std::nullopt;
    }
    return bytes;
}

void MessageSendingModule::sendIPCMessage(const QVariant &payload, int type, bool)
{
    QVariantList message = buildMessage(payload, type);
    const std::optional<QByteArray> encoded = encodePayload(message.at(0));
    if (!encoded)
        return;
    message[0] = *encoded;
    {
        QMutexLocker lock(&m_pendingLock);
        ++m_pending;
    }
    if (!m_senderThread.isRunning())
        m_senderThread.start();
    QMetaObject::invokeMethod(
        m_sender.get(), [this, message] { m_sender->dispatch(message); }, Qt::QueuedConnection);
}

void MessageSendingModule::finishedSend()
{
    QMutexLocker lock(&m_pendingLock);
    if (--m_pending == 0)
        m_pendingDone.wakeAll();
}

bool MessageSendingModule::waitForPendingSends(int ms)
{
    QDeadlineTimer deadline(ms < 0 ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(ms));
    QMutexLocker lock(&m_pendingLock);
    while (m_pending > 0) {
        if (!m_pendingDone.wait(&m_pendingLock, deadline))
            return false;
    }
    return true;
}

QString MessageSendingModule::remoteOwner()
{
    if (!m_cachedRemoteOwner.isEmpty())
        return m_cachedRemoteOwner;
    const QDBusMessage reply
        = bus().call(nameOwnerQuery(busNameForChannel(m_remoteName)), QDBus::Block, kTimeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
        m_cachedRemoteOwner = reply.arguments().first().toString();
    return m_cachedRemoteOwner;
}

bool MessageSendingModule::sendMessageInternal(const QVariantList &message)
{
    if (message.size() != 4)
        return false;
    const std::optional<QByteArray> payload = encodePayload(message.at(0));
    if (!payload)
        return false;
    QMutexLocker lock(&m_sendLock);
    const QString owner = remoteOwner();
    if (owner.isEmpty())
        return false; // nobody listens under the remote name: the message is dropped
    const QDBusMessage reply
        = bus().call(channelCall(owner, *payload, message), QDBus::Block, kTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        // Forget the peer: the next message looks the name up again (the peer may restart).
        m_cachedRemoteOwner.clear();
        return false;
    }
    return true;
}
