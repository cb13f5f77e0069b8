#pragma once

#include <QDBusError>
#include <QDBusVirtualObject>
#include <QList>
#include <QMutex>
#include <QObject>

#include <atomic>
#include <memory>

class MessageSendingModuleDelegate;
class QDBusServiceWatcher;
class BusConnection;

// The exported object of a channel end. The bus calls handleMessage on its own dispatch thread:
// there each call is checked (shape, payload size, backlog) and answered at once, so the sender
// never waits for the delegate's work, and only plain copies of the arguments travel on to the
// listening thread, where the delegate gets them. Nothing here waits on the bus: the owner of
// the remote name is followed through the bus's own announcements, and a bus message is never
// kept (the bus library must only ever see its messages released on its dispatch thread, or it
// stops reading once a large backlog has been held).
class ChannelEndpoint : public QDBusVirtualObject {
    Q_OBJECT
public:
    // Far above anything the companion sends; larger payloads are refused unread.
    static constexpr qsizetype kMaxPayloadBytes = 1024 * 1024;
    // Payload bytes taken but not yet handled (see IncomingMessage::backlogShare); more are
    // refused.
    static constexpr qsizetype kMaxBacklogBytes = 16 * kMaxPayloadBytes;

    explicit ChannelEndpoint(const BusConnection &bus);
    ~ChannelEndpoint() override;

    void setDelegate(MessageSendingModuleDelegate *delegate);
    MessageSendingModuleDelegate *delegate() const;
    // Starts following the owner of `name` (call once, before listening, once this object is on
    // its listening thread).
    void setRemoteBusName(const QString &name);
    // Follows it afresh on the bus's current connection (on the listening thread, after the bus
    // came back: the unique names of the old connection mean nothing there).
    void followRemoteOwner();

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

    struct Arrival {
        QByteArray payload;
        QString type, sender, receiver, senderUniqueName;
    };

private Q_SLOTS:
    void ownerFound(const QString &owner);
    void ownerNotFound(const QDBusError &error);

private:
    void arrive(const Arrival &arrival);
    void deliver(const Arrival &arrival);
    void setOwner(const QString &owner);

    const BusConnection &m_bus;
    QString m_remoteBusName;
    mutable QMutex m_lock;
    MessageSendingModuleDelegate *m_delegate = nullptr;
    // Shared with the messages handed out, which may outlive this object.
    const std::shared_ptr<std::atomic<qsizetype>> m_backlogBytes
        = std::make_shared<std::atomic<qsizetype>>(0);
    std::unique_ptr<QDBusServiceWatcher> m_ownerWatcher;
    // Listening thread only.
    QString m_remoteOwner;
    bool m_ownerKnown = false;
    QList<Arrival> m_waitingForOwner;
};
