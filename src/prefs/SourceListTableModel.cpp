#include "SourceListTableModel.h"

#include "ExcludeViewController.h"
#include "product/StringTable.h"

using namespace Qt::StringLiterals;

namespace {

ExcludeViewController::Table tableOf(int table)
{
    return table == ExcludeViewController::PartialPathTable ? ExcludeViewController::PartialPathTable
                                                            : ExcludeViewController::WholePathTable;
}

} // namespace

SourceListTableModel::SourceListTableModel(ExcludeViewController *controller, int table)
    : QAbstractTableModel(controller)
    , m_controller(controller)
    , m_table(table)
{
}

QString SourceListTableModel::columnIdentifier(int column)
{
    switch (column) {
    case StateColumn:
        return u"State"_s;
    case PathColumn:
        return u"Path"_s;
    default:
        return QString();
    }
}

int SourceListTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_controller->numberOfRowsInTableView(tableOf(m_table));
}

int SourceListTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant SourceListTableModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const auto table = tableOf(m_table);
    const QString column = columnIdentifier(index.column());
    switch (role) {
    case Qt::DisplayRole:
        // The check box shows the state; the number is the cell's value, not its text.
        return index.column() == StateColumn ? QVariant() : m_controller->objectValue(table, column, index.row());
    case Qt::EditRole:
        return m_controller->objectValue(table, column, index.row());
    case Qt::CheckStateRole:
        if (index.column() != StateColumn)
            return {};
        return m_controller->objectValue(table, column, index.row()).toInt() ? Qt::Checked : Qt::Unchecked;
    case Qt::ToolTipRole:
        return index.column() == PathColumn ? m_controller->objectValue(table, column, index.row()) : QVariant();
    case IconRole:
        return int(m_controller->cellIcon(table, column, index.row()));
    case Qt::DecorationRole: {
        const Icon icon = m_controller->cellIcon(table, column, index.row());
        if (icon == Icon::None)
            return {};
        const QIcon image = m_controller->iconFor(icon, m_controller->objectValue(table, column, index.row()).toString());
        return image.isNull() ? QVariant() : QVariant(image);
    }
    default:
        return {};
    }
}

QVariant SourceListTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section != PathColumn)
        return {};
    return m_table == ExcludeViewController::PartialPathTable ? SLLocalizedString(u"Partial Path"_s)
                                                               : SLLocalizedString(u"Path"_s);
}

Qt::ItemFlags SourceListTableModel::flags(const QModelIndex &index) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return Qt::NoItemFlags;
    const auto table = tableOf(m_table);
    Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    if (!m_controller->isCellEnabled(table, columnIdentifier(index.column()), index.row()))
        return flags;
    flags |= Qt::ItemIsEnabled;
    if (index.column() == StateColumn)
        flags |= Qt::ItemIsUserCheckable;
    else if (table == ExcludeViewController::PartialPathTable)
        flags |= Qt::ItemIsEditable;
    return flags;
}

bool SourceListTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid) || !(flags(index) & Qt::ItemIsEnabled))
        return false;
    const auto table = tableOf(m_table);
    if (role == Qt::CheckStateRole && index.column() == StateColumn) {
        // A click on the box: the controller flips the state and tells the others.
        const int wanted = value.toInt() == Qt::Checked ? 1 : 0;
        if ((m_controller->rows(table).at(index.row()).state() != 0) != (wanted != 0))
            m_controller->toggleCheckBoxState(table, index.row());
        return true;
    }
    if (role != Qt::EditRole)
        return false;
    m_controller->setObjectValue(table, value, columnIdentifier(index.column()), index.row());
    return true;
}

bool SourceListTableModel::reloadData(bool startOver)
{
    // Same rows: values changed in place and the selection stays. Rows added or removed: the
    // table starts over without a selection.
    const int rows = m_controller->numberOfRowsInTableView(tableOf(m_table));
    if (rows == m_shownRows && !startOver) {
        if (rows > 0)
            Q_EMIT dataChanged(index(0, 0), index(rows - 1, ColumnCount - 1));
        return false;
    }
    beginResetModel();
    m_shownRows = rows;
    endResetModel();
    return true;
}
