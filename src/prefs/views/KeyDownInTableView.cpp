#include "KeyDownInTableView.h"

#include <QKeyEvent>

void KeyDownInTableView::keyPressEvent(QKeyEvent *event)
{
    if ((event->key() == Qt::Key_Backspace || event->key() == Qt::Key_Delete) && m_delete) {
        m_delete(this);
        event->accept();
        return;
    }
    QTableView::keyPressEvent(event);
}
