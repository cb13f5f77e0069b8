#include "net/ScriptURLConnection.h"
#include "net/SynchronousWrapper.h"
#include "support/LoopbackServers.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHostInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QAuthenticator>
#include <QTimer>

#include <gtest/gtest.h>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

// Records the one callback a connection makes.
class Recorder : public ScriptURLConnectionDelegate
{
public:
    void ConnectionDidReceivedData(const std::optional<QByteArray> &data, ScriptURLConnection *c) override
    {
        received = true;
        body = data;
        connection = c;
    }
    void connectionFailedWithError(const NetworkError &e, ScriptURLConnection *c) override
    {
        error = e;
        connection = c;
    }
    bool done() const { return received || error.has_value(); }
    void waitUntilDone() { waitUntil([this] { return done(); }); }

    bool received = false;
    std::optional<QByteArray> body;
    std::optional<NetworkError> error;
    ScriptURLConnection *connection = nullptr;
};

class Events : public SynchronousWrapperDelegate
{
public:
    void connectionDidReceiveResponse(QNetworkReply *) override { ++responses; }
    void connectionDidReceiveData(const QByteArray &data) override { body += data; }
    void connectionDidFailWithError(const NetworkError &) override { ++failures; }
    void connectionDidFinishLoading() override { ++finishes; }
    int responses = 0, failures = 0, finishes = 0;
    QByteArray body;
};

class HttpTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(server.isRunning()) << "the loopback HTTP server did not start"; }

    Recorder load(const URLRequest &request)
    {
        Recorder recorder;
        ScriptURLConnection connection(&network, request);
        connection.setDelegate(&recorder);
        connection.startLoading();
        recorder.waitUntilDone();
        EXPECT_EQ(recorder.connection, &connection);
        return recorder;
    }

    TestHttpServer server;
    QNetworkAccessManager network;
};

TEST_F(HttpTest, FormPostsCarryTheirMethodTypeAndUtf8Body)
{
    const URLRequest post = URLRequest::formPost(QUrl(server.url(u"/echo"_s)), u"user=J%C3%BCrgen&note=grüße"_s);
    EXPECT_EQ(post.request.transferTimeout(), 20000);
    EXPECT_EQ(post.request.attribute(QNetworkRequest::CacheLoadControlAttribute).toInt(),
              int(QNetworkRequest::AlwaysNetwork));

    const Recorder result = load(post);
    ASSERT_TRUE(result.received) << (result.error ? result.error->message.toStdString() : "");
    const QJsonObject echo = QJsonDocument::fromJson(*result.body).object();
    EXPECT_EQ(echo[u"method"_s].toString(), u"POST"_s);
    EXPECT_EQ(echo[u"contentType"_s].toString(), u"application/x-www-form-urlencoded"_s);
    EXPECT_EQ(echo[u"body"_s].toString(), u"user=J%C3%BCrgen&note=grüße"_s);
}

TEST_F(HttpTest, EmptyRepliesHandOverNothingAndHttpErrorsAreStillReplies)
{
    const Recorder empty = load(URLRequest::get(QUrl(server.url(u"/empty"_s))));
    EXPECT_TRUE(empty.received);
    EXPECT_FALSE(empty.body.has_value());

    const Recorder missing = load(URLRequest::get(QUrl(server.url(u"/missing"_s))));
    EXPECT_TRUE(missing.received);
    EXPECT_EQ(missing.body, std::optional(QByteArray("not here")));
}

TEST_F(HttpTest, TransportFailuresReachTheDelegate)
{
    URLRequest slow = URLRequest::get(QUrl(server.url(u"/slow?ms=3000"_s)));
    slow.request.setTransferTimeout(300);
    const Recorder timedOut = load(slow);
    ASSERT_TRUE(timedOut.error.has_value());
    EXPECT_FALSE(timedOut.received);

    const Recorder refused = load(URLRequest::get(QUrl(u"http://127.0.0.1:%1/"_s.arg(freeLoopbackPort()))));
    ASSERT_TRUE(refused.error.has_value());
    EXPECT_EQ(refused.error->code, int(QNetworkReply::ConnectionRefusedError));
}

