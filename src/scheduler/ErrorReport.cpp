#include "ErrorReport.h"

#include "CorvaneSchedulerController.h"
#include "logging/SLLogger.h"
#include "net/SynchronousWrapper.h"
#include "notify/AlertPresenter.h"
#include "platform/FileContents.h"
#include "platform/FoundationValues.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "platform/SystemInfo.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "util/ProxyData.h"
#include "util/SLUtility.h"
#include "util/StringExtensions.h"

#include <QDir>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr int kUserDetailsKind = 0;
constexpr int kLoginDetailsKind = 2;

QString logOfKind(int kind)
{
    return ErrorReport::getUTT8StringFromFile(
        CorvaneSchedulerController::pathForApplicationFile(kind));
}

// The log's tail as the report sends it: masked first, so that no name is cut in two at the
// tail's start and sent half unmasked.
QString maskedTail(int kind)
{
    const QString whole
        = FileContents::readUtf8(CorvaneSchedulerController::pathForApplicationFile(kind));
    return ErrorReport::maskPersonalDetails(whole).right(ErrorReport::kLogTailLength);
}

// Every match of `what` in the first `length` characters only; the rest is left as it is.
QString replacedInFirst(const QString &text, qsizetype length, const QString &what,
                        const QString &with)
{
    return text.left(length).replace(what, with, Qt::CaseInsensitive) + text.mid(length);
}

// A stored quota size: enciphered text of a number.
double quotaValue(const QVariant &stored)
{
    return FoundationValues::stringDoubleValue(
        stelloaExtension::decryptedString(stored.toString()));
}

QString proxySettingPath()
{
    return stringByStandardizingPath(SLLocalizedString(u"ProxySetting"_s));
}

// The brand's own spelling in the report's lines and the request.
struct BrandTexts {
    QString headerFormat;
    QString userNameLine;
    QString subject;
    QByteArray userAgent;
};

BrandTexts brandTexts()
{
    if (FilePathAPIs::isCorvaneApplication())
        return {u"<<< USER FEEDBACK FROM CORVANE LUMEN version %@ >>>\n"_s,
                u"Corvane Username: %@ \n"_s, u"Corvane Lumen user feedback"_s, "Corvane"};
    return {u"<<< USER FEEDBACK FROM STELLOA LUMEN version %@ >>>\n"_s,
            u"Stelloa Username: %@ \n"_s, u"Stelloa Lumen user feedback"_s, "Stelloa"};
}

} // namespace

QString ErrorReport::replaceSpecialCharacters(const QString &text)
{
    const qsizetype length = text.size();
    return replacedInFirst(replacedInFirst(text, length, u"&"_s, u"%26"_s), length, u"="_s,
                           u"%3D"_s);
}

QString ErrorReport::getUTT8StringFromFile(const QString &path)
{
    const QString text = FileContents::readUtf8(path);
    return text.isNull() ? u""_s : text.right(kLogTailLength);
}

QString ErrorReport::getInteractiveTraceLog()
{
    return logOfKind(16);
}

QString ErrorReport::getMonitorTraceLog()
{
    return logOfKind(17);
}

QString ErrorReport::getDaemonTraceLog()
{
    return logOfKind(18);
}

QString ErrorReport::getInteractiveSessionLog()
{
    return logOfKind(19);
}

QString ErrorReport::getDaemonSessionLog()
{
    return logOfKind(20);
}

QString ErrorReport::getWebmanagementLog()
{
    return logOfKind(34);
}

QString ErrorReport::maskPersonalDetails(const QString &logText)
{
    QString text = logText;
    // Whole names only: "/home/al" is no part of "/home/alice", nor "al" of "also"; a full stop
    // after a name ends a sentence unless a name goes on after it ("alice.smith").
    const auto mask = [&text](const QString &name, const QString &with) {
        const QString pattern = u"(?<![\\w.-])"_s + QRegularExpression::escape(name)
            + u"(?![\\w-]|\\.[\\w-])"_s;
        text.replace(QRegularExpression(pattern, QRegularExpression::UseUnicodePropertiesOption),
                     with);
    };
    const QString home = Paths::current().home();
    if (home.size() > 1) { // never the root folder itself
        mask(home, u"~"_s);
        // The same folder as the programs that wrote the log may have spelt it.
        const QString real = QDir(home).canonicalPath();
        if (real.size() > 1 && real != home)
            mask(real, u"~"_s);
    }
    if (const QString login = SystemInfo::loginName(); !login.isEmpty())
        mask(login, u"<user>"_s);
    return text;
}

