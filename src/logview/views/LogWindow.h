#pragma once

#include "logview/LogViewController.h"

#include <QObject>
#include <QPointer>

class QWidget;

// The log window: built the first time it is shown, with the viewer's pane filling it, and
// released when closed, so that an idle monitor keeps no table of runs.
class LogWindow : public QObject, public LogWindowPresenter
{
    Q_OBJECT
public:
    explicit LogWindow(QObject *parent = nullptr);
    ~LogWindow() override;

    void showLogWindow(LogViewController *viewer) override;
    void closeLogWindow() override;
    bool isLogWindowOpen() const override;
    QWidget *window() const { return m_window; }

private:
    QPointer<QWidget> m_window;
};
