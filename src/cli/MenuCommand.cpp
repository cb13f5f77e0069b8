#include "Command.h"

#include "app/MonitorScripting.h"
#include "product/StringTable.h"

#include <QDBusConnection>
#include <QDBusMessage>

using namespace Qt::StringLiterals;

namespace {

const QMap<QString, int> kNamedItems{{u"backup-now"_s, 1},     {u"show-progress"_s, 2},
                                     {u"launch"_s, 3},         {u"help"_s, 4},
                                     {u"check-updates"_s, 5},  {u"manage-schedules"_s, 6},
                                     {u"quit"_s, 7},           {u"pause-resume"_s, 9122013},
                                     {u"cancel-scheduled"_s, 9132013}, {u"toggle-all"_s, 9142013},
                                     {u"account-status"_s, 9},  {u"preferences"_s, 10},
                                     {u"view-logs"_s, 11}};

} // namespace

int runMenuCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    bool numeric = false;
    const QString item = arguments.value(0);
    const int tag = kNamedItems.contains(item) ? kNamedItems.value(item) : item.toInt(&numeric);
    if (arguments.size() != 1 || (!numeric && !kNamedItems.contains(item))) {
        err << u"usage: lumenctl menu ITEM   (a tag, or one of: "_s << kNamedItems.keys().join(u", "_s) << u")\n"_s;
        return 2;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        MonitorScripting::serviceName(StringTable::shared().brand()), QString::fromLatin1(MonitorScripting::kPath),
        QString::fromLatin1(MonitorScripting::kInterface), u"Activate"_s);
    call << tag;
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        err << u"The monitor is not running (or not on this session bus): "_s << reply.errorMessage() << u'\n';
        return 1;
    }
    if (!reply.arguments().value(0).toBool()) {
        err << u"The monitor has no enabled menu item "_s << item << u".\n"_s;
        return 1;
    }
    out << u"Chose "_s << item << u".\n"_s;
    return 0;
}
