#include "notify/AlertLayout.h"
#include "notify/views/AlertPaneWindowController.h"
#include "notify/views/BorderlessWindow.h"
#include "support/FakeAlertPresenter.h"
#include "support/TestEnvironment.h"

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QTimer>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const AlertButtons kThree{u"OK"_s, u"Cancel"_s, u"More"_s};

class Clicks : public AlertDelegate
{
public:
    void didClickButton(int result) override { results.append(result); }
    QList<int> results;
};

TEST(AlertLayout, LinesAreCountedIn70CharacterPieces)
{
    EXPECT_EQ(AlertLayout::calculateTotalLinesFromText(QString(140, u'x')), 2);
    EXPECT_EQ(AlertLayout::calculateTotalLinesFromText(QString(141, u'x')), 3);
    EXPECT_EQ(AlertLayout::calculateTotalLinesFromText(u"a\n\nb"_s), 3);
    EXPECT_EQ(AlertLayout::calculateTotalLinesFromText(u""_s), 0);
    EXPECT_EQ(AlertLayout::calculateTotalLinesFromText(u"\n"_s), 2);
    EXPECT_EQ(AlertLayout::calculateTotalLinesFromText(QString(70, u'x')), 1);
    EXPECT_EQ(AlertLayout::growthForExtraLines(0), 0);
    EXPECT_EQ(AlertLayout::growthForExtraLines(-2), 0);
    EXPECT_EQ(AlertLayout::defaultImageName(true), u"Corvane_Portable.icns"_s);
    EXPECT_EQ(AlertLayout::defaultImageName(false), u"Stelloa_Portable.icns"_s);
}

class AlertPaneTest : public ::testing::Test
{
protected:
    TestEnvironment env;
};

TEST_F(AlertPaneTest, UpToTwoLinesKeepTheDesignedSize)
{
    AlertPaneWindowController pane(kThree);
    const QSize designed = pane.size();
    const QRect message = pane.messageGeometry();
    pane.displayMessage(QString(140, u'x'), u"Title"_s, false);
    EXPECT_EQ(pane.size(), designed);
    EXPECT_EQ(pane.messageGeometry(), message);
    pane.hide();
}

TEST_F(AlertPaneTest, LongerMessagesGrowEighteenPointsALineAndButtonsHalfAsMuchAgain)
{
    AlertPaneWindowController pane(kThree);
    const QSize designed = pane.size();
    const QRect message = pane.messageGeometry();
    const QPoint button = pane.button(AlertPresenter::kDefault)->mapTo(&pane, QPoint(0, 0));
    pane.displayMessage(QString(70 * 4 + 1, u'x'), u"Title"_s, false); // 5 lines: 3 more than designed
    EXPECT_EQ(pane.messageGeometry().height(), message.height() + 54);
    EXPECT_EQ(pane.messageGeometry().top(), message.top());
    EXPECT_EQ(pane.button(AlertPresenter::kDefault)->mapTo(&pane, QPoint(0, 0)), button + QPoint(0, 81));
    EXPECT_EQ(pane.height(), designed.height() + 81);
    const QRect buttonFrame(pane.button(AlertPresenter::kDefault)->mapTo(&pane, QPoint(0, 0)),
                            pane.button(AlertPresenter::kDefault)->size());
    EXPECT_TRUE(pane.rect().contains(buttonFrame)) << "every control stays inside";
    pane.hide();
}

