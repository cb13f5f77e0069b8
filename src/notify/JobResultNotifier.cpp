#include "JobResultNotifier.h"

#include "platform/DesktopNotifications.h"
#include "platform/StringFormat.h"
#include "product/StringTable.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

// A personal plan at or above this share of its quota is offered an upgrade.
constexpr int kUpgradeFromPercent = 90;

QString text(const QVariantMap &details, const QString &key)
{
    return details.value(key).toString();
}

bool nearQuota(const QVariantMap &details)
{
    bool isNumber = false;
    const double percent = text(details, u"PercentageQuota"_s).trimmed().toDouble(&isNumber);
    // Whatever is not a business plan is a personal one, as in the notification window.
    return text(details, u"AccountType"_s) != u"Business"_s && isNumber && percent >= kUpgradeFromPercent;
}

QString body(const QVariantMap &details)
{
    QStringList lines;
    if (details.contains(u"StatusMessage"_s))
        lines << text(details, u"StatusMessage"_s);
    const auto addCount = [&](const QString &key, const QString &format) {
        if (details.contains(key))
            lines << stringWithFormatArgs(SLLocalizedString(format), text(details, key));
    };
    addCount(u"SuccessCount"_s, u"%@ files backed up"_s);
    addCount(u"SyncFileCount"_s, u"%@ already in sync"_s);
    if (text(details, u"FailureCount"_s).trimmed() != u"0"_s)
        addCount(u"FailureCount"_s, u"%@ failed"_s);
    if (details.contains(u"ErrorMessage"_s))
        lines << text(details, u"ErrorMessage"_s);
    lines.removeAll(QString());
    return lines.join(u'\n');
}

} // namespace

JobResultNotifier::JobResultNotifier(DesktopNotifications *notifications, const QString &iconName,
                                     QObject *parent)
    : QObject(parent)
    , m_notifications(notifications)
    , m_iconName(iconName)
{
    connect(m_notifications, &DesktopNotifications::actionInvoked, this,
            &JobResultNotifier::onAction);
}

bool JobResultNotifier::showJobResult(const QVariantMap &details)
{
    if (text(details, u"ShouldForceHide"_s) == u"YES"_s)
        return false;

    m_sessionLogPath = text(details, u"SessionLogPath"_s);
    m_user = text(details, u"Username"_s);

    DesktopNotifications::Actions actions;
    if (!m_sessionLogPath.isEmpty())
        actions.append({QString::fromLatin1(kViewLog), SLLocalizedString(u"View log"_s)});
    actions.append({QString::fromLatin1(kBackupNow), SLLocalizedString(u"Back up now"_s)});
    if (nearQuota(details))
        actions.append({QString::fromLatin1(kUpgrade), SLLocalizedString(u"Upgrade"_s)});

    const QString summary
        = details.contains(u"ErrorMessage"_s) ? u"Backup failed"_s : u"Backup completed"_s;
    m_notifications->notify(SLLocalizedString(summary), body(details), actions, m_iconName);
    return true;
}

void JobResultNotifier::onAction(const QString &key)
{
    if (key == QLatin1StringView(kViewLog) && !m_sessionLogPath.isEmpty())
        Q_EMIT viewLogRequested(m_sessionLogPath);
    else if (key == QLatin1StringView(kBackupNow))
        Q_EMIT backupNowRequested();
    else if (key == QLatin1StringView(kUpgrade))
        Q_EMIT upgradeRequested(m_user);
}
