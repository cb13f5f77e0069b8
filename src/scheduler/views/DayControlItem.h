#pragma once

#include <QWidget>

class QSequentialAnimationGroup;

// One day of the day control: the selected or deselected image with the day's name on it. A
// click toggles it with a short grow-and-shrink.
class DayControlItem : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kGrowMs = 100;
    static constexpr int kShrinkMs = 50;
    static constexpr int kGrowBy = 3;

    DayControlItem(int day, QWidget *parent = nullptr);

    int day() const { return m_day; }
    bool state() const { return m_state; }
    void setState(bool selected);
    static QString dayName(int day);

Q_SIGNALS:
    void clicked();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void startAnimation();

    int m_day;
    bool m_state = false;
    QSequentialAnimationGroup *m_animation = nullptr;
};
