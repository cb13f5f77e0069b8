#include "NotificationLayout.h"

#include "notify/AlertLayout.h"
#include "platform/StringFormat.h"
#include "product/StringTable.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace NotificationLayoutRules {

namespace {

// The percentage of the quota used, when the data carries one that reads as a number.
std::optional<int> percentage(const QVariantMap &data)
{
    bool ok = false;
    const int value = data.value(u"PercentageQuota"_s).toString().trimmed().toInt(&ok);
    return ok ? std::optional<int>(value) : std::nullopt;
}

// The integer a text starts with ("72 %" is 72), 0 when it starts with none.
int leadingInteger(const QString &text)
{
    static const QRegularExpression number(u"^\\s*[-+]?\\d{1,9}"_s);
    return number.match(text).captured().trimmed().toInt();
}

// A count as "%@ files"; "" when the data has none, so that its row stays away.
QString filesText(const QVariantMap &data, const QString &key)
{
    const QString count = data.value(key).toString().trimmed();
    return count.isEmpty() ? QString()
                           : stringWithFormatArgs(SLLocalizedString(u"%@ files"_s), count);
}

void fillQuota(NotificationLayout &layout, const QVariantMap &data)
{
    // Without a percentage there is nothing true to show: the row stays away rather than
    // saying "(null) out of (null)".
    const std::optional<int> used = percentage(data);
    if (!used)
        return;
    layout.showQuota = true;
    layout.quotaLevel = qBound(0, *used, 100);
    if (*used <= 99) {
        layout.showLevelIndicator = true;
        layout.quotaText = stringWithFormat(
            SLLocalizedString(u"%@ out of %@"_s),
            {data.value(u"UsedQuota"_s).toString(), data.value(u"TotalQuota"_s).toString()});
    } else {
        layout.quotaText
            = stringWithFormatArgs(SLLocalizedString(u"Your Mac data is only protected upto %@"_s),
                                   data.value(u"TotalQuota"_s).toString());
    }
}

} // namespace

bool isSuppressed(bool isStatus, const QVariantMap &data)
{
    return !isStatus && data.value(u"ShouldForceHide"_s).toString() == u"YES"_s;
}

NotificationLayout layoutForNotification(bool isStatus, bool isBusinessUser,
                                         const QVariantMap &data)
{
    NotificationLayout layout;
    layout.isStatus = isStatus;
    layout.isBusinessUser = isBusinessUser;
    layout.userName = data.value(u"Username"_s).toString();

    const bool hasError = data.contains(u"ErrorMessage"_s);
    layout.showBackupStatus = !isStatus && !hasError;
    layout.totalCount = filesText(data, u"TotalCount"_s);
    layout.syncFileCount = filesText(data, u"SyncFileCount"_s);
    layout.successCount = filesText(data, u"SuccessCount"_s);
    layout.failureCount = filesText(data, u"FailureCount"_s);
    // Failures are worth a row only when there are some ("0", or no count at all, hides it).
    bool numeric = false;
    const qlonglong failed
        = data.value(u"FailureCount"_s).toString().trimmed().toLongLong(&numeric);
    layout.showFailureCount = !layout.failureCount.isEmpty() && (!numeric || failed != 0);

    if (!isBusinessUser) {
        fillQuota(layout, data);
        layout.showUpgrade = true;
    }

    if (hasError) {
        layout.showError = true;
        layout.errorText = data.value(u"ErrorMessage"_s).toString();
        layout.errorLines = AlertLayout::calculateTotalLinesFromText(layout.errorText);
        layout.extraHeight = layout.errorLines * kPointsPerErrorLine;
    } else {
        const QString next = data.value(u"NextScheduledItem"_s).toString();
        layout.nextJobText = next.isEmpty()
            ? SLLocalizedString(u"You have no scheduled jobs"_s)
            : stringWithFormatArgs(
                SLLocalizedString(u"Your next scheduled backup will start on %@"_s), next);
        layout.statusText = data.value(u"StatusMessage"_s).toString();
    }
    return layout;
}

QPoint notificationOrigin(const QRect &available, const QSize &size)
{
    // x: the usable width less the window and a 20-point margin, counted from the usable area's
    // own left edge (a screen beside another, a panel on the left). y: the rule, written for a
    // bottom-left origin, puts the window's bottom at (usable height - (window height - 125)),
    // i.e. its top edge 125 points above the usable area, where the window system pushes it back
    // to the area's top. Flipped to a top-left origin that is "clamped to the top of the
    // available area", which also keeps a window taller than the area reachable.
    const int x = available.left() + available.width() - (size.width() + kRightMargin);
    const int bottomUp = available.height() - (size.height() - 125);
    const int flippedTop = available.height() - (bottomUp + size.height());
    return {qMax(available.left(), x), available.top() + qMax(0, flippedTop)};
}

DisplayPanelContents panelContents(const QVariantMap &data, const QRect &screen)
{
    DisplayPanelContents panel;
    panel.title = data.value(u"Title"_s).toString();
    panel.iconName = u"CV_NotfnLogo.png"_s;
    panel.message = data.value(u"Message"_s).toString();
    // The first two rows are always there (blank when not given); the third only when given.
    for (int i = 1; i <= kMaxSubtitles; ++i) {
        const QString key = u"Subtitle"_s + QString::number(i);
        if (i < kMaxSubtitles || data.contains(key))
            panel.subtitles.append(data.value(key).toString());
    }
    panel.progressValue = leadingInteger(data.value(u"UsedQuota"_s).toString());
    panel.messageRightAligned = panel.message.startsWith(u"You have exceeded"_s);
    panel.showUpgradeButton = panel.messageRightAligned;
    panel.soundName = u"Morse"_s;
    // 20 points in from the right and 40 down from the top of the whole screen.
    panel.frame = QRect(
        QPoint(screen.left() + screen.width() - (kPanelSize.width() + 20), screen.top() + 40),
        kPanelSize);
    return panel;
}

} // namespace NotificationLayoutRules
