#pragma once

#include "CorvaneScheduleItem.h"

#include <QAbstractTableModel>
#include <QList>

// The configured schedules as a table a view can bind to. Every change goes through here, so
// views hear of each one.
class ScheduleTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { TypeColumn, TimeColumn, FrequencyColumn, StatusColumn, DestinationColumn,
                  UserColumn, SummaryColumn, ColumnCount };
    // The summary column's identifier (header data of IdentifierRole); views give it no width.
    static constexpr int IdentifierRole = Qt::UserRole;

    using QAbstractTableModel::QAbstractTableModel;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    const QList<CorvaneScheduleItem> &records() const { return m_records; }
    void setRecords(const QList<CorvaneScheduleItem> &records);
    void append(const CorvaneScheduleItem &record);
    void replace(qsizetype row, const CorvaneScheduleItem &record);
    void removeAt(qsizetype row);

private:
    QList<CorvaneScheduleItem> m_records;
};
