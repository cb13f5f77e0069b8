#pragma once

#include <QList>
#include <QWidget>

class DayControlItem;

// The seven-day selector, Sunday first: each day a cell the user toggles with a click.
class DayControl : public QWidget
{
    Q_OBJECT
public:
    explicit DayControl(QWidget *parent = nullptr);

    QList<int> selectedDays() const; // ascending
    void setSelectedDays(const QList<int> &days);
    // 0 when every day is selected, 1 when none is, -1 otherwise (so stored by the schedules).
    int dayState() const;
    // 0 selects every day, 1 clears them all; any other value leaves them.
    void setDayState(int state);
    const QList<DayControlItem *> &items() const { return mSectionsArray; }

Q_SIGNALS:
    // A day was toggled by the user.
    void stateDidChange();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void addSubviews();

    QList<DayControlItem *> mSectionsArray;
};
