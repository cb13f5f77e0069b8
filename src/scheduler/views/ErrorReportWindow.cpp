#include "ErrorReportWindow.h"

#include "platform/ImageNamed.h"
#include "product/StringTable.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

template<typename Widget> Widget *named(Widget *widget, const QString &name)
{
    widget->setObjectName(name);
    return widget;
}

void paintPattern(QWidget *window)
{
    QPalette background = window->palette();
    background.setBrush(QPalette::Window,
                        QBrush(ImageNamed::pixmap(u"windBG.png"_s, QSize(24, 24))));
    window->setPalette(background);
    window->setAutoFillBackground(true);
}

} // namespace

ErrorReportWindow::ErrorReportWindow(QObject *parent)
    : QObject(parent)
{
}

ErrorReportWindow::~ErrorReportWindow()
{
    delete m_window;
}

void ErrorReportWindow::build()
{
    auto *window = named(new QWidget, u"sendErrorReportWindow"_s);
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle(SLLocalizedString(u"ApplicationName"_s)
                           + SLLocalizedString(u" Error Report"_s));
    paintPattern(window);
    m_architecture = named(new QLabel, u"architectureLabel"_s);
    m_userNameLabel = named(new QLabel, u"sendErrorUserName"_s);
    m_userName = named(new QLabel, u"stelloaUserNameField"_s);
    m_email = named(new QLineEdit, u"userEmailIdField"_s);
    m_contactNumber = named(new QLineEdit, u"userContactNumberField"_s);
    m_ticketNumber = named(new QLineEdit, u"troubleTicketNumberField"_s);
    m_subject = named(new QLineEdit, u"subjectField"_s);
    m_subject->setReadOnly(true); // the service is always sent the product's own subject
    m_message = named(new QPlainTextEdit, u"messageTextArea"_s);
    m_progress = named(new QProgressBar, u"sendErrorProgressIndicator"_s);
    m_progress->setRange(0, 0); // busy: the sending's length is unknown
    m_progress->setTextVisible(false);
    m_progress->setFixedWidth(160);
    auto *send = named(new QPushButton(SLLocalizedString(u"Send"_s)), u"sendButton"_s);
    send->setDefault(true);
    connect(send, &QPushButton::clicked, this, &ErrorReportWindow::send);

    auto *form = new QFormLayout;
    form->addRow(m_userNameLabel, m_userName);
    form->addRow(SLLocalizedString(u"E-mail address"_s), m_email);
    form->addRow(SLLocalizedString(u"Contact number"_s), m_contactNumber);
    form->addRow(SLLocalizedString(u"Ticket number"_s), m_ticketNumber);
    form->addRow(SLLocalizedString(u"Subject"_s), m_subject);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_progress);
    buttons->addStretch(1);
    buttons->addWidget(send);
    auto *column = new QVBoxLayout(window);
    column->addWidget(m_architecture, 0, Qt::AlignRight);
    column->addLayout(form);
    column->addWidget(new QLabel(SLLocalizedString(u"Message"_s)));
    column->addWidget(m_message, 1);
    column->addLayout(buttons);
    window->resize(480, 440);
    if (const QScreen *screen = QGuiApplication::primaryScreen())
        window->move(screen->availableGeometry().center() - window->rect().center());
    m_window = window;
}

void ErrorReportWindow::showErrorReportWindow(ErrorReport *report)
{
    m_report = report;
    if (!m_window)
        build();
    const ErrorReportFields &fields = report->fields();
    m_architecture->setText(fields.architecture);
    m_userNameLabel->setText(fields.userNameLabel);
    m_userName->setText(fields.userName);
    m_email->setText(fields.email);
    m_contactNumber->setText(fields.contactNumber);
    m_ticketNumber->setText(fields.ticketNumber);
    m_subject->setText(fields.subject);
    m_message->setPlainText(fields.message);
    m_progress->setVisible(report->isIndicatorVisible());
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void ErrorReportWindow::send()
{
    ErrorReportFields &fields = m_report->fields();
    fields.email = m_email->text();
    fields.contactNumber = m_contactNumber->text();
    fields.ticketNumber = m_ticketNumber->text();
    fields.subject = m_subject->text();
    fields.message = m_message->toPlainText();
    m_report->sendErrorReport();
}

void ErrorReportWindow::closeErrorReportWindow()
{
    if (m_window)
        m_window->close();
}

bool ErrorReportWindow::isErrorReportWindowVisible() const
{
    return m_window && m_window->isVisible();
}

void ErrorReportWindow::setProgressVisible(bool visible)
{
    if (m_window)
        m_progress->setVisible(visible);
}

bool ErrorReportWindow::confirmReport(const QString &report)
{
    QDialog preview(m_window);
    preview.setObjectName(u"reportPreview"_s);
    preview.setWindowTitle(SLLocalizedString(u"The report as it will be sent"_s));
    auto *text = named(new QPlainTextEdit(report), u"reportPreviewText"_s);
    text->setReadOnly(true);
    text->setLineWrapMode(QPlainTextEdit::NoWrap);
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    auto *buttons = new QDialogButtonBox;
    named(buttons->addButton(SLLocalizedString(u"Send"_s), QDialogButtonBox::AcceptRole),
          u"sendReportButton"_s);
    named(buttons->addButton(SLLocalizedString(u"Cancel"_s), QDialogButtonBox::RejectRole),
          u"cancelReportButton"_s);
    connect(buttons, &QDialogButtonBox::accepted, &preview, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &preview, &QDialog::reject);
    auto *column = new QVBoxLayout(&preview);
    column->addWidget(new QLabel(
        SLLocalizedString(u"Your home folder is shown as ~ and your login name as <user>."_s)));
    column->addWidget(text);
    column->addWidget(buttons);
    preview.resize(720, 520);
    return preview.exec() == QDialog::Accepted;
}
