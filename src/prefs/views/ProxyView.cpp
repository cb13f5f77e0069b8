#include "ProxyView.h"

#include "product/StringTable.h"
#include "ui_Proxy.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpressionValidator>

using namespace Qt::StringLiterals;

using Field = ProxyController::Field;

ProxyView::ProxyView(ProxyController *controller, QWidget *parent)
    : QWidget(parent)
    , m_controller(controller)
    , m_ui(std::make_unique<Ui::Proxy>())
    , m_modes(new QButtonGroup(this))
{
    m_ui->setupUi(this);
    localizeTexts();
    m_modes->addButton(m_ui->mNoProxy, ProxyController::NoProxy);
    m_modes->addButton(m_ui->mManualProxy, ProxyController::ManualProxy);
    m_modes->addButton(m_ui->mSystemProxy, ProxyController::SystemProxy);
    // A port is a number up to 65535; anything else could only be refused later.
    const QRegularExpression port(
        u"[0-9]{0,4}|[1-5][0-9]{4}|6[0-4][0-9]{3}|65[0-4][0-9]{2}|655[0-2][0-9]|6553[0-5]"_s);
    m_ui->mProxyPort->setValidator(new QRegularExpressionValidator(port, m_ui->mProxyPort));
    setStandAlone(false);

    connect(m_modes, &QButtonGroup::idClicked, controller, &ProxyController::EnableProxy);
    connect(m_ui->mProxyAuthEnable, &QCheckBox::clicked, controller,
            &ProxyController::EnableProxyAuth);
    connect(m_ui->getProxySettingsButton, &QPushButton::clicked, controller,
            &ProxyController::GetProxySetting);
    for (const Field f : {Field::Address, Field::Port, Field::UserName, Field::Password}) {
        connect(field(f), &QLineEdit::textEdited, controller,
                [controller, f](const QString &text) { controller->setFieldText(f, text); });
    }
    connect(m_ui->mButtons->button(QDialogButtonBox::Save), &QPushButton::clicked, controller,
            [controller] {
                if (controller->SaveSetting() == 1)
                    controller->Cancel();
            });
    connect(m_ui->mButtons->button(QDialogButtonBox::Cancel), &QPushButton::clicked, controller,
            &ProxyController::Cancel);
    connect(m_ui->mButtons, &QDialogButtonBox::helpRequested, controller, &ProxyController::launchProxyHelp);
    connect(controller, &ProxyController::controlsChanged, this, &ProxyView::render);
    connect(controller, &ProxyController::focusRequested, this, &ProxyView::focusField);

    controller->awakeFromNib();
    render();
}

ProxyView::~ProxyView() = default;

void ProxyView::setStandAlone(bool standAlone)
{
    m_ui->mButtons->setVisible(standAlone);
}

void ProxyView::localizeTexts()
{
    // The designed texts are the string table's keys.
    for (QAbstractButton *button : findChildren<QAbstractButton *>())
        button->setText(SLLocalizedString(button->text()));
    for (QLabel *label : findChildren<QLabel *>())
        label->setText(SLLocalizedString(label->text()));
    m_ui->mButtons->button(QDialogButtonBox::Save)->setText(SLLocalizedString(u"Save"_s));
    m_ui->mButtons->button(QDialogButtonBox::Cancel)->setText(SLLocalizedString(u"Cancel"_s));
    setWindowTitle(SLLocalizedString(windowTitle()));
}

QLineEdit *ProxyView::field(Field f) const
{
    switch (f) {
    case Field::Address:
        return m_ui->mProxyAddress;
    case Field::Port:
        return m_ui->mProxyPort;
    case Field::UserName:
        return m_ui->mProxyUserName;
    case Field::Password:
        return m_ui->mProxyPassword;
    }
    return nullptr;
}

void ProxyView::render()
{
    const ProxyControls &c = m_controller->controls();
    if (QAbstractButton *mode = m_modes->button(c.mode))
        mode->setChecked(true);
    for (QAbstractButton *mode : m_modes->buttons())
        mode->setEnabled(c.modeEnabled);
    const struct {
        Field field;
        const QString &text;
        bool enabled;
    } fields[] = {{Field::Address, c.address, c.addressEnabled},
                  {Field::Port, c.port, c.portEnabled},
                  {Field::UserName, c.userName, c.userNameEnabled},
                  {Field::Password, c.password, c.passwordEnabled}};
    for (const auto &f : fields) {
        QLineEdit *edit = field(f.field);
        if (edit->text() != f.text) // keeps the cursor where the user is typing
            edit->setText(f.text);
        edit->setEnabled(f.enabled);
    }
    m_ui->addressLabel->setEnabled(c.addressEnabled);
    m_ui->portLabel->setEnabled(c.portEnabled);
    m_ui->userNameLabel->setEnabled(c.userNameEnabled);
    m_ui->passwordLabel->setEnabled(c.passwordEnabled);
    m_ui->mProxyAuthEnable->setChecked(c.authOn);
    m_ui->mProxyAuthEnable->setEnabled(c.authEnabled);
    m_ui->getProxySettingsButton->setEnabled(c.getSettingsEnabled);
}

void ProxyView::focusField(Field f)
{
    field(f)->setFocus(Qt::OtherFocusReason);
}

ProxyWindow::ProxyWindow() = default;
ProxyWindow::~ProxyWindow() = default;

bool ProxyWindow::loadProxyWindow(ProxyController *controller)
{
    m_view = std::make_unique<ProxyView>(controller);
    m_view->setStandAlone(true);
    m_view->adjustSize();
    return true;
}

void ProxyWindow::bringProxyWindowToFront()
{
    m_view->show();
    m_view->raise();
    m_view->activateWindow();
}

void ProxyWindow::closeProxyWindow()
{
    m_view->close();
}
