#pragma once

#include <QString>

// The buttons of an alert pane; a null title hides that button.
struct AlertButtons
{
    QString defaultButton;   // result 1
    QString alternateButton; // result 0
    QString otherButton;     // result -1
};

class AlertDelegate
{
public:
    virtual ~AlertDelegate() = default;
    virtual void didClickButton(int result) = 0;
};

// The program's message box as controllers see it. A modal pane returns the button pressed
// (1 default, 0 alternate, -1 other); a non-modal one returns at once and tells `delegate`.
class AlertPresenter
{
public:
    static constexpr int kDefault = 1;
    static constexpr int kAlternate = 0;
    static constexpr int kOther = -1;

    virtual ~AlertPresenter() = default;
    virtual int displayMessage(const QString &message, const QString &title, const AlertButtons &buttons,
                               bool modal, const QString &imageName = QString(),
                               AlertDelegate *delegate = nullptr) = 0;
    // A non-modal message in the one window of that name, reused (and refilled) while it is
    // open, so that asking again does not stack windows. By default an ordinary non-modal pane.
    virtual void displayInWindow(const QString &windowName, const QString &message, const QString &title,
                                 const AlertButtons &buttons, const QString &imageName)
    {
        Q_UNUSED(windowName);
        displayMessage(message, title, buttons, false, imageName);
    }
};
