// Channel messages and broadcast notifications from the command line: lumenctl plays the
// companion application's end of the channel.

#include "Command.h"
#include "JsonValues.h"

#include "ipc/MessageSendingModule.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/SystemInfo.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

QString channelName(const char *ends)
{
    return QString::fromLatin1("CorvanePortable") + QString::fromLatin1(ends) + SystemInfo::machineID()
           + SystemInfo::loginName();
}

QString monitorEnd() { return channelName("MA"); }
QString companionEnd() { return channelName("AM"); }

bool parseJson(const QString &text, QVariant *value, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        *error = parseError.error != QJsonParseError::NoError ? parseError.errorString()
                                                              : u"not a JSON object"_s;
        return false;
    }
    *value = variantFromJson(document.object());
    return true;
}

// Prints one JSON line per event until enough arrived or the time is up.
class Listener : public MessageSendingModuleDelegate
{
public:
    Listener(QTextStream &out, int count) : m_out(out), m_left(count) {}

    void didReceiveIPCMessage(const IncomingMessage &in) override
    {
        const QJsonObject line{{u"event"_s, u"message"_s},
                               {u"payload"_s, jsonFromVariant(in.message.value(0))},
                               {u"type"_s, in.message.value(1).toString().toInt()},
                               {u"sender"_s, in.message.value(2).toString()},
                               {u"receiver"_s, in.message.value(3).toString()},
                               {u"busSender"_s, in.senderUniqueName},
                               {u"fromRemoteEnd"_s, in.fromRemoteEnd}};
        QMetaObject::invokeMethod(qApp, [this, line] { print(line); }, Qt::QueuedConnection);
    }

    void print(const QJsonObject &line)
    {
        m_out << QJsonDocument(line).toJson(QJsonDocument::Compact) << u'\n';
        m_out.flush();
        if (m_left > 0 && --m_left == 0)
            QCoreApplication::exit(0);
    }

private:
    QTextStream &m_out;
    int m_left;
};

} // namespace

int runSendCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    parser.addOptions({{u"type"_s, u"Message type (1-8)."_s, u"n"_s},
                       {u"payload"_s, u"Text payload."_s, u"text"_s},
                       {u"payload-json"_s, u"Dictionary payload as a JSON object."_s, u"json"_s},
                       {u"to"_s, u"Channel name to send to (default: the monitor's)."_s, u"name"_s}});
    bool typeOk = false;
    const bool parsed = parser.parse(QStringList{u"send"_s} + arguments);
    const int type = parser.value(u"type"_s).toInt(&typeOk);
    if (!parsed || !typeOk || (parser.isSet(u"payload"_s) && parser.isSet(u"payload-json"_s))) {
        err << u"usage: lumenctl send --type N [--payload TEXT | --payload-json JSON] [--to NAME]\n"_s;
        return 2;
    }
    QVariant payload = parser.value(u"payload"_s);
    QString error;
    if (parser.isSet(u"payload-json"_s) && !parseJson(parser.value(u"payload-json"_s), &payload, &error)) {
        err << u"--payload-json: "_s << error << u'\n';
        return 2;
    }
    const QString to = parser.isSet(u"to"_s) ? parser.value(u"to"_s) : monitorEnd();
    MessageSendingModule channel;
    channel.setupConnection(companionEnd(), to, false);
    if (!channel.sendMessageInternal(channel.buildMessage(payload, type))) {
        err << u"Nobody took the message on "_s << MessageSendingModule::busNameForChannel(to) << u".\n"_s;
        return 1;
    }
    out << u"Sent type "_s << type << u" to "_s << to << u".\n"_s;
    return 0;
}

int runListenCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    parser.addOptions({{u"channel"_s, u"Take the companion's end of the channel and print its messages."_s},
                       {u"as"_s, u"Channel name to take instead of the companion's."_s, u"name"_s},
                       {u"notification"_s, u"Print notifications of this name (repeatable; \"*\" for all)."_s, u"name"_s},
                       {u"count"_s, u"Exit after this many events."_s, u"n"_s},
                       {u"timeout"_s, u"Exit after this many seconds."_s, u"s"_s}});
    if (!parser.parse(QStringList{u"listen"_s} + arguments)
        || (!parser.isSet(u"channel"_s) && !parser.isSet(u"as"_s) && !parser.isSet(u"notification"_s))) {
        err << u"usage: lumenctl listen [--channel | --as NAME] [--notification NAME...] [--count N] [--timeout S]\n"_s;
        return 2;
    }
    Listener listener(out, parser.value(u"count"_s).toInt());
    MessageSendingModule channel;
    channel.setDelegate(&listener);
    if (parser.isSet(u"channel"_s) || parser.isSet(u"as"_s)) {
        const QString name = parser.isSet(u"as"_s) ? parser.value(u"as"_s) : companionEnd();
        if (!channel.setupConnection(name, monitorEnd())) {
            err << u"Cannot take "_s << MessageSendingModule::busNameForChannel(name)
                << u": another program holds it, or there is no session bus.\n"_s;
            return 1;
        }
    }
    DistributedNotificationCenter center;
    for (const QString &name : parser.values(u"notification"_s)) {
        center.addObserver(name == "*"_L1 ? QString() : name,
                           [&listener](const QString &n, const QString &object, const QVariantMap &info) {
                               listener.print(QJsonObject{{u"event"_s, u"notification"_s},
                                                          {u"name"_s, n},
                                                          {u"object"_s, object},
                                                          {u"userInfo"_s, jsonFromVariant(info)}});
                           });
    }
    if (parser.isSet(u"timeout"_s))
        QTimer::singleShot(int(parser.value(u"timeout"_s).toDouble() * 1000), qApp, [] { QCoreApplication::exit(0); });
    // Scripts wait for this line before they post or send.
    err << u"listening\n"_s;
    err.flush();
    return QCoreApplication::exec();
}

int runNotifyCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(u"name"_s, u"Notification name."_s);
    parser.addOptions({{u"object"_s, u"The notification's object (text)."_s, u"text"_s},
                       {u"user-info"_s, u"User info as a JSON object."_s, u"json"_s}});
    if (!parser.parse(QStringList{u"notify"_s} + arguments) || parser.positionalArguments().size() != 1) {
        err << u"usage: lumenctl notify NAME [--object TEXT] [--user-info JSON]\n"_s;
        return 2;
    }
    QVariant info = QVariantMap();
    QString error;
    if (parser.isSet(u"user-info"_s) && !parseJson(parser.value(u"user-info"_s), &info, &error)) {
        err << u"--user-info: "_s << error << u'\n';
        return 2;
    }
    DistributedNotificationCenter center;
    const QString name = parser.positionalArguments().first();
    if (!center.post(name, parser.value(u"object"_s), info.toMap())) {
        err << u"No session bus: the notification was not posted.\n"_s;
        return 1;
    }
    out << u"Posted "_s << name << u".\n"_s;
    return 0;
}
