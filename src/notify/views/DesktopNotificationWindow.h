#pragma once

#include "notify/DisplayController.h"

#include <QPointer>
#include <QWidget>

class CVLevelIndicator;
class DisplayWindow;
class QFrame;
class QLabel;
class QPushButton;
class QToolButton;

// The desktop notification near the top-right of the main screen, and the presenter of the older
// panel. A frameless tool window that never takes the focus; its rows are built the first time it
// is shown and reused after. It shows what the controller decided and forwards its buttons back.
//
//   DesktopNotificationWindow window;            // no rows built yet
//   DisplayController controller(&window);       // the window's buttons now reach it
class DesktopNotificationWindow : public QWidget, public NotificationWindowPresenter {
    Q_OBJECT
public:
    static constexpr qreal kOpacity = 0.98;
    static constexpr int kWidth = 380;

    explicit DesktopNotificationWindow(QWidget *parent = nullptr);
    ~DesktopNotificationWindow() override;

    void setController(DisplayController *controller) override;

    QRect availableGeometry() const override;
    QRect screenGeometry() const override;
    QSize notificationSize(const NotificationLayout &layout) override;
    void showNotification(const NotificationLayout &layout) override;
    void hideNotification() override;
    void showPanel(const DisplayPanelContents &contents) override;
    void closePanel() override;

    bool isBuilt() const { return m_built; }
    DisplayWindow *panel() const;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void build();
    QWidget *buildBackupStatusView();
    QWidget *buildQuotaView();
    QLayout *buildButtonRow();
    void apply(const NotificationLayout &layout);
    void setCount(int row, const QString &text, bool visible);

    QPointer<DisplayController> m_controller;
    QPointer<DisplayWindow> m_panel;
    bool m_built = false;
    QLabel *m_icon = nullptr;
    QLabel *m_usernameLabel = nullptr;
    QToolButton *m_closeButton = nullptr;
    QWidget *m_backupStatusView = nullptr;
    // Total, backed up, in sync, failed: a title and a number each.
    QList<std::pair<QLabel *, QLabel *>> m_countRows;
    QLabel *m_errorLabel = nullptr;
    QWidget *m_quotaView = nullptr;
    QLabel *m_quotaLabel = nullptr;
    CVLevelIndicator *m_quotaInd = nullptr;
    QLabel *m_nextJobLabel = nullptr;
    QLabel *m_statusLabel = nullptr;
    QWidget *m_upgradeView = nullptr;
    QPushButton *m_viewLogsButton = nullptr;
};
