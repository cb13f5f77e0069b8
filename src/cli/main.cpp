// lumenctl: the monitor's core from the command line, for scripts and for people without a tray.

#include "Command.h"
#include "product/LaunchOptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QLoggingCategory>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QList<Command> &commands()
{
    static const QList<Command> list{
        {u"paths"_s, u"paths [--json]"_s,
         u"Every file kind and fixed path of the brand, resolved under --root."_s,
         runPathsCommand},
        {u"string"_s, u"string KEY"_s, u"The string-table value of KEY (the key when absent)."_s,
         runStringCommand},
        {u"schedules"_s, u"schedules list [--json]"_s, u"The schedules of every user, from the archive."_s,
         runSchedulesCommand},
        {u"schedules"_s, u"schedules add ..."_s,
         u"Add a schedule for the logged-in account: --frequency daily|weekdays|hourly|\n"
         "                         immediate|monthly, --time HH:MM, --days 1,3 (0 = Sunday), --day-of-month N,\n"
         "                         --user NAME (local user), --account NAME."_s,
         runSchedulesCommand},
        {u"schedules"_s, u"schedules delete INDEX"_s, u"Delete the schedule at INDEX of the list."_s,
         runSchedulesCommand},
        {u"schedules"_s, u"schedules next"_s, u"The next scheduled job."_s, runSchedulesCommand},
        {u"backup-now"_s, u"backup-now"_s,
         u"Back up now as the menu item does, without the monitor; its messages are printed\n"
         "                         (exit 1 when it refuses)."_s,
         runBackupNowCommand},
        {u"status"_s, u"status [--json] [--files]"_s,
         u"Logged-in user, SchedulerState, enabled, paused, running and next job; from the\n"
         "                         running monitor, or from the files (--files: always)."_s,
         runStatusCommand},
        {u"send"_s, u"send --type N ..."_s,
         u"Send the monitor a channel message as its companion would: [--payload TEXT |\n"
         "                         --payload-json JSON] [--to NAME]."_s,
         runSendCommand},
        {u"listen"_s, u"listen ..."_s,
         u"Print messages (--channel: the companion's end, or --as NAME) and notifications\n"
         "                         (--notification NAME, repeatable) as JSON lines; --count N, --timeout S."_s,
         runListenCommand},
        {u"size"_s, u"size PATH... [--json]"_s,
         u"Total size of a backup set; with --user NAME --exclusions PLIST, the size the\n"
         "                         user's exclusions leave."_s,
         runSizeCommand},
        {u"menu"_s, u"menu ITEM"_s,
         u"Choose an item of the running monitor's menu: backup-now, show-progress,\n"
         "                         manage-schedules, pause-resume, cancel-scheduled, toggle-all, check-updates, quit."_s,
         runMenuCommand},
        {u"notify"_s, u"notify NAME ..."_s, u"Post a notification: [--object TEXT] [--user-info JSON]."_s,
         runNotifyCommand},
    };
    return list;
}

QString helpText(const QCommandLineParser &parser)
{
    QString text = parser.helpText();
    text += u"\nCommands:\n"_s;
    for (const Command &command : commands())
        text += u"  "_s + command.synopsis.leftJustified(24) + u" "_s + command.summary + u'\n';
    return text;
}

// The commands that run the monitor controller need a GUI application object (its menu items
// are actions); the others start without one, faster. Nothing is ever shown.
std::unique_ptr<QCoreApplication> makeApplication(int &argc, char *argv[])
{
    for (int i = 1; i < argc; ++i) {
        const QByteArrayView argument(argv[i]);
        if (argument == "backup-now" || argument == "status") {
            qputenv("QT_QPA_PLATFORM", "offscreen");
            // The platform plugin's start-up remarks (a missing runtime folder) are no news to
            // someone at a terminal; the commands say themselves what went wrong.
            QLoggingCategory::setFilterRules(u"default.warning=false\nqt.*.warning=false"_s);
            return std::make_unique<QGuiApplication>(argc, argv);
        }
    }
    return std::make_unique<QCoreApplication>(argc, argv);
}

} // namespace

int main(int argc, char *argv[])
{
    const std::unique_ptr<QCoreApplication> application = makeApplication(argc, argv);
    QCoreApplication &app = *application;
    QCoreApplication::setApplicationName(u"lumenctl"_s);
    QTextStream out(stdout);
    QTextStream err(stderr);

    QCommandLineParser parser;
    parser.setApplicationDescription(u"Command-line companion of the Lumen monitor."_s);
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    parser.addOptions(LaunchOptions::commandLineOptions());
    const QCommandLineOption help({u"h"_s, u"help"_s}, u"Show this help."_s);
    parser.addOption(help);
    parser.addPositionalArgument(u"command"_s, u"What to do (see Commands below)."_s);
    if (!parser.parse(app.arguments())) {
        err << parser.errorText() << u"\n\n"_s << helpText(parser);
        return 2;
    }
    const QStringList positional = parser.positionalArguments();
    if (parser.isSet(help) || positional.isEmpty()) {
        (positional.isEmpty() && !parser.isSet(help) ? err : out) << helpText(parser);
        return parser.isSet(help) ? 0 : 2;
    }

    err.flush();
    if (!LaunchOptions::applyFromParser(parser))
        return 2;

    for (const Command &command : commands()) {
        if (command.name == positional.first())
            return command.run(positional.mid(1), out, err);
    }
    // Unknown command: fall through to the help text.
    err << u"Unknown command \""_s << positional.first() << u"\".\n\n"_s << helpText(parser);
    return 2;
}
