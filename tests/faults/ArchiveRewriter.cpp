// archive_rewriter: rewrites the schedules archive through the product's own save, the new
// version and the old one in turn, until it is killed. It says "saved" after each save.
//
//   archive_rewriter [--brand B] [--root DIR]

#include "ArchiveVersions.h"

#include "product/LaunchOptions.h"
#include "scheduler/ScheduleArchive.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions(LaunchOptions::commandLineOptions());
    parser.process(app);
    if (!LaunchOptions::applyFromParser(parser))
        return 2;
    const QList<CorvaneScheduleItem> versions[]
        = {ArchiveVersions::records(0), ArchiveVersions::records(1)};
    for (int turn = 1;; turn ^= 1) {
        if (!ScheduleArchive::save(versions[turn]))
            return 1;
        std::fputs("saved\n", stdout);
        std::fflush(stdout);
    }
}
