#include "ScheduleTableModel.h"

using namespace Qt::StringLiterals;

int ScheduleTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_records.size());
}

int ScheduleTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant ScheduleTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_records.size() || role != Qt::DisplayRole)
        return {};
    const CorvaneScheduleItem &record = m_records.at(index.row());
    switch (index.column()) {
    case TypeColumn:
        return record.scheduleTypeString();
    case TimeColumn:
        return record.scheduleTimeString();
    case FrequencyColumn:
        return record.frequencyString();
    case StatusColumn:
        return record.statusString();
    case DestinationColumn:
        return record.destination();
    case UserColumn:
        return record.corvaneUserName();
    case SummaryColumn:
        return record.scheduledDays();
    default:
        return {};
    }
}

QVariant ScheduleTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == IdentifierRole && section == SummaryColumn)
        return u"schedulerSummaryTV"_s;
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    static const char16_t *const titles[] = {u"Type", u"Start time", u"Frequency", u"Status",
                                             u"Destination", u"Account", u"Days"};
    return section >= 0 && section < ColumnCount ? QString::fromUtf16(titles[section]) : QVariant();
}

void ScheduleTableModel::setRecords(const QList<CorvaneScheduleItem> &records)
{
    beginResetModel();
    m_records = records;
    endResetModel();
}

void ScheduleTableModel::append(const CorvaneScheduleItem &record)
{
    const int row = int(m_records.size());
    beginInsertRows({}, row, row);
    m_records.append(record);
    endInsertRows();
}

void ScheduleTableModel::replace(qsizetype row, const CorvaneScheduleItem &record)
{
    m_records[row] = record;
    Q_EMIT dataChanged(index(int(row), 0), index(int(row), ColumnCount - 1));
}

void ScheduleTableModel::removeAt(qsizetype row)
{
    beginRemoveRows({}, int(row), int(row));
    m_records.removeAt(row);
    endRemoveRows();
}
