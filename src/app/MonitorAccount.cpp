#include "MonitorAccount.h"

#include "DesktopServices.h"
#include "logging/SLLogger.h"
#include "platform/AtomicFile.h"
#include "platform/Clock.h"
#include "platform/FileContents.h"
#include "platform/FoundationValues.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "scheduler/CorvaneScheduleItem.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"
#include "util/SLUtility.h"
#include "util/StringExtensions.h"

#include <QFileInfo>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int kQuotaFileKind = 0;
constexpr int kLastLoginKind = 2;
constexpr int kApplicationPreferenceKind = 32;
constexpr double kQuotaMarginMB = 10;

bool corvane()
{
    return FilePathAPIs::isCorvaneApplication();
}

bool exists(const QString &productPath)
{
    return QFileInfo::exists(Paths::current().resolve(productPath));
}

QString quotaFile(const QString &user)
{
    return stringWithFormat(FilePathAPIs::pathForApplicationFile(kQuotaFileKind), {user});
}

// A stored quota size: enciphered text, or a plain number from an older engine.
double quotaValue(const QVariant &stored)
{
    if (stored.typeId() == QMetaType::QString)
        return FoundationValues::stringDoubleValue(stelloaExtension::decryptedString(stored.toString()));
    return FoundationValues::doubleValue(stored);
}

// Hour and minute as the date's text shows them ("yyyy-MM-dd HH:mm:ss", characters 11-12 and
// 14-15): the cut-off is a time of day on the wall clock, whatever day it was picked on.
QString hourAndMinute(const QDateTime &time)
{
    const QString text = time.toLocalTime().toString(u"yyyy-MM-dd HH:mm:ss"_s);
    return text.mid(11, 2) + text.mid(14, 2);
}

// The text without the line breaks (of any kind) at its start and end.
QString withoutLineBreaksAround(QString text)
{
    const auto isBreak = [](QChar c) {
        return (c >= u'\n' && c <= u'\r') || c == QChar(0x85) || c == QChar(0x2028) || c == QChar(0x2029);
    };
    while (!text.isEmpty() && isBreak(text.back()))
        text.chop(1);
    while (!text.isEmpty() && isBreak(text.front()))
        text.remove(0, 1);
    return text;
}

} // namespace

MonitorAccount::MonitorAccount(const Services &services, QObject *parent)
    : QObject(parent)
    , m_services(services)
{
}

MonitorAccount::~MonitorAccount()
{
    if (m_getAccessTokenConnection)
        m_getAccessTokenConnection->stopLoading();
}

QVariantMap MonitorAccount::getQuotaDetailsForUser(const QString &user) const
{
    const QVariantMap stored = PropertyList::readDictionary(quotaFile(user));
    const double total = quotaValue(stored.value(u"TOTALQUOTASIZE"_s));
    const double used = std::max(0.0, quotaValue(stored.value(u"USEDQUOTASIZE"_s)));
    return {{u"TOTALQUOTASIZE"_s, total}, {u"USEDQUOTASIZE"_s, used}};
}

std::optional<bool> MonitorAccount::isQuotaExceeded(const QString &user) const
{
    if (!exists(quotaFile(user)))
        return std::nullopt;
    const QVariantMap quota = getQuotaDetailsForUser(user);
    const double left = quota.value(u"TOTALQUOTASIZE"_s).toDouble() - quota.value(u"USEDQUOTASIZE"_s).toDouble();
    return std::round(left) - kQuotaMarginMB <= 0;
}

void MonitorAccount::getPlanForUser(const QString &user)
{
    mIsBusinessUser = false;
    mIsPersonalUser = false;
    const QString format = corvane() ? u"/Library/Application Support/CorvanePortableforMac/%@/.plan.txt"_s
                                     : u"/Library/Application Support/StelloaLumen/%@/.plan.txt"_s;
    const QString plan = FileContents::readUtf8(stringWithFormat(format, {user}));
    if (plan == "Business"_L1)
        mIsBusinessUser = true;
    else if (plan == "Personal"_L1)
        mIsPersonalUser = true;
}

QVariantMap MonitorAccount::constructDetailsforDesktopNotificationWindowForUser(const QString &user)
{
    const QVariantMap quota = getQuotaDetailsForUser(user);
    const double total = quota.value(u"TOTALQUOTASIZE"_s).toDouble();
    const double used = quota.value(u"USEDQUOTASIZE"_s).toDouble();
    const auto size = [](double megabytes) {
        return SLUtility::formatedFileSizeAsString(quint64(std::max(0.0, megabytes) * 1024 * 1024));
    };
    // An account without a known size counts as empty rather than dividing by zero.
    const int percentage = total > 0 ? int(used * 100 / total) : 0;
    QVariantMap details{{u"Username"_s, user},
                        {u"UsedQuota"_s, size(used)},
                        {u"TotalQuota"_s, size(total)},
                        {u"PercentageQuota"_s, stringWithFormat(u"%d"_s, {percentage})}};
    getPlanForUser(user);
    if (mIsBusinessUser)
        details.insert(u"AccountType"_s, u"Business"_s);
    else if (mIsPersonalUser)
        details.insert(u"AccountType"_s, u"Personal"_s);
    return details;
}

QVariantMap MonitorAccount::getActiveUserDetails() const
{
    return PropertyList::readDictionary(FilePathAPIs::pathForApplicationFile(kLastLoginKind));
}

QString MonitorAccount::userNameKey()
{
    return corvane() ? u"CorvaneUsername"_s : u"Username"_s;
}

QString MonitorAccount::lastLoginUser() const
{
    return getActiveUserDetails().value(u"CorvaneUsername"_s).toString();
}

QString MonitorAccount::lastLoginPassword() const
{
    return stelloaExtension::decryptedString(getActiveUserDetails().value(u"Password"_s).toString());
}

