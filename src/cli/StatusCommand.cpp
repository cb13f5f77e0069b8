// What the monitor knows of the user's backups: asked of the running monitor over the session bus,
// or read from the shared files when none runs.

#include "Command.h"

#include "app/CorvaneMonitorController.h"
#include "app/MonitorScripting.h"
#include "platform/Clock.h"
#include "platform/Paths.h"
#include "product/StringTable.h"

#include <QCommandLineParser>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFileInfo>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

std::optional<QJsonObject> statusFromMonitor()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QString service = MonitorScripting::serviceName(StringTable::shared().brand());
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(service))
        return std::nullopt;
    const QDBusMessage call = QDBusMessage::createMethodCall(
        service, QString::fromLatin1(MonitorScripting::kPath),
        QString::fromLatin1(MonitorScripting::kInterface), u"Status"_s);
    const QDBusMessage reply = bus.call(call, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return std::nullopt;
    const QJsonDocument document
        = QJsonDocument::fromJson(reply.arguments().value(0).toString().toUtf8());
    // A monitor of this brand that watches another root knows nothing of ours.
    const auto same = [](const QString &a, const QString &b) {
        return QFileInfo(a).canonicalFilePath() == QFileInfo(b).canonicalFilePath();
    };
    if (!document.isObject() || !same(document[u"root"_s].toString(), Paths::current().root()))
        return std::nullopt;
    return document.object();
}

QJsonObject statusFromFiles()
{
    MonitorServices services;
    services.clock = &Clock::system();
    services.connectChannel = false;
    const CorvaneMonitorController monitor(services);
    return MonitorScripting::status(monitor, Clock::system());
}

QString yesNo(const QJsonValue &value)
{
    return value.toBool() ? u"yes"_s : u"no"_s;
}

QString job(const QJsonValue &value)
{
    if (!value.isObject())
        return u"none"_s;
    const QJsonObject job = value.toObject();
    QString text = job[u"scheduleTimeString"_s].toString() + u"  "_s
        + job[u"frequencyString"_s].toString().trimmed() + u"  "_s + job[u"user"_s].toString()
        + u" ("_s + job[u"account"_s].toString() + u')';
    if (!job[u"progress"_s].toString().isEmpty())
        text += u"\n                  "_s + job[u"progress"_s].toString();
    return text;
}

void printReadable(const QJsonObject &status, QTextStream &out)
{
    static const QMap<QString, QString> states {{u"0"_s, u"nothing pending"_s},
                                                {u"2"_s, u"an immediate job is queued"_s},
                                                {u"3"_s, u"the running job is asked to stop"_s},
                                                {u"5"_s, u"the cut-off time has come"_s}};
    const QString user = status[u"loggedInUser"_s].toString();
    const QString state = status[u"schedulerState"_s].toString();
    out << u"Logged-in user:   "_s << (user.isEmpty() ? u"nobody"_s : user) << u'\n'
        << u"SchedulerState:   "_s << state << u" ("_s << states.value(state, u"unknown"_s)
        << u")\n"_s << u"Scheduled jobs:   "_s
        << (status[u"schedulerEnabled"_s].toBool() ? u"enabled"_s : u"disabled"_s) << u'\n'
        << u"Paused:           "_s << yesNo(status[u"paused"_s]) << u'\n' << u"Backup running:   "_s
        << yesNo(status[u"backupInProgress"_s]) << u'\n' << u"Running job:      "_s
        << job(status[u"runningJob"_s]) << u'\n' << u"Next job:         "_s
        << job(status[u"nextJob"_s]) << u'\n';
    if (const QJsonObject board = status[u"dashboard"_s].toObject(); !board.isEmpty()) {
        const QJsonObject last = board[u"lastRun"_s].toObject();
        out << u"Last backup:      "_s
            << (last.isEmpty() ? u"none in the last month"_s
                               : last[u"status"_s].toString() + u", "_s + last[u"duration"_s].toString()
                                     + u" ("_s + last[u"start"_s].toString() + u')')
            << u'\n';
        for (const QJsonValue &schedule : board[u"schedules"_s].toArray())
            out << u"Next "_s << schedule[u"frequency"_s].toString().trimmed().leftJustified(13) << u' '
                << schedule[u"nextRun"_s].toString() << u'\n';
    }
    // Only the running monitor knows its windows.
    if (const QJsonValue pane = status[u"preferencesPane"_s]; !pane.isUndefined())
        out << u"Preferences:      "_s << (pane.isNull() ? u"closed"_s : pane.toString() + u" pane open"_s) << u'\n';
    out << u"(from the "_s
        << (status[u"source"_s].toString() == "monitor"_L1 ? u"running monitor"_s : u"files"_s)
        << u")\n"_s;
}

} // namespace

int runStatusCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    parser.addOptions({{u"json"_s, u"Print JSON."_s},
                       {u"files"_s, u"Read the files even when the monitor runs."_s}});
    if (!parser.parse(QStringList {u"status"_s} + arguments)
        || !parser.positionalArguments().isEmpty()) {
        err << u"usage: lumenctl status [--json] [--files]\n"_s;
        return 2;
    }
    std::optional<QJsonObject> status;
    if (!parser.isSet(u"files"_s))
        status = statusFromMonitor();
    if (!status)
        status = statusFromFiles();
    if (parser.isSet(u"json"_s))
        out << QJsonDocument(*status).toJson(QJsonDocument::Indented);
    else
        printReadable(*status, out);
    return 0;
}