TEST_F(HttpTest, ABodyCutShortIsAFailureWhateverTheStatus)
{
    for (const char *path : {"/cut", "/cut?status=404", "/stall"}) {
        URLRequest request = URLRequest::get(QUrl(server.url(QString::fromLatin1(path))));
        request.request.setTransferTimeout(500);
        const Recorder async = load(request);
        ASSERT_TRUE(async.error.has_value()) << path;
        EXPECT_FALSE(async.received) << path;

        SynchronousWrapper wrapper(&network);
        std::optional<NetworkError> error;
        EXPECT_EQ(wrapper.sendSynchronousRequest(request, &error), QByteArray("first twelve")) << path;
        EXPECT_TRUE(error.has_value()) << path;

        Events events;
        SynchronousWrapper connect(&network, &events);
        connect.ConnectRequest(request);
        EXPECT_EQ(events.failures, 1) << path;
        EXPECT_EQ(events.finishes, 0) << path;
    }
}

TEST_F(HttpTest, ABlockingRequestEndsAtItsTimeOutEvenWhileBytesKeepComing)
{
    // Never idle for the time-out, yet never done: the caller waits no longer than it.
    URLRequest request = URLRequest::get(QUrl(server.url(u"/trickle?ms=100"_s)), 1000);
    SynchronousWrapper wrapper(&network);
    std::optional<NetworkError> error;
    QElapsedTimer waited;
    waited.start();
    wrapper.sendSynchronousRequest(request, &error);
    EXPECT_LT(waited.elapsed(), 5000);
    EXPECT_TRUE(error.has_value());
}

TEST_F(HttpTest, ASlowReplyArrivesWholeWithinTheTimeOut)
{
    const Recorder slow = load(URLRequest::get(QUrl(server.url(u"/slow?ms=500"_s))));
    EXPECT_EQ(slow.body, std::optional(QByteArray("slow")));
    ScriptURLConnection json(&network);
    json.setOutPutFormat(u"JSONFORMAT"_s);
    EXPECT_TRUE(json.isOutPutInJSONFormat());
}

TEST_F(HttpTest, TheSynchronousWrapperWaitsForTheWholeBody)
{
    SynchronousWrapper wrapper(&network);
    std::optional<NetworkError> error;
    EXPECT_EQ(wrapper.sendSynchronousRequest(URLRequest::get(QUrl(server.url(u"/slow?ms=200"_s))), &error),
              QByteArray("slow"));
    EXPECT_FALSE(error.has_value());
    EXPECT_FALSE(wrapper.isSynchrounousRequestIsInProgress());

    const QByteArray none = wrapper.sendSynchronousRequest(
        URLRequest::get(QUrl(u"http://127.0.0.1:%1/"_s.arg(freeLoopbackPort()))), &error);
    EXPECT_TRUE(none.isEmpty());
    ASSERT_TRUE(error.has_value());
    EXPECT_FALSE(error->isAuthError());
}

TEST_F(HttpTest, AServersOwnChallengeAlwaysFailsWithAuthError1001)
{
    SynchronousWrapper wrapper(&network);
    wrapper.SetUserName(u"user"_s, u"secret"_s);
    std::optional<NetworkError> error;
    wrapper.sendSynchronousRequest(URLRequest::get(QUrl(server.url(u"/auth"_s))), &error);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->domain, u"Auth error"_s);
    EXPECT_EQ(error->code, 1001);
    EXPECT_TRUE(error->userInfo.value(u"challenge"_s).toString().contains(u"server"_s));
}

TEST_F(HttpTest, ConnectRequestTellsTheDelegateAndKeepsItsOddReturnValue)
{
    Events events;
    SynchronousWrapper wrapper(&network, &events);
    EXPECT_TRUE(wrapper.ConnectRequest(URLRequest::get(QUrl(server.url(u"/hello"_s)))));
    EXPECT_EQ(events.body, QByteArray("hello"));
    EXPECT_GE(events.responses, 1);
    EXPECT_EQ(events.finishes, 1);

    std::optional<NetworkError> error;
    EXPECT_FALSE(wrapper.ConnectRequest(URLRequest::get(QUrl(server.url(u"/hello"_s))), &error))
        << "with an error slot it answers NO even on success";
    EXPECT_FALSE(error.has_value());
    EXPECT_EQ(events.finishes, 2);
}

class ProxyTest : public HttpTest
{
protected:
    QByteArray throughProxy(quint16 port, const QString &user, const QString &password,
                            std::optional<NetworkError> *error, int *answers)
    {
        QNetworkAccessManager proxied;
        proxied.setProxy(QNetworkProxy(QNetworkProxy::HttpProxy, u"127.0.0.1"_s, port));
        SynchronousWrapper wrapper(&proxied);
        wrapper.SetUserName(user, password);
        const QByteArray body = wrapper.sendSynchronousRequest(URLRequest::get(QUrl(server.url(u"/hello"_s))), error);
        *answers = wrapper.proxyChallengesAnswered();
        return body;
    }
};

