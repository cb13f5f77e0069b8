#pragma once

#include "LogManager.h"

#include <QAbstractTableModel>
#include <QObject>
#include <QUrl>

#include <functional>
#include <memory>

class AlertPresenter;
class Clock;
class DistributedNotificationCenter;
class LogViewController;

// The runs table: one row per run of the chosen period, newest day first.
class LogTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { OperationColumn, DateTimeColumn, DurationColumn, StatusColumn, FilesColumn, ColumnCount };
    // The icon's resource name ("backup12px.png", ...) of the "Operation" cell.
    static constexpr int IconNameRole = Qt::UserRole + 1;

    explicit LogTableModel(const LogViewController *controller, QObject *parent = nullptr);
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void sort(int column, Qt::SortOrder order) override;
    void reload();
    // Around putting `count` runs at the top of the list.
    void beginInsertAtTop(int count) { beginInsertRows({}, 0, count - 1); }
    void endInsertAtTop() { endInsertRows(); }

private:
    const LogViewController *m_controller;
};

// A log shown in one of the two text views: its text, and at most one link inside it.
struct LogText
{
    QString text;
    int linkStart = -1;
    int linkLength = 0;
    QUrl link;

    bool operator==(const LogText &) const = default;
};

// How the viewer asks for a folder (archiving).
class LogFolderChooser
{
public:
    virtual ~LogFolderChooser() = default;
    // The chosen folder, or an empty string when the user cancelled.
    virtual QString chooseFolder() = 0;
};

// The log window on screen, as the monitor sees it: built on first show.
class LogWindowPresenter
{
public:
    virtual ~LogWindowPresenter() = default;
    // Shows `viewer`'s pane in the log window and brings it to the front.
    virtual void showLogWindow(LogViewController *viewer) = 0;
    virtual void closeLogWindow() = 0;
    virtual bool isLogWindowOpen() const = 0;
};

// The operation log viewer: runs of a period (last week, two weeks, month, everything) in a
// sortable table, the selected run's summary and detailed log, delete and archive, and the
// link from a summary to the exclusion preferences.
class LogViewController : public QObject, public LogParseDelegate
{
    Q_OBJECT
public:
    enum Period { LastWeek = 0, LastOneMonth = 1, FromTheBeginning = 2, LastTwoWeeks = 3 };
    static QString periodNotification(int tag);
    static constexpr qint64 kShownBytes = 10240;

    LogViewController(AlertPresenter *alerts, const Clock &clock, DistributedNotificationCenter *center = nullptr,
                      QObject *parent = nullptr);
    ~LogViewController() override;

    // Makes the store; the period notifications are heard from here on.
    void initializers();
    LogManager *logManager() const { return LogMgrInst.get(); }
    LogTableModel *tableModel() const { return m_model; }
    void setFolderChooser(LogFolderChooser *chooser) { m_folderChooser = chooser; }
    // Opens a link or a page (the desktop in the monitor).
    void setUrlOpener(std::function<void(const QUrl &)> opener) { m_openUrl = std::move(opener); }

    // The window has opened: the stored period is shown, and its first row selected a second later.
    void reloadLogViewOnTableViewSelectionChange();
    // A period chosen in the pop-up: only told to every viewer; the list changes when it returns.
    void sortLogsFromMenu(int tag);
    // A period notification arrived: stored, shown and its first row selected.
    void sortLogsFromNotification(int tag);
    void DisplayLogsFrom(int tag);
    int selectedPeriod() const { return m_period; }

    void xmlParsed(const std::optional<QList<LogNode>> &records) override;
    const QList<LogNode> &mLogContainer() const { return m_container; }

    void tableViewSelectionChanged(int row);
    int selectedRow() const { return m_selectedRow; }
    void manageTabView(const QString &logPath);
    bool summaryTabShown() const { return m_summaryTab; }
    const LogText &summaryText() const { return m_summary; }
    const LogText &detailText() const { return m_detail; }
    // A log for the summary (`summary` true) or the detail view, clipped past kShownBytes.
    static LogText loadTextView(const QString &path, bool summary);
    void linkClicked(const QUrl &link);

    // Orders the runs by a column; the selected run stays selected.
    void sortByColumn(int column, Qt::SortOrder order);
    static QString getOperationName(int optype);
    static QString getImageForOperation(int optype);

    // The questions, then the store and the list. Rows of the list.
    void deleteRow(int row);
    void deleteSelectedItems(const QList<int> &rows);
    void deleteAllItems();
    void archiveSelectedLog(const QList<int> &rows);
    // The table's context menu: enabled for a clicked row, which becomes the selection when
    // one other row was selected.
    bool validateMenuItem(bool periodItem, int clickedRow, const QList<int> &selectedRows);
    void onlineHelp();

    static int daysBetweenDate(const QDateTime &from, const QDateTime &to);
    static void createLogsFolders(const QString &folder);

Q_SIGNALS:
    void periodChanged(int tag);
    void textsChanged();
    // The view selects this row (and shows it as the source list does).
    void selectRowRequested(int row);

private:
    bool ask(const QString &question) const;
    void removeRun(const LogNode &record);
    void showTexts(const LogText &summary, const LogText &detail);

    AlertPresenter *m_alerts;
    const Clock &m_clock;
    DistributedNotificationCenter *m_center;
    std::unique_ptr<DistributedNotificationCenter> m_ownCenter;
    std::unique_ptr<LogManager> LogMgrInst;
    LogTableModel *m_model;
    LogFolderChooser *m_folderChooser = nullptr;
    std::function<void(const QUrl &)> m_openUrl;
    QList<LogNode> m_container;
    int m_period = LastWeek;
    int m_selectedRow = -1;
    bool m_summaryTab = true;
    LogText m_summary, m_detail;
};
