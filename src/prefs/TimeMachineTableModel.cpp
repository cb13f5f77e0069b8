#include "TimeMachineTableModel.h"

#include "platform/Paths.h"
#include "platform/StringFormat.h"
#include "product/StringTable.h"

using namespace Qt::StringLiterals;

TimeMachineTableModel::TimeMachineTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

void TimeMachineTableModel::setRows(const QList<TimeMachineNode> &rows)
{
    beginResetModel();
    m_rows = rows;
    endResetModel();
}

void TimeMachineTableModel::setCheckState(int row, bool checked)
{
    if (row < 0 || row >= m_rows.size())
        return;
    m_rows[row].checkState = checked;
    const QModelIndex box = index(row, CheckColumn);
    Q_EMIT dataChanged(box, box, {Qt::CheckStateRole});
}

QString TimeMachineTableModel::title(int row, const QString &path)
{
    if (row == 0)
        return SLLocalizedString(u"Time Machine backup"_s);
    return stringWithFormat(SLLocalizedString(u"Time Machine backup - %@"_s),
                            {lastPathComponent(stringByDeletingLastPathComponent(path))});
}

int TimeMachineTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int TimeMachineTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant TimeMachineTableModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const TimeMachineNode &node = m_rows.at(index.row());
    if (index.column() == CheckColumn)
        return role == Qt::CheckStateRole ? QVariant(node.checkState ? Qt::Checked : Qt::Unchecked)
                                          : QVariant();
    switch (role) {
    case Qt::DisplayRole:
        return title(index.row(), node.Path);
    case Qt::DecorationRole:
        return m_image.isNull() ? QVariant() : QVariant(m_image);
    case Qt::ToolTipRole:
        return node.Path;
    default:
        return {};
    }
}

bool TimeMachineTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid) || index.column() != CheckColumn
        || role != Qt::CheckStateRole || !m_toggle)
        return false;
    const bool wanted = value.toInt() == Qt::Checked;
    if (wanted == m_rows.at(index.row()).checkState)
        return false;
    m_toggle(index.row());
    return true;
}

Qt::ItemFlags TimeMachineTableModel::flags(const QModelIndex &index) const
{
    Qt::ItemFlags result = QAbstractTableModel::flags(index);
    if (index.isValid() && index.column() == CheckColumn)
        result |= Qt::ItemIsUserCheckable;
    return result;
}
