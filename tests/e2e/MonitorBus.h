#pragma once

#include "app/MonitorScripting.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QJsonDocument>
#include <QJsonObject>

// The running monitor as scripts reach it on the test's bus.
inline bool monitorIsUp()
{
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(
        MonitorScripting::serviceName(QStringLiteral("corvane"))).value();
}

inline QJsonObject monitorStatus()
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        MonitorScripting::serviceName(QStringLiteral("corvane")), QString::fromLatin1(MonitorScripting::kPath),
        QString::fromLatin1(MonitorScripting::kInterface), QStringLiteral("Status"));
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 2000);
    return QJsonDocument::fromJson(reply.arguments().value(0).toString().toUtf8()).object();
}
