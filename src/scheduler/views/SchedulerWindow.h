#pragma once

#include "scheduler/ScheduleEditor.h"

#include <QObject>
#include <QPointer>

class QMainWindow;
class QMenu;
class QWidget;
class ScheduleEditSheetView;
namespace Ui {
class SchedulerView;
}

// The schedule summary window: the toolbar, the table of schedules and the controls under it,
// its sheets and the edit sheet. Built when first shown and released when closed; it renders
// what the editor keeps and forwards what the user does.
class SchedulerWindow : public QObject, public SchedulerWindowPresenter
{
    Q_OBJECT
public:
    static inline const QString kToolbarIdentifier
        = QStringLiteral("Corvane Scheduler Toolbar Identifier");

    SchedulerWindow(ScheduleEditor *editor, CorvaneSchedulerController *store,
                    QObject *parent = nullptr);
    ~SchedulerWindow() override;

    void showSummaryWindow() override;
    bool isSummaryWindowVisible() const override;
    void beginSheet(const QString &message, const AlertButtons &buttons,
                    const QString &context) override;
    void showEditSheet() override;
    void closeEditSheet() override;

    QMainWindow *window() const;
    ScheduleEditSheetView *editSheet() const;

private:
    void build();
    void addToolbarAndMenu();
    void connectControls();
    void render();
    void selectRow(int row);

    ScheduleEditor *m_editor;
    CorvaneSchedulerController *m_store;
    QPointer<QMainWindow> m_window;
    QPointer<ScheduleEditSheetView> m_sheet;
    Ui::SchedulerView *m_ui = nullptr;
    bool m_rendering = false;
};