QString MonitorAccount::usernameOfJobInProgress() const
{
    for (const CorvaneScheduleItem &record : ScheduleArchive::load().records) {
        if (record.status() == CorvaneScheduleItem::InProgress)
            return record.corvaneUserName();
    }
    return {};
}

bool MonitorAccount::triggerCutOffBackup()
{
    const QString user = usernameOfJobInProgress();
    if (user.isEmpty())
        return false;
    const QVariantMap settings = PropertyList::readDictionary(
        FilePathAPIs::pathForApplicationFile(kApplicationPreferenceKind)).value(user).toMap();
    if (!FoundationValues::boolValue(settings.value(u"EnableCutoffTimeKey"_s)))
        return false;
    const QDateTime cutOff = settings.value(u"CutoffTimeKey"_s).toDateTime();
    if (!cutOff.isValid() || hourAndMinute(cutOff) != hourAndMinute(m_services.clock->now()))
        return false;
    SLLogger::logMonitorTrace(u"Cut-off time of "_s + user + u" reached: asking the engine to stop"_s);
    SchedulerState::write(u"5"_s);
    return true;
}

bool MonitorAccount::isDisconnnectedUser(const QString &user) const
{
    if (m_services.isApplicationRunning(u"Corvane"_s) == 0)
        return true;
    const QString format = corvane() ? u"~/Library/Application Support/CorvanePortableforMac/%@/disconFile"_s
                                     : u"~/Library/Application Support/StelloaLumen/%@/disconFile"_s;
    return exists(stringWithFormat(format, {user}));
}

bool MonitorAccount::shouldShowWebFiles() const
{
    const QVariantMap details = getActiveUserDetails();
    return FoundationValues::integerValue(details.value(u"RememberDetails"_s)) != 0
        || !isDisconnnectedUser(details.value(userNameKey()).toString());
}

void MonitorAccount::launchWeb()
{
    openPageWithToken(lastLoginUser(), lastLoginPassword(), u"op_type=home"_s);
}

void MonitorAccount::upgradeAccount(const std::optional<QString> &userName)
{
    // Named: that account's own login details rather than the last login's.
    const QVariantMap details = userName ? PropertyList::readDictionary(stringWithFormat(
                                               SLLocalizedString(u"LoginDetailsFilePath"_s), {*userName}))
                                         : getActiveUserDetails();
    if (corvane())
        openPageWithToken(details.value(u"CorvaneUsername"_s).toString(),
                          stelloaExtension::decryptedString(details.value(u"Password"_s).toString()),
                          u"op_type=upgrade"_s);
    else
        openPageWithToken(details.value(u"Username"_s).toString(), QString(), u"op_type=upgrade"_s);
}

void MonitorAccount::changePassword()
{
    openPageWithToken(lastLoginUser(), lastLoginPassword(),
                      corvane() ? u"op_type=pwd_chng"_s : u"op_type=pwd_change"_s);
}

void MonitorAccount::referCorvaneCall()
{
    if (corvane())
        openPageWithToken(lastLoginUser(), lastLoginPassword(), u"op_type=referral"_s);
    else
        openPageWithToken(getActiveUserDetails().value(u"Username"_s).toString(), QString(), u"op_type=referral"_s);
}

void MonitorAccount::openPageWithToken(const QString &user, const QString &password, const QString &operation)
{
    if (!shouldShowWebFiles()) {
        m_services.desktop->openUrl(QUrl(SLLocalizedString(u"WebSiteURL"_s)));
        return;
    }
    using stelloaExtension::stringByAddingRFC3875PercentEscapesUsingEncoding;
    const QString body = stringWithFormat(u"uid=%@&"_s, {stringByAddingRFC3875PercentEscapesUsingEncoding(user)})
        + stringWithFormat(u"pwd=%@&"_s, {stringByAddingRFC3875PercentEscapesUsingEncoding(password)}) + operation;
    m_getAccessTokenConnection = setupConnectionForURL(
        QUrl(SLLocalizedString(u"AccountServiceURL"_s) + u"/corvane/desktop/getToken"_s), body, QString());
}

ScriptURLConnection *MonitorAccount::setupConnectionForURL(const QUrl &url, const QString &body, const QString &format)
{
    // A newer request replaces one still waiting: only the last click opens a page.
    if (m_getAccessTokenConnection)
        m_getAccessTokenConnection->stopLoading();
    auto *connection = new ScriptURLConnection(m_services.network, URLRequest::formPost(url, body), this);
    connection->setOutPutFormat(format);
    connection->setDelegate(this);
    connection->startLoading();
    return connection;
}

void MonitorAccount::ConnectionDidReceivedData(const std::optional<QByteArray> &data, ScriptURLConnection *connection)
{
    if (connection != m_getAccessTokenConnection)
        return;
    m_getAccessTokenConnection = nullptr;
    connection->deleteLater();
    const QStringList fields = QString::fromUtf8(data.value_or(QByteArray())).split(u':');
    // "SUCCESS" without a token is a failure like any other reply.
    if (fields.size() < 2 || fields.first() != "SUCCESS"_L1)
        return;
    const QString token = withoutLineBreaksAround(fields.at(1));
    if (token.isEmpty())
        return;
    m_services.desktop->openUrl(QUrl(SLLocalizedString(u"AccountServiceURL"_s)
                                     + stringWithFormat(u"/corvane/desktop/Auto?token=%@"_s, {token})));
}

void MonitorAccount::connectionFailedWithError(const NetworkError &, ScriptURLConnection *connection)
{
    // Silent, as a refused token is: the user can click again.
    if (connection == m_getAccessTokenConnection) {
        m_getAccessTokenConnection = nullptr;
        connection->deleteLater();
    }
}
