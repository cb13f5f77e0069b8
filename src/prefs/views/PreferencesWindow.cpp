#include "PreferencesWindow.h"

#include "ExcludeView.h"
#include "GeneralView.h"
#include "ProxyView.h"
#include "platform/ImageNamed.h"
#include "prefs/PreferencesPanes.h"
#include "prefs/PreferencesWindowLayout.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"

#include <QCloseEvent>
#include <QResizeEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int kTitleStripMargin = 22; // the name's top: level with the logo's text

// The top-level window: tells its owner before it closes, and keeps the user's name in place.
class ClosingWindow : public QWidget
{
public:
    explicit ClosingWindow(std::function<void()> willClose) : m_willClose(std::move(willClose)) {}
    QLabel *userName = nullptr;

    // The name sits in the title strip, 10 points in from the right edge.
    void placeUserName()
    {
        if (!userName)
            return;
        userName->adjustSize();
        const int x = PreferencesWindowLayout::userNameLabelX(width(), userName->width());
        userName->move(x, kTitleStripMargin);
        userName->raise();
    }

protected:
    void resizeEvent(QResizeEvent *event) override
    {
        QWidget::resizeEvent(event);
        placeUserName();
    }

    void closeEvent(QCloseEvent *event) override
    {
        if (m_willClose)
            m_willClose();
        event->accept();
    }

private:
    std::function<void()> m_willClose;
};

} // namespace

PreferencesWindow::PreferencesWindow(std::function<PreferencesPanes *()> panes, std::function<void()> willClose,
                                     QObject *parent)
    : QObject(parent)
    , m_panesProvider(std::move(panes))
    , m_willClose(std::move(willClose))
{
}

PreferencesWindow::~PreferencesWindow()
{
    delete m_window;
}

bool PreferencesWindow::isOpen() const
{
    return m_window && m_window->isVisible();
}

