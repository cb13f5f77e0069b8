// A whole session with distinctive secrets (the login password, the proxy password, a one-time
// access token): none of them may reach a file the programs write, what they print, or a text
// they show, in any encoding it might take on the way.

#include "Child.h"
#include "MonitorBus.h"
#include "app/CorvaneMonitorController.h"
#include "platform/PropertyList.h"
#include "prefs/ProxyController.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "scheduler/ErrorReport.h"
#include "scheduler/ScheduleArchive.h"
#include "support/FakeAlertPresenter.h"
#include "support/FakeErrorReportWindow.h"
#include "support/LoginDetails.h"
#include "support/LoopbackServers.h"
#include "support/TestEnvironment.h"
#include "util/StringExtensions.h"

#include <QDirIterator>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QStringEncoder>
#include <QUrl>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kPassword = u"Qv7 Lumen#Secret=42+/%!x"_s;
const QString kProxyUser = u"proxyuser"_s;
const QString kProxyPassword = u"Px4-proxy.Secret_99"_s; // tinyproxy takes [-a-z0-9._] only
const QString kToken = u"tok-Zr81-Lumen-one-time"_s;

// Every message of this process, whatever its category and level.
QMutex g_mutex;
QStringList g_messages;
void keepMessage(QtMsgType, const QMessageLogContext &, const QString &message)
{
    QMutexLocker lock(&g_mutex);
    g_messages.append(message);
}

QByteArray encoded(const QString &text, QStringConverter::Encoding encoding)
{
    QStringEncoder encoder(encoding, QStringConverter::Flag::Stateless);
    return encoder.encode(text);
}

struct Form {
    QString what;
    QByteArray bytes;
};

// The secret as text, percent-escaped (two ways), in base64 and, unless `clearOnly`, enciphered
// as stored; each in UTF-8 and both UTF-16 byte orders (binary property lists hold UTF-16).
QList<Form> formsOf(const QString &name, const QString &secret, bool clearOnly = false)
{
    QList<std::pair<QString, QString>> texts {
        {u"clear"_s, secret},
        {u"percent-escaped"_s, QString::fromLatin1(QUrl::toPercentEncoding(secret))},
        {u"RFC 3875-escaped"_s,
         stelloaExtension::stringByAddingRFC3875PercentEscapesUsingEncoding(secret)},
        {u"base64"_s, QString::fromLatin1(secret.toUtf8().toBase64())},
        {u"base64url"_s,
         QString::fromLatin1(secret.toUtf8().toBase64(QByteArray::Base64UrlEncoding
                                                      | QByteArray::OmitTrailingEquals))}};
    if (!clearOnly)
        texts.append({u"enciphered"_s, stelloaExtension::encryptedString(secret)});
    QList<Form> forms;
    for (const auto &[how, text] : texts) {
        forms.append({name + u", "_s + how, text.toUtf8()});
        forms.append(
            {name + u", "_s + how + u" (UTF-16BE)"_s, encoded(text, QStringConverter::Utf16BE)});
        forms.append(
            {name + u", "_s + how + u" (UTF-16LE)"_s, encoded(text, QStringConverter::Utf16LE)});
    }
    return forms;
}

class SecretsEndToEndTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.isRunning() && proxy.isRunning())
            << "loopback server or tinyproxy missing";
        QVariantMap strings = StringTable::shared().strings();
        strings.insert(u"AccountServiceURL"_s, server.url(QString()));
        strings.insert(u"NotificationServiceURL"_s, server.url(QString()));
        ASSERT_TRUE(
            writeStringTable(resources, PropertyList::toData(strings, PropertyList::Format::Xml)));
        QFile info(resources.filePath(u"Info.plist"_s));
        ASSERT_TRUE(info.open(QIODevice::WriteOnly));
        info.write(PropertyList::toData(StringTable::shared().info(), PropertyList::Format::Xml));
        info.close();
        StringTable::install(u"corvane"_s, resources.path());
        // The children read the same table, and keep their scratch files where the test looks.
        const std::pair<const char *, QString> environment[]
            = {{"LUMEN_RESOURCES", resources.path()}, {"TMPDIR", temp.path()}};
        for (const auto &[name, value] : environment) {
            saved.append({name, qgetenv(name)});
            qputenv(name, QFile::encodeName(value));
        }
        ASSERT_TRUE(writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s},
                                {u"Username"_s, u"ann"_s},
                                {u"Password"_s, stelloaExtension::encryptedString(kPassword)},
                                {u"UserAtServer"_s, u"ann@storage1"_s},
                                {u"serverName"_s, u"storage1.example"_s},
                                {u"RememberDetails"_s, 1}},
                               u"ann@example.com"_s));
        // The error report's proxy, as the main application keeps it.
        ASSERT_TRUE(PropertyList::writeDictionary(
            SLLocalizedString(u"ProxySetting"_s),
            {{u"ProxyEnable"_s, 1},
             {u"ProxyAuthEnable"_s, 1},
             {u"ProxyAddress"_s, u"127.0.0.1"_s},
             {u"ProxyPort"_s, QString::number(proxy.port())},
             {u"ProxyUserName"_s, kProxyUser},
             {u"ProxyPassword"_s, stelloaExtension::encryptedString(kProxyPassword)}}));
        previousHandler = qInstallMessageHandler(keepMessage);
    }
    void TearDown() override
    {
        qInstallMessageHandler(previousHandler);
        for (const auto &[name, value] : saved)
            value.isNull() ? qunsetenv(name) : qputenv(name, value);
        StringTable::install(u"corvane"_s);
    }

    // Runs lumenctl to its end; what it printed is kept.
    int lumenctl(const QStringList &arguments)
    {
        Child run(QStringLiteral(LUMENCTL_PATH), arguments, env, runtime.path());
        EXPECT_TRUE(run.process().waitForFinished(15000)) << arguments.join(u' ').toStdString();
        printed.append(
            {u"lumenctl "_s + arguments.join(u' '),
             run.process().readAllStandardOutput() + run.process().readAllStandardError()});
        return run.process().exitCode();
    }

    // The proxy typed into the preferences, saved as the pane saves it.
    void saveProxyInThePreferences()
    {
        ProxyController pane(&alerts);
        pane.awakeFromNib();
        pane.setFieldText(ProxyController::Field::Address, u"127.0.0.1"_s);
        pane.setFieldText(ProxyController::Field::Port, QString::number(proxy.port()));
        pane.EnableProxy(ProxyController::ManualProxy);
        pane.EnableProxyAuth(true);
        pane.setFieldText(ProxyController::Field::UserName, kProxyUser);
        pane.setFieldText(ProxyController::Field::Password, kProxyPassword);
        ASSERT_EQ(pane.SaveSetting(), 1);
        proxySettings = pane.settingFilePath();
        ASSERT_EQ(PropertyList::readDictionary(proxySettings).value(u"ProxyPassword"_s),
                  stelloaExtension::encryptedString(kProxyPassword));
    }

    // The error report sent through the proxy that wants the stored password.
    void sendErrorReport()
    {
        QNetworkAccessManager network;
        FakeErrorReportWindow window;
        ErrorReport report;
        report.setPresenter(&window);
        report.setAlertPresenter(&alerts);
        report.setNetwork(&network);
        report.showErrorReport();
        report.fields().email = u"ann@example.com"_s;
        report.fields().message = u"It stopped."_s;
        report.sendErrorReport();
        ASSERT_EQ(alerts.lastMessage(), u"Report sent successfully"_s)
            << "the proxy took the password";
        for (const QString &preview : window.previews)
            printed.append({u"error report preview"_s, preview.toUtf8()});
    }

    // Every file under the test's folders but the inputs that hold a secret by design.
    QList<std::pair<QString, QByteArray>> filesWritten(const QStringList &inputs) const
    {
        QList<std::pair<QString, QByteArray>> files;
        for (const QString &folder : {env.root(), env.home(), runtime.path(), temp.path()}) {
            QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System,
                            QDirIterator::Subdirectories);
            while (it.hasNext()) {
                const QString path = it.next();
                if (!inputs.contains(path) && !it.fileInfo().isSymLink())
                    files.append({path, readRealFile(path)});
            }
        }
        return files;
    }

    TestEnvironment env;
    QTemporaryDir runtime, temp, resources;
    TestHttpServer server {false, {u"--token-reply"_s, u"SUCCESS:"_s + kToken + u"\r\n"_s}};
    TinyProxy proxy {kProxyUser, kProxyPassword};
    FakeAlertPresenter alerts;
    QList<std::pair<const char *, QByteArray>> saved;
    QtMessageHandler previousHandler = nullptr;
    QString proxySettings;
    QList<std::pair<QString, QByteArray>> printed; // where -> what
};

