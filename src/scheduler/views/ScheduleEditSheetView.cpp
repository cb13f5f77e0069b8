#include "ScheduleEditSheetView.h"

#include "DayControl.h"
#include "product/StringTable.h"
#include "scheduler/ScheduleEditor.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTimeEdit>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

ScheduleEditSheetView::ScheduleEditSheetView(ScheduleEditor *editor, QWidget *summaryWindow)
    : QDialog(summaryWindow)
    , m_editor(editor)
{
    setObjectName(u"schedulerEditSheet"_s);
    setWindowTitle(SLLocalizedString(u"Edit Schedule"_s));
    setWindowModality(Qt::WindowModal);
    build();
    connect(m_editor, &ScheduleEditor::editSheetControlsChanged, this, &ScheduleEditSheetView::render);
}

void ScheduleEditSheetView::build()
{
    auto *layout = new QVBoxLayout(this);
    auto *when = new QGroupBox(SLLocalizedString(u"Run the backup"_s), this);
    auto *grid = new QFormLayout(when);
    m_timeSettingsMatrix = new QButtonGroup(this);
    const QString titles[] = {u"Daily Schedule"_s, u"Hourly Schedule"_s, u"Immediately"_s, u"Monthly Schedule"_s};
    for (int row = 0; row < 4; ++row) {
        auto *cell = new QRadioButton(SLLocalizedString(titles[row]), when);
        cell->setObjectName(u"timeSettingsMatrix_%1"_s.arg(row));
        m_timeSettingsMatrix->addButton(cell, row);
        if (row == 3) {
            auto *monthly = new QHBoxLayout;
            monthly->addWidget(cell);
            m_dayPopupButton = new QComboBox(when);
            m_dayPopupButton->setObjectName(u"dayPopupButton"_s);
            for (int day = 1; day <= 31; ++day)
                m_dayPopupButton->addItem(QString::number(day));
            monthly->addWidget(m_dayPopupButton);
            monthly->addStretch();
            grid->addRow(monthly);
        } else {
            grid->addRow(cell);
        }
    }
    // A click on the first row, chosen or not, tells the editor (it turns daily into weekdays).
    connect(m_timeSettingsMatrix, &QButtonGroup::idClicked, m_editor, &ScheduleEditor::updateScheduleTimeSettings);
    connect(m_dayPopupButton, &QComboBox::activated, this, [this](int index) { m_editor->dayPopupChanged(index + 1); });
    m_days = new DayControl(when);
    m_days->setObjectName(u"dayControlClassInstance"_s);
    connect(m_days, &DayControl::stateDidChange, this, [this] { m_editor->stateDidChange(m_days->selectedDays()); });
    grid->addRow(m_days);
    m_time = new QTimeEdit(when);
    m_time->setObjectName(u"scheduleTimeField"_s);
    m_time->setDisplayFormat(u"hh:mm:ss AP"_s);
    grid->addRow(SLLocalizedString(u"Start time:"_s), m_time);
    m_cutoffOn = new QCheckBox(SLLocalizedString(u"Stop the backup at"_s), when);
    m_cutoffOn->setObjectName(u"enableCutoffForScheduleJobPreferenceButton"_s);
    m_cutoff = new QTimeEdit(when);
    m_cutoff->setObjectName(u"cutoffTime"_s);
    m_cutoff->setDisplayFormat(u"hh:mm:ss AP"_s);
    grid->addRow(m_cutoffOn, m_cutoff);
    connect(m_cutoffOn, &QCheckBox::clicked, this, [this](bool on) {
        QDateTime time = m_editor->sheet().cutoff;
        time.setTime(m_cutoff->time());
        m_editor->sheetCutoffChanged(on, time);
        m_cutoff->setEnabled(m_editor->sheet().cutoffOn);
    });
    layout->addWidget(when);

    auto *notify = new QGroupBox(SLLocalizedString(u"Notifications"_s), this);
    auto *form = new QFormLayout(notify);
    m_desktopNotification = new QCheckBox(SLLocalizedString(u"Show a desktop notification"_s), notify);
    m_missedSchedule = new QCheckBox(SLLocalizedString(u"Start a missed backup when the computer is back"_s), notify);
    m_emailOn = new QCheckBox(SLLocalizedString(u"E-mail the result to:"_s), notify);
    m_emailOn->setObjectName(u"sendEmailNotificationButton"_s);
    m_emails = new QLineEdit(notify);
    m_emails->setObjectName(u"emailField"_s);
    m_notifyAlways = new QRadioButton(SLLocalizedString(u"Always"_s), notify);
    m_notifyOnFailure = new QRadioButton(SLLocalizedString(u"Only when a backup fails"_s), notify);
    m_logExtract = new QCheckBox(SLLocalizedString(u"Attach a log extract"_s), notify);
    form->addRow(m_desktopNotification);
    form->addRow(m_missedSchedule);
    form->addRow(m_emailOn, m_emails);
    auto *which = new QHBoxLayout;
    which->addWidget(m_notifyAlways);
    which->addWidget(m_notifyOnFailure);
    which->addWidget(m_logExtract);
    form->addRow(which);
    // The e-mail's address and options follow its box.
    for (QWidget *option : std::initializer_list<QWidget *> {m_emails, m_notifyAlways, m_notifyOnFailure, m_logExtract})
        connect(m_emailOn, &QCheckBox::toggled, option, &QWidget::setEnabled);
    // The editor hears of every change at once, so that a redraw shows what the user left.
    for (QAbstractButton *box : std::initializer_list<QAbstractButton *> {
             m_desktopNotification, m_missedSchedule, m_emailOn, m_notifyAlways, m_notifyOnFailure, m_logExtract})
        connect(box, &QAbstractButton::toggled, this, &ScheduleEditSheetView::pushChanges);
    connect(m_emails, &QLineEdit::textChanged, this, &ScheduleEditSheetView::pushChanges);
    connect(m_time, &QTimeEdit::timeChanged, this, &ScheduleEditSheetView::pushChanges);
    connect(m_cutoff, &QTimeEdit::timeChanged, this, &ScheduleEditSheetView::pushChanges);
    layout->addWidget(notify);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &ScheduleEditSheetView::save);
    connect(buttons, &QDialogButtonBox::rejected, m_editor, &ScheduleEditor::cancelEditSheet);
    // Escape and the window's close button end the edit too.
    connect(this, &QDialog::rejected, m_editor, &ScheduleEditor::cancelEditSheet);
    layout->addWidget(buttons);
}

