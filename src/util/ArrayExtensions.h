#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>

// Array helpers: prefix searches over path lists, in-place filters, and arrays kept in keyed
// archive files.
namespace MyExtensions {

// Identity, not equality: true when `object` is the address of one of the list's elements.
template<typename T>
bool containsObjectIdenticalTo(const QList<T> &list, const T *object)
{
    for (const T &element : list) {
        if (&element == object)
            return true;
    }
    return false;
}

// The first element that has `path` as a prefix; failing that, the same for `path` cut by its
// last component, and so on. Null when nothing matches.
QString objectWithPrefix(const QStringList &array, const QString &path);
QStringList objectsWithPrefix(const QStringList &array, const QString &prefix);

template<typename T>
void insertObjectsFromArray(QList<T> &array, const QList<T> &objects, qsizetype index)
{
    for (const T &object : objects)
        array.insert(index++, object);
}

// Removes the empty strings and returns how many went.
int filterEmptyEntries(QStringList &array);
// Drops paths on removable media, then paths on network volumes.
void filterRemovableMediaFilePaths(QStringList &array);

} // namespace MyExtensions

#include <optional>

namespace MyExtensions {

// Archives the array under `key`, writes it atomically and opens the file to every user (0777)
// whatever the outcome, so that each user's copy of the program can rewrite it.
bool writeToArchivedFile(const QVariantList &array, const QString &path, const QString &key);
// The array stored under `key`, or nothing when the file cannot be read or decoded.
std::optional<QVariantList> initWithContentsOfArchivedFile(const QString &path, const QString &key);

} // namespace MyExtensions
