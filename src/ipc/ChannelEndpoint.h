#pragma once

#include <QDBusVirtualObject>
#include <QMutex>

class MessageSendingModuleDelegate;

// The exported object of a channel end. Answers each well-formed call at once (so the sender
// never waits for the delegate's work) and hands the message to the channel's listening thread,
// where the delegate gets it. The bus may call handleMessage on its own dispatch thread, which
// must not wait for the bus; the listening thread may.
class ChannelEndpoint : public QDBusVirtualObject
{
    Q_OBJECT
public:
    explicit ChannelEndpoint(const QString &connectionName);

    void setDelegate(MessageSendingModuleDelegate *delegate);
    MessageSendingModuleDelegate *delegate() const;
    void setRemoteBusName(const QString &name);
    // The object whose thread delivers messages to the delegate.
    QObject *listener() { return &m_listener; }

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    void deliver(const QDBusMessage &message);

    const QString m_connectionName;
    mutable QMutex m_lock;
    MessageSendingModuleDelegate *m_delegate = nullptr;
    QString m_remoteBusName;
    QObject m_listener;
};
