#include "BorderlessWindow.h"

#include <QPropertyAnimation>

BorderlessWindow::BorderlessWindow(const QRect &contentRect, QWidget *parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint)
{
    if (contentRect.isValid())
        setGeometry(contentRect);
}

QPropertyAnimation *BorderlessWindow::shakeAnimation(const QRect &frame)
{
    auto *animation = new QPropertyAnimation(this, "pos", this);
    const QPoint origin = frame.topLeft();
    const int swing = qRound(0.07 * frame.height());
    constexpr int kTimes = 3;
    animation->setDuration(3500);
    animation->setKeyValueAt(0.0, origin);
    for (int i = 0; i < kTimes; ++i) {
        const double step = 1.0 / (2 * kTimes + 1);
        animation->setKeyValueAt(step * (2 * i + 1), origin - QPoint(0, swing));
        animation->setKeyValueAt(step * (2 * i + 2), origin + QPoint(0, swing));
    }
    animation->setKeyValueAt(1.0, origin); // the path is closed
    return animation;
}

void BorderlessWindow::mousePressEvent(QMouseEvent *)
{
    hide();
}
