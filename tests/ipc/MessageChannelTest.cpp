#include "ipc/ChannelEndpoint.h"
#include "ipc/MessageSendingModule.h"
#include "platform/PropertyList.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDateTime>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QMutex>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <signal.h>
#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QString kPeer = QStringLiteral(CHANNEL_PEER_PATH);

// Names of our own per test process, so that tests running side by side on one bus never meet.
QString uniqueName(const QString &role)
{
    return u"LumenTest%1%2.é"_s.arg(role).arg(QCoreApplication::applicationPid());
}

class Inbox : public MessageSendingModuleDelegate
{
public:
    void didReceiveIPCMessage(const IncomingMessage &message) override
    {
        QMutexLocker lock(&m_lock);
        m_messages.append(message);
        m_onMainThread = m_onMainThread || QThread::currentThread() == qApp->thread();
    }
    QList<IncomingMessage> waitFor(qsizetype count, int ms = 10000)
    {
        waitUntil(
            [&] {
                QMutexLocker lock(&m_lock);
                return m_messages.size() >= count;
            },
            ms);
        QMutexLocker lock(&m_lock);
        return m_messages;
    }
    bool calledOnMainThread()
    {
        QMutexLocker lock(&m_lock);
        return m_onMainThread;
    }

private:
    QMutex m_lock;
    QList<IncomingMessage> m_messages;
    bool m_onMainThread = false;
};

// A channel_peer process listening on a name, printing what it receives.
class PeerProcess
{
public:
    PeerProcess(const QString &name, const QString &remote, int count)
    {
        m_process.setReadChannel(QProcess::StandardError);
        m_process.start(kPeer, {u"listen"_s, name, remote, QString::number(count)});
        m_process.waitForReadyRead(10000); // "ready" on standard error once the name is taken
    }
    ~PeerProcess() { stop(); }
    void stop()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }
    QStringList linesWhenDone(int ms = 15000)
    {
        m_process.waitForFinished(ms);
        m_output += m_process.readAllStandardOutput();
        return QString::fromUtf8(m_output).split(u'\n', Qt::SkipEmptyParts);
    }
    bool waitForOutput(const QByteArray &text, int ms = 10000)
    {
        QElapsedTimer timer;
        timer.start();
        while (!m_output.contains(text) && timer.elapsed() < ms) {
            m_process.waitForReadyRead(50);
            m_output += m_process.readAllStandardOutput();
        }
        return m_output.contains(text);
    }
    // Milliseconds from SIGTERM to the end of the process (-1: still running after `ms`).
    qint64 terminate(int ms = 5000)
    {
        QElapsedTimer timer;
        timer.start();
        m_process.terminate();
        return m_process.waitForFinished(ms) ? timer.elapsed() : -1;
    }
    QByteArray errorOutput() { return m_process.readAllStandardError(); }
    bool isReady() { return m_process.state() == QProcess::Running; }
    pid_t pid() const { return pid_t(m_process.processId()); }

private:
    QProcess m_process;
    QByteArray m_output;
};

// A call to a channel end made by hand, as any program on the bus could make it.
QDBusMessage rawCall(const QString &to, const QByteArray &payload, const QString &type)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        MessageSendingModule::busNameForChannel(to), QString::fromLatin1(MessageSendingModule::kObjectPath),
        QString::fromLatin1(MessageSendingModule::kInterface), QString::fromLatin1(MessageSendingModule::kMethod));
    call << payload << type << u"someone"_s << to;
    return call;
}

TEST(ChannelNames, EscapingIsReversibleAndGivesValidBusNames)
{
    const QString names[] = {u"CorvanePortableMA3d12abcdefroot"_s, u"CorvanePortableAMxyzann.smith"_s,
                             u"9lives_and-dashes"_s, u"Ünïcode user"_s, u""_s};
    for (const QString &name : names) {
        const QString bus = MessageSendingModule::busNameForChannel(name);
        EXPECT_TRUE(bus.startsWith(u"com.halvern.Lumen.Channel."_s));
        const QString element = bus.mid(26);
        EXPECT_FALSE(element.isEmpty());
        EXPECT_FALSE(element.at(0).isDigit()) << bus.toStdString();
        for (const QChar c : element)
            EXPECT_TRUE((c.isLetterOrNumber() && c.unicode() < 128) || c == u'_') << bus.toStdString();
        EXPECT_EQ(MessageSendingModule::channelNameForBusName(bus), name);
    }
    EXPECT_EQ(MessageSendingModule::busNameForChannel(u"CorvanePortableAMxyzann.smith"_s),
              u"com.halvern.Lumen.Channel.CorvanePortableAMxyzann_2Esmith"_s);
    EXPECT_TRUE(MessageSendingModule::channelNameForBusName(u"org.other.Name"_s).isNull());
}

