#include "ChannelEndpoint.h"

#include "MessageSendingModule.h"
#include "platform/PropertyList.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

using namespace Qt::StringLiterals;

ChannelEndpoint::ChannelEndpoint(const QString &connectionName)
    : m_connectionName(connectionName)
{
}

void ChannelEndpoint::setDelegate(MessageSendingModuleDelegate *delegate)
{
    QMutexLocker lock(&m_lock);
    m_delegate = delegate;
}

MessageSendingModuleDelegate *ChannelEndpoint::delegate() const
{
    QMutexLocker lock(&m_lock);
    return m_delegate;
}

void ChannelEndpoint::setRemoteBusName(const QString &name)
{
    QMutexLocker lock(&m_lock);
    m_remoteBusName = name;
}

QString ChannelEndpoint::introspect(const QString &) const
{
    return uR"(<interface name="com.halvern.Lumen.MessageChannel">
  <method name="DidReceiveDataFromOtherProcess">
    <arg name="payload" type="ay" direction="in"/>
    <arg name="type" type="s" direction="in"/>
    <arg name="sender" type="s" direction="in"/>
    <arg name="receiver" type="s" direction="in"/>
  </method>
</interface>
)"_s;
}

bool ChannelEndpoint::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    const bool wellFormed = message.interface() == QLatin1StringView(MessageSendingModule::kInterface)
                            && message.member() == QLatin1StringView(MessageSendingModule::kMethod)
                            && message.signature() == "aysss"_L1;
    if (!wellFormed) {
        connection.send(message.createErrorReply(QDBusError::UnknownMethod,
                                                 u"Expected DidReceiveDataFromOtherProcess(aysss)"_s));
        return true;
    }
    connection.send(message.createReply());
    QMetaObject::invokeMethod(&m_listener, [this, message] { deliver(message); }, Qt::QueuedConnection);
    return true;
}

void ChannelEndpoint::deliver(const QDBusMessage &message)
{
    QMutexLocker lock(&m_lock);
    MessageSendingModuleDelegate *target = m_delegate;
    const QString remote = m_remoteBusName;
    lock.unlock();
    if (!target)
        return;
    const QList<QVariant> args = message.arguments();
    IncomingMessage incoming;
    const QVariant payload = PropertyList::fromData(args.at(0).toByteArray());
    incoming.message = {payload.isValid() ? payload : QVariant(u""_s), args.at(1), args.at(2), args.at(3)};
    incoming.senderUniqueName = message.service();
    // Asked now, on the listening thread: the owner of the remote name may have changed.
    const QDBusConnection bus(m_connectionName);
    const QString owner = bus.interface()->serviceOwner(remote).value();
    incoming.fromRemoteEnd = !owner.isEmpty() && owner == incoming.senderUniqueName;
    target->didReceiveIPCMessage(incoming);
}
