#include "app/MonitorAccount.h"
#include "platform/PropertyList.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"
#include "support/FakeDesktop.h"
#include "support/LoopbackServers.h"
#include "support/TestEnvironment.h"
#include "util/StringExtensions.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QUrlQuery>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kQuotaFile = u"~/Library/Application Support/CorvanePortableforMac/Users/ann/UserDetails.plist"_s;
const QString kPreferenceFile = u"~/Library/Preferences/com.halvern.CorvaneLumen.plist"_s;

class MonitorAccountTest : public ::testing::Test
{
protected:
    MonitorAccount::Services services()
    {
        return {&clock, &desktop, &network, [this](const QString &name) {
                    askedFor = name;
                    return companionRunning;
                }};
    }
    void writeQuota(const QVariant &total, const QVariant &used)
    {
        ASSERT_TRUE(PropertyList::writeDictionary(kQuotaFile, {{u"TOTALQUOTASIZE"_s, total}, {u"USEDQUOTASIZE"_s, used}}));
    }
    static QString enciphered(double megabytes)
    {
        return stelloaExtension::encryptedString(QString::number(megabytes));
    }
    void runJobOf(const QString &user)
    {
        CorvaneScheduleItem idle(clock), running(clock);
        idle.setCorvaneUserName(u"zoe"_s);
        running.setCorvaneUserName(user);
        running.setStatus(CorvaneScheduleItem::InProgress);
        ASSERT_EQ(ScheduleArchive::save({idle, running}).status, ScheduleArchive::SaveResult::Status::Saved);
    }
    void setCutOff(const QString &user, const QVariant &enabled, const QDateTime &at)
    {
        ASSERT_TRUE(PropertyList::writeDictionary(
            kPreferenceFile, {{user, QVariantMap{{u"EnableCutoffTimeKey"_s, enabled}, {u"CutoffTimeKey"_s, at}}}}));
    }

    TestEnvironment env;
    FixedClock clock{QDateTime(QDate(2026, 11, 23), QTime(22, 30, 40))};
    FakeDesktop desktop;
    QNetworkAccessManager network;
    int companionRunning = 1;
    QString askedFor;
    MonitorAccount account{services()};
};

TEST_F(MonitorAccountTest, TheQuotaIsExceededWithinTenMegabytesOfThePlanAfterRounding)
{
    EXPECT_EQ(account.isQuotaExceeded(u"ann"_s), std::nullopt) << "no quota file: no test";
    struct Case { double total, used; bool exceeded; };
    for (const Case c : {Case{100, 90, true}, Case{100, 89.4, false}, Case{100, 89.6, true}, Case{100, 95, true},
                         Case{100, 120, true}, Case{5000, 100, false}}) {
        writeQuota(enciphered(c.total), enciphered(c.used));
        EXPECT_EQ(account.isQuotaExceeded(u"ann"_s), c.exceeded) << c.total << " / " << c.used;
    }
}

TEST_F(MonitorAccountTest, QuotaDetailsAreDecipheredNumbersNeverBelowZero)
{
    writeQuota(enciphered(2048.5), enciphered(-3));
    EXPECT_EQ(account.getQuotaDetailsForUser(u"ann"_s),
              (QVariantMap{{u"TOTALQUOTASIZE"_s, 2048.5}, {u"USEDQUOTASIZE"_s, 0.0}}));
    writeQuota(1000, 250); // numbers are taken as they are
    EXPECT_EQ(account.getQuotaDetailsForUser(u"ann"_s),
              (QVariantMap{{u"TOTALQUOTASIZE"_s, 1000.0}, {u"USEDQUOTASIZE"_s, 250.0}}));
    EXPECT_EQ(account.getQuotaDetailsForUser(u"bob"_s),
              (QVariantMap{{u"TOTALQUOTASIZE"_s, 0.0}, {u"USEDQUOTASIZE"_s, 0.0}}));
}

TEST_F(MonitorAccountTest, NotificationDetailsFormatTheSizesAndTruncateThePercentage)
{
    writeQuota(enciphered(2048), enciphered(1023.9));
    env.writeFile(u"/Library/Application Support/CorvanePortableforMac/ann/.plan.txt"_s, "Personal");
    QVariantMap details = account.constructDetailsforDesktopNotificationWindowForUser(u"ann"_s);
    EXPECT_EQ(details, (QVariantMap{{u"Username"_s, u"ann"_s},
                                    {u"UsedQuota"_s, u"1023.9 MB"_s},
                                    {u"TotalQuota"_s, u"2 GB"_s},
                                    {u"PercentageQuota"_s, u"49"_s},
                                    {u"AccountType"_s, u"Personal"_s}}));
    EXPECT_TRUE(account.isPersonalUser());

    // No plan, no size: no account type, and 0 % rather than a division by zero.
    details = account.constructDetailsforDesktopNotificationWindowForUser(u"bob"_s);
    EXPECT_EQ(details.value(u"PercentageQuota"_s), QVariant(u"0"_s));
    EXPECT_EQ(details.value(u"TotalQuota"_s), QVariant(u"0 bytes"_s));
    EXPECT_FALSE(details.contains(u"AccountType"_s));
    EXPECT_FALSE(account.isPersonalUser()) << "cleared by every reading of a plan";
}

