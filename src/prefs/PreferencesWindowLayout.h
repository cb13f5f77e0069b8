#pragma once

// Where the preferences window puts the logged-in user's name in its title bar.
namespace PreferencesWindowLayout {

// 10 points in from the right edge; a label as wide as the window goes at 300 instead.
inline int userNameLabelX(int windowWidth, int labelWidth)
{
    return windowWidth - labelWidth == 0 ? 300 : windowWidth - labelWidth - 10;
}

} // namespace PreferencesWindowLayout
