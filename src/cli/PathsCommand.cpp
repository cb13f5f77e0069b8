#include "Command.h"

#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "platform/Paths.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

constexpr int kLastFileKind = 40;

struct Row
{
    QString name;
    QString key;
    QString productPath;
};

QList<Row> fileKindRows()
{
    QList<Row> rows;
    for (int kind = 0; kind <= kLastFileKind; ++kind) {
        const QString path = FilePathAPIs::pathForApplicationFile(kind);
        if (!path.isEmpty())
            rows.append({QString::number(kind), FilePathAPIs::keyForApplicationFile(kind), path});
    }
    return rows;
}

QList<Row> fixedRows()
{
    QList<Row> rows;
    for (const BrandPaths::Entry &entry : BrandPaths::all())
        rows.append({entry.name, QString(), entry.path});
    return rows;
}

QJsonArray toJson(const QList<Row> &rows, const QString &nameField)
{
    QJsonArray array;
    for (const Row &row : rows) {
        QJsonObject object{{nameField, row.name},
                           {u"path"_s, row.productPath},
                           {u"resolved"_s, Paths::current().resolve(row.productPath)}};
        if (!row.key.isEmpty())
            object.insert(u"key"_s, row.key);
        array.append(object);
    }
    return array;
}

void printTable(QTextStream &out, const QString &title, const QList<Row> &rows)
{
    out << title << u'\n';
    qsizetype width = 0;
    for (const Row &row : rows)
        width = qMax(width, (row.key.isEmpty() ? row.name : row.name + u' ' + row.key).size());
    for (const Row &row : rows) {
        const QString label = row.key.isEmpty() ? row.name : row.name + u' ' + row.key;
        out << u"  "_s << label.leftJustified(width) << u"  "_s
            << Paths::current().resolve(row.productPath) << u'\n';
    }
}

} // namespace

int runPathsCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    parser.addOption({u"json"_s, u"Print JSON."_s});
    if (!parser.parse(QStringList{u"paths"_s} + arguments)) {
        err << parser.errorText() << u'\n';
        return 2;
    }
    const QList<Row> kinds = fileKindRows();
    const QList<Row> fixed = fixedRows();
    if (parser.isSet(u"json"_s)) {
        const QJsonObject document{
            {u"brand"_s, StringTable::shared().brand()},
            {u"applicationName"_s, FilePathAPIs::applicationName()},
            {u"root"_s, Paths::current().root()},
            {u"home"_s, Paths::current().home()},
            {u"fileKinds"_s, toJson(kinds, u"kind"_s)},
            {u"fixedPaths"_s, toJson(fixed, u"name"_s)},
        };
        out << QJsonDocument(document).toJson(QJsonDocument::Indented);
        return 0;
    }
    out << FilePathAPIs::applicationName() << u" (root "_s << Paths::current().root() << u", home "_s
        << Paths::current().home() << u")\n"_s;
    printTable(out, u"File kinds:"_s, kinds);
    printTable(out, u"Fixed paths:"_s, fixed);
    return 0;
}

int runStringCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    if (arguments.size() != 1) {
        err << u"usage: lumenctl string KEY\n"_s;
        return 2;
    }
    out << SLLocalizedString(arguments.first()) << u'\n';
    return 0;
}
