#pragma once

#include "app/SessionLogList.h"

#include <QObject>
#include <QPointer>

#include <functional>

class QTableView;
class QWidget;

// The session-log list: a table of the logs with Open and Delete, built on first show and
// released when closed. Open and Delete are forwarded with the selected rows.
class SessionLogWindow : public QObject, public SessionLogWindowPresenter
{
    Q_OBJECT
public:
    using RowsAction = std::function<void(const QList<int> &rows)>;
    SessionLogWindow(RowsAction open, RowsAction remove, QObject *parent = nullptr);
    ~SessionLogWindow() override;

    void showSessionLogWindow(SessionLogList *list, bool selectFirst) override;
    QWidget *window() const { return m_window; }

private:
    void build(SessionLogList *list);
    QList<int> selectedRows() const;

    RowsAction m_open, m_remove;
    QPointer<QWidget> m_window;
    QTableView *m_table = nullptr;
};
