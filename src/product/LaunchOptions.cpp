#include "LaunchOptions.h"

#include "StringTable.h"
#include "platform/Paths.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QTextStream>

using namespace Qt::StringLiterals;

QList<QCommandLineOption> LaunchOptions::commandLineOptions()
{
    return {
        {u"brand"_s, u"Brand to run as: corvane or stelloa (env LUMEN_BRAND)."_s, u"brand"_s},
        {u"root"_s, u"Folder that stands for / for every product path (env LUMEN_ROOT)."_s,
         u"dir"_s},
        {u"resources"_s,
         u"Folder with Localizable.plist and Info.plist replacing the built-in ones "
         "(env LUMEN_RESOURCES)."_s,
         u"dir"_s},
    };
}

LaunchOptions LaunchOptions::fromParser(const QCommandLineParser &parser, QString *error)
{
    auto pick = [&](const QString &name, const char *env, const QString &fallback) {
        if (parser.isSet(name))
            return parser.value(name);
        return qEnvironmentVariable(env, fallback);
    };
    LaunchOptions options;
    options.brand = pick(u"brand"_s, "LUMEN_BRAND", options.brand).toLower();
    options.root = pick(u"root"_s, "LUMEN_ROOT", options.root);
    options.resources = pick(u"resources"_s, "LUMEN_RESOURCES", QString());

    if (!StringTable::brands().contains(options.brand)) {
        *error = u"Unknown brand \"%1\": use corvane or stelloa."_s.arg(options.brand);
    } else if (!options.resources.isEmpty()
               && !QFileInfo::exists(options.resources + u"/Localizable.plist"_s)) {
        *error = u"No Localizable.plist in the resources folder \"%1\"."_s.arg(options.resources);
    } else if (!QFileInfo(options.root).isDir()) {
        *error = u"The root folder \"%1\" does not exist."_s.arg(options.root);
    }
    return options;
}

QString LaunchOptions::apply() const
{
    Paths::install(Paths(root));
    return StringTable::install(brand, resources);
}

std::optional<LaunchOptions> LaunchOptions::applyFromParser(const QCommandLineParser &parser)
{
    QString error;
    const LaunchOptions options = fromParser(parser, &error);
    if (error.isEmpty())
        error = options.apply();
    if (!error.isEmpty()) {
        QTextStream(stderr) << error << u'\n';
        return std::nullopt;
    }
    return options;
}
