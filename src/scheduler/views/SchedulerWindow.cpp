#include "SchedulerWindow.h"

#include "ScheduleEditSheetView.h"
#include "platform/ImageNamed.h"
#include "product/StringTable.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "ui_SchedulerView.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QHeaderView>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QToolBar>

using namespace Qt::StringLiterals;

namespace {

// The summary window: tells the editor before it goes, so that the refresh stops with it.
class SummaryMainWindow : public QMainWindow
{
public:
    explicit SummaryMainWindow(std::function<void()> willClose) : m_willClose(std::move(willClose)) {}

protected:
    void closeEvent(QCloseEvent *event) override
    {
        m_willClose();
        event->accept();
    }

private:
    std::function<void()> m_willClose;
};

struct ToolbarItem {
    const char16_t *identifier;
    const char16_t *label;
    const char16_t *image;
    ScheduleEditor::MenuAction action;
};

constexpr ToolbarItem kToolbarItems[] = {
    {u"EditItem", u"Edit", u"schedule_edit", ScheduleEditor::MenuAction::Edit},
    {u"ImmediateItem", u"Immediate", u"schedule_immidiate", ScheduleEditor::MenuAction::Immediate},
    {u"RefreshItem", u"Refresh", u"schedule_refresh", ScheduleEditor::MenuAction::Refresh},
    {u"StopTransferItem", u"Stop Transfer", u"schedule_stop_transfer",
     ScheduleEditor::MenuAction::StopFromMenu},
    {u"DeleteItem", u"Delete", u"schedule_delete", ScheduleEditor::MenuAction::Delete},
};

} // namespace

SchedulerWindow::SchedulerWindow(ScheduleEditor *editor, CorvaneSchedulerController *store,
                                 QObject *parent)
    : QObject(parent)
    , m_editor(editor)
    , m_store(store)
{
    m_editor->setPresenter(this);
    connect(m_editor, &ScheduleEditor::summaryControlsChanged, this, &SchedulerWindow::render);
    connect(m_store, &CorvaneSchedulerController::rowSelectionRequested, this,
            &SchedulerWindow::selectRow);
    connect(m_store, &CorvaneSchedulerController::saveSkippedNoteChanged, this,
            &SchedulerWindow::render);
}

SchedulerWindow::~SchedulerWindow()
{
    delete m_window;
    delete m_ui;
}

QMainWindow *SchedulerWindow::window() const
{
    return m_window;
}

ScheduleEditSheetView *SchedulerWindow::editSheet() const
{
    return m_sheet;
}

