// A second process for the channel tests: takes one end of a channel and listens, or sends a
// burst of messages from several threads.
//
//   channel_peer listen NAME REMOTE COUNT     prints "<type> <payload as JSON>" per message
//   channel_peer send FROM TO COUNT THREADS   sends COUNT rich messages, THREADS at a time

#include "ipc/MessageSendingModule.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>
#include <QTextStream>

#include <atomic>
#include <memory>
#include <vector>

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

class Printer : public MessageSendingModuleDelegate
{
public:
    explicit Printer(int count) : m_left(count) {}
    void didReceiveIPCMessage(const IncomingMessage &in) override
    {
        const QVariant payload = in.message.value(0);
        const QByteArray json = payload.typeId() == QMetaType::QVariantMap
                                    ? QJsonDocument(QJsonObject::fromVariantMap(payload.toMap())).toJson(QJsonDocument::Compact)
                                    : payload.toString().toUtf8();
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
