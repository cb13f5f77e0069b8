// Shows an alert pane for screenshots: three buttons and a message long enough to grow the pane.
//
//   alert_pane_demo [--brand corvane|stelloa] [--modal] [--message TEXT]

#include "product/LaunchOptions.h"
#include "notify/views/AlertPaneWindowController.h"

#include <QApplication>
#include <QCommandLineParser>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions(LaunchOptions::commandLineOptions());
    parser.addOption({u"modal"_s, u"Run the pane modally."_s});
    parser.addOption({u"message"_s, u"The message to show."_s, u"text"_s});
    parser.process(app);
    if (!LaunchOptions::applyFromParser(parser))
        return 2;

    AlertPaneWindowController pane({u"Stop the backup"_s, u"Keep running"_s, u"Details"_s});
    const QString message = parser.isSet(u"message"_s) ? parser.value(u"message"_s) :
        u"A scheduled backup of \"Documents\" is in progress. Stopping it now leaves the files that "
        "were not yet sent for the next run; nothing already stored is lost.\n\n"
        "Do you want to stop the scheduled backup operation?"_s;
    const int result = pane.displayMessage(message, u"Corvane Lumen"_s, parser.isSet(u"modal"_s));
    if (parser.isSet(u"modal"_s))
        return result + 2;
    QObject::connect(&app, &QApplication::lastWindowClosed, &app, &QApplication::quit);
    return app.exec();
}
