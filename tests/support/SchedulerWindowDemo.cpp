// Shows the schedule summary window on the schedules under --root, for screenshots: a row
// selected and, with --edit, the edit sheet open on it.
//
//   scheduler_window_demo --root DIR [--brand corvane|stelloa] [--select ROW] [--edit]

#include "notify/views/AlertPaneWindowController.h"
#include "platform/Clock.h"
#include "product/FilePathAPIs.h"
#include "product/LaunchOptions.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/ScheduleEditor.h"
#include "scheduler/views/SchedulerWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QMainWindow>
#include <QTableView>
#include <QTimer>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions(LaunchOptions::commandLineOptions());
    parser.addOption({u"select"_s, u"The row to select."_s, u"row"_s, u"0"_s});
    parser.addOption({u"edit"_s, u"Open the edit sheet on the selected row."_s});
    parser.process(app);
    if (!LaunchOptions::applyFromParser(parser))
        return 2;

    AlertPanePresenter alerts(FilePathAPIs::isCorvaneApplication());
    CorvaneSchedulerController store(Clock::system());
    ScheduleEditor editor(store, Clock::system(), &alerts);
    SchedulerWindow window(&editor, &store);
    editor.showSchedulerMainWindow();
    window.window()->findChild<QTableView *>(u"schedulerTable"_s)->selectRow(parser.value(u"select"_s).toInt());
    if (parser.isSet(u"edit"_s))
        QTimer::singleShot(300, &editor, &ScheduleEditor::editSchedule);
    QObject::connect(&app, &QApplication::lastWindowClosed, &app, &QApplication::quit);
    return app.exec();
}
