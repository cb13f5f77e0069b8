#pragma once

#include <QDialog>

class DayControl;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLineEdit;
class QRadioButton;
class QTimeEdit;
class ScheduleEditor;

// The edit sheet over the summary window: how often the schedule runs (four rows), the day of
// the month, the days of the week, the start and cut-off times and the notifications.
class ScheduleEditSheetView : public QDialog
{
    Q_OBJECT
public:
    ScheduleEditSheetView(ScheduleEditor *editor, QWidget *summaryWindow);

    // Shows what the editor holds.
    void render();
    DayControl *dayControl() const { return m_days; }

private:
    void build();
    void save();
    void pushChanges();

    ScheduleEditor *m_editor;
    QButtonGroup *m_timeSettingsMatrix = nullptr;
    QComboBox *m_dayPopupButton = nullptr;
    DayControl *m_days = nullptr;
    QTimeEdit *m_time = nullptr;
    QCheckBox *m_cutoffOn = nullptr;
    QTimeEdit *m_cutoff = nullptr;
    QCheckBox *m_desktopNotification = nullptr;
    QCheckBox *m_missedSchedule = nullptr;
    QCheckBox *m_emailOn = nullptr;
    QLineEdit *m_emails = nullptr;
    QRadioButton *m_notifyAlways = nullptr;
    QRadioButton *m_notifyOnFailure = nullptr;
    QCheckBox *m_logExtract = nullptr;
    bool m_rendering = false;
};
