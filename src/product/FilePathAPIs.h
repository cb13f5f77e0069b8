#pragma once

#include <QString>

// The monitor's file kinds: a small integer per shared file, resolved through the string table
// for the running brand. Paths returned are product paths (see Paths::resolve).
namespace FilePathAPIs {

QString pathForApplicationFile(int kind);
QString applicationName();
bool isCorvaneApplication();

// The string-table key behind a kind, or empty for a kind without a file.
QString keyForApplicationFile(int kind);

} // namespace FilePathAPIs

// Paths the monitor uses at start that are fixed per brand rather than looked up. Tilde paths
// come back expanded.
namespace BrandPaths {

QString loginDetails();
QString launchRequest();
QString multipleMacState();
QString portFile();
QString schedulerStatus();
QString cdpStateFormat();
QString cdpState(const QString &userName);

struct Entry
{
    QString name;
    QString path;
};
// Every fixed path with a short name, for listings.
QList<Entry> all();

} // namespace BrandPaths
