#include "StatusItemView.h"

#include "app/CorvaneMonitorController.h"
#include "platform/ImageNamed.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QScreen>
#include <QSystemTrayIcon>

StatusItemView::StatusItemView(CorvaneMonitorController *controller, QObject *parent)
    : QObject(parent)
    , m_controller(controller)
    , m_tray(new QSystemTrayIcon(this))
    , m_menu(new QMenu)
    , m_schedulerMenu(new QMenu)
{
    for (QAction *item : controller->schedulerSubMenu())
        m_schedulerMenu->addAction(item);
    rebuildMenu();
    connect(controller, &CorvaneMonitorController::statusMenuChanged, this, &StatusItemView::rebuildMenu);
    // The menu is current whenever it opens, and opening it acknowledges a quota warning.
    connect(m_menu, &QMenu::aboutToShow, controller, &CorvaneMonitorController::statusItemClicked);
    m_tray->setContextMenu(m_menu);
    m_tray->setIcon(ImageNamed::icon(controller->statusImage()));
    m_tray->setToolTip(controller->toolTip());
    connect(controller, &CorvaneMonitorController::toolTipChanged, m_tray, &QSystemTrayIcon::setToolTip);
    connect(controller, &CorvaneMonitorController::statusImageChanged, this,
            [this](const QString &name) { m_tray->setIcon(ImageNamed::icon(name)); });
    connect(m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            popUpMenu();
    });
}

StatusItemView::~StatusItemView()
{
    delete m_menu;
    delete m_schedulerMenu;
}

void StatusItemView::rebuildMenu()
{
    m_menu->clear();
    for (QAction *item : m_controller->statusMenu()) {
        const int tag = item->data().toInt();
        const bool afterDashboard = tag == CorvaneMonitorController::BackupNowTag && !m_menu->isEmpty();
        if (afterDashboard || tag == CorvaneMonitorController::QuitTag || tag == CorvaneMonitorController::OnlineHelpTag
            || tag == CorvaneMonitorController::UpgradeTag || tag == CorvaneMonitorController::WebManagementTag)
            m_menu->addSeparator();
        if (tag == CorvaneMonitorController::ManageSchedulesTag)
            item->setMenu(m_schedulerMenu);
        m_menu->addAction(item);
    }
}

void StatusItemView::popUpSchedulerMenu()
{
    popUpMenu();
    for (QAction *item : m_menu->actions()) {
        if (item->data().toInt() == CorvaneMonitorController::ManageSchedulesTag)
            m_menu->setActiveAction(item);
    }
    QKeyEvent right(QEvent::KeyPress, Qt::Key_Right, Qt::NoModifier); // as the keyboard opens it
    QCoreApplication::sendEvent(m_menu, &right);
}

void StatusItemView::show()
{
    m_tray->show();
}

void StatusItemView::popUpMenu()
{
    const QRect icon = m_tray->geometry();
    QPoint at = icon.isValid() ? icon.bottomLeft() : QCursor::pos();
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        // Keep the whole menu on the screen, below or above the icon.
        const QRect area = screen->availableGeometry();
        const QSize size = m_menu->sizeHint();
        if (at.y() + size.height() > area.bottom())
            at.setY(icon.isValid() ? icon.top() - size.height() : area.bottom() - size.height());
        at.setX(qMin(at.x(), area.right() - size.width()));
    }
    m_menu->popup(at);
}
