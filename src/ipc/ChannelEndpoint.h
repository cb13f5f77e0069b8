#pragma once

#include <QDBusVirtualObject>
#include <QMutex>

class MessageSendingModuleDelegate;

// The exported object of a channel end. Lives on the channel's listening thread; hands each
// well-formed message to the delegate and answers at once, so the sender never waits for the
// delegate's work.
class ChannelEndpoint : public QDBusVirtualObject
{
    Q_OBJECT
public:
    void setDelegate(MessageSendingModuleDelegate *delegate);
    MessageSendingModuleDelegate *delegate() const;
    void setRemoteBusName(const QString &name);

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    mutable QMutex m_lock;
    MessageSendingModuleDelegate *m_delegate = nullptr;
    QString m_remoteBusName;
};
