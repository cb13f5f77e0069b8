#include "AlertPaneWindowController.h"

#include "product/FilePathAPIs.h"
#include "notify/AlertLayout.h"
#include "platform/ImageNamed.h"
#include "ui_AlertPanel.h"

#include <QApplication>
#include <QScreen>

using namespace Qt::StringLiterals;

namespace {

QPointer<AlertPaneWindowController> g_current;

} // namespace

AlertPaneWindowController::AlertPaneWindowController(const AlertButtons &buttons, AlertDelegate *delegate,
                                                     QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::AlertPanel>())
    , m_delegate(delegate)
{
    m_ui->setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose, false);
    const std::pair<QPushButton *, QString> titles[] = {{m_ui->mOkButton, buttons.defaultButton},
                                                        {m_ui->mCancelButton, buttons.alternateButton},
                                                        {m_ui->mOtherButton, buttons.otherButton}};
    for (const auto &[button, title] : titles) {
        button->setText(title);
        button->setVisible(!title.isNull());
    }
    sizeButtonsToTitles();
    connect(m_ui->mOkButton, &QPushButton::clicked, this, [this] { buttonClicked(AlertPresenter::kDefault); });
    connect(m_ui->mCancelButton, &QPushButton::clicked, this, [this] { buttonClicked(AlertPresenter::kAlternate); });
    connect(m_ui->mOtherButton, &QPushButton::clicked, this, [this] { buttonClicked(AlertPresenter::kOther); });

    // One current pane: a new one puts the previous one away.
    if (g_current && g_current != this)
        g_current->hide();
    g_current = this;
}

AlertPaneWindowController::~AlertPaneWindowController() = default;

AlertPaneWindowController *AlertPaneWindowController::current()
{
    return g_current;
}

void AlertPaneWindowController::sizeButtonsToTitles()
{
    // Right to left: a button that grows keeps its right edge, and pushes the buttons on its left
    // along so the row stays aligned. The other button stays at the left edge.
    int shift = 0;
    for (QPushButton *button : {m_ui->mOkButton, m_ui->mCancelButton}) {
        QRect frame = button->geometry().translated(-shift, 0);
        if (button->isVisibleTo(this) && button->text().size() >= AlertLayout::kSelfSizingTitleLength) {
            const int growth = qMax(0, button->sizeHint().width() + 16 - frame.width());
            frame.setLeft(frame.left() - growth);
            shift += growth;
        }
        button->setGeometry(frame);
    }
    if (m_ui->mOtherButton->text().size() >= AlertLayout::kSelfSizingTitleLength) {
        QRect frame = m_ui->mOtherButton->geometry();
        frame.setWidth(qMax(frame.width(), m_ui->mOtherButton->sizeHint().width() + 16));
        m_ui->mOtherButton->setGeometry(frame);
    }
}

void AlertPaneWindowController::setImageName(const QString &name)
{
    m_imageName = name;
}

int AlertPaneWindowController::calculateTotalLinesFromText(const QString &text)
{
    return AlertLayout::calculateTotalLinesFromText(text);
}

void AlertPaneWindowController::resizeWindowFromTextLength(int extraLines)
{
    if (extraLines <= 0)
        return;
    const int growth = AlertLayout::growthForExtraLines(extraLines);
    const int shift = AlertLayout::buttonShiftForExtraLines(extraLines);
    m_ui->mMessageString->setGeometry(m_ui->mMessageString->geometry().adjusted(0, 0, 0, growth));
    m_ui->mButtonView->move(m_ui->mButtonView->pos() + QPoint(0, shift));
    resize(width(), height() + shift);
    update();
}

int AlertPaneWindowController::displayMessage(const QString &message, const QString &title, bool modal)
{
    const QString image = m_imageName.isEmpty()
                              ? AlertLayout::defaultImageName(FilePathAPIs::isCorvaneApplication())
                              : m_imageName;
    m_ui->mImageView->setPixmap(ImageNamed::pixmap(image, QSize(64, 64)));
    m_ui->mMessageString->setText(message);
    m_ui->mTitleString->setText(title);
    setWindowTitle(title);
    resizeWindowFromTextLength(calculateTotalLinesFromText(message) - AlertLayout::kDesignedLines);
    QPalette background = palette();
    background.setBrush(QPalette::Window, QBrush(ImageNamed::pixmap(u"windBG.png"_s, QSize(24, 24))));
    setPalette(background);
    setAutoFillBackground(true);

    m_isModal = modal;
    if (modal) {
        exec();
        hide();
        return m_result;
    }
    setModal(false);
    if (QWidget *screen = window(); screen->screen())
        move(screen->screen()->availableGeometry().center() - rect().center());
    show();
    raise();
    activateWindow();
    return m_result;
}

void AlertPaneWindowController::buttonClicked(int result)
{
    m_result = result;
    if (m_isModal) {
        done(result + 2); // exec()'s own code is unused: the result is kept here
        return;
    }
    hide();
    if (m_delegate)
        m_delegate->didClickButton(result);
}

QPushButton *AlertPaneWindowController::button(int result) const
{
    switch (result) {
    case AlertPresenter::kDefault:
        return m_ui->mOkButton;
    case AlertPresenter::kAlternate:
        return m_ui->mCancelButton;
    default:
        return m_ui->mOtherButton;
    }
}

QRect AlertPaneWindowController::messageGeometry() const
{
    return m_ui->mMessageString->geometry();
}

int AlertPanePresenter::displayMessage(const QString &message, const QString &title, const AlertButtons &buttons,
                                       bool modal, const QString &imageName, AlertDelegate *delegate)
{
    auto *pane = new AlertPaneWindowController(buttons, delegate);
    pane->setImageName(imageName.isEmpty() ? AlertLayout::defaultImageName(m_corvane) : imageName);
    const int result = pane->displayMessage(message, title, modal);
    if (modal)
        pane->deleteLater();
    else
        pane->setAttribute(Qt::WA_DeleteOnClose);
    return result;
}
