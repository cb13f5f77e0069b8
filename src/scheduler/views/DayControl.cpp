#include "DayControl.h"

#include "DayControlItem.h"

DayControl::DayControl(QWidget *parent)
    : QWidget(parent)
{
    for (int day = 0; day < 7; ++day) {
        auto *item = new DayControlItem(day, this);
        connect(item, &DayControlItem::clicked, this, &DayControl::stateDidChange);
        mSectionsArray.append(item);
    }
    setMinimumSize(7 * 88, 44);
}

void DayControl::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    addSubviews();
}

// Each day a seventh of the width, side by side.
void DayControl::addSubviews()
{
    for (DayControlItem *item : std::as_const(mSectionsArray)) {
        const int left = width() * item->day() / 7;
        const int right = width() * (item->day() + 1) / 7;
        item->setGeometry(left, 0, right - left, height());
    }
}

QList<int> DayControl::selectedDays() const
{
    QList<int> days;
    for (const DayControlItem *item : mSectionsArray) {
        if (item->state())
            days.append(item->day());
    }
    return days;
}

void DayControl::setSelectedDays(const QList<int> &days)
{
    for (DayControlItem *item : std::as_const(mSectionsArray))
        item->setState(days.contains(item->day()));
}

int DayControl::dayState() const
{
    const qsizetype selected = selectedDays().size();
    if (selected == mSectionsArray.size())
        return 0;
    return selected == 0 ? 1 : -1;
}

void DayControl::setDayState(int state)
{
    if (state == 0 || state == 1) {
        for (DayControlItem *item : std::as_const(mSectionsArray))
            item->setState(state == 0);
    }
    update();
}
