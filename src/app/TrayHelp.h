#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

// The first-run help: a small window pointing at the status item, once after installation.
namespace TrayHelp {

constexpr QSize kWindowSize(307, 99);
constexpr int kShownMs = 20000;

// The window's top-left on a screen whose y grows downwards: half the arrow view's width (the
// whole window) left of the item, and 130 points below the item's bottom edge (the item's y less
// 130 where y grows upwards). With no item frame known, at the screen's left edge, 130 points down.
QPoint origin(const QRect &itemFrame);

} // namespace TrayHelp

// The help window on screen, as the monitor sees it.
class TrayHelpPresenter
{
public:
    virtual ~TrayHelpPresenter() = default;
    virtual void showTrayHelp() = 0;
    virtual void closeTrayHelp() = 0;
};
