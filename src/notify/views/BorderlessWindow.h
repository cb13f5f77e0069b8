#pragma once

#include <QWidget>

class QPropertyAnimation;

// A frameless window at the normal level that goes away when clicked, and can shake.
class BorderlessWindow : public QWidget
{
    Q_OBJECT
public:
    explicit BorderlessWindow(const QRect &contentRect = QRect(), QWidget *parent = nullptr);

    // Up and down three times by 7 % of the height around the frame's origin, back to where it
    // started, over 3.5 seconds.
    QPropertyAnimation *shakeAnimation(const QRect &frame);

protected:
    void mousePressEvent(QMouseEvent *event) override;
};
