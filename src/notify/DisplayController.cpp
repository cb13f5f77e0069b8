#include "DisplayController.h"

using namespace Qt::StringLiterals;

DisplayController::DisplayController(NotificationWindowPresenter *presenter, QObject *parent)
    : QObject(parent)
    , m_presenter(presenter)
{
    m_panelTimer.setSingleShot(true);
    m_panelTimer.setInterval(kPanelTimeout);
    connect(&m_panelTimer, &QTimer::timeout, this, &DisplayController::close);
    if (m_presenter)
        m_presenter->setController(this);
}

DisplayController::~DisplayController()
{
    if (m_presenter)
        m_presenter->setController(nullptr);
}

void DisplayController::setPanelTimeout(std::chrono::milliseconds timeout)
{
    m_panelTimer.setInterval(timeout);
}

void DisplayController::displayDesktopNotfn(bool isStatus, bool isBusinessUser,
                                            const QVariantMap &data)
{
    if (!m_presenter || NotificationLayoutRules::isSuppressed(isStatus, data))
        return;
    NotificationLayout layout
        = NotificationLayoutRules::layoutForNotification(isStatus, isBusinessUser, data);
    // The name label keeps its text until a notification names someone.
    if (!data.contains(u"Username"_s))
        layout.userName = m_userName;
    m_userName = layout.userName;
    const QSize size = m_presenter->notificationSize(layout);
    layout.frame = QRect(
        NotificationLayoutRules::notificationOrigin(m_presenter->availableGeometry(), size), size);
    m_presenter->showNotification(layout);
}

void DisplayController::displayMessage(const QVariantMap &data)
{
    if (!m_presenter)
        return;
    close();
    m_presenter->showPanel(
        NotificationLayoutRules::panelContents(data, m_presenter->screenGeometry()));
    m_panelOpen = true;
    m_panelTimer.start();
}

void DisplayController::close()
{
    m_panelTimer.stop();
    if (!m_panelOpen)
        return;
    m_panelOpen = false;
    m_presenter->closePanel();
}

void DisplayController::closeWindow()
{
    if (m_presenter)
        m_presenter->hideNotification();
}

void DisplayController::openLogs()
{
    if (m_delegate)
        m_delegate->openLogfile();
}

void DisplayController::didClickViewLogs()
{
    if (m_delegate)
        m_delegate->viewLog();
}

void DisplayController::upgradeAccount()
{
    if (m_delegate)
        m_delegate->upgradeAccount(m_userName);
}
