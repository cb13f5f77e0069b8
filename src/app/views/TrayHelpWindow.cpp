#include "TrayHelpWindow.h"

#include "notify/views/BorderlessWindow.h"
#include "product/StringTable.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int kArrowWidth = 28;
constexpr int kArrowHeight = 14;
constexpr int kDockingMs = 1000;

// A speech bubble whose arrow, at its top left, points up at the status item.
class ArrowView : public QWidget
{
public:
    // `arrowLeft`: where the arrow starts, from the bubble's left edge.
    ArrowView(int arrowLeft, QWidget *parent)
        : QWidget(parent)
        , m_arrowLeft(arrowLeft)
    {
        setAttribute(Qt::WA_TranslucentBackground);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF bubble = QRectF(rect()).adjusted(1, kArrowHeight, -1, -1);
        QPainterPath shape;
        shape.addRoundedRect(bubble, 10, 10);
        QPainterPath arrow;
        arrow.moveTo(bubble.left() + m_arrowLeft, bubble.top() + 1);
        arrow.lineTo(bubble.left() + m_arrowLeft + kArrowWidth / 2.0, 1);
        arrow.lineTo(bubble.left() + m_arrowLeft + kArrowWidth, bubble.top() + 1);
        arrow.closeSubpath();
        shape = shape.united(arrow);
        painter.fillPath(shape, QColor(0x1f, 0x5f, 0xbf));
        painter.setPen(Qt::white);
        QFont font = painter.font();
        font.setBold(true);
        painter.setFont(font);
        painter.drawText(bubble.adjusted(14, 8, -14, -8), Qt::AlignCenter | Qt::TextWordWrap,
                         SLLocalizedString(u"ApplicationName"_s)
                             + u" lives here: click it to back up, see your logs and set your preferences."_s);
    }

private:
    int m_arrowLeft;
};

} // namespace

TrayHelpWindow::TrayHelpWindow(std::function<QRect()> itemFrame, QObject *parent)
    : QObject(parent)
    , m_itemFrame(std::move(itemFrame))
{
}

TrayHelpWindow::~TrayHelpWindow()
{
    delete m_window;
}

void TrayHelpWindow::showTrayHelp()
{
    // A moment after start: the status item has docked in the tray by then.
    QTimer::singleShot(kDockingMs, this, [this] {
        auto *window = new BorderlessWindow(QRect(QPoint(), TrayHelp::kWindowSize));
        window->setObjectName(u"animationArrowWindow"_s);
        window->setAttribute(Qt::WA_TranslucentBackground);
        // Where the platform puts it; kept on the screen, with the arrow still under the item
        // (a tray at the screen's right edge would push the window off it).
        const QRect item = m_itemFrame ? m_itemFrame() : QRect();
        QPoint at = TrayHelp::origin(item);
        if (const QScreen *screen = item.isValid() ? QGuiApplication::screenAt(item.center()) : nullptr)
            at.setX(qBound(screen->geometry().left(), at.x(), screen->geometry().right() + 1 - TrayHelp::kWindowSize.width()));
        const int arrowLeft = item.isValid() ? item.center().x() - kArrowWidth / 2 - at.x() : 12;
        auto *layout = new QVBoxLayout(window);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(new ArrowView(qBound(8, arrowLeft, TrayHelp::kWindowSize.width() - kArrowWidth - 8), window));
        window->setFixedSize(TrayHelp::kWindowSize);
        window->move(at);
        window->show();
        window->raise();
        window->activateWindow();
        m_window = window;
    });
}

void TrayHelpWindow::closeTrayHelp()
{
    delete m_window;
}
