#include "ArrayExtensions.h"

#include "platform/Paths.h"
#include "platform/AtomicFile.h"
#include "platform/FileContents.h"
#include "platform/KeyedArchive.h"
#include "platform/Workspace.h"

#include <QFile>

namespace MyExtensions {

QString objectWithPrefix(const QStringList &array, const QString &path)
{
    if (array.isEmpty() || path.split(u'/').size() < 2)
        return QString();
    QString candidate = path;
    for (;;) {
        for (const QString &element : array) {
            if (element.startsWith(candidate))
                return element;
        }
        const QString shorter = stringByDeletingLastPathComponent(candidate);
        // "/" cut again stays "/": stop there rather than search it twice.
        if (shorter == candidate || shorter.split(u'/').size() <= 1)
            return QString();
        candidate = shorter;
    }
}

QStringList objectsWithPrefix(const QStringList &array, const QString &prefix)
{
    QStringList out;
    for (const QString &element : array) {
        if (element.startsWith(prefix))
            out.append(element);
    }
    return out;
}

int filterEmptyEntries(QStringList &array)
{
    int removed = 0;
    for (qsizetype i = array.size() - 1; i >= 0; --i) {
        if (array.at(i).isEmpty()) {
            array.removeAt(i);
            ++removed;
        }
    }
    return removed;
}

void filterRemovableMediaFilePaths(QStringList &array)
{
    const QStringList media = Workspace::mountedRemovableMedia();
    array.removeIf([&](const QString &path) {
        for (const QString &mount : media) {
            if (path.startsWith(mount))
                return true;
        }
        return false;
    });
    array.removeIf([](const QString &path) { return !Workspace::isLocalVolume(path); });
}

} // namespace MyExtensions

namespace MyExtensions {

bool writeToArchivedFile(const QVariantList &array, const QString &path, const QString &key)
{
    const QByteArray data = KeyedArchive::archive({{key, array}});
    return AtomicFile::write(path, data, 0777);
}

std::optional<QVariantList> initWithContentsOfArchivedFile(const QString &path, const QString &key)
{
    const FileContents file = FileContents::read(path);
    if (!file.ok())
        return std::nullopt;
    const KeyedArchive::Result result = KeyedArchive::unarchive(file.data());
    if (!result.ok())
        return std::nullopt;
    return result.topObjects.value(key).toList();
}

} // namespace MyExtensions