void SchedulerWindow::showSummaryWindow()
{
    if (!m_window)
        build();
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

bool SchedulerWindow::isSummaryWindowVisible() const
{
    return m_window && m_window->isVisible();
}

void SchedulerWindow::build()
{
    auto *window = new SummaryMainWindow([this] { m_editor->windowWillClose(); });
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setObjectName(u"schedulerSummaryWindow"_s);
    window->setWindowTitle(SLLocalizedString(u"ApplicationName"_s) + u" Schedules"_s);
    auto *central = new QWidget(window);
    delete m_ui;
    m_ui = new Ui::SchedulerView;
    m_ui->setupUi(central);
    window->setCentralWidget(central);
    m_window = window;

    QTableView *table = m_ui->schedulerTable;
    table->setModel(m_store->configuredSchedules());
    table->horizontalHeader()->setStretchLastSection(true);
    table->verticalHeader()->hide();
    for (int column = 0; column < ScheduleTableModel::ColumnCount; ++column) {
        const QVariant id = m_store->configuredSchedules()->headerData(
            column, Qt::Horizontal, ScheduleTableModel::IdentifierRole);
        if (id.toString() == "schedulerSummaryTV"_L1)
            table->setColumnHidden(column, true); // no width: the days are in the matrix below
    }
    table->resizeColumnsToContents();
    // Every save reloads the list: the row the user works on stays selected, quietly.
    connect(m_store->configuredSchedules(), &QAbstractItemModel::modelAboutToBeReset, this,
            [this] { m_rendering = true; });
    connect(m_store->configuredSchedules(), &QAbstractItemModel::modelReset, this, [this] {
        if (m_window && m_store->selectedRow() >= 0)
            m_ui->schedulerTable->selectRow(m_store->selectedRow());
        m_rendering = false;
    });
    addToolbarAndMenu();
    connectControls();
    render();
    window->resize(820, 600);
    if (const QScreen *screen = QGuiApplication::primaryScreen())
        window->move(screen->availableGeometry().center() - window->rect().center());
}

void SchedulerWindow::addToolbarAndMenu()
{
    QToolBar *toolbar = m_window->addToolBar(SLLocalizedString(u"Schedules"_s));
    toolbar->setObjectName(kToolbarIdentifier);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    toolbar->setMovable(false);
    QMenu *menu = m_window->menuBar()->addMenu(SLLocalizedString(u"&Schedule"_s));
    for (const ToolbarItem &entry : kToolbarItems) {
        const QString label = SLLocalizedString(QString::fromUtf16(entry.label));
        QAction *item = toolbar->addAction(ImageNamed::icon(QString::fromUtf16(entry.image)), label);
        item->setObjectName(QString::fromUtf16(entry.identifier));
        // The menu's Stop asks with the alert pane; the toolbar's with a sheet.
        QAction *menuItem = menu->addAction(label);
        menuItem->setObjectName(QString::fromUtf16(entry.identifier) + u"Menu"_s);
        menuItem->setProperty("menuAction", int(entry.action));
        const auto run = [this, action = entry.action](bool fromMenu) {
            switch (action) {
            case ScheduleEditor::MenuAction::Edit: m_editor->editSchedule(); break;
            case ScheduleEditor::MenuAction::Immediate: m_editor->ImmidiatelyRunSchedule(false); break;
            case ScheduleEditor::MenuAction::Refresh: m_editor->ReloadSchedules(); break;
            case ScheduleEditor::MenuAction::StopFromMenu:
                fromMenu ? m_editor->stopScheduleFromMenu() : m_editor->stopRunningSchedule();
                break;
            case ScheduleEditor::MenuAction::Delete: m_editor->deleteSchedule(); break;
            case ScheduleEditor::MenuAction::BackUpNow: break; // the menu's own item, below
            }
        };
        connect(item, &QAction::triggered, this, [run] { run(false); });
        connect(menuItem, &QAction::triggered, this, [run] { run(true); });
    }
    menu->addSeparator();
    QAction *backUpNow = menu->addAction(SLLocalizedString(u"Back Up Now"_s));
    backUpNow->setObjectName(u"scheduleImmeadiateBackupMenu"_s);
    backUpNow->setProperty("menuAction", int(ScheduleEditor::MenuAction::BackUpNow));
    connect(backUpNow, &QAction::triggered, this, [this] {
        showSummaryWindow(); // in front of every other window first
        m_store->scheduleImmeadiateBackup();
    });
    connect(menu, &QMenu::aboutToShow, this, [this, menu] {
        for (QAction *item : menu->actions()) {
            if (item->isSeparator())
                continue;
            item->setEnabled(m_editor->validateMenuItem(
                ScheduleEditor::MenuAction(item->property("menuAction").toInt())));
        }
    });
}

void SchedulerWindow::connectControls()
{
    Ui::SchedulerView &ui = *m_ui;
    connect(ui.schedulerTable->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        if (m_rendering)
            return;
        QList<int> rows;
        for (const QModelIndex &index : m_ui->schedulerTable->selectionModel()->selectedRows())
            rows.append(index.row());
        m_editor->tableViewSelectionChanged(rows);
    });
    const QList<QCheckBox *> cells = {ui.mDayMatrix_0, ui.mDayMatrix_1, ui.mDayMatrix_2, ui.mDayMatrix_3,
                                      ui.mDayMatrix_4, ui.mDayMatrix_5, ui.mDayMatrix_6};
    for (int tag = 0; tag < cells.size(); ++tag)
        connect(cells[tag], &QCheckBox::clicked, this, [this, tag](bool on) { m_editor->dayMatrixCellClicked(tag, on); });
    connect(ui.dailyCheckBox, &QCheckBox::clicked, m_editor, &ScheduleEditor::setDailyJob);
    connect(ui.startImmediatelyCheckBox, &QCheckBox::clicked, m_editor, &ScheduleEditor::startImmediatelyToggled);
    connect(ui.scheduleTimeField, &QTimeEdit::editingFinished, this, [this] {
        QDateTime time = m_editor->summary().time.isValid() ? m_editor->summary().time : QDateTime::currentDateTime();
        if (time.time() == m_ui->scheduleTimeField->time())
            return; // focus left the picker: nothing changed
        time.setTime(m_ui->scheduleTimeField->time());
        m_editor->timePickerChanged(time);
    });
    connect(ui.enableCutoffForScheduleJobPreferenceButton, &QCheckBox::clicked, m_editor, &ScheduleEditor::enableCuttoffTime);
    connect(ui.cutoffTime, &QTimeEdit::timeChanged, this, [this](QTime time) {
        if (m_rendering)
            return;
        QDateTime cutoff = m_editor->summary().cutoff;
        cutoff.setTime(time);
        m_editor->cutoffTimeChanged(cutoff);
    });
    connect(ui.sendEmailNotificationButton, &QCheckBox::clicked, m_editor, &ScheduleEditor::sendEmailNotificationButtonStateToggle);
    connect(ui.emailField, &QLineEdit::editingFinished, this, [this] { m_editor->emailsEdited(m_ui->emailField->text()); });
    connect(ui.notifyAlwaysButton, &QRadioButton::clicked, m_editor, &ScheduleEditor::notifyAlwaysSelected);
    connect(ui.notifyOnFailureButton, &QRadioButton::clicked, m_editor, &ScheduleEditor::notifyOnFailureSelected);
    connect(ui.missedScheduleCheckBox, &QCheckBox::clicked, m_editor, &ScheduleEditor::missedScheduleToggled);
}

