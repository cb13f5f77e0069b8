#pragma once

#include "logview/LogViewController.h"

#include <QPointer>
#include <QWidget>

#include <memory>

class QTextBrowser;

namespace Ui {
class LogView;
}

// The log viewer pane: the period pop-up, the runs table, the summary and log tabs. It renders
// the controller and forwards the user's choices; it asks for folders with the file dialog.
class LogView : public QWidget, public LogFolderChooser
{
    Q_OBJECT
public:
    explicit LogView(LogViewController *controller, QWidget *parent = nullptr);
    ~LogView() override;

    QString chooseFolder() override;
    QWidget *control(const char *name) const;

private:
    void connectControls();
    void renderTexts();
    void renderPeriod(int tag);
    void selectRow(int row);
    void showContextMenu(const QPoint &at);
    QList<int> selectedRows() const;
    static void showText(QTextBrowser *view, const LogText &text);

    QPointer<LogViewController> m_controller; // the monitor's; it may go first when the monitor quits
    std::unique_ptr<Ui::LogView> m_ui;
    QWidget *m_summaryTab = nullptr;
};
