#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

// The first-run help: a small window pointing at the status item, once after installation.
namespace TrayHelp {

constexpr QSize kWindowSize(307, 99);
constexpr int kShownMs = 20000;

// The window's top-left on a screen whose y grows downwards: half the arrow's width left of the
// item, and its bottom 130 points below the item's bottom (the platform places windows by their
// bottom-left corner, y growing upwards, at the item's y less 130). With no item frame known, at
// the screen's left edge, as far below the top.
QPoint origin(const QRect &itemFrame, int arrowWidth);

} // namespace TrayHelp

// The help window on screen, as the monitor sees it.
class TrayHelpPresenter
{
public:
    virtual ~TrayHelpPresenter() = default;
    virtual void showTrayHelp() = 0;
    virtual void closeTrayHelp() = 0;
};
