#include "TrayHelp.h"

namespace TrayHelp {

QPoint origin(const QRect &itemFrame)
{
    constexpr int kBelow = 130;
    if (!itemFrame.isValid())
        return QPoint(0, kBelow);
    return QPoint(itemFrame.x() - kWindowSize.width() / 2, itemFrame.y() + itemFrame.height() + kBelow);
}

} // namespace TrayHelp
