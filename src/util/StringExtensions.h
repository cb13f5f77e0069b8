#pragma once

#include <QString>
#include <QStringConverter>

// Path tests and string surgery on plain strings. Paths are POSIX path strings; file tests go
// through Paths, so product paths may be given.
namespace stelloaExtension {

bool isChildOfHiddenFolder(const QString &path);
// Called on the folder: true when `candidate` lies inside it (a folder is not its own child).
bool isChildOfFolder(const QString &folder, const QString &candidate);
// True when `other` is the receiver or one of its ancestors.
bool isSuperStringOf(const QString &receiver, const QString &other);
// Walks from the receiver up towards `root`; true if some visited path does not exist, with the
// highest missing one in `missing`.
bool isAnyNonExistentDirectoryInPath(const QString &receiver, const QString &root,
                                     QString *missing = nullptr);
bool fileVisible(const QString &path);
bool isOSFile(const QString &path);

QString encryptedString(const QString &text);
QString decryptedString(const QString &text);

bool saveToFile(const QString &text, const QString &path, QString *error = nullptr);
// The file decoded as UTF-8, or a null string when it cannot be read.
QString loadStringFromFile(const QString &path, QString *error = nullptr);

QString posixPathForString(const QString &path);
bool isStringMatchesExpression(const QString &text, const QString &pattern);

QString subStringFromString(const QString &text, const QString &from, const QString &to,
                            bool isBackward = false);
QString reverseString(const QString &text);
QString numberFormat(const QString &text);
QString trimCharactersAtFirstandLast(const QString &text);

QString stringByAddingRFC3875PercentEscapesUsingEncoding(
    const QString &text, QStringConverter::Encoding encoding = QStringConverter::Utf8);
QString stringByAddingRFC3875PercentEscapesUsingEncodingForShare(
    const QString &text, QStringConverter::Encoding encoding = QStringConverter::Utf8);
QString stringByAddingRFC3875PercentEscapesUsingEncodingForKey(
    const QString &text, QStringConverter::Encoding encoding = QStringConverter::Utf8);
QString stringByReplacingRFC3875PercentEscapesUsingEncoding(
    const QString &text, QStringConverter::Encoding encoding = QStringConverter::Utf8);

QString removeTrailingCharacter(const QString &text);
bool isDir(const QString &path);

} // namespace stelloaExtension