TEST(MessageChannel, OnlyTheOwnerOfTheRemoteNameCountsAsTheRemoteEnd)
{
    const QString mine = uniqueName(u"MA"_s), theirs = uniqueName(u"AM"_s);
    Inbox inbox;
    MessageSendingModule monitor;
    monitor.setDelegate(&inbox);
    ASSERT_TRUE(monitor.setupConnection(mine, theirs));
    MessageSendingModule companion; // in this process, but owning the remote name
    ASSERT_TRUE(companion.setupConnection(theirs, mine));
    ASSERT_TRUE(companion.sendMessageInternal(companion.buildMessage(u"ls"_s, 5)));
    ASSERT_EQ(inbox.waitFor(1).size(), 1);
    // Another program of the same user, naming itself the companion without owning its name.
    QProcess impostor;
    impostor.start(kPeer, {u"send"_s, theirs, mine, u"1"_s, u"1"_s});
    ASSERT_TRUE(impostor.waitForFinished(15000));
    const QList<IncomingMessage> got = inbox.waitFor(2);
    ASSERT_EQ(got.size(), 2);
    EXPECT_TRUE(got.at(0).fromRemoteEnd);
    EXPECT_EQ(got.at(0).message.at(0).toString(), u"ls"_s);
    EXPECT_EQ(got.at(1).message.at(2).toString(), theirs) << "it claims the companion's name";
    EXPECT_FALSE(got.at(1).fromRemoteEnd);
}

TEST(MessageChannel, AMessageToAnAbsentPeerIsDroppedQuickly)
{
    MessageSendingModule channel;
    channel.setupConnection(uniqueName(u"Alone"_s), uniqueName(u"Nobody"_s), false);
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(channel.sendMessageInternal(channel.buildMessage(u""_s, 3)));
    channel.sendIPCMessage(u""_s, 3, true);
    channel.sendIPCMessage(u""_s, 3, false);
    channel.waitForPendingSends();
    EXPECT_LT(timer.elapsed(), MessageSendingModule::kTimeoutMs + 500);
}

TEST(MessageChannel, AfterThePeerRestartsTheNextSendReachesIt)
{
    const QString mine = uniqueName(u"AM"_s), theirs = uniqueName(u"MA"_s);
    MessageSendingModule channel;
    channel.setupConnection(mine, theirs, false);
    {
        PeerProcess first(theirs, mine, 1);
        ASSERT_TRUE(first.isReady());
        EXPECT_TRUE(channel.sendMessageInternal(channel.buildMessage(u"one"_s, 2)));
        EXPECT_EQ(first.linesWhenDone(), QStringList{u"2 one"_s});
    }
    // The cached peer is gone: this send fails and forgets it.
    EXPECT_FALSE(channel.sendMessageInternal(channel.buildMessage(u"lost"_s, 2)));
    PeerProcess second(theirs, mine, 1);
    ASSERT_TRUE(second.isReady());
    EXPECT_TRUE(channel.sendMessageInternal(channel.buildMessage(u"two"_s, 2)));
    EXPECT_EQ(second.linesWhenDone(), QStringList{u"2 two"_s});
}