void ErrorReport::alert(const QString &message) const
{
    if (m_alerts)
        m_alerts->displayMessage(message, SLLocalizedString(u"ApplicationName"_s),
                                 {SLLocalizedString(u"OK"_s), QString(), QString()}, true);
}

void ErrorReport::setIndicatorVisible(bool visible)
{
    m_indicatorVisible = visible;
    if (m_window)
        m_window->setProgressVisible(visible);
}

void ErrorReport::showErrorReport()
{
    if (m_window && m_window->isErrorReportWindowVisible())
        return;
    SLLogger::logMonitorTrace(u"Start of showErrorReport: In SchedulerController"_s);
    const QVariantMap login = PropertyList::readDictionary(
        CorvaneSchedulerController::pathForApplicationFile(kLoginDetailsKind));
    if (login.isEmpty()) {
        alert(stringWithFormat(u"Please login to %@ to send the error report"_s,
                               {SLLocalizedString(u"ApplicationName"_s)}));
        return;
    }
    const bool nexa = login.value(u"serverName"_s).toString().startsWith(u"nexa"_s)
        || login.value(u"StelloaUserName"_s).toString().startsWith(u"nexa"_s);
    const bool corvane = FilePathAPIs::isCorvaneApplication();
    QString user = login.value(corvane ? u"CorvaneUsername"_s : u"StelloaUserName"_s).toString();
    if (!corvane && user.isEmpty())
        user = login.value(u"Username"_s).toString();
    m_fields = ErrorReportFields(); // e-mail, contact, ticket and message start empty
    m_fields.userNameLabel = corvane ? u"Corvane username"_s : u"Stelloa username"_s;
    m_fields.userName = user;
    m_fields.subject = brandTexts().subject;
    m_fields.architecture = nexa ? u"New Architecture"_s : u"Old Architecture"_s;
    setIndicatorVisible(false);
    if (m_window)
        m_window->showErrorReportWindow(this);
    SLLogger::logMonitorTrace(u"Exit of showErrorReport: In SchedulerController"_s);
}

void ErrorReport::sendErrorReport()
{
    SLLogger::logMonitorTrace(u"Start of sendErrorReport: In SchedulerController"_s);
    if (!SLUtility::isEmailID(m_fields.email)) {
        alert(m_fields.email.isEmpty() ? u"Enter an email address "_s
                                       : u"Provide a valid email address"_s);
        return;
    }
    if (m_fields.message.trimmed().isEmpty()) {
        alert(u"Enter your feedback/query."_s);
        return;
    }
    const QString report = composeReport();
    // Nothing leaves the machine that the user has not seen.
    if (m_window && m_window->confirmReport(report))
        post(report);
    SLLogger::logMonitorTrace(u"Exit of sendErrorReport: In SchedulerController"_s);
}

