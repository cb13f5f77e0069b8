#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QVariantMap>

// What the desktop notification window shows, decided without any widget: which rows are
// visible, every text, the quota level and where the window goes. The view only draws it.
struct NotificationLayout {
    bool isStatus = false; // account status (true) or the end of a job (false)
    bool isBusinessUser = false;
    QString userName;

    // File counts of a finished job, each "%@ files"; "" for a count the job did not report.
    bool showBackupStatus = false;
    QString totalCount;
    QString syncFileCount;
    QString successCount;
    QString failureCount;
    bool showFailureCount = false; // the failure labels, only when some files failed

    // Personal plans: the quota row (text, and the level indicator below the limit) and the
    // upgrade row. Business plans show neither.
    bool showQuota = false;
    bool showLevelIndicator = false;
    QString quotaText;
    int quotaLevel = 0; // 0..100
    bool showUpgrade = false;

    // A job's error replaces the next-job and status lines and grows the window.
    bool showError = false;
    QString errorText;
    int errorLines = 0;
    int extraHeight = 0;

    QString nextJobText; // shown whenever there is no error
    QString statusText; // shown when not empty and there is no error

    // Filled in by the controller once the view has told it the window's size.
    QRect frame;

    bool operator==(const NotificationLayout &) const = default;
};

// The older self-drawn panel.
struct DisplayPanelContents {
    QString title;
    QString iconName;
    QString message;
    QStringList subtitles; // at most three
    int progressValue = 0; // percent of the quota used
    // A quota-exceeded message sits on the right and offers the upgrade.
    bool messageRightAligned = false;
    bool showUpgradeButton = false;
    QString soundName; // played when the panel comes up
    QRect frame;

    bool operator==(const DisplayPanelContents &) const = default;
};

namespace NotificationLayoutRules {

constexpr int kMaxSubtitles = 3;
constexpr QSize kPanelSize {428, 264};
// The notification sits this far in from the right edge of the usable screen.
constexpr int kRightMargin = 20;
// A job's error grows the window by this much a line (70 characters a line).
constexpr int kPointsPerErrorLine = 18;

// Everything but the frame. `isStatus` false is a finished job.
NotificationLayout layoutForNotification(bool isStatus, bool isBusinessUser,
                                         const QVariantMap &data);
// A finished job whose data says "ShouldForceHide" "YES" shows nothing.
bool isSuppressed(bool isStatus, const QVariantMap &data);
// Top-left of a window of `size` near the top-right corner of the usable screen area.
QPoint notificationOrigin(const QRect &available, const QSize &size);
DisplayPanelContents panelContents(const QVariantMap &data, const QRect &screen);

} // namespace NotificationLayoutRules
