#include "ChannelEndpoint.h"

#include "MessageSendingModule.h"
#include "platform/PlatformLog.h"
#include "platform/PropertyList.h"
#include "platform/BusConnection.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QThread>

using namespace Qt::StringLiterals;

ChannelEndpoint::ChannelEndpoint(const BusConnection &bus)
    : m_bus(bus)
{
}

ChannelEndpoint::~ChannelEndpoint() = default;

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
    m_remoteBusName = name;
    followRemoteOwner();
}

void ChannelEndpoint::followRemoteOwner()
{
    if (m_remoteBusName.isEmpty())
        return; // not set up
    const QDBusConnection bus = m_bus.connection();
    m_ownerKnown = false; // what arrives meanwhile waits for the answer
    m_ownerWatcher = std::make_unique<QDBusServiceWatcher>(
        m_remoteBusName, bus, QDBusServiceWatcher::WatchForOwnerChange);
    m_ownerWatcher->moveToThread(thread());
    connect(m_ownerWatcher.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &owner) { setOwner(owner); });
    // The answer and every later change arrive in the order the bus sent them, before any call
    // the new owner makes.
    QDBusMessage ask
        = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                         u"org.freedesktop.DBus"_s, u"GetNameOwner"_s);
    ask << m_remoteBusName;
    if (!bus.callWithCallback(ask, this, SLOT(ownerFound(QString)), SLOT(ownerNotFound(QDBusError)),
                              MessageSendingModule::kTimeoutMs))
        m_ownerKnown = true; // no bus: nobody owns anything
}

void ChannelEndpoint::ownerFound(const QString &owner)
{
    setOwner(owner);
}

void ChannelEndpoint::ownerNotFound(const QDBusError &)
{
    setOwner(QString());
}

void ChannelEndpoint::setOwner(const QString &owner)
{
    m_remoteOwner = owner;
    m_ownerKnown = true;
    const QList<Arrival> waiting = std::exchange(m_waitingForOwner, {});
    for (const Arrival &arrival : waiting)
        deliver(arrival);
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
    const bool wellFormed
        = message.interface() == QLatin1StringView(MessageSendingModule::kInterface)
        && message.member() == QLatin1StringView(MessageSendingModule::kMethod)
        && message.signature() == "aysss"_L1;
    if (!wellFormed) {
        connection.send(message.createErrorReply(
            QDBusError::UnknownMethod, u"Expected DidReceiveDataFromOtherProcess(aysss)"_s));
        return true;
    }
    const QList<QVariant> args = message.arguments();
    const QByteArray payload = args.at(0).toByteArray();
    QString refusal;
    if (payload.size() > kMaxPayloadBytes)
        refusal = u"a payload of %1 bytes is over the bound of %2"_s.arg(payload.size())
                      .arg(kMaxPayloadBytes);
    else if (m_backlogBytes->fetch_add(payload.size()) + payload.size() > kMaxBacklogBytes)
        refusal = u"%1 bytes are already waiting"_s.arg(m_backlogBytes->fetch_sub(payload.size())
                                                        - payload.size());
    if (!refusal.isEmpty()) {
        qCWarning(lcPlatform).noquote()
            << u"Channel message from %1 refused: %2"_s.arg(message.service(), refusal);
        connection.send(message.createErrorReply(QDBusError::LimitsExceeded, refusal));
        return true;
    }
    connection.send(message.createReply());
    Arrival arrival {payload, args.at(1).toString(), args.at(2).toString(), args.at(3).toString(),
                     message.service()};
    QMetaObject::invokeMethod(
        this, [this, arrival] { arrive(arrival); }, Qt::QueuedConnection);
    return true;
}

void ChannelEndpoint::arrive(const Arrival &arrival)
{
    if (m_ownerKnown)
        deliver(arrival);
    else
        m_waitingForOwner.append(arrival);
}

void ChannelEndpoint::deliver(const Arrival &arrival)
{
    // A delegate may queue the message for a busy thread: it leaves the backlog with its last copy.
    const std::shared_ptr<const void> share(
        nullptr, [backlog = m_backlogBytes, size = arrival.payload.size()](const void *) {
            *backlog -= size;
        });
    MessageSendingModuleDelegate *target = delegate();
    if (!target)
        return;
    const QVariant payload = PropertyList::fromData(arrival.payload);
    if (!payload.isValid()) {
        qCWarning(lcPlatform).noquote()
            << u"Channel message of type %1 from %2 dropped: its payload is not a property list"_s
                   .arg(arrival.type, arrival.senderUniqueName);
        return;
    }
    IncomingMessage incoming;
    incoming.message = {payload, arrival.type, arrival.sender, arrival.receiver};
    incoming.senderUniqueName = arrival.senderUniqueName;
    incoming.fromRemoteEnd = !m_remoteOwner.isEmpty() && m_remoteOwner == arrival.senderUniqueName;
    incoming.backlogShare = share;
    target->didReceiveIPCMessage(incoming);
}
