#include "support/FakeAlertPresenter.h"
#include "support/FakeErrorReportWindow.h"
#include "support/TestEnvironment.h"

#include "platform/PropertyList.h"
#include "platform/SystemInfo.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "util/StringExtensions.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kInteractiveTrace = u"~/Library/Application Support/%1/Logs/InteractiveTrace.log"_s;

class ErrorReportTest : public ::testing::TestWithParam<QString> {
protected:
    ErrorReportTest()
    {
        report.setPresenter(&window);
        report.setAlertPresenter(&alerts);
    }
    bool corvane() const { return GetParam() == "corvane"_L1; }
    QString folder() const { return corvane() ? u"CorvanePortableforMac"_s : u"StelloaLumen"_s; }
    void writeLogin(const QVariantMap &details)
    {
        ASSERT_TRUE(PropertyList::writeDictionary(BrandPaths::loginDetails(), details));
    }

    TestEnvironment env {GetParam()};
    FakeErrorReportWindow window;
    FakeAlertPresenter alerts;
    ErrorReport report;
};

TEST(ErrorReportText, SpecialCharactersAreEscapedOnlyWithinTheOriginalLength)
{
    const QString padding(40, u'.');
    EXPECT_EQ(ErrorReport::replaceSpecialCharacters(u"a=b&c=d"_s + padding),
              u"a%3Db%26c%3Dd"_s + padding);
    // The first pass pushes the last "=" past the seven characters the second pass looks at.
    EXPECT_EQ(ErrorReport::replaceSpecialCharacters(u"a=b&c=d"_s), u"a%3Db%26c=d"_s);
    EXPECT_EQ(ErrorReport::replaceSpecialCharacters(u"&&&&=x"_s), u"%26%26%26%26=x"_s);
    EXPECT_EQ(ErrorReport::replaceSpecialCharacters(u"x=&&"_s), u"x%3D%26%26"_s);
}

TEST(ErrorReportText, OnlyTheLastPartOfALongLogIsRead)
{
    TestEnvironment env;
    const QByteArray head(30000 - 20480, 'h'), tail(20480 - 1, 't');
    env.writeFile(u"/logs/long.log"_s, head + tail + 'z');
    env.writeFile(u"/logs/exact.log"_s, tail + 'z');
    EXPECT_EQ(ErrorReport::getUTT8StringFromFile(u"/logs/long.log"_s),
              QString::fromLatin1(tail + 'z'));
    EXPECT_EQ(ErrorReport::getUTT8StringFromFile(u"/logs/exact.log"_s),
              QString::fromLatin1(tail + 'z'));
    const QString missing = ErrorReport::getUTT8StringFromFile(u"/logs/none.log"_s);
    EXPECT_TRUE(missing.isEmpty() && !missing.isNull());
}

TEST(ErrorReportText, EachLogIsReadFromItsOwnFile)
{
    TestEnvironment env;
    const std::pair<QString (*)(), QString> logs[]
        = {{&ErrorReport::getInteractiveTraceLog, u"InteractiveTraceFilePath"_s},
           {&ErrorReport::getMonitorTraceLog, u"MonitorTraceFilePath"_s},
           {&ErrorReport::getDaemonTraceLog, u"DaemonTraceFilePath"_s},
           {&ErrorReport::getInteractiveSessionLog, u"InteractiveSessionLog"_s},
           {&ErrorReport::getDaemonSessionLog, u"ScheduledBackupLog"_s},
           {&ErrorReport::getWebmanagementLog, u"WebManagementLogFilePath"_s}};
    for (const auto &[read, key] : logs)
        env.writeFile(SLLocalizedString(key), key.toUtf8());
    for (const auto &[read, key] : logs)
        EXPECT_EQ(read(), key);
}

TEST_P(ErrorReportTest, TheFormIsFilledFromTheLoginOrTheUserIsAskedToLogIn)
{
    report.showErrorReport();
    EXPECT_EQ(window.shown, 0);
    EXPECT_EQ(alerts.lastMessage(),
              u"Please login to %1 to send the error report"_s.arg(corvane() ? u"Corvane Lumen"_s
                                                                             : u"Stelloa Lumen"_s));
    EXPECT_EQ(alerts.shown().last().title, SLLocalizedString(u"ApplicationName"_s));

    writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s},
                {u"Username"_s, u"ann"_s},
                {u"serverName"_s, u"nexa7.example"_s}});
    report.fields().message = u"left over"_s;
    report.showErrorReport();
    ASSERT_TRUE(window.visible);
    const ErrorReportFields &f = report.fields();
    EXPECT_EQ(f.userNameLabel, corvane() ? u"Corvane username"_s : u"Stelloa username"_s);
    EXPECT_EQ(f.userName, corvane() ? u"ann@example.com"_s : u"ann"_s); // brand B: "Username"
    EXPECT_EQ(f.subject,
              corvane() ? u"Corvane Lumen user feedback"_s : u"Stelloa Lumen user feedback"_s);
    EXPECT_EQ(f.architecture, u"New Architecture"_s);
    EXPECT_TRUE(f.message.isEmpty());
    report.showErrorReport(); // already open: left as it is
    EXPECT_EQ(window.shown, 1);
}