void ScheduleEditSheetView::render()
{
    m_rendering = true;
    const EditSheetControls &c = m_editor->sheet();
    m_timeSettingsMatrix->button(EditSheetControls::DailyRow)->setText(SLLocalizedString(c.firstCellTitle));
    if (QAbstractButton *row = m_timeSettingsMatrix->button(c.timeSettingsRow)) {
        row->setChecked(true);
    } else {
        m_timeSettingsMatrix->setExclusive(false);
        for (QAbstractButton *cell : m_timeSettingsMatrix->buttons())
            cell->setChecked(false);
        m_timeSettingsMatrix->setExclusive(true);
    }
    m_dayPopupButton->setCurrentIndex(qBound(1, c.dayOfMonth, 31) - 1);
    m_days->setSelectedDays(c.selectedDays);
    if (c.time.isValid())
        m_time->setTime(c.time.time());
    m_time->setEnabled(c.timeEnabled);
    m_cutoffOn->setChecked(c.cutoffOn);
    if (c.cutoff.isValid())
        m_cutoff->setTime(c.cutoff.time());
    m_cutoffOn->setEnabled(c.notificationsEnabled);
    m_cutoff->setEnabled(c.notificationsEnabled && c.cutoffOn);
    m_desktopNotification->setChecked(c.desktopNotification);
    m_missedSchedule->setChecked(c.missedSchedule);
    m_emailOn->setChecked(c.emailOn);
    m_emails->setText(c.emails);
    m_notifyAlways->setChecked(c.notifyAlways);
    m_notifyOnFailure->setChecked(c.notifyOnFailure);
    for (QWidget *control : std::initializer_list<QWidget *> {m_desktopNotification, m_missedSchedule, m_emailOn})
        control->setEnabled(c.notificationsEnabled);
    for (QWidget *option : std::initializer_list<QWidget *> {m_emails, m_notifyAlways, m_notifyOnFailure, m_logExtract})
        option->setEnabled(c.notificationsEnabled && c.emailOn);
    m_logExtract->setChecked(c.logExtract);
    m_rendering = false;
}

void ScheduleEditSheetView::save()
{
    pushChanges();
    m_editor->updateSchedulerEditWindow();
}

void ScheduleEditSheetView::pushChanges()
{
    if (m_rendering)
        return;
    EditSheetControls values = m_editor->sheet();
    values.desktopNotification = m_desktopNotification->isChecked();
    values.missedSchedule = m_missedSchedule->isChecked();
    values.emailOn = m_emailOn->isChecked();
    values.emails = m_emails->text();
    values.notifyAlways = m_notifyAlways->isChecked();
    values.notifyOnFailure = m_notifyOnFailure->isChecked();
    values.logExtract = m_logExtract->isChecked();
    values.cutoff.setTime(m_cutoff->time());
    m_editor->setSheetNotifications(values);
    QDateTime time = m_editor->sheet().time.isValid() ? m_editor->sheet().time : QDateTime::currentDateTime();
    time.setTime(m_time->time());
    m_editor->sheetTimeChanged(time);
}