TEST_F(MonitorAccountTest, ThePlanFileNamesBusinessOrPersonalAndNothingElse)
{
    const QString plan = u"/Library/Application Support/CorvanePortableforMac/ann/.plan.txt"_s;
    struct Case { QByteArray text; bool business, personal; };
    for (const Case &c : {Case{"Business", true, false}, Case{"Personal", false, true}, Case{"Free", false, false},
                          Case{"business", false, false}}) {
        env.writeFile(plan, c.text);
        account.getPlanForUser(u"ann"_s);
        EXPECT_EQ(account.isBusinessUser(), c.business) << c.text.toStdString();
        EXPECT_EQ(account.isPersonalUser(), c.personal) << c.text.toStdString();
    }
}

TEST_F(MonitorAccountTest, TheCutOffStopsTheRunningJobOfItsOwnerInItsMinuteOnly)
{
    EXPECT_FALSE(account.triggerCutOffBackup()) << "nothing runs";
    runJobOf(u"ann"_s);
    EXPECT_EQ(account.usernameOfJobInProgress(), u"ann"_s);
    const QDateTime pickedLastSpring(QDate(2026, 4, 2), QTime(22, 30)); // another day, another offset
    setCutOff(u"ann"_s, false, pickedLastSpring);
    EXPECT_FALSE(account.triggerCutOffBackup()) << "cut-off not enabled";
    setCutOff(u"zoe"_s, true, pickedLastSpring);
    EXPECT_FALSE(account.triggerCutOffBackup()) << "only the running job's owner counts";

    setCutOff(u"ann"_s, true, pickedLastSpring);
    for (const QTime now : {QTime(22, 29, 59), QTime(22, 31), QTime(21, 30, 10), QTime(10, 30)}) {
        clock.set(QDateTime(QDate(2026, 11, 23), now));
        EXPECT_FALSE(account.triggerCutOffBackup()) << now.toString().toStdString();
    }
    EXPECT_NE(SchedulerState::read(), u"5"_s);
    for (const QTime now : {QTime(22, 30), QTime(22, 30, 59, 999)}) {
        SchedulerState::write(u"0"_s);
        clock.set(QDateTime(QDate(2026, 11, 23), now));
        EXPECT_TRUE(account.triggerCutOffBackup()) << now.toString().toStdString();
        EXPECT_EQ(env.readFile(SchedulerState::path()), QByteArray("5"));
    }
}

TEST_F(MonitorAccountTest, AUserIsDisconnectedWhenTheMainApplicationIsNotRunningOrTheMarkerIsThere)
{
    const QString marker = u"~/Library/Application Support/CorvanePortableforMac/ann/disconFile"_s;
    companionRunning = 0;
    EXPECT_TRUE(account.isDisconnnectedUser(u"ann"_s));
    EXPECT_EQ(askedFor, u"Corvane"_s) << "the main application's process";
    companionRunning = 1;
    EXPECT_FALSE(account.isDisconnnectedUser(u"ann"_s));
    env.writeFile(marker, "");
    EXPECT_TRUE(account.isDisconnnectedUser(u"ann"_s));

    // Remembered details show the pages even to a disconnected user.
    ASSERT_TRUE(PropertyList::writeDictionary(BrandPaths::loginDetails(),
                                              {{u"CorvaneUsername"_s, u"ann"_s}, {u"RememberDetails"_s, 0}}));
    EXPECT_FALSE(account.shouldShowWebFiles());
    QFile::remove(env.real(marker));
    EXPECT_TRUE(account.shouldShowWebFiles()) << "connected";
    env.writeFile(marker, "");
    ASSERT_TRUE(PropertyList::writeDictionary(BrandPaths::loginDetails(),
                                              {{u"CorvaneUsername"_s, u"ann"_s}, {u"RememberDetails"_s, 1}}));
    EXPECT_TRUE(account.shouldShowWebFiles());
}

