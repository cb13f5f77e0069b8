#pragma once

#include <QTableView>

#include <functional>

// The exclusion pane's tables: Backspace or Delete removes the selected row through the
// owner's handler; every other key is the table's own. Keys typed into a cell editor never get
// here.
class KeyDownInTableView : public QTableView
{
    Q_OBJECT
public:
    using QTableView::QTableView;

    bool isEditing() const { return state() == EditingState; }
    void setDeleteHandler(std::function<void(KeyDownInTableView *table)> handler) { m_delete = std::move(handler); }

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    std::function<void(KeyDownInTableView *)> m_delete;
};
