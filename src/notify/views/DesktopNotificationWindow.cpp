#include "DesktopNotificationWindow.h"

#include "DisplayWindow.h"
#include "controls/CVLevelIndicator.h"
#include "notify/AlertLayout.h"
#include "platform/ImageNamed.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"

#include <QBoxLayout>
#include <QFrame>
#include <QGridLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QToolButton>

using namespace Qt::StringLiterals;

namespace {

enum CountRow { Total, Success, Sync, Failure };
// The margins, the icon and the close button beside the user name.
constexpr int kHeaderReserve = 110;

QFrame *separator(QWidget *parent, const QString &name)
{
    auto *line = new QFrame(parent);
    line->setObjectName(name);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

QLabel *label(QWidget *parent, const QString &name, bool wrap = false)
{
    auto *field = new QLabel(parent);
    field->setObjectName(name);
    field->setWordWrap(wrap);
    field->setTextInteractionFlags(Qt::NoTextInteraction);
    return field;
}

} // namespace

DesktopNotificationWindow::DesktopNotificationWindow(QWidget *parent)
    : QWidget(parent,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus
                  | Qt::WindowStaysOnTopHint)
{
    setObjectName(u"desktopNotificationWin"_s);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
}

DesktopNotificationWindow::~DesktopNotificationWindow()
{
    delete m_panel; // a panel fading out is not left behind
}

void DesktopNotificationWindow::setController(DisplayController *controller)
{
    m_controller = controller;
    if (m_panel)
        m_panel->setDisplayController(controller);
}

QRect DesktopNotificationWindow::availableGeometry() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->availableGeometry() : QRect();
}

QRect DesktopNotificationWindow::screenGeometry() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->geometry() : QRect();
}

void DesktopNotificationWindow::build()
{
    m_built = true;
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(16, 10, 14, 14);
    column->setSpacing(8);

    auto *header = new QHBoxLayout;
    m_icon = label(this, u"appIcon"_s);
    m_icon->setPixmap(ImageNamed::pixmap(
        AlertLayout::defaultImageName(FilePathAPIs::isCorvaneApplication()), QSize(28, 28)));
    m_usernameLabel = label(this, u"usernameLabel"_s);
    QFont bold = m_usernameLabel->font();
    bold.setBold(true);
    m_usernameLabel->setFont(bold);
    m_closeButton = new QToolButton(this);
    m_closeButton->setObjectName(u"closeButton"_s);
    m_closeButton->setText(u"×"_s);
    m_closeButton->setAutoRaise(true);
    m_closeButton->setFocusPolicy(Qt::NoFocus);
    m_closeButton->setToolTip(SLLocalizedString(u"Close"_s));
    header->addWidget(m_icon);
    header->addWidget(m_usernameLabel, 1);
    header->addWidget(m_closeButton, 0, Qt::AlignTop);
    column->addLayout(header);
    column->addWidget(separator(this, u"firstLine"_s));

    column->addWidget(buildBackupStatusView());
    m_errorLabel = label(this, u"errorLabel"_s, true);
    m_errorLabel->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_errorLabel->setStyleSheet(u"color: #9c2a1c;"_s);
    column->addWidget(m_errorLabel);
    column->addWidget(buildQuotaView());
    m_nextJobLabel = label(this, u"mNextJobLabel"_s, true);
    m_statusLabel = label(this, u"statusLabel"_s, true);
    column->addWidget(m_nextJobLabel);
    column->addWidget(m_statusLabel);
    column->addWidget(separator(this, u"secondLine"_s));
    column->addLayout(buildButtonRow());
    // Rows that hide let the ones below move up; the window takes the height that is left.
    column->setSizeConstraint(QLayout::SetNoConstraint);

    connect(m_closeButton, &QToolButton::clicked, this, [this] {
        if (m_controller)
            m_controller->closeWindow();
        else
            hide();
    });
}

QWidget *DesktopNotificationWindow::buildBackupStatusView()
{
    m_backupStatusView = new QWidget(this);
    m_backupStatusView->setObjectName(u"backupStatusView"_s);
    auto *grid = new QGridLayout(m_backupStatusView);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(3);
    struct Row {
        QString name, title, numberName;
    };
    const Row rows[] = {
        {u"TotalFileCountLabel"_s, u"Total:"_s, u"totalFileCountNumberLabel"_s},
        {u"SuccessFileCountLabel"_s, u"Backed up:"_s, u"SuccessFileCountNumberLabel"_s},
        {u"SyncFileCountLabel"_s, u"Synced:"_s, u"SyncFileCountNumberLabel"_s},
        {u"FailureFileCountLabel"_s, u"Failed:"_s, u"FailureFileCountNumberLabel"_s},
    };
    for (const Row &row : rows) {
        QLabel *title = label(m_backupStatusView, row.name);
        title->setText(SLLocalizedString(row.title));
        QLabel *number = label(m_backupStatusView, row.numberName);
        const int line = int(m_countRows.size());
        grid->addWidget(title, line, 0);
        grid->addWidget(number, line, 1);
        m_countRows.append(std::make_pair(title, number));
    }
    m_countRows.at(Failure).second->setStyleSheet(u"color: #9c2a1c;"_s);
    grid->setColumnStretch(1, 1);
    return m_backupStatusView;
}