QString ErrorReport::composeReport() const
{
    const BrandTexts brand = brandTexts();
    const QVariantMap &bundle = StringTable::shared().info();
    const SystemInfo::OSVersion os = SystemInfo::osVersion();
    const bool proxied
        = FoundationValues::integerValue(
              PropertyList::readDictionary(proxySettingPath()).value(ProxyData::kProxyEnable))
        == ProxyData::ManualProxy;

    QString report = stringWithFormat(brand.headerFormat, {bundle.value(u"CFBundleVersion"_s)});
    report += stringWithFormat(u"User's Operating System: %@ \n"_s, {os.productName});
    report += stringWithFormat(u"OS Version: %@\n"_s, {os.versionText});
    report += stringWithFormat(
        u"Does the user connect through a proxy server? %@\n"_s,
        {proxied ? u"Connected via Proxy server"_s : u"Direct (No Proxy Server)"_s});
    report += stringWithFormat(brand.userNameLine, {m_fields.userName});
    const QString details = stringWithFormat(
        CorvaneSchedulerController::pathForApplicationFile(kUserDetailsKind), {m_fields.userName});
    if (QFileInfo::exists(Paths::current().resolve(details))) {
        const QVariantMap quota = PropertyList::readDictionary(details);
        const double used = std::max(0.0, quotaValue(quota.value(u"USEDQUOTASIZE"_s)));
        report += stringWithFormat(u"User's Quota: %0.0lf MB\n"_s,
                                   {quotaValue(quota.value(u"TOTALQUOTASIZE"_s))});
        report += stringWithFormat(u"User's Used Space: %0.0lf MB\n"_s, {used});
    }
    report += stringWithFormat(u"User's e-mail address: (%@) \n"_s, {m_fields.email});
    report += stringWithFormat(u"User's Contact Phone Number: (%@) \n"_s, {m_fields.contactNumber});
    report += stringWithFormat(u"TroubleTicketNumber(if any) : (%@) \n"_s, {m_fields.ticketNumber});
    report
        += u"\nUser 's technical issues/comments/suggestions:\n\n"_s + m_fields.message + u"\n"_s;
    report += u"\n-------------- Interactive Trace Log ----------\n\n"_s
        + maskedTail(16) + u"\n"_s;
    report += u"-------------- Monitor Trace Log ----------\n\n"_s
        + maskedTail(17) + u"\n"_s;
    report += stringWithFormat(u"Release Date : %@"_s, {bundle.value(u"ReleaseDate"_s)}) + u"\n"_s;
    return report + QString(96, u'*') + u"\n"_s;
}

QByteArray ErrorReport::requestBody(const QString &report) const
{
    return (u"EMAIL="_s + SLLocalizedString(u"SupportMailAddress"_s) + u"&SUBJECT="_s
            + brandTexts().subject + u"&CONTENT="_s + replaceSpecialCharacters(report)
            + u"&user_email="_s + m_fields.email)
        .toUtf8();
}

void ErrorReport::post(const QString &report)
{
    if (!m_network) {
        connectionFailedWithError({}, nullptr);
        return;
    }
    setIndicatorVisible(true);
    URLRequest request = URLRequest::formPost(
        QUrl(SLLocalizedString(u"NotificationServiceURL"_s) + u"/cgi-bin/Notify_unicode"_s), {});
    request.body = requestBody(report);
    request.request.setRawHeader("User-Agent", brandTexts().userAgent);

    // A hand-typed proxy is this request's alone, on a manager of its own: the shared one goes
    // on serving the other requests as the system's settings say.
    const ProxyData proxy = ProxyData::fromSettingFile(proxySettingPath());
    QNetworkAccessManager throughProxy;
    QNetworkAccessManager *network = m_network;
    if (!proxy.ipaddress().isEmpty()) {
        throughProxy.setProxy(
            QNetworkProxy(QNetworkProxy::HttpProxy, proxy.ipaddress(), proxy.port().toUShort()));
        network = &throughProxy;
    }
    SynchronousWrapper wrapper(network);
    if (!proxy.password().isEmpty())
        wrapper.SetUserName(proxy.userName(), proxy.password());
    std::optional<NetworkError> error;
    wrapper.ConnectRequest(request, &error);
    if (error)
        connectionFailedWithError(*error, nullptr);
    else
        ConnectionDidReceivedData(std::nullopt, nullptr);
}

void ErrorReport::ConnectionDidReceivedData(const std::optional<QByteArray> &,
                                            ScriptURLConnection *)
{
    setIndicatorVisible(false);
    alert(u"Report sent successfully"_s);
    if (m_window)
        m_window->closeErrorReportWindow();
}

void ErrorReport::connectionFailedWithError(const NetworkError &, ScriptURLConnection *)
{
    setIndicatorVisible(false);
    alert(u"Report couldn't be sent successfully.Try again"_s);
}
