#include "SessionLogWindow.h"

#include "product/StringTable.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QScreen>
#include <QTableView>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

SessionLogWindow::SessionLogWindow(RowsAction open, RowsAction remove, QObject *parent)
    : QObject(parent)
    , m_open(std::move(open))
    , m_remove(std::move(remove))
{
}

SessionLogWindow::~SessionLogWindow()
{
    delete m_window;
}

void SessionLogWindow::build(SessionLogList *list)
{
    auto *window = new QWidget;
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setObjectName(u"sessionLogWindow"_s);
    window->setWindowTitle(SLLocalizedString(u"ApplicationName"_s) + u" Session Logs"_s);
    m_table = new QTableView;
    m_table->setObjectName(u"sessionLogTableView"_s);
    m_table->setModel(list);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->setColumnWidth(SessionLogList::DescriptionColumn, 260);
    auto *open = new QPushButton(SLLocalizedString(u"Open"_s));
    open->setObjectName(u"openButton"_s);
    auto *remove = new QPushButton(SLLocalizedString(u"Delete"_s));
    remove->setObjectName(u"deleteButton"_s);
    connect(open, &QPushButton::clicked, this, [this] { m_open(selectedRows()); });
    connect(m_table, &QTableView::doubleClicked, this, [this] { m_open(selectedRows()); });
    connect(remove, &QPushButton::clicked, this, [this] { m_remove(selectedRows()); });
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(remove);
    buttons->addWidget(open);
    auto *column = new QVBoxLayout(window);
    column->addWidget(m_table);
    column->addLayout(buttons);
    window->resize(520, 360);
    m_window = window;
}

void SessionLogWindow::showSessionLogWindow(SessionLogList *list, bool selectFirst)
{
    if (!m_window)
        build(list);
    if (selectFirst)
        m_table->selectRow(0);
    if (const QScreen *screen = QGuiApplication::primaryScreen())
        m_window->move(screen->availableGeometry().center() - m_window->rect().center());
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

QList<int> SessionLogWindow::selectedRows() const
{
    QList<int> rows;
    for (const QModelIndex &index : m_table->selectionModel()->selectedRows())
        rows.append(index.row());
    return rows;
}
