#include "ProgressView.h"

#include "platform/StringFormat.h"

#include <QPainter>
#include <QPainterPath>

using namespace Qt::StringLiterals;

ProgressView::ProgressView(QWidget *parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void ProgressView::setProgressValue(int value)
{
    m_progressValue = value;
    update();
}

QString ProgressView::label() const
{
    return stringWithFormat(u"%d %@"_s, {m_progressValue, u"%"_s});
}

QSize ProgressView::sizeHint() const
{
    return {260, fontMetrics().height() + 8};
}

void ProgressView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bar = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const qreal radius = bar.height() / 2;
    painter.setPen(QColor(0x55, 0x66, 0x77));
    painter.setBrush(QColor(0xf4, 0xf6, 0xf8));
    painter.drawRoundedRect(bar, radius, radius);

    const double share = qBound(0, m_progressValue, 100) / 100.0;
    if (share > 0) {
        // Clip to the rounded outline, so that a small share is a sliver of the bar, not a pill.
        QPainterPath outline;
        outline.addRoundedRect(bar, radius, radius);
        painter.setClipPath(outline);
        QLinearGradient gradient(bar.topLeft(), bar.bottomLeft());
        gradient.setColorAt(0, QColor(0x7c, 0xc4, 0x6a));
        gradient.setColorAt(1, QColor(0x3f, 0x8f, 0x35));
        painter.fillRect(QRectF(bar.left(), bar.top(), bar.width() * share, bar.height()),
                         gradient);
        painter.setClipping(false);
    }
    painter.setPen(QColor(0x22, 0x22, 0x22));
    painter.drawText(rect(), Qt::AlignCenter, label());
}
