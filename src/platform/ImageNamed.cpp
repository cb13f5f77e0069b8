#include "ImageNamed.h"

#include <QFileInfo>

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
    const QString path = resourcePath(name);
    return path.isEmpty() ? QIcon() : QIcon(path);
}

QPixmap pixmap(const QString &name, const QSize &size)
{
    const QIcon image = icon(name);
    if (image.isNull())
        return QPixmap();
    return image.pixmap(size.isValid() ? size : image.availableSizes().value(0, QSize(64, 64)));
}

} // namespace ImageNamed
