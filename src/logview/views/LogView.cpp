#include "LogView.h"

#include "platform/ImageNamed.h"
#include "product/StringTable.h"
#include "ui_logView.h"

#include <QFileDialog>
#include <QHeaderView>
#include <QMenu>
#include <QStyledItemDelegate>
#include <QTextBrowser>

using namespace Qt::StringLiterals;

namespace {

// The "Operation" cell: the operation's 16-point icon before its name.
class OperationDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        const QIcon icon = ImageNamed::icon(index.data(LogTableModel::IconNameRole).toString());
        if (!icon.isNull()) {
            option->features |= QStyleOptionViewItem::HasDecoration;
            option->icon = icon;
            option->decorationSize = QSize(16, 16);
        }
    }
};

} // namespace

LogView::LogView(LogViewController *controller, QWidget *parent)
    : QWidget(parent)
    , m_controller(controller)
    , m_ui(std::make_unique<Ui::LogView>())
{
    m_ui->setupUi(this);
    // Pop-up items carry the period tags, in the order a person reads them.
    for (const auto &[title, tag] : {std::pair{u"Last Week"_s, int(LogViewController::LastWeek)},
                                     std::pair{u"Last Two Weeks"_s, int(LogViewController::LastTwoWeeks)},
                                     std::pair{u"Last Month"_s, int(LogViewController::LastOneMonth)},
                                     std::pair{u"From the Beginning"_s, int(LogViewController::FromTheBeginning)}})
        m_ui->mPopupButton->addItem(SLLocalizedString(title), tag);
    QTableView *table = m_ui->mTableView;
    table->setModel(m_controller->tableModel());
    table->setItemDelegateForColumn(LogTableModel::OperationColumn, new OperationDelegate(table));
    table->verticalHeader()->hide();
    table->horizontalHeader()->setStretchLastSection(true);
    table->horizontalHeader()->setSortIndicatorShown(true);
    table->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder); // newest first until a column is clicked
    table->setColumnWidth(LogTableModel::OperationColumn, 200);
    table->setColumnWidth(LogTableModel::DateTimeColumn, 200);
    m_summaryTab = m_ui->mSummaryTab;
    m_controller->setFolderChooser(this);
    connectControls();
    renderPeriod(m_controller->selectedPeriod());
    renderTexts();
}

LogView::~LogView()
{
    if (m_controller)
        m_controller->setFolderChooser(nullptr);
}

void LogView::connectControls()
{
    LogViewController *c = m_controller;
    connect(m_ui->mPopupButton, &QComboBox::activated, c,
            [this, c](int index) { c->sortLogsFromMenu(m_ui->mPopupButton->itemData(index).toInt()); });
    connect(m_ui->helpButton, &QToolButton::clicked, c, &LogViewController::onlineHelp);
    connect(m_ui->mTableView->selectionModel(), &QItemSelectionModel::currentRowChanged, c,
            [c](const QModelIndex &current) { c->tableViewSelectionChanged(current.isValid() ? current.row() : -1); });
    connect(m_ui->mTableView, &QWidget::customContextMenuRequested, this, &LogView::showContextMenu);
    for (QTextBrowser *view : {m_ui->mSummaryView, m_ui->mDetailView})
        connect(view, &QTextBrowser::anchorClicked, c, &LogViewController::linkClicked);
    connect(c, &LogViewController::textsChanged, this, &LogView::renderTexts);
    connect(c, &LogViewController::periodChanged, this, &LogView::renderPeriod);
    connect(c, &LogViewController::selectRowRequested, this, &LogView::selectRow);
}

void LogView::renderPeriod(int tag)
{
    const int index = m_ui->mPopupButton->findData(tag);
    if (index >= 0)
        m_ui->mPopupButton->setCurrentIndex(index);
}

void LogView::renderTexts()
{
    QTabWidget *tabs = m_ui->mTabView;
    const bool summaryShown = tabs->indexOf(m_summaryTab) >= 0;
    if (m_controller->summaryTabShown() && !summaryShown)
        tabs->insertTab(0, m_summaryTab, SLLocalizedString(u"Summary"_s));
    else if (!m_controller->summaryTabShown() && summaryShown)
        tabs->removeTab(tabs->indexOf(m_summaryTab));
    showText(m_ui->mSummaryView, m_controller->summaryText());
    showText(m_ui->mDetailView, m_controller->detailText());
    tabs->setCurrentIndex(0);
}

void LogView::showText(QTextBrowser *view, const LogText &text)
{
    view->setPlainText(text.text);
    if (text.linkStart >= 0) {
        QTextCursor link(view->document());
        link.setPosition(text.linkStart);
        link.setPosition(text.linkStart + text.linkLength, QTextCursor::KeepAnchor);
        QTextCharFormat format;
        format.setAnchor(true);
        format.setAnchorHref(text.link.toString());
        format.setForeground(Qt::blue);
        format.setFontUnderline(true);
        link.mergeCharFormat(format);
    }
    view->moveCursor(QTextCursor::Start);
}

void LogView::selectRow(int row)
{
    if (row >= 0 && row < m_controller->tableModel()->rowCount())
        m_ui->mTableView->selectRow(row);
}

QList<int> LogView::selectedRows() const
{
    QList<int> rows;
    for (const QModelIndex &index : m_ui->mTableView->selectionModel()->selectedRows())
        rows.append(index.row());
    return rows;
}

void LogView::showContextMenu(const QPoint &at)
{
    const int clicked = m_ui->mTableView->indexAt(at).row();
    if (!m_controller->validateMenuItem(false, clicked, selectedRows()))
        return;
    QMenu menu(this);
    LogViewController *c = m_controller;
    const QList<int> rows = selectedRows();
    menu.addAction(SLLocalizedString(u"Delete"_s), c, [c, clicked] { c->deleteRow(clicked); });
    menu.addAction(SLLocalizedString(u"Delete Selected Items"_s), c, [c, rows] { c->deleteSelectedItems(rows); });
    menu.addAction(SLLocalizedString(u"Delete All Items"_s), c, [c] { c->deleteAllItems(); });
    menu.addSeparator();
    menu.addAction(SLLocalizedString(u"Archive Selected Logs…"_s), c, [c, rows] { c->archiveSelectedLog(rows); });
    menu.exec(m_ui->mTableView->viewport()->mapToGlobal(at));
}

QString LogView::chooseFolder()
{
    QFileDialog dialog(this);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    dialog.setLabelText(QFileDialog::Accept, SLLocalizedString(u"OK"_s));
    return dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}

QWidget *LogView::control(const char *name) const
{
    return findChild<QWidget *>(QString::fromLatin1(name));
}
