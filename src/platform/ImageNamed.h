#pragma once

#include <QIcon>
#include <QPixmap>
#include <QString>

// Images by the names the product gives them ("windBG.png", "Corvane_Portable.icns",
// "Portable_tray1"): the extension is ignored and the embedded artwork of that base name is
// used (SVG, else PNG).
namespace ImageNamed {

QString resourcePath(const QString &name); // "" when there is no such image
QIcon icon(const QString &name);
QPixmap pixmap(const QString &name, const QSize &size = QSize());

} // namespace ImageNamed
