#include "CVLevelIndicator.h"

#include "platform/StringFormat.h"

#include <QPainter>
#include <QPainterPath>

using namespace Qt::StringLiterals;

namespace {

constexpr int kTextGap = 8;

} // namespace

CVLevelIndicator::CVLevelIndicator(QWidget *parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void CVLevelIndicator::setValue(int value)
{
    const int clamped = qBound(0, value, 100);
    if (clamped == m_value)
        return;
    m_value = clamped;
    update();
}

QColor CVLevelIndicator::fillColor() const
{
    if (m_value >= kCriticalValue)
        return QColor(0xd9, 0x3b, 0x30);
    if (m_value >= kWarningValue)
        return QColor(0xf0, 0x9a, 0x1a);
    return QColor(0x3b, 0x8e, 0xd9);
}

QString CVLevelIndicator::text() const
{
    return stringWithFormat(u"%d%@"_s, {m_value, u"%"_s});
}

QSize CVLevelIndicator::sizeHint() const
{
    return {180, qMax(14, fontMetrics().height() + 2)};
}

QSize CVLevelIndicator::minimumSizeHint() const
{
    return {fontMetrics().horizontalAdvance(u"100%"_s) + kTextGap + 40, sizeHint().height()};
}

void CVLevelIndicator::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // The percentage sits at the right; the bar takes the rest, a little slimmer than the text.
    const int textWidth = fontMetrics().horizontalAdvance(u"100%"_s);
    const QRect textRect(width() - textWidth, 0, textWidth, height());
    const int barHeight = qMax(6, height() - 6);
    const QRectF track(0.5, (height() - barHeight) / 2.0 + 0.5,
                       width() - textWidth - kTextGap - 1.0, barHeight - 1.0);
    const qreal radius = track.height() / 2;

    painter.setPen(QColor(0, 0, 0, 60));
    painter.setBrush(QColor(255, 255, 255, 170));
    painter.drawRoundedRect(track, radius, radius);
    if (m_value > 0) {
        QRectF filled = track;
        filled.setWidth(qMax(track.height(), track.width() * m_value / 100.0));
        QLinearGradient gradient(filled.topLeft(), filled.bottomLeft());
        gradient.setColorAt(0, fillColor().lighter(125));
        gradient.setColorAt(1, fillColor());
        painter.setPen(Qt::NoPen);
        painter.setBrush(gradient);
        painter.drawRoundedRect(filled, radius, radius);
    }
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(textRect, Qt::AlignRight | Qt::AlignVCenter, text());
}
