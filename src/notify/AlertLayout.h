#pragma once

#include <QString>

// How an alert pane grows with its message: lines of 70 characters, 18 points a line beyond the
// two the pane is designed for, buttons moving half as much again.
namespace AlertLayout {

constexpr int kCharactersPerLine = 70;
constexpr int kPointsPerLine = 18;
constexpr int kDesignedLines = 2;
constexpr double kButtonFactor = 1.5;

// Each "\n"-separated piece counts ceil(length / 70) lines, an empty piece one; "" is 0.
int calculateTotalLinesFromText(const QString &text);
// The growth for `extraLines` (nothing for zero or fewer).
int growthForExtraLines(int extraLines);
int buttonShiftForExtraLines(int extraLines);
// The icon shown when the caller names none.
QString defaultImageName(bool corvane);
// A title this long or longer makes its button size itself to fit.
constexpr int kSelfSizingTitleLength = 6;

} // namespace AlertLayout
