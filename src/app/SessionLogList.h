#pragma once

#include <QAbstractTableModel>
#include <QDateTime>
#include <QList>

// One session log in the list: a file named "<description> <MM-dd-yyyy-HH-mm-ss>" (or without
// the seconds) in the session-log folder.
struct SessionLogRow
{
    QString Filepath;
    QString Description;
    QDateTime StartTime; // invalid when the name holds no such date
    bool Type = false;
};

// The session logs of the user's session-log folder, as the list window shows them.
class SessionLogList : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { DescriptionColumn, StartTimeColumn, ColumnCount };

    using QAbstractTableModel::QAbstractTableModel;

    // Lists the folder (a product path) again; hidden files are left out.
    void reload(const QString &folder);
    const QList<SessionLogRow> &rows() const { return m_rows; }
    static SessionLogRow rowForFile(const QString &folder, const QString &fileName);
    // Deletes the rows' files; a row leaves the list only when its file was deleted.
    void deleteRows(const QList<int> &rows);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    QList<SessionLogRow> m_rows;
};

// The session-log list window, as the monitor sees it.
class SessionLogWindowPresenter
{
public:
    virtual ~SessionLogWindowPresenter() = default;
    // In front and centred, on the list; `selectFirst` selects row 0.
    virtual void showSessionLogWindow(SessionLogList *list, bool selectFirst) = 0;
};
