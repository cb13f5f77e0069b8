#include "ImageNamed.h"

#include <QFileInfo>
#include <QHash>
#include <QMutex>

using namespace Qt::StringLiterals;

namespace ImageNamed {

QString resourcePath(const QString &name)
{
    const QString base = QFileInfo(name).completeBaseName();
    for (const QString &extension : {u".svg"_s, u".png"_s}) {
        const QString path = u":/icons/"_s + base + extension;
        if (QFileInfo::exists(path))
            return path;
    }
    return QString();
}

QIcon icon(const QString &name)
{
    // One icon per name, kept: a fresh icon renders its artwork again on every paint, and a table
    // asks for its cells' icons on every repaint. The embedded images are few.
    static QMutex lock;
    static auto *made = new QHash<QString, QIcon>; // never freed: icons outlive the application
    const QMutexLocker locked(&lock);
    if (const auto found = made->constFind(name); found != made->cend())
        return *found;
    const QString path = resourcePath(name);
    return *made->insert(name, path.isEmpty() ? QIcon() : QIcon(path));
}

QPixmap pixmap(const QString &name, const QSize &size)
{
    const QIcon image = icon(name);
    if (image.isNull())
        return QPixmap();
    return image.pixmap(size.isValid() ? size : image.availableSizes().value(0, QSize(64, 64)));
}

} // namespace ImageNamed
