#pragma once

#include "app/TrayHelp.h"

#include <QObject>
#include <QPointer>

#include <functional>

class QWidget;

// The first-run help on screen: a borderless window with an arrow pointing up at the status
// item and a line of text, placed once the status item has a frame.
class TrayHelpWindow : public QObject, public TrayHelpPresenter
{
    Q_OBJECT
public:
    // `itemFrame`: where the status item is on the screen (invalid when unknown).
    explicit TrayHelpWindow(std::function<QRect()> itemFrame, QObject *parent = nullptr);
    ~TrayHelpWindow() override;

    void showTrayHelp() override;
    void closeTrayHelp() override;
    QWidget *window() const { return m_window; }

private:
    std::function<QRect()> m_itemFrame;
    QPointer<QWidget> m_window;
};
