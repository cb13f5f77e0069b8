// The error report posted for real: a loopback notification service that records what it gets,
// reached directly or through tinyproxy with Basic authentication, as the proxy settings say.

#include "support/FakeAlertPresenter.h"
#include "support/FakeErrorReportWindow.h"
#include "support/LoopbackServers.h"
#include "support/TestEnvironment.h"

#include "platform/PropertyList.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "util/StringExtensions.h"

#include <QNetworkAccessManager>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class ErrorReportEndToEndTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.isRunning() && proxy.isRunning())
            << "loopback server or tinyproxy missing";
        useService(server.url(QString()));
        ASSERT_TRUE(PropertyList::writeDictionary(BrandPaths::loginDetails(),
                                                  {{u"CorvaneUsername"_s, u"ann@example.com"_s}}));
        // Enough "&" before the monitor's last lines to push their "=" past the escaped part.
        env.writeFile(
            u"~/Library/Application Support/CorvanePortableforMac/Logs/InteractiveTrace.log"_s,
            QByteArray(300, '&'));
        env.writeFile(
            u"~/Library/Application Support/CorvanePortableforMac/Logs/MonitorTrace.log"_s,
            "state=done\n");
        report.setPresenter(&window);
        report.setAlertPresenter(&alerts);
        report.setNetwork(&network);
    }
    void TearDown() override { StringTable::install(u"corvane"_s); }

    void useService(const QString &url)
    {
        QVariantMap strings = StringTable::shared().strings();
        strings.insert(u"NotificationServiceURL"_s, url);
        ASSERT_TRUE(
            writeStringTable(resources, PropertyList::toData(strings, PropertyList::Format::Xml)));
        StringTable::install(u"corvane"_s, resources.path());
    }
    // A hand-typed proxy: tinyproxy, wanting `password`; or none.
    void useProxy(const std::optional<QString> &password)
    {
        QVariantMap settings {
            {u"ProxyEnable"_s, password ? 1 : 0},
            {u"ProxyAuthEnable"_s, 1},
            {u"ProxyAddress"_s, u"127.0.0.1"_s},
            {u"ProxyPort"_s, QString::number(proxy.port())},
            {u"ProxyUserName"_s, u"user"_s},
            {u"ProxyPassword"_s, stelloaExtension::encryptedString(password.value_or(QString()))}};
        ASSERT_TRUE(PropertyList::writeDictionary(SLLocalizedString(u"ProxySetting"_s), settings));
    }
    void send()
    {
        report.showErrorReport();
        ASSERT_TRUE(window.visible);
        report.fields().email = u"ann@example.com"_s;
        report.fields().message = u"a=b&c=d"_s;
        report.sendErrorReport();
    }
    QByteArray received() const { return readRealFile(record.filePath(u"body"_s)); }

    TestEnvironment env;
    QTemporaryDir record, resources;
    TestHttpServer server {false, {u"--record"_s, record.filePath(u"body"_s)}};
    TinyProxy proxy {u"user"_s, u"secret"_s};
    QNetworkAccessManager network;
    FakeErrorReportWindow window;
    FakeAlertPresenter alerts;
    ErrorReport report;
};

TEST_F(ErrorReportEndToEndTest, TheReportGoesThroughTheAuthenticatingProxyByteForByte)
{
    useProxy(u"secret"_s);
    send();
    EXPECT_EQ(alerts.lastMessage(), u"Report sent successfully"_s);
    EXPECT_FALSE(window.visible);
    EXPECT_EQ(window.progress, (QList<bool> {false, true, false}));
    ASSERT_EQ(window.previews.size(), 1);
    const QByteArray body = received();
    EXPECT_EQ(body,
              "EMAIL=support@corvane.example&SUBJECT=Corvane Lumen user feedback&CONTENT="
                  + ErrorReport::replaceSpecialCharacters(window.previews.first()).toUtf8()
                  + "&user_email=ann@example.com");
    EXPECT_TRUE(body.contains("\n\na%3Db%26c%3Dd\n")) << "the message, escaped";
    EXPECT_TRUE(body.contains(QByteArray("%26").repeated(300)));
    EXPECT_TRUE(body.contains("state=done\n")) << "pushed beyond the escaped part";
    EXPECT_TRUE(server.errorLines().contains(
        u"post /cgi-bin/Notify_unicode Corvane application/x-www-form-urlencoded"_s));
}

TEST_F(ErrorReportEndToEndTest, AFailedSendingKeepsTheWindowAndCancelSendsNothing)
{
    const auto expectKept = [&](const char *what, const QString &message) {
        SCOPED_TRACE(what);
        send();
        EXPECT_EQ(alerts.lastMessage(), message);
        EXPECT_TRUE(window.visible);
        EXPECT_TRUE(received().isEmpty());
        EXPECT_FALSE(report.isIndicatorVisible());
    };
    useProxy(u"wrong"_s);
    expectKept("proxy refuses the password", u"Report couldn't be sent successfully.Try again"_s);
    useProxy(std::nullopt);
    useService(u"http://127.0.0.1:%1"_s.arg(freeLoopbackPort()));
    expectKept("service down", u"Report couldn't be sent successfully.Try again"_s);
    useService(server.url(QString()));
    window.send = false;
    const qsizetype shown = alerts.shown().size();
    expectKept("cancelled", alerts.lastMessage());
    EXPECT_EQ(alerts.shown().size(), shown);
}

} // namespace