TEST(MessageChannel, DictionariesFromManyThreadsOfAnotherProcessAllArriveIntactWithTheirSender)
{
    const QString mine = uniqueName(u"MA"_s), theirs = uniqueName(u"AM"_s);
    Inbox inbox;
    MessageSendingModule channel;
    channel.setDelegate(&inbox);
    ASSERT_TRUE(channel.setupConnection(mine, theirs));
    EXPECT_TRUE(channel.currentlyReceivingData());
    constexpr int kCount = 200;
    QProcess peer;
    peer.start(kPeer, {u"send"_s, theirs, mine, QString::number(kCount), u"8"_s});
    ASSERT_TRUE(peer.waitForFinished(30000));
    EXPECT_EQ(peer.exitCode(), 0);
    const QList<IncomingMessage> got = inbox.waitFor(kCount);
    ASSERT_EQ(got.size(), kCount);
    const QVariantMap expected {
        {u"text"_s, u"héllo wörld"_s},
        {u"real"_s, 2.5},
        {u"flag"_s, true},
        {u"date"_s, QDateTime(QDate(2026, 11, 15), QTime(17, 5, 9), Qt::UTC)},
        {u"nested"_s, QVariantMap {{u"list"_s, QVariantList {1, u"two"_s, false}}}}};
    QSet<int> serials;
    for (const IncomingMessage &m : got) {
        ASSERT_EQ(m.message.size(), 4);
        QVariantMap payload = m.message.at(0).toMap();
        serials.insert(payload.take(u"serial"_s).toInt()); // the rest is the same in every message
        EXPECT_EQ(payload, expected);
        EXPECT_EQ(payload.value(u"flag"_s).typeId(), QMetaType::Bool);
        EXPECT_EQ(m.message.mid(1), (QVariantList {u"1"_s, theirs, mine}));
        EXPECT_TRUE(m.senderUniqueName.startsWith(u':'));
        EXPECT_FALSE(m.fromRemoteEnd) << "the sender did not own its end's name";
        if (::testing::Test::HasFailure())
            break;
    }
    EXPECT_EQ(serials.size(), kCount);
    EXPECT_FALSE(inbox.calledOnMainThread());
}

TEST(MessageChannel, AHugeBacklogIsRefusedTheChannelStaysAwakeAndSigtermEndsItAtOnce)
{
    const QString mine = uniqueName(u"AM"_s), theirs = uniqueName(u"MA"_s);
    PeerProcess peer(theirs, mine, 100);
    ASSERT_TRUE(peer.isReady());
    // Three 34 MB property lists at once, far beyond anything the companion sends.
    const QByteArray huge = PropertyList::toData(QString(34 * 1024 * 1024, u'x'), PropertyList::Format::Binary);
    QDBusConnection bus = QDBusConnection::sessionBus();
    QList<QDBusPendingCall> calls;
    for (int i = 0; i < 3; ++i)
        calls.append(bus.asyncCall(rawCall(theirs, huge, u"2"_s), 30000));
    for (QDBusPendingCall &call : calls) {
        call.waitForFinished();
        EXPECT_TRUE(call.isError()) << "a refusal is answered as an error";
    }
    MessageSendingModule channel;
    channel.setupConnection(mine, theirs, false);
    EXPECT_TRUE(channel.sendMessageInternal(channel.buildMessage(u"awake"_s, 2)));
    EXPECT_TRUE(peer.waitForOutput("2 awake"));
    const qint64 ms = peer.terminate();
    EXPECT_GE(ms, 0) << "SIGTERM did not end the listener";
    EXPECT_LT(ms, 1000);
    EXPECT_EQ(peer.linesWhenDone(), QStringList{u"2 awake"_s}) << "the huge payloads reached the delegate";
    const QByteArray trace = peer.errorOutput();
    EXPECT_TRUE(trace.contains("refused")) << "no trace line for the refusal";
    EXPECT_FALSE(trace.contains("QSocketNotifier")) << trace.toStdString();
}

TEST(MessageChannel, MessagesWaitingForABusyMainThreadStayInTheBacklog)
{
    // Hands every message on to the main thread, as the monitor does.
    struct MainThreadInbox : MessageSendingModuleDelegate {
        void didReceiveIPCMessage(const IncomingMessage &message) override
        {
            QMetaObject::invokeMethod(qApp, [this, message] { ++handled; }, Qt::QueuedConnection);
        }
        int handled = 0;
    } inbox;
    const QString mine = uniqueName(u"MA"_s);
    MessageSendingModule channel;
    channel.setDelegate(&inbox);
    ASSERT_TRUE(channel.setupConnection(mine, uniqueName(u"AM"_s)));
    const QByteArray megabyte = PropertyList::toData(QString(1000 * 1000, u'x'), PropertyList::Format::Binary);
    const auto send = [&] {
        return QDBusConnection::sessionBus().call(rawCall(mine, megabyte, u"2"_s), QDBus::Block, 5000).type();
    };
    // The main thread sends without handling anything meanwhile.
    int refused = 0;
    for (int i = 0; i < 20; ++i)
        refused += send() == QDBusMessage::ErrorMessage ? 1 : 0;
    EXPECT_EQ(refused, 20 - ChannelEndpoint::kMaxBacklogBytes / megabyte.size());
    EXPECT_TRUE(waitUntil([&] { return inbox.handled == 20 - refused; }));
    EXPECT_EQ(send(), QDBusMessage::ReplyMessage) << "handled messages leave the backlog";
    waitUntil([&] { return inbox.handled == 21 - refused; });
}

