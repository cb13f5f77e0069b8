// Shows the desktop notification window for screenshots: the end of a job with realistic counts,
// or the account status, or the older panel.
//
//   notification_window_demo [--brand corvane|stelloa] [--status] [--error TEXT] [--panel]

#include "notify/DisplayController.h"
#include "notify/views/DesktopNotificationWindow.h"
#include "product/LaunchOptions.h"

#include <QApplication>
#include <QCommandLineParser>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions(LaunchOptions::commandLineOptions());
    parser.addOption({u"status"_s, u"Show the account status instead of a finished job."_s});
    parser.addOption({u"error"_s, u"The finished job's error message."_s, u"text"_s});
    parser.addOption({u"panel"_s, u"Show the older quota panel."_s});
    parser.process(app);
    if (!LaunchOptions::applyFromParser(parser))
        return 2;

    DesktopNotificationWindow window;
    DisplayController controller(&window);
    window.setWindowTitle(u"Lumen notification"_s);

    QVariantMap data{{u"Username"_s, u"ann.weber@example.com"_s},
                     {u"AccountType"_s, u"Personal"_s},
                     {u"UsedQuota"_s, u"36.1 GB"_s},
                     {u"TotalQuota"_s, u"50 GB"_s},
                     {u"PercentageQuota"_s, u"72"_s},
                     {u"TotalCount"_s, u"1152"_s},
                     {u"SuccessCount"_s, u"125"_s},
                     {u"SyncFileCount"_s, u"1024"_s},
                     {u"FailureCount"_s, u"3"_s},
                     {u"NextScheduledItem"_s, u"Tuesday, 24 November 2026 at 18:00"_s}};
    if (parser.isSet(u"error"_s))
        data.insert(u"ErrorMessage"_s, parser.value(u"error"_s));
    if (parser.isSet(u"status"_s))
        data.insert(u"StatusMessage"_s, u"Scheduled backup is in progress"_s);
    if (parser.isSet(u"panel"_s)) {
        controller.displayMessage({{u"Title"_s, u"Storage almost full"_s},
                                   {u"Message"_s, u"You have used 72 % of your backup space."_s},
                                   {u"Subtitle1"_s, u"Used: 36.1 GB"_s},
                                   {u"Subtitle2"_s, u"Total: 50 GB"_s},
                                   {u"UsedQuota"_s, u"72"_s}});
    } else {
        controller.displayDesktopNotfn(parser.isSet(u"status"_s), false, data);
    }
    return app.exec();
}
