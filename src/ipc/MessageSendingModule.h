#pragma once

#include "platform/BusConnection.h"

#include <QDBusConnection>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QThread>
#include <QVariantList>
#include <QWaitCondition>

#include <atomic>
#include <memory>
#include <optional>

class ChannelEndpoint;

// One message as it arrived: the four elements (payload, type as decimal text, sender's name,
// receiver's name) and who sent it on the bus.
struct IncomingMessage {
    QVariantList message;
    QString senderUniqueName; // the bus connection that sent it, e.g. ":1.42"
    bool fromRemoteEnd = false; // sent by the current owner of this channel's remote name
    // Keeps the payload counted in the channel's backlog while any copy of the message lives.
    std::shared_ptr<const void> backlogShare {};
};

class MessageSendingModuleDelegate {
public:
    virtual ~MessageSendingModuleDelegate() = default;
    // Called on the channel's listening thread, never on the main thread. A copy of `message`
    // queued for another thread keeps its payload in the channel's backlog until it is handled,
    // so that a busy thread makes the channel refuse more rather than pile them up.
    virtual void didReceiveIPCMessage(const IncomingMessage &message) = 0;
};

// One end of the two-way message channel between the monitor and its companion application, on
// the D-Bus session bus (so only programs of the same user can reach it). Each end owns the well
// -known bus name of its channel name and exports one object whose method
// com.halvern.Lumen.MessageChannel.DidReceiveDataFromOtherProcess(ay payload, s type,
// s sender, s receiver) takes a message; the payload is a property list (a string or a
// dictionary). Sending is fire-and-forget for the caller: a missing peer drops the message, and
// a failed send forgets the peer so that the next message looks it up afresh. Queued messages
// are sent from the sending thread without waiting for their answers, so that a peer that hangs
// holds up nobody; closing the end takes well under a second whatever the peer does. When the bus
// daemon restarts, the end connects again, takes its name back and looks its peer up afresh.
class MessageSendingModule : public QObject {
    Q_OBJECT
public:
    static constexpr const char *kObjectPath = "/com/halvern/Lumen/Channel";
    static constexpr const char *kInterface = "com.halvern.Lumen.MessageChannel";
    static constexpr const char *kMethod = "DidReceiveDataFromOtherProcess";
    static constexpr int kTimeoutMs = 3000;

    // "CorvanePortableMA<id><login>" <-> "com.halvern.Lumen.Channel.CorvanePortableMA<id><login>";
    // characters a bus name cannot hold are written as "_" and two hex digits of each UTF-8 byte.
    static QString busNameForChannel(const QString &channelName);
    static QString channelNameForBusName(const QString &busName);
    // Prints "Signal caught:<n>" and ends the process with status 1 on these signals.
    static void installSignalCaughtHandler(std::initializer_list<int> signalNumbers);

    explicit MessageSendingModule(QObject *parent = nullptr);
    ~MessageSendingModule() override;

    void setDelegate(MessageSendingModuleDelegate *delegate);
    MessageSendingModuleDelegate *delegate() const;

    // Stores the names and starts listening under the local one ("" or `listen` false: send
    // only). False when the local name could not be taken (the end can still send).
    bool setupConnection(const QString &localName, const QString &remoteName, bool listen = true);
    // Queues a message for the remote end and returns at once. Both kinds go out from the
    // sending thread without blocking it, so a thread of their own (`runInThread`) would add
    // nothing; the flag is kept for the callers.
    void sendIPCMessage(const QVariant &payload, int type, bool runInThread);
    // Sends now and waits up to three seconds; true when the peer took the message.
    bool sendMessageInternal(const QVariantList &message);
    // Waits until every queued message has been answered or dropped; false when `ms` ran out.
    bool waitForPendingSends(int ms = -1);

    void closeIPCConnection();
    // 0 ("terminate later") while listening, else 1.
    int applicationShouldTerminate();

    QString getLocalHost() const { return m_localName; }
    QString getRemoteHost() const { return m_remoteName; }
    bool currentlyReceivingData() const { return m_currentlyReceivingData; }

    QVariantList buildMessage(const QVariant &payload, int type) const;

    // The payload's encoded form, or nothing (with a trace line) when it cannot or must not be
    // sent.
    static std::optional<QByteArray> encodePayload(const QVariant &payload);

private:
    class Sender;

    bool listenForRequests();
    QString remoteOwner(); // the unique name now owning the remote name, cached
    void finishedSend();
    void rejoinBus();

    QDBusConnection bus() const;

    BusConnection m_bus; // each end is a bus peer of its own
    QString m_localName;
    QString m_remoteName;
    bool m_currentlyReceivingData = false;
    std::unique_ptr<ChannelEndpoint> m_endpoint;
    QThread m_listenerThread;
    QThread m_senderThread;
    std::unique_ptr<Sender> m_sender; // lives on the sending thread
    QMutex m_sendLock; // serialises direct sends and guards their cached peer
    QString m_cachedRemoteOwner;
    QMutex m_pendingLock;
    QWaitCondition m_pendingDone;
    int m_pending = 0;
};
