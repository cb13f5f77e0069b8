#pragma once

#include <QAbstractTableModel>
#include <QImage>
#include <QList>
#include <QString>

#include <functional>

// One Time Machine backup folder offered for backup, and whether it is in the backup set.
struct TimeMachineNode {
    QString Path;
    bool checkState = false;
};

// The Time Machine table: a check-box column, then the "name" column with the image and the
// folder's title. A click on a box is handed to the pane controller, which decides and saves.
class TimeMachineTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { CheckColumn = 0, NameColumn = 1, ColumnCount };

    explicit TimeMachineTableModel(QObject *parent = nullptr);

    void setRows(const QList<TimeMachineNode> &rows);
    const QList<TimeMachineNode> &rows() const { return m_rows; }
    void setCheckState(int row, bool checked);
    void setImage(const QImage &image) { m_image = image; }
    // Called with the row whose box the user clicked.
    void setToggleHandler(std::function<void(int row)> handler) { m_toggle = std::move(handler); }

    // "Time Machine backup" for row 0, "Time Machine backup - <volume>" for the others, the
    // volume being the last component of the backup folder's parent.
    static QString title(int row, const QString &path);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

private:
    QList<TimeMachineNode> m_rows;
    QImage m_image;
    std::function<void(int)> m_toggle;
};