QWidget *DesktopNotificationWindow::buildQuotaView()
{
    m_quotaView = new QWidget(this);
    m_quotaView->setObjectName(u"quotaView"_s);
    auto *rows = new QVBoxLayout(m_quotaView);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(4);
    m_quotaLabel = label(m_quotaView, u"mQuotaLabel"_s, true);
    m_quotaInd = new CVLevelIndicator(m_quotaView);
    m_quotaInd->setObjectName(u"quotaInd"_s);
    rows->addWidget(m_quotaLabel);
    rows->addWidget(m_quotaInd);
    return m_quotaView;
}

QLayout *DesktopNotificationWindow::buildButtonRow()
{
    auto *buttons = new QHBoxLayout;
    m_viewLogsButton = new QPushButton(SLLocalizedString(u"View Logs"_s), this);
    m_viewLogsButton->setObjectName(u"viewLogsButton"_s);
    m_viewLogsButton->setFocusPolicy(Qt::NoFocus);
    m_upgradeView = new QWidget(this);
    m_upgradeView->setObjectName(u"upgradeView"_s);
    auto *upgradeLayout = new QHBoxLayout(m_upgradeView);
    upgradeLayout->setContentsMargins(0, 0, 0, 0);
    auto *upgrade = new QPushButton(SLLocalizedString(u"Upgrade"_s), m_upgradeView);
    upgrade->setObjectName(u"upgradeButton"_s);
    upgrade->setFocusPolicy(Qt::NoFocus);
    upgradeLayout->addWidget(upgrade);
    buttons->addStretch();
    buttons->addWidget(m_upgradeView);
    buttons->addWidget(m_viewLogsButton);

    connect(m_viewLogsButton, &QPushButton::clicked, this, [this] {
        if (m_controller)
            m_controller->didClickViewLogs();
    });
    connect(upgrade, &QPushButton::clicked, this, [this] {
        if (m_controller)
            m_controller->upgradeAccount();
    });
    return buttons;
}

void DesktopNotificationWindow::setCount(int row, const QString &text, bool visible)
{
    const auto &[title, number] = m_countRows.at(row);
    number->setText(text);
    title->setVisible(visible);
    number->setVisible(visible);
}

void DesktopNotificationWindow::apply(const NotificationLayout &layout)
{
    if (!m_built)
        build();
    // A long account name is shortened in the middle (its domain stays readable); the whole
    // name is in the tool tip.
    m_usernameLabel->setText(m_usernameLabel->fontMetrics().elidedText(
        layout.userName, Qt::ElideMiddle, kWidth - kHeaderReserve));
    m_usernameLabel->setToolTip(layout.userName);

    m_backupStatusView->setVisible(layout.showBackupStatus);
    setCount(Total, layout.totalCount, !layout.totalCount.isEmpty());
    setCount(Success, layout.successCount, !layout.successCount.isEmpty());
    setCount(Sync, layout.syncFileCount, !layout.syncFileCount.isEmpty());
    setCount(Failure, layout.failureCount, layout.showFailureCount);

    m_errorLabel->setVisible(layout.showError);
    m_errorLabel->setText(layout.errorText);
    m_errorLabel->setMinimumHeight(layout.extraHeight);

    m_quotaView->setVisible(layout.showQuota);
    m_quotaLabel->setText(layout.quotaText);
    m_quotaInd->setVisible(layout.showLevelIndicator);
    m_quotaInd->setValue(layout.quotaLevel);
    m_upgradeView->setVisible(layout.showUpgrade);

    m_nextJobLabel->setVisible(!layout.showError);
    m_nextJobLabel->setText(layout.nextJobText);
    m_statusLabel->setVisible(!layout.showError && !layout.statusText.isEmpty());
    m_statusLabel->setText(layout.statusText);
}

QSize DesktopNotificationWindow::notificationSize(const NotificationLayout &layout)
{
    apply(layout);
    QLayout *column = this->layout();
    column->invalidate();
    column->activate();
    const int height = column->hasHeightForWidth() ? column->totalHeightForWidth(kWidth)
                                                   : column->totalSizeHint().height();
    return {kWidth, height};
}

void DesktopNotificationWindow::showNotification(const NotificationLayout &layout)
{
    apply(layout);
    setGeometry(layout.frame);
    setWindowOpacity(kOpacity);
    show();
    raise(); // in front, but the focus stays where the user has it
}

void DesktopNotificationWindow::hideNotification()
{
    hide();
}

void DesktopNotificationWindow::showPanel(const DisplayPanelContents &contents)
{
    // The controller closes the previous panel first; one left fading out goes on its own.
    m_panel = new DisplayWindow;
    m_panel->setDisplayController(m_controller);
    m_panel->showContents(contents);
}

DisplayWindow *DesktopNotificationWindow::panel() const
{
    return m_panel;
}

void DesktopNotificationWindow::closePanel()
{
    if (m_panel)
        m_panel->closeNotificationWindow();
}

void DesktopNotificationWindow::paintEvent(QPaintEvent *)
{
    // A soft light gradient with a faint diagonal weave, the notification's own background.
    QPainter painter(this);
    QLinearGradient background(0, 0, 0, height());
    background.setColorAt(0, QColor(0xfc, 0xfd, 0xff));
    background.setColorAt(1, QColor(0xe4, 0xea, 0xf2));
    painter.fillRect(rect(), background);
    painter.fillRect(rect(), QBrush(QColor(0x9a, 0xaa, 0xbd, 22), Qt::BDiagPattern));
    painter.setPen(QColor(0x8a, 0x98, 0xa8));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}