TEST_F(AlertPaneTest, TheMessageFieldHolds70CharactersALineAndTwoLinesAreNeverClipped)
{
    const QString sentence = u"Immediate schedule has already been scheduled. Please try after it completes. "
                             "Your next scheduled backup will start on Monday."_s;
    const QString messages[] = {sentence.left(140), QString(140, u'x'), (QString(9, u'm') + u' ').repeated(14),
                                (QString(9, u'W') + u' ').repeated(14), QString(70, u'x') + u'\n' + QString(70, u'x')};
    for (const QString &message : messages) {
        AlertPaneWindowController pane({u"OK"_s, QString(), QString()});
        pane.displayMessage(message, u"Title"_s, false);
        const QLabel *field = pane.findChild<QLabel *>(u"mMessageString"_s);
        ASSERT_NE(field, nullptr);
        EXPECT_GE(field->width(), field->fontMetrics().horizontalAdvance(QString(70, u'n'))) << message.toStdString();
        EXPECT_GE(field->height(), field->heightForWidth(field->width())) << "clipped: " << message.toStdString();
        const QRect button(pane.button(AlertPresenter::kDefault)->mapTo(&pane, QPoint(0, 0)),
                           pane.button(AlertPresenter::kDefault)->size());
        EXPECT_GT(button.top(), field->geometry().bottom()) << message.toStdString();
        EXPECT_TRUE(pane.rect().contains(field->geometry()));
        EXPECT_TRUE(pane.rect().contains(button));
        pane.hide();
    }
}

TEST_F(AlertPaneTest, ButtonsWithoutTitleAreHiddenAndLongTitlesSizeToFit)
{
    AlertPaneWindowController single({u"OK"_s, QString(), QString()});
    EXPECT_FALSE(single.button(AlertPresenter::kAlternate)->isVisibleTo(&single));
    EXPECT_FALSE(single.button(AlertPresenter::kOther)->isVisibleTo(&single));

    AlertPaneWindowController wide({u"Proceed with the stop"_s, u"Cancel"_s, QString()});
    QPushButton *wideOk = wide.button(AlertPresenter::kDefault);
    EXPECT_GE(wideOk->width(), wideOk->sizeHint().width());
    EXPECT_LT(wide.button(AlertPresenter::kAlternate)->geometry().right(), wideOk->geometry().left());
}

TEST_F(AlertPaneTest, ALongDefaultTitleShiftsTheOtherButtonsLeft)
{
    AlertPaneWindowController plain(kThree);
    AlertPaneWindowController wide({u"Proceed with the stop"_s, u"Cancel"_s, u"More"_s});
    // Distances from the pane's right edge: the pane may widen to keep every button inside.
    const auto fromRight = [](const AlertPaneWindowController &pane, int result) {
        const QPushButton *button = pane.button(result);
        return pane.width() - button->mapTo(&pane, QPoint(0, 0)).x();
    };
    const int growth = wide.button(AlertPresenter::kDefault)->width() - plain.button(AlertPresenter::kDefault)->width();
    ASSERT_GT(growth, 0);
    EXPECT_EQ(fromRight(wide, AlertPresenter::kDefault), fromRight(plain, AlertPresenter::kDefault) + growth);
    for (const int result : {AlertPresenter::kAlternate, AlertPresenter::kOther})
        EXPECT_EQ(fromRight(wide, result), fromRight(plain, result) + growth) << result;
    QRect previous;
    for (const int result : {AlertPresenter::kOther, AlertPresenter::kAlternate, AlertPresenter::kDefault}) {
        const QRect frame(wide.button(result)->mapTo(&wide, QPoint(0, 0)), wide.button(result)->size());
        EXPECT_TRUE(wide.rect().contains(frame)) << result;
        EXPECT_FALSE(frame.intersects(previous)) << result;
        previous = frame;
    }
}

TEST_F(AlertPaneTest, ASecondPaneHidesTheFirst)
{
    AlertPaneWindowController first(kThree);
    first.displayMessage(u"first"_s, u"One"_s, false);
    ASSERT_TRUE(first.isVisible());
    AlertPaneWindowController second(kThree);
    EXPECT_FALSE(first.isVisible());
    EXPECT_EQ(AlertPaneWindowController::current(), &second);
}

