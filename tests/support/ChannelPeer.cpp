// A second process for the channel tests: takes one end of a channel and listens, or sends a
// burst of messages from several threads.
//
//   channel_peer listen NAME REMOTE COUNT     prints "<type> <payload as JSON>" per message;
//                                             SIGTERM ends it the way it ends the monitor
//   channel_peer send FROM TO COUNT THREADS   sends COUNT rich messages, THREADS at a time

#include "ipc/MessageSendingModule.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>
#include <QTextStream>

#include <QSocketNotifier>

#include <atomic>
#include <csignal>
#include <memory>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QVariantMap richPayload(int serial)
{
    return {{u"serial"_s, serial},
            {u"text"_s, u"héllo wörld"_s},
            {u"real"_s, 2.5},
            {u"flag"_s, true},
            {u"date"_s, QDateTime(QDate(2026, 11, 15), QTime(17, 5, 9), Qt::UTC)},
            {u"nested"_s, QVariantMap{{u"list"_s, QVariantList{1, u"two"_s, false}}}}};
}

int g_termPipe[2] = {-1, -1};

extern "C" void onTerm(int)
{
    const char byte = 1;
    (void)!::write(g_termPipe[1], &byte, 1);
}

// As the monitor does: the signal asks the event loop to quit, and the channel is closed by its
// destructor on the way out.
void quitOnSigterm(QCoreApplication &app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, g_termPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(g_termPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
    std::signal(SIGTERM, onTerm);
}

class Printer : public MessageSendingModuleDelegate
{
public:
    explicit Printer(int count) : m_left(count) {}
    void didReceiveIPCMessage(const IncomingMessage &in) override
    {
        const QVariant payload = in.message.value(0);
        QByteArray json = payload.typeId() == QMetaType::QVariantMap
                              ? QJsonDocument(QJsonObject::fromVariantMap(payload.toMap())).toJson(QJsonDocument::Compact)
                              : payload.toString().toUtf8();
        if (json.size() > 200)
            json = "<" + QByteArray::number(json.size()) + " bytes>";
        QMetaObject::invokeMethod(qApp, [this, type = in.message.value(1).toString(), json] {
            QTextStream out(stdout);
            out << type << u' ' << json << u'\n';
            out.flush();
            if (--m_left == 0)
                QCoreApplication::exit(0);
        }, Qt::QueuedConnection);
    }

private:
    int m_left;
};

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() >= 5 && args.at(1) == "listen"_L1) {
        quitOnSigterm(app);
        Printer printer(args.at(4).toInt());
        MessageSendingModule channel;
        channel.setDelegate(&printer);
        if (!channel.setupConnection(args.at(2), args.at(3)))
            return 3;
        QTextStream(stderr) << "ready\n";
        return app.exec();
    }
    if (args.size() >= 6 && args.at(1) == "send"_L1) {
        MessageSendingModule channel;
        channel.setupConnection(args.at(2), args.at(3), false);
        const int count = args.at(4).toInt();
        const int threads = args.at(5).toInt();
        std::atomic<int> next{0};
        std::vector<std::unique_ptr<QThread>> workers;
        for (int t = 0; t < threads; ++t) {
            workers.emplace_back(QThread::create([&] {
                for (int i = next++; i < count; i = next++)
                    channel.sendIPCMessage(richPayload(i), 1, i % 2 == 0);
            }));
            workers.back()->start();
        }
        for (auto &worker : workers)
            worker->wait();
        channel.waitForPendingSends();
        return 0;
    }
    QTextStream(stderr) << "usage: channel_peer listen NAME REMOTE COUNT | send FROM TO COUNT THREADS\n";
    return 2;
}
