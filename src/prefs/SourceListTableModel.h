#pragma once

#include <QAbstractTableModel>

class ExcludeViewController;

// One of the pane's two tables as an item model. The rows live in the controller; the model
// asks it for values, display and edits, exactly as a table's data source and delegate would.
class SourceListTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { StateColumn, PathColumn, ColumnCount };
    enum class Icon { None, ItemIcon, FolderIcon, DocumentIcon };
    static constexpr int IconRole = Qt::UserRole + 1; // an Icon, for views and tests

    SourceListTableModel(ExcludeViewController *controller, int table);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;

    static QString columnIdentifier(int column);
    // Whether the rows started over (and the selection went).
    bool reloadData(bool startOver = false);

private:
    ExcludeViewController *m_controller;
    int m_table;
    int m_shownRows = 0;
};