TEST_F(SecretsEndToEndTest, NoSecretReachesAFileAnOutputOrAShownText)
{
    saveProxyInThePreferences();

    Child monitor(QStringLiteral(MONITOR_PATH), {}, env, runtime.path());
    ASSERT_TRUE(waitUntil(monitorIsUp, 20000)) << "the monitor did not come up";
    Child engine(QStringLiteral(ENGINE_SIM_PATH), {u"--speed"_s, u"15"_s}, env, runtime.path());
    // A backup through the monitor: its record carries the stored password to the engine.
    EXPECT_EQ(lumenctl({u"menu"_s, u"backup-now"_s}), 0);
    const QDir sessionLogs(
        env.real(u"/Library/Application Support/CorvanePortableforMac/SessionLogs/Backup"_s));
    EXPECT_TRUE(waitUntil([&] { return sessionLogs.entryList(QDir::Files).size() == 1; }, 30000))
        << "no run";
    EXPECT_TRUE(waitUntil([] { return ScheduleArchive::load().records.isEmpty(); }, 10000))
        << "the run did not end";
    // My Account: the password goes to the account service, the token comes back.
    EXPECT_EQ(lumenctl({u"menu"_s, QString::number(CorvaneMonitorController::AccountHomeTag)}), 0);
    const QString form
        = u"pwd="_s + stelloaExtension::stringByAddingRFC3875PercentEscapesUsingEncoding(kPassword);
    EXPECT_TRUE(waitUntil(
        [&] {
            const QStringList lines = server.errorLines();
            return std::any_of(lines.cbegin(), lines.cend(),
                               [&](const QString &l) { return l.contains(form); });
        },
        30000))
        << "no token was asked for with the password";
    EXPECT_EQ(lumenctl({u"menu"_s, u"preferences"_s}), 0);
    for (const QStringList &arguments : {QStringList {u"status"_s},
                                         {u"status"_s, u"--json"_s},
                                         {u"paths"_s},
                                         {u"paths"_s, u"--json"_s},
                                         {u"schedules"_s, u"list"_s, u"--json"_s}})
        EXPECT_EQ(lumenctl(arguments), 0) << arguments.join(u' ').toStdString();
    EXPECT_EQ(lumenctl({u"backup-now"_s}), 0)
        << "lumenctl queues a record with the password of its own";
    EXPECT_EQ(lumenctl({u"menu"_s, u"quit"_s}), 0);
    ASSERT_TRUE(monitor.process().waitForFinished(20000));
    printed.append(
        {u"lumen-monitor"_s,
         monitor.process().readAllStandardOutput() + monitor.process().readAllStandardError()});
    // Last, so that its log tails hold what the session wrote.
    sendErrorReport();
    {
        QMutexLocker lock(&g_mutex);
        printed.append({u"this process's messages"_s, g_messages.join(u'\n').toUtf8()});
    }
    for (const FakeAlertPresenter::Shown &shown : alerts.shown())
        printed.append({u"alert"_s, shown.message.toUtf8()});

    // The inputs: the main application's login details and the two proxy settings files keep
    // their password enciphered by design. The schedules archive keeps the stored (enciphered)
    // login password for the engine; any other form of it there is a leak.
    const QStringList inputs {env.real(BrandPaths::loginDetails()),
                              env.real(SLLocalizedString(u"ProxySetting"_s)),
                              env.real(proxySettings)};
    const QString archive = env.real(ScheduleArchive::path());
    const QList<Form> secrets = formsOf(u"login password"_s, kPassword)
        + formsOf(u"proxy password"_s, kProxyPassword) + formsOf(u"access token"_s, kToken, true)
        + formsOf(u"proxy credentials"_s, kProxyUser + u':' + kProxyPassword, true);
    QList<std::pair<QString, QByteArray>> places = filesWritten(inputs) + printed;
    ASSERT_GT(places.size(), 10);
    for (const auto &[where, bytes] : places) {
        for (const Form &secret : secrets) {
            if (where == archive && secret.what.startsWith(u"login password, enciphered"_s))
                continue;
            EXPECT_FALSE(bytes.contains(secret.bytes))
                << secret.what.toStdString() << " in " << where.toStdString();
        }
    }
}

} // namespace
