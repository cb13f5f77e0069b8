#include "TrayHelp.h"

namespace TrayHelp {

QPoint origin(const QRect &itemFrame, int arrowWidth)
{
    const int below = 130 - kWindowSize.height(); // from the item's bottom to the window's top
    if (!itemFrame.isValid())
        return QPoint(0, below);
    return QPoint(itemFrame.x() - arrowWidth / 2, itemFrame.y() + itemFrame.height() + below);
}

} // namespace TrayHelp
