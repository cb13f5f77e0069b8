#include "DayControlItem.h"

#include "platform/ImageNamed.h"

#include <QEasingCurve>
#include <QMouseEvent>
#include <QPainter>
#include <QPropertyAnimation>
#include <QSequentialAnimationGroup>

using namespace Qt::StringLiterals;

DayControlItem::DayControlItem(int day, QWidget *parent)
    : QWidget(parent)
    , m_day(day)
{
    setObjectName(u"day%1"_s.arg(day));
    setCursor(Qt::PointingHandCursor);
}

QString DayControlItem::dayName(int day)
{
    static const char16_t *const names[] = {u"Sunday",   u"Monday", u"Tuesday", u"Wednesday",
                                            u"Thursday", u"Friday", u"Saturday"};
    return day >= 0 && day < 7 ? QString::fromUtf16(names[day]) : QString();
}

void DayControlItem::setState(bool selected)
{
    if (m_state == selected)
        return;
    m_state = selected;
    update();
}

void DayControlItem::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.drawPixmap(rect(), ImageNamed::pixmap(m_state ? u"DaySelected"_s : u"DayDeselected"_s,
                                                  size()));
    QFont font = painter.font();
    font.setPointSize(10);
    painter.setFont(font);
    const QRect text = rect().adjusted(0, 5, 0, 0);
    painter.setPen(QColor(255, 255, 255, 70)); // the names' shadow, faint
    painter.drawText(text.translated(3, 3), Qt::AlignHCenter | Qt::AlignTop, dayName(m_day));
    painter.setPen(Qt::darkGray);
    painter.drawText(text, Qt::AlignHCenter | Qt::AlignTop, dayName(m_day));
}

void DayControlItem::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !rect().contains(event->position().toPoint()))
        return;
    m_state = !m_state;
    startAnimation();
    Q_EMIT clicked();
}

// Grows by a few points on each side, then settles back; the user may go on clicking meanwhile.
void DayControlItem::startAnimation()
{
    if (m_animation && m_animation->state() == QAbstractAnimation::Running)
        return; // the running one ends where this one would
    const QRect rest = geometry();
    const QRect grown = rest.adjusted(-kGrowBy, -kGrowBy, kGrowBy, kGrowBy);
    const auto step = [this](const QRect &from, const QRect &to, int ms) {
        auto *animation = new QPropertyAnimation(this, "geometry");
        animation->setStartValue(from);
        animation->setEndValue(to);
        animation->setDuration(ms);
        animation->setEasingCurve(QEasingCurve::InOutQuad);
        return animation;
    };
    delete m_animation;
    m_animation = new QSequentialAnimationGroup(this);
    m_animation->addAnimation(step(rest, grown, kGrowMs));
    m_animation->addAnimation(step(grown, rest, kShrinkMs));
    raise();
    m_animation->start();
}
