// The error report for screenshots: the window filled in as a user would, then Send, which
// shows the report for a last look (the home folder and login name masked in the log tails).
//
//   error_report_demo [--brand corvane|stelloa] [--root DIR] [--form]   (--form: no Send)

#include "product/LaunchOptions.h"
#include "scheduler/views/ErrorReportWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions(LaunchOptions::commandLineOptions());
    parser.addOption({u"form"_s, u"Leave the filled-in form on screen."_s});
    parser.process(app);
    if (!LaunchOptions::applyFromParser(parser))
        return 2;

    ErrorReport report;
    ErrorReportWindow window;
    report.setPresenter(&window);
    report.showErrorReport();
    if (!window.window())
        return 1; // nobody logged in
    const auto type = [&window](const QString &field, const QString &text) {
        if (auto *line = window.window()->findChild<QLineEdit *>(field))
            line->setText(text);
        else if (auto *area = window.window()->findChild<QPlainTextEdit *>(field))
            area->setPlainText(text);
    };
    type(u"userEmailIdField"_s, u"ann@example.com"_s);
    type(u"userContactNumberField"_s, u"+1 555 0100"_s);
    type(u"troubleTicketNumberField"_s, u"T-4711"_s);
    type(u"messageTextArea"_s,
         u"The scheduled backup of my Documents stopped halfway last night."_s);
    QPushButton *send = window.window()->findChild<QPushButton *>(u"sendButton"_s);
    if (!parser.isSet(u"form"_s))
        QTimer::singleShot(300, send, &QPushButton::click);
    return app.exec();
}