void PreferencesWindow::openPreferences()
{
    if (!m_panes) {
        m_panes = m_panesProvider();
        if (!m_panes)
            return;
        connect(&m_panes->tabs, &CVTabViewController::stateChanged, this, &PreferencesWindow::render);
        connect(&m_panes->tabs, &CVTabViewController::selectedPaneChanged, this, &PreferencesWindow::render);
    }
    if (!m_window)
        build();
    render();
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void PreferencesWindow::build()
{
    auto *window = new ClosingWindow(m_willClose);
    window->setAttribute(Qt::WA_DeleteOnClose); // released on close, built again on the next open
    window->setWindowTitle(SLLocalizedString(u"ApplicationName"_s) + u" Preferences"_s);
    window->setObjectName(u"mPrefWindow"_s);
    m_window = window;

    m_userName = new QLabel(window); // outside the layout: placed by the window
    m_userName->setObjectName(u"mUserName"_s);
    QFont bold = m_userName->font();
    bold.setBold(true);
    m_userName->setFont(bold);
    window->userName = m_userName;

    m_stack = new QStackedWidget(window);
    m_stack->setObjectName(u"mTabView"_s);
    // The general pane is tall: it scrolls on a small screen rather than squeezing its controls.
    auto *general = new QScrollArea;
    general->setWidgetResizable(true);
    general->setFrameShape(QFrame::NoFrame);
    auto *generalView = new GeneralView(&m_panes->general, new ProxyView(&m_panes->proxy));
    // The proxy box's question mark opens the proxy's help page (hovering shows its tip).
    if (auto *help = generalView->findChild<QToolButton *>(u"mProxyTooltipButton"_s))
        connect(help, &QToolButton::clicked, &m_panes->proxy, &ProxyController::launchProxyHelp);
    general->setWidget(generalView);
    m_stack->addWidget(general);
    m_stack->addWidget(new ExcludeView(&m_panes->exclude));

    auto *panes = new QHBoxLayout;
    panes->addWidget(buildSourceList());
    panes->addWidget(m_stack, 1);
    auto *top = new QHBoxLayout;
    top->addWidget(buildLogo());
    top->addStretch(1);
    auto *column = new QVBoxLayout(window);
    column->addLayout(top);
    column->addLayout(panes, 1);
    column->addWidget(buildButtonRow());
    const QSize wanted(qMax(780, window->sizeHint().width()), 860);
    const QScreen *screen = QGuiApplication::primaryScreen();
    window->resize(screen ? wanted.boundedTo(screen->availableGeometry().size() - QSize(40, 40)) : wanted);
}

QWidget *PreferencesWindow::buildLogo()
{
    // The brand's logo leads to the product's web page.
    auto *logo = new QToolButton;
    logo->setObjectName(u"mLogoButton"_s);
    logo->setAutoRaise(true);
    logo->setCursor(Qt::PointingHandCursor);
    const QIcon image = ImageNamed::icon(m_panes->tabs.logoImage());
    logo->setIcon(image);
    logo->setIconSize(image.availableSizes().value(0, QSize(140, 32)));
    logo->setToolTip(SLLocalizedString(u"WebSiteURL"_s));
    connect(logo, &QToolButton::clicked, &m_panes->tabs, &CVTabViewController::clickLogo);
    return logo;
}

QWidget *PreferencesWindow::buildSourceList()
{
    m_sourceList = new QListWidget;
    m_sourceList->setObjectName(u"mTableView"_s);
    m_sourceList->setIconSize(QSize(24, 24));
    m_sourceList->setFixedWidth(150);
    for (const CVTabViewController::Pane &pane : CVTabViewController::panes()) {
        const QString icon = pane.iconName.section(u'.', 0, 0);
        m_sourceList->addItem(new QListWidgetItem(ImageNamed::icon(icon), pane.title));
    }
    connect(m_sourceList, &QListWidget::currentRowChanged, &m_panes->tabs, &CVTabViewController::tableViewSelectionChanged);
    return m_sourceList;
}

QWidget *PreferencesWindow::buildButtonRow()
{
    auto *row = new QWidget;
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    auto *version = new QLabel(m_panes->tabs.appVersionText());
    version->setObjectName(u"mAppVersion"_s);
    layout->addWidget(version);
    layout->addStretch(1);
    const auto button = [&](const QString &name, const QString &title, void (CVTabViewController::*action)()) {
        auto *pushButton = new QPushButton(SLLocalizedString(title));
        pushButton->setObjectName(name);
        connect(pushButton, &QPushButton::clicked, &m_panes->tabs, action);
        return pushButton;
    };
    QPushButton *password = button(u"mChangePassword"_s, u"Change Password"_s, &CVTabViewController::changePassword);
    m_upgrade = button(u"mUpgradeButton"_s, u"Upgrade"_s, &CVTabViewController::upgrade);
    m_upgrade->setToolTip(m_panes->tabs.upgradeToolTip());
    // The second brand puts the password button beside the upgrade button.
    if (m_panes->tabs.changePasswordBesideUpgrade()) {
        layout->addWidget(m_upgrade);
        layout->addWidget(password);
    } else {
        layout->addWidget(password);
        layout->addWidget(m_upgrade);
    }
    layout->addWidget(button(u"mCheckForUpdate"_s, u"Check for Updates"_s, &CVTabViewController::checkForSoftwareUpgrades));
    return row;
}

void PreferencesWindow::render()
{
    if (!m_window || !m_panes)
        return;
    const CVTabViewController &tabs = m_panes->tabs;
    const int row = tabs.mLastSelectedIndex();
    if (m_sourceList->currentRow() != row) {
        const QSignalBlocker quiet(m_sourceList);
        m_sourceList->setCurrentRow(row);
    }
    m_stack->setCurrentIndex(row);
    m_sourceList->setEnabled(tabs.controlsEnabled());
    for (int i = 0; i < m_stack->count(); ++i)
        m_stack->widget(i)->setEnabled(tabs.panesEnabled());
    m_upgrade->setEnabled(tabs.upgradeEnabled());
    m_upgrade->setVisible(FilePathAPIs::isCorvaneApplication() || tabs.upgradeEnabled());
    m_userName->setText(tabs.userName());
    m_userName->setVisible(!tabs.userName().isEmpty());
    static_cast<ClosingWindow *>(m_window.data())->placeUserName();
}