TEST(MessageChannel, ShutdownIsQuickEvenWhenThePeerHangs)
{
    const QString mine = uniqueName(u"AM"_s), theirs = uniqueName(u"MA"_s);
    PeerProcess peer(theirs, mine, 100);
    ASSERT_TRUE(peer.isReady());
    QElapsedTimer timer;
    {
        MessageSendingModule channel;
        channel.setupConnection(mine, theirs, false);
        ASSERT_TRUE(channel.sendMessageInternal(channel.buildMessage(u"first"_s, 2)));
        ::kill(peer.pid(), SIGSTOP); // the peer takes calls but never answers
        for (int i = 0; i < 4; ++i)
            channel.sendIPCMessage(u"stuck"_s, 2, i % 2 == 0);
        QThread::msleep(100);
        timer.start();
    }
    EXPECT_LT(timer.elapsed(), 1000);
    ::kill(peer.pid(), SIGCONT);
}

TEST(MessageChannel, APayloadThatIsNotAPropertyListIsDropped)
{
    const QString mine = uniqueName(u"MA"_s);
    Inbox inbox;
    MessageSendingModule channel;
    channel.setDelegate(&inbox);
    ASSERT_TRUE(channel.setupConnection(mine, uniqueName(u"AM"_s)));
    WarningCapture trace;
    QDBusConnection bus = QDBusConnection::sessionBus();
    for (const QByteArray &junk : {QByteArray("not a plist"), QByteArray(), QByteArray("bplist00\x01")})
        bus.call(rawCall(mine, junk, u"5"_s), QDBus::Block, 5000);
    bus.call(rawCall(mine, PropertyList::toData(u"ok"_s, PropertyList::Format::Xml), u"2"_s), QDBus::Block, 5000);
    const QList<IncomingMessage> got = inbox.waitFor(1);
    QThread::msleep(200);
    ASSERT_EQ(inbox.waitFor(2, 0).size(), 1);
    EXPECT_EQ(got.first().message.at(0).toString(), u"ok"_s);
    EXPECT_EQ(trace.lines().filter(u"not a property list"_s).size(), 3) << trace.lines().join(u'\n').toStdString();
}

TEST(MessageChannel, AnEmptyLocalNameSendsButNeverListens)
{
    MessageSendingModule channel;
    EXPECT_FALSE(channel.setupConnection(u""_s, uniqueName(u"X"_s)));
    EXPECT_FALSE(channel.currentlyReceivingData());
    EXPECT_EQ(channel.applicationShouldTerminate(), 1);

    MessageSendingModule listening;
    ASSERT_TRUE(listening.setupConnection(uniqueName(u"Y"_s), uniqueName(u"X"_s)));
    EXPECT_EQ(listening.applicationShouldTerminate(), 0);
    EXPECT_FALSE(listening.currentlyReceivingData()) << "the name was given back";
}

TEST(MessageChannel, ASecondOwnerOfANameIsRefusedButCanStillSend)
{
    const QString name = uniqueName(u"Taken"_s), other = uniqueName(u"Other"_s);
    Inbox inbox;
    MessageSendingModule first, second, receiver;
    receiver.setDelegate(&inbox);
    ASSERT_TRUE(receiver.setupConnection(other, name));
    ASSERT_TRUE(first.setupConnection(name, other));
    {
        WarningCapture quiet;
        EXPECT_FALSE(second.setupConnection(name, other));
    }
    EXPECT_TRUE(first.currentlyReceivingData());
    EXPECT_TRUE(second.sendMessageInternal(second.buildMessage(u"still here"_s, 2)));
    const QList<IncomingMessage> got = inbox.waitFor(1);
    ASSERT_EQ(got.size(), 1);
    EXPECT_EQ(got.first().message.at(0).toString(), u"still here"_s);
    EXPECT_FALSE(got.first().fromRemoteEnd) << "the name belongs to the first end, not to this sender";
}

TEST(SignalHandler, SaysWhichSignalAndEndsWithStatusOne)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            MessageSendingModule::installSignalCaughtHandler({SIGUSR1});
            std::raise(SIGUSR1);
        },
        ::testing::ExitedWithCode(1), "Signal caught:10");
}

} // namespace
