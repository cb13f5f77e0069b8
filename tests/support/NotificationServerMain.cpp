// The test notification service as a process of its own, for tests that drive programs from
// outside. It prints one JSON object a line on standard output: {"ready": true} once it owns the
// name, then every Notify and CloseNotification it receives. It reads commands a line each on
// standard input:
//   invoke <id> <key>        the user picked action <key> of notification <id>
//   close <id> [<reason>]    notification <id> went away (reason 2, dismissed, by default)
// and ends when standard input closes. Exit code 1: the name is taken.

#include "support/NotificationServer.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <cstdio>
#include <iostream>
#include <string>

using namespace Qt::StringLiterals;

namespace {

void printLine(const QJsonObject &object)
{
    std::fputs(QJsonDocument(object).toJson(QJsonDocument::Compact).append('\n').constData(),
               stdout);
    std::fflush(stdout);
}

void command(NotificationServer &server, const QString &line)
{
    const QStringList words = line.split(u' ', Qt::SkipEmptyParts);
    const uint id = words.value(1).toUInt();
    if (words.value(0) == u"invoke"_s && words.size() == 3)
        server.invokeAction(id, words.at(2));
    else if (words.value(0) == u"close"_s && words.size() >= 2)
        server.closeNotification(id, words.size() > 2 ? words.at(2).toUInt() : 2);
    else if (!words.isEmpty())
        printLine({{u"error"_s, u"unknown command: "_s + line}});
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    NotificationServer server;
    if (!server.isRunning()) {
        std::fputs("cannot own org.freedesktop.Notifications on the session bus\n", stderr);
        return 1;
    }
    server.onNotify = [](const NotificationServer::Notification &n) {
        printLine({{u"method"_s, u"Notify"_s},
                   {u"id"_s, qint64(n.id)},
                   {u"app"_s, n.appName},
                   {u"replaces"_s, qint64(n.replacesId)},
                   {u"icon"_s, n.icon},
                   {u"summary"_s, n.summary},
                   {u"body"_s, n.body},
                   {u"actions"_s, QJsonArray::fromStringList(n.actions)},
                   {u"hints"_s, QJsonObject::fromVariantMap(n.hints)},
                   {u"timeout"_s, n.expireTimeout}});
    };
    server.onCloseRequest = [](uint id) {
        printLine({{u"method"_s, u"CloseNotification"_s}, {u"id"_s, qint64(id)}});
    };

    // Standard input is read on a thread of its own; each line is handled on the main thread.
    QThread *reader = QThread::create([&server] {
        std::string line;
        while (std::getline(std::cin, line)) {
            const QString text = QString::fromStdString(line).trimmed();
            QMetaObject::invokeMethod(&server, [&server, text] { command(server, text); });
        }
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit);
    });
    reader->start();
    printLine({{u"ready"_s, true}});
    const int code = app.exec();
    reader->wait();
    delete reader;
    return code;
}
