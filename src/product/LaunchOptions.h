#pragma once

#include <QCommandLineOption>
#include <QList>
#include <QString>

#include <optional>

class QCommandLineParser;

// The options every program of the product takes: --brand, --root, --resources, with
// LUMEN_BRAND, LUMEN_ROOT and LUMEN_RESOURCES as fallbacks.
struct LaunchOptions
{
    QString brand = QStringLiteral("corvane");
    QString root = QStringLiteral("/");
    QString resources;

    static QList<QCommandLineOption> commandLineOptions();
    // Reads the options from a parser that was given commandLineOptions(); an error text for an
    // unknown brand or a missing resources folder.
    static LaunchOptions fromParser(const QCommandLineParser &parser, QString *error);

    // Installs the string table and the path root for the rest of the process; an error text
    // when the string table cannot be used.
    QString apply() const;
    // fromParser() then apply(); on bad options says why on standard error and returns nothing.
    static std::optional<LaunchOptions> applyFromParser(const QCommandLineParser &parser);
};