// The account service is a loopback server that hands out tokens.
class TokenPagesTest : public MonitorAccountTest, public ::testing::WithParamInterface<const char *>
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.isRunning());
        QVariantMap strings = StringTable::shared().strings();
        strings.insert(u"AccountServiceURL"_s, server.url(QString()));
        ASSERT_TRUE(writeStringTable(resources, PropertyList::toData(strings, PropertyList::Format::Xml)));
        StringTable::install(u"corvane"_s, resources.path());
        ASSERT_TRUE(PropertyList::writeDictionary(
            BrandPaths::loginDetails(), {{u"CorvaneUsername"_s, u"ann@example.com"_s},
                                         {u"Username"_s, u"ann"_s},
                                         {u"Password"_s, stelloaExtension::encryptedString(u"p&ss w=rd"_s)},
                                         {u"RememberDetails"_s, 1}}));
    }
    void TearDown() override { StringTable::install(u"corvane"_s); }

    // The form the service was sent, once the request is over. A loaded machine (a sanitizer
    // build beside other test processes) can take seconds to start the server's interpreter.
    QString requestedForm()
    {
        QString form;
        waitUntil([&] {
            for (const QString &line : server.errorLines()) {
                if (line.startsWith(u"token-request "_s))
                    form = line.section(u' ', 1);
            }
            return !form.isEmpty() && !account.getAccessTokenConnection();
        }, 30000);
        return form;
    }

    TestHttpServer server{false, {u"--token-reply"_s, QString::fromUtf8(GetParam())}};
    QTemporaryDir resources;
};

TEST_P(TokenPagesTest, EachPagePostsItsOperationAndOpensTheTokenPageOnlyOnSuccess)
{
    const bool success = QByteArray(GetParam()) == "SUCCESS:tok-42\r\n";
    struct Page { std::function<void()> open; QString operation; };
    const Page pages[] = {{[&] { account.launchWeb(); }, u"home"_s},
                          {[&] { account.upgradeAccount(); }, u"upgrade"_s},
                          {[&] { account.changePassword(); }, u"pwd_chng"_s},
                          {[&] { account.referCorvaneCall(); }, u"referral"_s}};
    for (const Page &page : pages) {
        desktop.opened.clear();
        page.open();
        EXPECT_EQ(requestedForm(), u"uid=ann%40example.com&pwd=p%26ss%20w%3Drd&op_type="_s + page.operation);
        if (success) {
            ASSERT_TRUE(waitUntil([&] { return !desktop.opened.isEmpty(); }));
            EXPECT_EQ(desktop.opened.first(), QUrl(server.url(u"/corvane/desktop/Auto?token=tok-42"_s)));
        } else {
            waitUntil([] { return false; }, 100);
            EXPECT_TRUE(desktop.opened.isEmpty()) << "a reply without a token opens nothing";
        }
    }
}

TEST_P(TokenPagesTest, TheOtherBrandSendsItsUserNameWithoutAPasswordForUpgradeAndReferral)
{
    StringTable::install(u"stelloa"_s);
    QVariantMap strings = StringTable::shared().strings();
    strings.insert(u"AccountServiceURL"_s, server.url(QString()));
    ASSERT_TRUE(writeStringTable(resources, PropertyList::toData(strings, PropertyList::Format::Xml)));
    StringTable::install(u"stelloa"_s, resources.path());
    ASSERT_FALSE(FilePathAPIs::isCorvaneApplication());
    ASSERT_TRUE(PropertyList::writeDictionary(
        BrandPaths::loginDetails(), {{u"CorvaneUsername"_s, u"ann@example.com"_s},
                                     {u"Username"_s, u"ann"_s},
                                     {u"Password"_s, stelloaExtension::encryptedString(u"pw"_s)},
                                     {u"RememberDetails"_s, 1}}));
    account.upgradeAccount();
    EXPECT_EQ(requestedForm(), u"uid=ann&pwd=&op_type=upgrade"_s);
    account.referCorvaneCall();
    EXPECT_EQ(requestedForm(), u"uid=ann&pwd=&op_type=referral"_s);
    account.changePassword();
    EXPECT_EQ(requestedForm(), u"uid=ann%40example.com&pwd=pw&op_type=pwd_change"_s);
}

TEST_P(TokenPagesTest, AnUpgradeForANamedAccountUsesThatAccountsOwnDetails)
{
    ASSERT_TRUE(PropertyList::writeDictionary(
        u"~/Library/Application Support/CorvanePortableforMac/Users/bob/LoginDetails.plist"_s,
        {{u"CorvaneUsername"_s, u"bob@example.com"_s}, {u"Password"_s, stelloaExtension::encryptedString(u"b"_s)}}));
    account.upgradeAccount(u"bob"_s);
    EXPECT_EQ(requestedForm(), u"uid=bob%40example.com&pwd=b&op_type=upgrade"_s);
}

INSTANTIATE_TEST_SUITE_P(Replies, TokenPagesTest,
                         ::testing::Values("SUCCESS:tok-42\r\n", "SUCCESS", "SUCCESS:", "FAILURE:tok-42"));

TEST_F(MonitorAccountTest, WithoutWebFilesTheProductsHomePageOpensInstead)
{
    companionRunning = 0; // disconnected, and the details are not remembered
    account.upgradeAccount();
    ASSERT_EQ(desktop.opened.size(), 1);
    EXPECT_EQ(desktop.opened.first(), QUrl(u"https://www.corvane.example"_s));
    EXPECT_EQ(account.getAccessTokenConnection(), nullptr);
}

} // namespace
