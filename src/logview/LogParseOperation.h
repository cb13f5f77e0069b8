#pragma once

#include "LogNode.h"

#include <QByteArray>
#include <QList>

#include <optional>

// Reads one XML index file into its records. Runs on the store's worker thread; touches nothing
// but its own data.
class LogParseOperation
{
public:
    struct Result
    {
        // None when nothing in the file could be read as records.
        std::optional<QList<LogNode>> records;
        // Records lost to damage (text the engine wrote unescaped, a cut-off file), and where.
        int lostRecords = 0;
        QString damage;
    };

    // An element's text goes into the record's field of that (lower-cased) name; unknown
    // elements are ignored. A file the reader refuses is read again record by record, with bare
    // "&" taken as text, so that one bad record costs only itself.
    static Result parse(const QByteArray &xmlData);

    // The files as the index writer lays them out, read without the general XML reader (a year
    // of them is read at once): the records, exactly as that reader would give them, or nothing
    // for anything it does not expect, and the general reader reads the file.
    static std::optional<QList<LogNode>> scanWriterLayout(const QByteArray &xmlData);
    // The general XML reader alone: the records, or nothing and why in `error`.
    static std::optional<QList<LogNode>> parseWhole(const QByteArray &xmlData, QString *error);

private:
    static Result salvage(const QByteArray &xmlData, const QString &error);
};
