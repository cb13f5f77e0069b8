#include "ExcludeView.h"

#include "KeyDownInTableView.h"
#include "platform/Paths.h"
#include "prefs/ExcludeViewController.h"
#include "product/StringTable.h"
#include "ui_ExcludeView.h"

#include <QFileDialog>
#include <QFileIconProvider>
#include <QHeaderView>
#include <QItemSelectionModel>

using namespace Qt::StringLiterals;

namespace {

// Several files and folders at once: the dialog's own accept would step into a chosen folder.
class FilesAndFoldersDialog : public QFileDialog
{
public:
    using QFileDialog::QFileDialog;

    void accept() override
    {
        if (!selectedFiles().isEmpty())
            QDialog::accept();
    }
};

QIcon iconFor(SourceListTableModel::Icon icon, const QString &path)
{
    static const QFileIconProvider provider;
    switch (icon) {
    case SourceListTableModel::Icon::ItemIcon:
        return provider.icon(QFileInfo(Paths::current().resolve(path)));
    case SourceListTableModel::Icon::FolderIcon:
        return provider.icon(QAbstractFileIconProvider::Folder);
    case SourceListTableModel::Icon::DocumentIcon:
        return provider.icon(QAbstractFileIconProvider::File);
    default:
        return {};
    }
}

} // namespace

ExcludeView::ExcludeView(ExcludeViewController *controller, QWidget *parent)
    : QWidget(parent)
    , m_controller(controller)
    , m_ui(std::make_unique<Ui::ExcludeView>())
{
    m_ui->setupUi(this);
    retranslate();
    m_controller->setOpenPanelPresenter(this);
    m_controller->setIconProvider(iconFor);
    setUpTable(m_ui->mExcludeFilesTableView, ExcludeViewController::WholePathTable);
    setUpTable(m_ui->mPartialExcludeListTableView, ExcludeViewController::PartialPathTable);

    connect(m_ui->addFilesButton, &QPushButton::clicked, m_controller, &ExcludeViewController::addFilesToExclusionList);
    connect(m_ui->removeFromExclusionListButton, &QPushButton::clicked, m_controller,
            &ExcludeViewController::removeFilesFromExclusionList);
    connect(m_ui->addToPartialExclusionListButton, &QPushButton::clicked, m_controller,
            &ExcludeViewController::addPartialPathToExclusionList);
    connect(m_ui->removeFromPartialExclusionListButton, &QPushButton::clicked, m_controller,
            &ExcludeViewController::removePartialPathFromExclusionList);
    connect(m_ui->excludeCheckbox, &QCheckBox::clicked, m_controller, &ExcludeViewController::ExcludeHiddenChanged);
    connect(m_controller, &ExcludeViewController::controlsChanged, this, &ExcludeView::updateControls);
    connect(m_controller, &ExcludeViewController::sizeTextChanged, this, &ExcludeView::updateControls);
    connect(m_controller, &ExcludeViewController::editPartialPathRequested, this, [this](int row) {
        KeyDownInTableView *table = m_ui->mPartialExcludeListTableView;
        const QModelIndex cell = table->model()->index(row, SourceListTableModel::PathColumn);
        table->setCurrentIndex(cell);
        table->edit(cell); // the line editor starts with its text selected
    });
    updateControls();
}

ExcludeView::~ExcludeView()
{
    // The controller outlives its view.
    m_controller->setOpenPanelPresenter(nullptr);
    m_controller->setIconProvider({});
    m_controller->setSizesWanted(false);
}

void ExcludeView::retranslate()
{
    m_ui->wholePathLabel->setText(SLLocalizedString(u"Exclude these files and folders from backup:"_s));
    m_ui->partialPathLabel->setText(SLLocalizedString(u"Exclude every path containing:"_s));
    m_ui->addFilesButton->setText(SLLocalizedString(u"Add…"_s));
    m_ui->removeFromExclusionListButton->setText(SLLocalizedString(u"Remove"_s));
    m_ui->addToPartialExclusionListButton->setText(SLLocalizedString(u"Add"_s));
    m_ui->removeFromPartialExclusionListButton->setText(SLLocalizedString(u"Remove"_s));
    m_ui->excludeCheckbox->setText(SLLocalizedString(u"Exclude hidden files"_s));
}

void ExcludeView::setUpTable(KeyDownInTableView *table, int which)
{
    const auto kind = ExcludeViewController::Table(which);
    table->setModel(m_controller->model(kind));
    table->setIconSize(QSize(16, 16));
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    table->verticalHeader()->hide();
    table->horizontalHeader()->setSectionResizeMode(SourceListTableModel::StateColumn, QHeaderView::ResizeToContents);
    table->horizontalHeader()->setStretchLastSection(true);
    table->setDeleteHandler([this, kind](KeyDownInTableView *) { m_controller->deleteItemFromTableView(kind); });
    connect(table->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this, table, kind] {
        const QModelIndexList rows = table->selectionModel()->selectedRows();
        m_controller->tableViewSelectionDidChange(kind, rows.isEmpty() ? -1 : rows.first().row());
    });
}

void ExcludeView::updateControls()
{
    // A reload forgets the selection in the controller; the table follows.
    for (const auto kind : {ExcludeViewController::WholePathTable, ExcludeViewController::PartialPathTable}) {
        KeyDownInTableView *table = kind == ExcludeViewController::WholePathTable ? m_ui->mExcludeFilesTableView
                                                                                  : m_ui->mPartialExcludeListTableView;
        if (m_controller->selectedRow(kind) < 0 && table->selectionModel()->hasSelection()
            && !table->isEditing())
            table->clearSelection();
    }
    m_ui->removeFromExclusionListButton->setEnabled(m_controller->isRemoveButtonEnabled(ExcludeViewController::WholePathTable));
    m_ui->removeFromPartialExclusionListButton->setEnabled(
        m_controller->isRemoveButtonEnabled(ExcludeViewController::PartialPathTable));
    m_ui->addToPartialExclusionListButton->setEnabled(m_controller->isAddPartialButtonEnabled());
    m_ui->excludeCheckbox->setChecked(m_controller->excludeHiddenFiles());
    m_ui->sizeLabel->setText(m_controller->sizeText());
    m_ui->sizeProgress->setVisible(m_controller->isSizing());
}

void ExcludeView::beginOpenPanel(std::function<void(int returnCode, const QStringList &paths)> done)
{
    auto *dialog = new FilesAndFoldersDialog(this);
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::finished, this, [dialog, done = std::move(done)](int result) {
        done(result == QDialog::Accepted ? 1 : 0, result == QDialog::Accepted ? dialog->selectedFiles() : QStringList());
    });
    dialog->open();
}

KeyDownInTableView *ExcludeView::wholePathTable() const
{
    return m_ui->mExcludeFilesTableView;
}

KeyDownInTableView *ExcludeView::partialPathTable() const
{
    return m_ui->mPartialExcludeListTableView;
}

QWidget *ExcludeView::control(const char *name) const
{
    return findChild<QWidget *>(QString::fromLatin1(name));
}

void ExcludeView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_controller->setSizesWanted(true);
}

void ExcludeView::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    m_controller->setSizesWanted(false);
}