TEST_F(ProxyTest, TinyproxyLetsOnlyTheRightStoredCredentialsThrough)
{
    TinyProxy proxy(u"user"_s, u"secret"_s);
    ASSERT_TRUE(proxy.isRunning()) << "tinyproxy did not start";
    const struct {
        QString password;
        int fewestAnswers, mostAnswers; // challenges answered with the stored credentials
    } cases[] = {{u"secret"_s, 1, 1},
                 {u"wrong"_s, 1, std::numeric_limits<int>::max()},
                 {u""_s, 0, 0}}; // a name without a password never answers a challenge
    for (const auto &c : cases) {
        SCOPED_TRACE(c.password.toStdString());
        std::optional<NetworkError> error;
        int answers = 0;
        const QByteArray body = throughProxy(proxy.port(), u"user"_s, c.password, &error, &answers);
        EXPECT_GE(answers, c.fewestAnswers);
        EXPECT_LE(answers, c.mostAnswers);
        if (c.password == u"secret"_s) {
            EXPECT_EQ(body, QByteArray("hello"));
            EXPECT_FALSE(error.has_value()) << error->message.toStdString();
            continue;
        }
        ASSERT_TRUE(error.has_value());
        EXPECT_TRUE(error->isAuthError()) << error->domain.toStdString() << " " << error->code;
        if (c.password.isEmpty()) {
            EXPECT_TRUE(error->userInfo.value(u"challenge"_s).toString().startsWith(u"proxy"_s));
        }
    }
}

TEST_F(ProxyTest, AProxyThatKeepsAskingIsAnsweredThreeTimesAtMost)
{
    // The network layer itself gives up once it sees the same credentials refused, so the
    // challenges are put to the wrapper directly, the way the network layer puts them.
    SynchronousWrapper wrapper(&network);
    wrapper.SetUserName(u"user"_s, u"secret"_s);
    QList<bool> answered;
    QTimer::singleShot(100, &network, [&] {
        const QNetworkProxy proxy(QNetworkProxy::HttpProxy, u"127.0.0.1"_s, 3128);
        for (int i = 0; i < 5; ++i) {
            QAuthenticator challenge;
            Q_EMIT network.proxyAuthenticationRequired(proxy, &challenge);
            answered.append(challenge.user() == u"user"_s && challenge.password() == u"secret"_s);
        }
    });
    std::optional<NetworkError> error;
    wrapper.sendSynchronousRequest(URLRequest::get(QUrl(server.url(u"/slow?ms=3000"_s))), &error);
    EXPECT_EQ(answered, (QList<bool>{true, true, true, false, false}));
    EXPECT_EQ(wrapper.proxyChallengesAnswered(), 3);
    ASSERT_TRUE(error.has_value()) << "the fourth challenge ends the request";
    EXPECT_TRUE(error->isAuthError());

    TestHttpServer refusing(true); // and a real proxy that refuses everything
    ASSERT_TRUE(refusing.isRunning());
    int answers = 0;
    throughProxy(refusing.port(), u"user"_s, u"secret"_s, &error, &answers);
    ASSERT_TRUE(error.has_value());
    EXPECT_TRUE(error->isAuthError());
    EXPECT_FALSE(refusing.errorLines().isEmpty()) << "the stored credentials were offered";
}


TEST(SystemProxy, TheSystemsProxySettingsApplyToRequests)
{
    TestHttpServer server;
    TinyProxy proxy(u"user"_s, u"secret"_s);
    ASSERT_TRUE(server.isRunning() && proxy.isRunning());
    // The desktop's proxy setting as Linux programs read it.
    qputenv("http_proxy", u"http://127.0.0.1:%1"_s.arg(proxy.port()).toUtf8());
    qputenv("no_proxy", "");
    QNetworkAccessManager network;
    SynchronousWrapper wrapper(&network);
    wrapper.SetUserName(u"user"_s, u"secret"_s);
    std::optional<NetworkError> error;
    // By the machine's name: the system's proxy rules never send loopback addresses to a proxy.
    QUrl url(server.url(u"/hello"_s));
    url.setHost(QHostInfo::localHostName());
    EXPECT_EQ(wrapper.sendSynchronousRequest(URLRequest::get(url), &error), QByteArray("hello"));
    EXPECT_EQ(wrapper.proxyChallengesAnswered(), 1) << proxy.log().toStdString();
}

} // namespace
