#include "DisplayWindow.h"

#include "ProgressView.h"
#include "notify/AlertLayout.h"
#include "notify/DisplayController.h"
#include "platform/ImageNamed.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"

#include <QApplication>
#include <QBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QProcess>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QStandardPaths>
#include <QTimer>
#include <QToolButton>

using namespace Qt::StringLiterals;

namespace {

constexpr int kIconSize = 48;

// The desktop's sound theme has no "Morse"; its instant-message sound is the nearest in spirit.
QString themeSoundFor(const QString &name)
{
    return name == u"Morse"_s ? u"message-new-instant"_s : name;
}

} // namespace

void playSystemSound(const QString &name)
{
    const QString player = QStandardPaths::findExecutable(u"canberra-gtk-play"_s);
    if (player.isEmpty() || !QProcess::startDetached(player, {u"-i"_s, themeSoundFor(name)}))
        QApplication::beep();
}

DisplayWindow::DisplayWindow(QWidget *parent)
    : QWidget(parent,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint
                  | Qt::WindowDoesNotAcceptFocus)
    , m_appIcon(new QLabel(this))
    , m_titleField(new QLabel(this))
    , m_messageField(new QLabel(this))
    , m_progressView(new ProgressView(this))
    , m_closeButton(new QToolButton(this))
    , m_viewLogButton(new QPushButton(SLLocalizedString(u"View Log"_s), this))
    , m_upgradeButton(new QPushButton(SLLocalizedString(u"Upgrade"_s), this))
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    setFixedSize(NotificationLayoutRules::kPanelSize);
    m_appIcon->setFixedSize(kIconSize, kIconSize);
    QFont bold = m_titleField->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.1);
    m_titleField->setFont(bold);
    m_messageField->setWordWrap(true);
    m_closeButton->setText(u"×"_s);
    m_closeButton->setAutoRaise(true);
    m_closeButton->setToolTip(SLLocalizedString(u"Close"_s));
    for (QAbstractButton *button : {static_cast<QAbstractButton *>(m_closeButton),
                                    static_cast<QAbstractButton *>(m_viewLogButton),
                                    static_cast<QAbstractButton *>(m_upgradeButton)})
        button->setFocusPolicy(Qt::NoFocus);
    m_upgradeButton->hide();

    auto *header = new QHBoxLayout;
    header->addWidget(m_appIcon, 0, Qt::AlignTop);
    auto *text = new QVBoxLayout;
    text->addWidget(m_titleField);
    text->addWidget(m_messageField);
    for (int i = 0; i < NotificationLayoutRules::kMaxSubtitles; ++i) {
        auto *row = new QLabel(this);
        row->setObjectName(u"subField%1Title"_s.arg(i + 1));
        m_subFields.append(row);
        text->addWidget(row);
    }
    text->addSpacing(6);
    text->addWidget(m_progressView);
    text->addStretch();
    header->addLayout(text, 1);
    header->addWidget(m_closeButton, 0, Qt::AlignTop);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_viewLogButton);
    buttons->addWidget(m_upgradeButton);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(16, 14, 10, 14);
    column->addLayout(header, 1);
    column->addLayout(buttons);

    connect(m_closeButton, &QToolButton::clicked, this, &DisplayWindow::closeClicked);
    connect(m_viewLogButton, &QPushButton::clicked, this, [this] {
        if (m_controller)
            m_controller->openLogs();
    });
    connect(m_upgradeButton, &QPushButton::clicked, this, [this] {
        if (m_controller)
            m_controller->upgradeAccount();
    });
}

void DisplayWindow::setTitle(const QString &title)
{
    m_titleField->setText(title);
    setWindowTitle(title);
}

void DisplayWindow::setIcon(const QString &imageName)
{
    QPixmap image = ImageNamed::pixmap(imageName, QSize(kIconSize, kIconSize));
    if (image.isNull()) // no artwork of that name: the brand's own
        image = ImageNamed::pixmap(
            AlertLayout::defaultImageName(FilePathAPIs::isCorvaneApplication()),
            QSize(kIconSize, kIconSize));
    m_appIcon->setPixmap(image);
}

void DisplayWindow::setMessage(const QString &message)
{
    m_messageField->setText(message);
}

void DisplayWindow::setSubFieldTitle(int row, const QString &title)
{
    if (QLabel *field = m_subFields.value(row - 1))
        field->setText(title);
}

void DisplayWindow::setProgressValue(int value)
{
    m_progressView->setProgressValue(value);
}

void DisplayWindow::showContents(const DisplayPanelContents &contents)
{
    setTitle(contents.title);
    setIcon(contents.iconName);
    setMessage(contents.message);
    for (int row = 1; row <= NotificationLayoutRules::kMaxSubtitles; ++row) {
        setSubFieldTitle(row, contents.subtitles.value(row - 1));
        m_subFields[row - 1]->setVisible(row <= contents.subtitles.size());
    }
    setProgressValue(contents.progressValue);
    if (contents.frame.isValid())
        move(contents.frame.topLeft());
    showMessage(contents.messageRightAligned, contents.showUpgradeButton, contents.soundName);
}

void DisplayWindow::showMessage(bool rightAligned, bool withUpgrade, const QString &soundName)
{
    m_messageField->setAlignment((rightAligned ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignTop);
    m_upgradeButton->setVisible(withUpgrade);
    setWindowOpacity(1.0);
    if (!soundName.isEmpty()) {
        m_lastSound = soundName;
        playSystemSound(soundName);
    }
    show();
    raise();
}

void DisplayWindow::closeClicked()
{
    // The controller owns the panel's timer: it closes through it, so both go together.
    if (m_controller)
        m_controller->close();
    else
        closeNotificationWindow();
}

void DisplayWindow::closeNotificationWindow()
{
    if (m_closing)
        return;
    m_closing = true;
    auto *fade = new QPropertyAnimation(this, "windowOpacity", this);
    fade->setDuration(kReleaseDelayMs);
    fade->setEndValue(0.0);
    fade->start(QAbstractAnimation::DeleteWhenStopped);
    QTimer::singleShot(kReleaseDelayMs, this, &DisplayWindow::releaseWindow);
}

void DisplayWindow::releaseWindow()
{
    hide();
    deleteLater();
}

void DisplayWindow::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    QLinearGradient background(0, 0, 0, height());
    background.setColorAt(0, QColor(0xfb, 0xfc, 0xfe));
    background.setColorAt(1, QColor(0xe2, 0xe8, 0xf0));
    painter.fillRect(rect(), background);
    painter.setPen(QColor(0x8a, 0x98, 0xa8));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}
