#pragma once

#include "notify/NotificationLayout.h"

#include <QObject>
#include <QTimer>

#include <chrono>

class DisplayController;

// What the notification window and the older panel are asked to do; the views implement it, the
// tests fake it.
class NotificationWindowPresenter {
public:
    virtual ~NotificationWindowPresenter() = default;
    // The controller that the window's buttons talk to; told by the controller itself when it
    // is made (and null when it goes).
    virtual void setController(DisplayController *controller) { Q_UNUSED(controller); }
    // The usable area of the main screen (without panels and docks), and the whole screen.
    virtual QRect availableGeometry() const = 0;
    virtual QRect screenGeometry() const = 0;
    // The size the notification window needs for `layout` (its frame not yet set).
    virtual QSize notificationSize(const NotificationLayout &layout) = 0;
    // Shows the window at `layout.frame`, in front, without taking the focus.
    virtual void showNotification(const NotificationLayout &layout) = 0;
    virtual void hideNotification() = 0;
    // Shows the panel, replacing none: the controller closes the previous one first.
    virtual void showPanel(const DisplayPanelContents &contents) = 0;
    // Fades the panel out and lets it go shortly after.
    virtual void closePanel() = 0;
};

// The monitor, as the notification window sees it.
class DisplayControllerDelegate {
public:
    virtual ~DisplayControllerDelegate() = default;
    // The last scheduled backup's session log ("View Log" of the older panel).
    virtual void openLogfile() = 0;
    // The list of session logs ("View Logs" of the notification window).
    virtual void viewLog() = 0;
    virtual void upgradeAccount(const QString &user) = 0;
};

// The monitor's desktop notification: the account status or the end of a job near the top-right
// of the main screen, and the older self-drawn panel that closes itself after two minutes.
class DisplayController : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds kPanelTimeout {120'000};

    // `presenter` is not owned and must outlive the controller.
    explicit DisplayController(NotificationWindowPresenter *presenter, QObject *parent = nullptr);
    ~DisplayController() override;

    // `isStatus` true: the account status; false: the result of a finished job.
    void displayDesktopNotfn(bool isStatus, bool isBusinessUser, const QVariantMap &data);
    // The panel: "Title", "Message", "Subtitle1".."Subtitle3", "UsedQuota" (percent).
    void displayMessage(const QVariantMap &data);
    // Closes the panel and stops its timer.
    void close();
    // Puts the notification window away.
    void closeWindow();
    void openLogs();
    void didClickViewLogs();
    void upgradeAccount();

    DisplayControllerDelegate *delegate() const { return m_delegate; }
    void setDelegate(DisplayControllerDelegate *delegate) { m_delegate = delegate; }

    // The user named in the window; a notification without "Username" keeps the previous one.
    QString userName() const { return m_userName; }
    bool isPanelOpen() const { return m_panelOpen; }
    const QTimer &panelTimer() const { return m_panelTimer; }
    void setPanelTimeout(std::chrono::milliseconds timeout);

private:
    NotificationWindowPresenter *m_presenter;
    DisplayControllerDelegate *m_delegate = nullptr; // not owned
    QString m_userName;
    bool m_panelOpen = false;
    QTimer m_panelTimer;
};
