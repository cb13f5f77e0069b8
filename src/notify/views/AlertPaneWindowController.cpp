#include "AlertPaneWindowController.h"

#include "notify/AlertLayout.h"
#include "platform/ImageNamed.h"
#include "product/FilePathAPIs.h"
#include "ui_AlertPanel.h"

#include <QApplication>
#include <QHideEvent>
#include <QLabel>
#include <QScreen>

using namespace Qt::StringLiterals;

namespace {

QPointer<AlertPaneWindowController> g_current;
constexpr int kButtonMargin = 20; // the designed gap between the button row and the pane's edges
constexpr int kButtonPadding = 16;

} // namespace

AlertPaneWindowController::AlertPaneWindowController(const AlertButtons &buttons,
                                                     AlertDelegate *delegate, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::AlertPanel>())
    , m_delegate(delegate)
{
    m_ui->setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose, false);
    const std::pair<QPushButton *, QString> titles[]
        = {{m_ui->mOkButton, buttons.defaultButton},
           {m_ui->mCancelButton, buttons.alternateButton},
           {m_ui->mOtherButton, buttons.otherButton}};
    for (const auto &[button, title] : titles) {
        button->setText(title);
        button->setVisible(!title.isNull());
    }
    fitMessageFieldToFont();
    sizeButtonsToTitles();
    m_designedSize = size();
    m_designedMessage = m_ui->mMessageString->geometry();
    m_designedButtonView = m_ui->mButtonView->pos();
    connect(m_ui->mOkButton, &QPushButton::clicked, this,
            [this] { buttonClicked(AlertPresenter::kDefault); });
    connect(m_ui->mCancelButton, &QPushButton::clicked, this,
            [this] { buttonClicked(AlertPresenter::kAlternate); });
    connect(m_ui->mOtherButton, &QPushButton::clicked, this,
            [this] { buttonClicked(AlertPresenter::kOther); });

    makeCurrent();
}

AlertPaneWindowController::~AlertPaneWindowController() = default;

void AlertPaneWindowController::makeCurrent()
{
    // One current pane: a new one puts the previous one away.
    if (g_current && g_current != this)
        g_current->hide();
    g_current = this;
}

void AlertPaneWindowController::hideEvent(QHideEvent *event)
{
    QDialog::hideEvent(event);
    if (!event->spontaneous() && !m_isModal && testAttribute(Qt::WA_DeleteOnClose))
        deleteLater();
}

void AlertPaneWindowController::fitMessageFieldToFont()
{
    // Seventy characters of text a line, two lines high, in the font the field really uses; the
    // pane widens around it and the buttons keep their place at its right edge.
    QLabel *field = m_ui->mMessageString;
    const QFontMetrics metrics(field->font());
    const int width = qMax(
        field->width(), metrics.horizontalAdvance(QString(AlertLayout::kCharactersPerLine, u'n')));
    const int height
        = qMax(field->height(), AlertLayout::kDesignedLines * metrics.lineSpacing() + 2);
    const int widen = width - field->width();
    const int deepen = height - field->height();
    field->resize(width, height);
    m_ui->mTitleString->resize(width, m_ui->mTitleString->height());
    resize(this->width() + widen, this->height() + deepen);
    m_ui->mButtonView->setGeometry(
        m_ui->mButtonView->geometry().translated(0, deepen).adjusted(0, 0, widen, 0));
    for (QPushButton *button : {m_ui->mOkButton, m_ui->mCancelButton})
        button->move(button->pos() + QPoint(widen, 0));
}

AlertPaneWindowController *AlertPaneWindowController::current()
{
    return g_current;
}

void AlertPaneWindowController::sizeButtonsToTitles()
{
    // Right to left: a button that grows keeps its right edge, and every button on its left
    // moves along by the same amount, so the row stays aligned.
    int shift = 0;
    int left = m_ui->mButtonView->width();
    for (QPushButton *button : {m_ui->mOkButton, m_ui->mCancelButton, m_ui->mOtherButton}) {
        QRect frame = button->geometry().translated(-shift, 0);
        if (!button->isHidden() && button->text().size() >= AlertLayout::kSelfSizingTitleLength) {
            const int growth = qMax(0, button->sizeHint().width() + kButtonPadding - frame.width());
            frame.setLeft(frame.left() - growth);
            shift += growth;
        }
        button->setGeometry(frame);
        if (!button->isHidden())
            left = qMin(left, frame.left());
    }
    // What moved past the left margin widens the pane, so that every button stays inside.
    const int widen = kButtonMargin - left;
    if (widen <= 0)
        return;
    resize(width() + widen, height());
    m_ui->mButtonView->resize(m_ui->mButtonView->width() + widen, m_ui->mButtonView->height());
    for (QPushButton *button : {m_ui->mOkButton, m_ui->mCancelButton, m_ui->mOtherButton})
        button->move(button->pos() + QPoint(widen, 0));
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
    growBy(AlertLayout::growthForExtraLines(extraLines),
           AlertLayout::buttonShiftForExtraLines(extraLines));
}

void AlertPaneWindowController::growBy(int points, int buttonPoints)
{
    m_ui->mMessageString->setGeometry(m_ui->mMessageString->geometry().adjusted(0, 0, 0, points));
    m_ui->mButtonView->move(m_ui->mButtonView->pos() + QPoint(0, buttonPoints));
    resize(width(), height() + buttonPoints);
    update();
}

int AlertPaneWindowController::displayMessage(const QString &message, const QString &title,
                                              bool modal)
{
    const QString image = m_imageName.isEmpty()
        ? AlertLayout::defaultImageName(FilePathAPIs::isCorvaneApplication())
        : m_imageName;
    m_ui->mImageView->setPixmap(ImageNamed::pixmap(image, QSize(64, 64)));
    makeCurrent();
    // Each message starts from the designed layout (a reused pane may have grown before).
    resize(m_designedSize);
    m_ui->mMessageString->setGeometry(m_designedMessage);
    m_ui->mButtonView->move(m_designedButtonView);
    m_ui->mMessageString->setText(message);
    m_ui->mTitleString->setText(title);
    setWindowTitle(title);
    resizeWindowFromTextLength(calculateTotalLinesFromText(message) - AlertLayout::kDesignedLines);
    // The line count is of characters; the font has the last word: no line is left outside.
    QLabel *field = m_ui->mMessageString;
    const int missing = field->heightForWidth(field->width()) - field->height();
    if (missing > 0)
        growBy(missing, missing);
    QPalette background = palette();
    background.setBrush(QPalette::Window,
                        QBrush(ImageNamed::pixmap(u"windBG.png"_s, QSize(24, 24))));
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

int AlertPanePresenter::displayMessage(const QString &message, const QString &title,
                                       const AlertButtons &buttons, bool modal,
                                       const QString &imageName, AlertDelegate *delegate)
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

void AlertPanePresenter::displayInWindow(const QString &windowName, const QString &message,
                                         const QString &title, const AlertButtons &buttons,
                                         const QString &imageName)
{
    QPointer<AlertPaneWindowController> &pane = m_windows[windowName];
    if (!pane) {
        pane = new AlertPaneWindowController(buttons);
        pane->setAttribute(Qt::WA_DeleteOnClose);
    }
    pane->setImageName(imageName.isEmpty() ? AlertLayout::defaultImageName(m_corvane) : imageName);
    pane->displayMessage(message, title, false);
}