TEST_P(ErrorReportTest, AMissingOrBadAddressOrAnEmptyMessageStopsTheSending)
{
    const struct {
        QString email, message, alert;
    } cases[] = {{u""_s, u"help"_s, u"Enter an email address "_s},
                 {u"ann@example"_s, u"help"_s, u"Provide a valid email address"_s},
                 {u"ann@example.com"_s, u" \n\t\r\n"_s, u"Enter your feedback/query."_s}};
    for (const auto &c : cases) {
        report.fields().email = c.email;
        report.fields().message = c.message;
        report.sendErrorReport();
        EXPECT_EQ(alerts.lastMessage(), c.alert);
    }
    EXPECT_TRUE(window.previews.isEmpty());
}

TEST_P(ErrorReportTest, TheReportHoldsTheSystemTheAccountTheMessageAndTheMaskedLogTails)
{
    PropertyList::writeDictionary(
        u"/System/Library/CoreServices/SystemVersion.plist"_s,
        {{u"ProductName"_s, u"Mac OS X"_s}, {u"ProductUserVisibleVersion"_s, u"10.15.7"_s}});
    const QString home = env.home(), login = SystemInfo::loginName();
    env.writeFile(
        kInteractiveTrace.arg(folder()),
        (home + u"/Documents/tax.pdf read by "_s + login + u"; "_s + home + u"x kept"_s).toUtf8());
    const QString proxies = u"~/Library/Application Support/%1/ProxySettings.plist"_s.arg(folder());
    PropertyList::writeDictionary(proxies, {{u"ProxyEnable"_s, 1}});
    report.fields() = {u""_s,
                       u"ann"_s,
                       u"ann@example.com"_s,
                       u"555"_s,
                       u"T-1"_s,
                       u""_s,
                       u"a=b&c=d in "_s + home + u" by "_s + login,
                       u""_s};
    const QString brand = corvane() ? u"Corvane"_s : u"Stelloa"_s;
    const QVariantMap &bundle = StringTable::shared().info();
    const auto head = [&](const QString &proxy) {
        return u"<<< USER FEEDBACK FROM "_s + brand.toUpper() + u" LUMEN version "_s
            + bundle.value(u"CFBundleVersion"_s).toString()
            + u" >>>\nUser's Operating System: Mac OS X \nOS Version: 10.15.7\n"
              "Does the user connect through a proxy server? "_s
            + proxy + u"\n"_s + brand + u" Username: ann \n"_s;
    };
    const QString rest
        = u"User's e-mail address: (ann@example.com) \n"
          "User's Contact Phone Number: (555) \nTroubleTicketNumber(if any) : (T-1) \n"
          "\nUser 's technical issues/comments/suggestions:\n\n"_s
        + report.fields().message
        + u"\n\n-------------- Interactive Trace Log ----------\n\n"
          "~/Documents/tax.pdf read by <user>; "_s
        + home
        + u"x kept\n"
          "-------------- Monitor Trace Log ----------\n\n\n"
          "Release Date : "_s
        + bundle.value(u"ReleaseDate"_s).toString() + u"\n"_s + QString(96, u'*') + u"\n"_s;
    EXPECT_EQ(report.composeReport(), head(u"Connected via Proxy server"_s) + rest);

    // The quota, when the account's details are there: deciphered, rounded, nothing below 0.
    PropertyList::writeDictionary(
        u"~/Library/Application Support/%1/Users/ann/UserDetails.plist"_s.arg(folder()),
        {{u"TOTALQUOTASIZE"_s, stelloaExtension::encryptedString(u"2047.6"_s)},
         {u"USEDQUOTASIZE"_s, stelloaExtension::encryptedString(u"-3"_s)}});
    PropertyList::writeDictionary(proxies, {{u"ProxyEnable"_s, 2}});
    EXPECT_EQ(report.composeReport(),
              head(u"Direct (No Proxy Server)"_s)
                  + u"User's Quota: 2048 MB\nUser's Used Space: 0 MB\n"_s + rest);
}

TEST_P(ErrorReportTest, NamesAreMaskedWholeAtASentencesEndAndWhereTheTailBegins)
{
    const QString home = env.home(), login = SystemInfo::loginName();
    EXPECT_EQ(ErrorReport::maskPersonalDetails(u"Could not open "_s + home + u". Ask "_s + login + u"."_s),
              u"Could not open ~. Ask <user>."_s);
    EXPECT_EQ(ErrorReport::maskPersonalDetails(login + u".smith and "_s + login + u"-2"_s),
              login + u".smith and "_s + login + u"-2"_s) << "longer names are other names";
    // The tail's first characters fall inside the home folder's name: masked before it is cut.
    env.writeFile(kInteractiveTrace.arg(folder()),
                  (home + u"\n"_s + QString(ErrorReport::kLogTailLength - 3, u'x')).toUtf8());
    const QString sent = report.composeReport();
    EXPECT_TRUE(sent.contains(u"Interactive Trace Log ----------\n\n~\nxxx"_s));
    EXPECT_FALSE(sent.contains(home.right(2) + u"\nxxx"_s));
}

INSTANTIATE_TEST_SUITE_P(Brands, ErrorReportTest, ::testing::Values(u"corvane"_s, u"stelloa"_s));

} // namespace
