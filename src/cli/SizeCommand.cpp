#include "Command.h"

#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "util/SLUtility.h"

#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

using namespace Qt::StringLiterals;

int runSizeCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(u"paths"_s, u"Files and folders of the backup set."_s);
    parser.addOptions({{u"json"_s, u"Print JSON."_s},
                       {u"user"_s, u"Account whose exclusions apply."_s, u"name"_s},
                       {u"exclusions"_s, u"Property list of the exclusion dictionary (user name -> settings)."_s, u"plist"_s}});
    const bool parsed = parser.parse(QStringList{u"size"_s} + arguments);
    const QStringList paths = parser.positionalArguments();
    if (!parsed || paths.isEmpty() || parser.isSet(u"user"_s) != parser.isSet(u"exclusions"_s)) {
        err << u"usage: lumenctl size PATH... [--json] [--user NAME --exclusions PLIST]\n"_s;
        return 2;
    }
    for (const QString &path : paths) {
        if (!QFileInfo::exists(Paths::current().resolve(path)))
            err << u"Skipping \""_s << path << u"\": no such file or folder.\n"_s;
    }

    // Progress on the terminal once a scan has run for a second.
    QElapsedTimer timer;
    timer.start();
    bool shown = false;
    const bool terminal = ::isatty(STDERR_FILENO);
    const auto progress = [&](quint64 bytes, quint64 entries) {
        if (!terminal || timer.elapsed() < 1000)
            return;
        shown = true;
        err << u"\r\x1b[K"_s << entries << u" entries, "_s << SLUtility::formatedFileSizeAsString(bytes) << u" so far"_s;
        err.flush();
    };

    quint64 total = 0;
    if (parser.isSet(u"exclusions"_s)) {
        const QVariantMap excluded = PropertyList::readDictionary(parser.value(u"exclusions"_s));
        if (excluded.isEmpty()) {
            err << u"\""_s << parser.value(u"exclusions"_s) << u"\" holds no exclusion dictionary.\n"_s;
            return 1;
        }
        for (const QString &path : paths)
            total += SLUtility::calculateSizeOfFile(path, parser.value(u"user"_s), excluded);
    } else {
        total = SLUtility::calculateTotalSizeInArray(paths, progress);
    }
    if (shown)
        err << u"\r\x1b[K"_s;

    if (parser.isSet(u"json"_s)) {
        out << QJsonDocument(QJsonObject{{u"bytes"_s, double(total)},
                                         {u"formatted"_s, SLUtility::formatedFileSizeAsString(total)},
                                         {u"paths"_s, QJsonArray::fromStringList(paths)}})
                   .toJson(QJsonDocument::Compact)
            << u'\n';
    } else {
        out << total << u"\t"_s << SLUtility::formatedFileSizeAsString(total) << u'\n';
    }
    return 0;
}