TEST_F(AlertPaneTest, ModalPanesReturnTheButtonPressedOthersTellTheDelegate)
{
    for (const bool modal : {false, true}) {
        for (const int result :
             {AlertPresenter::kDefault, AlertPresenter::kAlternate, AlertPresenter::kOther}) {
            SCOPED_TRACE(modal ? "modal" : "not modal");
            Clicks clicks;
            AlertPaneWindowController pane(kThree, &clicks);
            if (modal) {
                QTimer::singleShot(0, &pane, [&] { pane.button(result)->click(); });
                EXPECT_EQ(pane.displayMessage(u"Sure?"_s, u"Title"_s, true), result);
                EXPECT_TRUE(clicks.results.isEmpty())
                    << "a modal pane answers by its result, not the delegate";
            } else {
                pane.displayMessage(u"Pick one"_s, u"Title"_s, false);
                EXPECT_FALSE(pane.isModal());
                pane.button(result)->click();
                EXPECT_EQ(clicks.results, QList<int> {result});
                EXPECT_EQ(pane.result(), result);
            }
            EXPECT_FALSE(pane.isVisible());
        }
    }
}

int livePanes()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    int count = 0;
    for (QWidget *widget : QApplication::topLevelWidgets())
        count += qobject_cast<AlertPaneWindowController *>(widget) != nullptr;
    return count;
}

TEST_F(AlertPaneTest, ThePresenterShowsEachMessageInANewPaneAndKeepsNoHiddenOnes)
{
    AlertPanePresenter presenter(true);
    QTimer::singleShot(0, [] { AlertPaneWindowController::current()->button(AlertPresenter::kOther)->click(); });
    EXPECT_EQ(presenter.displayMessage(u"m"_s, u"t"_s, kThree, true), AlertPresenter::kOther);
    EXPECT_EQ(livePanes(), 0);

    for (int i = 0; i < 101; ++i)
        presenter.displayMessage(u"alert %1"_s.arg(i), u"t"_s, kThree, false);
    EXPECT_EQ(livePanes(), 1) << "each new pane puts the previous one away for good";
    Clicks clicks;
    presenter.displayMessage(u"last"_s, u"t"_s, kThree, false, {}, &clicks);
    AlertPaneWindowController::current()->button(AlertPresenter::kAlternate)->click();
    EXPECT_EQ(clicks.results, QList<int>{AlertPresenter::kAlternate});
    EXPECT_EQ(livePanes(), 0);
}

TEST_F(AlertPaneTest, ANamedWindowIsReusedAndResizedForEachMessage)
{
    AlertPanePresenter presenter(false);
    presenter.displayInWindow(u"in-progress"_s, QString(400, u'x'), u"t"_s, {u"OK"_s, QString(), QString()}, {});
    AlertPaneWindowController *pane = AlertPaneWindowController::current();
    const int grown = pane->height();
    for (int i = 0; i < 3; ++i)
        presenter.displayInWindow(u"in-progress"_s, u"short %1"_s.arg(i), u"t"_s, {u"OK"_s, QString(), QString()}, {});
    EXPECT_EQ(AlertPaneWindowController::current(), pane);
    EXPECT_EQ(livePanes(), 1);
    EXPECT_LT(pane->height(), grown) << "back to the designed size";
    EXPECT_EQ(pane->findChild<QLabel *>(u"mMessageString"_s)->text(), u"short 2"_s);
    pane->button(AlertPresenter::kDefault)->click();
    EXPECT_EQ(livePanes(), 0);
}

TEST(BorderlessWindowTest, HidesWhenClickedAndShakesAroundItsOrigin)
{
    BorderlessWindow window(QRect(100, 100, 200, 100));
    EXPECT_TRUE(window.windowFlags() & Qt::FramelessWindowHint);
    window.show();
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(10, 10), QPointF(110, 110), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &press);
    EXPECT_FALSE(window.isVisible());

    QPropertyAnimation *shake = window.shakeAnimation(QRect(100, 100, 200, 100));
    EXPECT_EQ(shake->duration(), 3500);
    const auto values = shake->keyValues();
    ASSERT_EQ(values.size(), 8);
    EXPECT_EQ(values.first().second.toPoint(), QPoint(100, 100));
    EXPECT_EQ(values.last().second.toPoint(), QPoint(100, 100));
    int ups = 0, downs = 0;
    for (const auto &[step, value] : values) {
        ups += value.toPoint() == QPoint(100, 93);
        downs += value.toPoint() == QPoint(100, 107);
    }
    EXPECT_EQ(ups, 3);
    EXPECT_EQ(downs, 3);
}

} // namespace