void SchedulerWindow::render()
{
    if (!m_window)
        return;
    m_rendering = true;
    const SummaryControls &c = m_editor->summary();
    Ui::SchedulerView &ui = *m_ui;
    const QList<QCheckBox *> cells = {ui.mDayMatrix_0, ui.mDayMatrix_1, ui.mDayMatrix_2, ui.mDayMatrix_3,
                                      ui.mDayMatrix_4, ui.mDayMatrix_5, ui.mDayMatrix_6};
    for (int tag = 0; tag < cells.size(); ++tag)
        cells[tag]->setChecked(c.days[tag]);
    ui.dailyCheckBox->setChecked(c.daily);
    ui.dailyCheckBox->setText(SLLocalizedString(c.dailyTitle));
    ui.startImmediatelyCheckBox->setChecked(c.startImmediately);
    if (c.time.isValid())
        ui.scheduleTimeField->setTime(c.time.time());
    ui.scheduleTimeField->setEnabled(c.enabled && c.timeEnabled);
    ui.enableCutoffForScheduleJobPreferenceButton->setChecked(c.cutoffOn);
    if (c.cutoff.isValid())
        ui.cutoffTime->setTime(c.cutoff.time());
    ui.cutoffTime->setEnabled(c.enabled && (c.cutoffOn || c.cutoffPickerEnabled));
    ui.sendEmailNotificationButton->setChecked(c.emailOn);
    ui.emailField->setText(c.emails);
    ui.emailField->setEnabled(c.enabled && c.emailOn);
    ui.notifyAlwaysButton->setChecked(c.notifyAlways);
    ui.notifyOnFailureButton->setChecked(c.notifyOnFailure);
    ui.notifyAlwaysButton->setEnabled(c.enabled && c.emailOn);
    ui.notifyOnFailureButton->setEnabled(c.enabled && c.emailOn);
    ui.missedScheduleCheckBox->setChecked(c.missedSchedule);
    for (QWidget *control : std::initializer_list<QWidget *> {
             ui.dailyCheckBox, ui.startImmediatelyCheckBox, ui.enableCutoffForScheduleJobPreferenceButton,
             ui.sendEmailNotificationButton, ui.missedScheduleCheckBox})
        control->setEnabled(c.enabled);
    for (QCheckBox *cell : cells)
        cell->setEnabled(c.enabled);
    QString note = c.note;
    if (note.isEmpty() && m_store->isSaveSkippedNoteVisible())
        note = m_store->lastSaveResult().message;
    ui.noteText->setText(note);
    ui.noteText->setVisible(!note.isEmpty());
    m_rendering = false;
}

void SchedulerWindow::selectRow(int row)
{
    if (!m_window || row < 0 || row >= m_store->configuredSchedules()->rowCount())
        return;
    m_ui->schedulerTable->selectRow(row);
}

void SchedulerWindow::beginSheet(const QString &message, const AlertButtons &buttons,
                                 const QString &context)
{
    if (!m_window)
        return;
    auto *sheet = new QMessageBox(QMessageBox::Warning, SLLocalizedString(u"ApplicationName"_s),
                                  message, QMessageBox::NoButton, m_window);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->setWindowModality(Qt::WindowModal);
    QPushButton *first = sheet->addButton(buttons.defaultButton, QMessageBox::AcceptRole);
    QPushButton *second = buttons.alternateButton.isNull()
        ? nullptr
        : sheet->addButton(buttons.alternateButton, QMessageBox::RejectRole);
    sheet->setDefaultButton(first);
    connect(sheet, &QMessageBox::finished, this, [this, sheet, first, second, context] {
        const QAbstractButton *clicked = sheet->clickedButton();
        const int code = clicked == first ? AlertPresenter::kDefault
            : clicked == second            ? AlertPresenter::kAlternate
                                           : AlertPresenter::kOther;
        m_editor->sheetDidEnd(code, context);
    });
    sheet->open();
}

void SchedulerWindow::showEditSheet()
{
    if (!m_window)
        return;
    if (!m_sheet)
        m_sheet = new ScheduleEditSheetView(m_editor, m_window);
    m_sheet->render();
    m_sheet->open();
}

void SchedulerWindow::closeEditSheet()
{
    if (m_sheet)
        m_sheet->close();
}
