// A message as it arrives on the channel: the payload bytes are parsed as a property list, as
// the listening end does, and a message of the type chosen by the first byte is handed to the
// monitor controller, with fakes for everything it shows or starts (no command line is run).
//
// Input: byte 0 = the type (low four bits, 0-15) and whether the companion itself sent it (bit
// 7); the rest = the payload.
#include "FuzzSupport.h"

#include "app/CorvaneMonitorController.h"
#include "app/DesktopServices.h"
#include "notify/AlertPresenter.h"
#include "platform/Clock.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "product/StringTable.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QTemporaryDir>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

class FixedClock : public Clock {
public:
    QDateTime now() const override { return QDateTime(QDate(2026, 11, 16), QTime(10, 0)); }
};

class SilentAlerts : public AlertPresenter {
public:
    int displayMessage(const QString &, const QString &, const AlertButtons &, bool,
                       const QString &, AlertDelegate *delegate) override
    {
        if (delegate)
            delegate->didClickButton(kDefault);
        return kDefault;
    }
};

// Records nothing and starts nothing: a command line from a payload must never run here.
class InertDesktop : public DesktopServices {
public:
    bool openUrl(const QUrl &) override { return false; }
    bool launchApplication(const QString &) override { return false; }
    bool launchApplicationNamed(const QString &) override { return false; }
    void runCommandLine(const QString &) override { }
};

struct Monitor {
    FixedClock clock;
    SilentAlerts alerts;
    InertDesktop desktop;
    QNetworkAccessManager network;
    std::unique_ptr<CorvaneMonitorController> controller;
};

Monitor *g_monitor = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // The controller's menu items are GUI actions: a GUI application, without a display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "fuzz";
    static char *argv[] = {name, nullptr};
    static QGuiApplication app(argc, argv);
    static QTemporaryDir root;
    Paths::install(Paths(root.path(), root.path() + u"/home"_s));
    StringTable::install(u"corvane"_s);
    QLoggingCategory::setFilterRules(u"*=false"_s);
    g_monitor = new Monitor;
    g_monitor->controller = std::make_unique<CorvaneMonitorController>(MonitorServices {
        &g_monitor->clock, &g_monitor->alerts, &g_monitor->desktop, &g_monitor->network, false});
    g_monitor->controller->awakeFromNib();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QVariant payload = PropertyList::fromData(
        QByteArray(reinterpret_cast<const char *>(data) + 1, qsizetype(size - 1)));
    if (!payload.isValid())
        return 0; // the listening end drops it
    IncomingMessage message;
    message.message = {payload, QString::number(data[0] & 0x0F), u"CorvanePortableAM"_s,
                       u"CorvanePortableMA"_s};
    message.senderUniqueName = u":1.7"_s;
    message.fromRemoteEnd = (data[0] & 0x80) != 0;
    g_monitor->controller->didReceiveIPCMessage(message);
    QCoreApplication::processEvents(); // handled on the main thread
    return 0;
}
