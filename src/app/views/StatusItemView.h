#pragma once

#include <QObject>

class CorvaneMonitorController;
class QMenu;
class QSystemTrayIcon;

// The status item: a tray icon with the monitor's menu. Renders the controller's actions and
// tool tip and forwards clicks; it holds no behaviour of its own.
class StatusItemView : public QObject
{
    Q_OBJECT
public:
    explicit StatusItemView(CorvaneMonitorController *controller, QObject *parent = nullptr);
    ~StatusItemView() override;

    void show();
    QMenu *menu() const { return m_menu; }
    QSystemTrayIcon *trayIcon() const { return m_tray; }
    // Opens the menu under the icon (for demos and screenshots).
    void popUpMenu();
    // The menu with Scheduled Jobs open (for demos and screenshots).
    void popUpSchedulerMenu();
    // The menu from the controller's items, again after items came or went.
    void rebuildMenu();

private:
    CorvaneMonitorController *m_controller;
    QSystemTrayIcon *m_tray;
    QMenu *m_menu;
    QMenu *m_schedulerMenu;
};
