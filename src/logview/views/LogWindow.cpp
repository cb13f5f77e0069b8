#include "LogWindow.h"

#include "LogView.h"
#include "product/StringTable.h"

#include <QGuiApplication>
#include <QScreen>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

LogWindow::LogWindow(QObject *parent)
    : QObject(parent)
{
}

LogWindow::~LogWindow()
{
    delete m_window;
}

void LogWindow::showLogWindow(LogViewController *viewer)
{
    if (!m_window) {
        auto *window = new QWidget;
        window->setAttribute(Qt::WA_DeleteOnClose);
        window->setObjectName(u"mSessionLogWindow"_s);
        window->setWindowTitle(SLLocalizedString(u"ApplicationName"_s) + u" Logs"_s);
        auto *layout = new QVBoxLayout(window);
        layout->addWidget(new LogView(viewer));
        window->resize(820, 620);
        if (const QScreen *screen = QGuiApplication::primaryScreen())
            window->move(screen->availableGeometry().center() - window->rect().center());
        m_window = window;
    }
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void LogWindow::closeLogWindow()
{
    if (m_window)
        m_window->close();
}

bool LogWindow::isLogWindowOpen() const
{
    return m_window && m_window->isVisible();
}
