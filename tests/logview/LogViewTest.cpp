#include "logview/LogViewController.h"
#include "logview/views/LogView.h"
#include "platform/ImageNamed.h"
#include "support/FakeAlertPresenter.h"
#include "support/TestEnvironment.h"

#include <QComboBox>
#include <QTabWidget>
#include <QTableView>
#include <QTextBrowser>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(LogView, TheSummaryTabFollowsTheSelectedRunAndItsLinkIsLive)
{
    TestEnvironment env;
    FixedClock clock{QDateTime(QDate(2026, 11, 16), QTime(12, 0))};
    FakeAlertPresenter alerts;
    LogViewController viewer(&alerts, clock);
    viewer.initializers();
    QList<LogNode> runs;
    for (const QString &time : {u"08-00"_s, u"09-00"_s}) {
        LogNode run;
        run.setDatetime(u"Nov 16, 2026 "_s + QString(time).replace(u'-', u':') + u":00 AM"_s);
        run.setOptype(u"1"_s);
        run.setLogfile(u"/logs/B11-16-2026-"_s + time + u"-00.log"_s);
        run.setLogname(run.getLogName());
        env.writeFile(run.logfile(), "the log of " + time.toUtf8());
        runs.append(run);
    }
    env.writeFile(runs[1].logfile() + u".summary"_s, "2 skipped. Click here to view excluded files/ folders");
    viewer.logManager()->writeToXMLFile(u"11-16-2026"_s, runs);

    LogView pane(&viewer);
    pane.show();
    auto *period = qobject_cast<QComboBox *>(pane.control("mPopupButton"));
    auto *table = qobject_cast<QTableView *>(pane.control("mTableView"));
    auto *tabs = qobject_cast<QTabWidget *>(pane.control("mTabView"));
    auto *summary = qobject_cast<QTextBrowser *>(pane.control("mSummaryView"));
    auto *detail = qobject_cast<QTextBrowser *>(pane.control("mDetailView"));
    ASSERT_TRUE(period && table && tabs && summary && detail);
    QList<int> tags;
    for (int i = 0; i < period->count(); ++i)
        tags.append(period->itemData(i).toInt());
    EXPECT_EQ(tags, (QList<int>{0, 3, 1, 2})) << "week, two weeks, month, everything";

    viewer.reloadLogViewOnTableViewSelectionChange();
    viewer.logManager()->waitForParses();
    ASSERT_EQ(table->model()->rowCount(), 2);
    table->selectRow(0); // the newer run, with a summary
    ASSERT_EQ(tabs->count(), 2);
    EXPECT_EQ(tabs->tabText(0), u"Summary"_s);
    EXPECT_EQ(tabs->currentIndex(), 0);
    EXPECT_EQ(detail->toPlainText(), u"the log of 09-00"_s);
    QTextCursor link(summary->document());
    link.setPosition(viewer.summaryText().linkStart + 1);
    EXPECT_EQ(link.charFormat().anchorHref(), QUrl::fromLocalFile(u"Preferences"_s).toString());
    EXPECT_TRUE(link.charFormat().fontUnderline());

    table->selectRow(1); // no summary: the log alone
    EXPECT_EQ(tabs->count(), 1);
    EXPECT_EQ(tabs->widget(0)->findChild<QTextBrowser *>(), detail);
    table->selectRow(0);
    EXPECT_EQ(tabs->count(), 2) << "the summary tab comes back at the front";
    EXPECT_EQ(tabs->widget(0)->findChild<QTextBrowser *>(), summary);
}

// The "Operation" cells ask for their icon on every repaint: one icon per name, so that its
// rendered artwork is reused rather than drawn again for every cell of every repaint.
TEST(LogView, EachOperationIconIsMadeOnceAndReused)
{
    const QString backup = LogViewController::getImageForOperation(1);
    const QIcon first = ImageNamed::icon(backup);
    ASSERT_FALSE(first.isNull());
    EXPECT_EQ(ImageNamed::icon(backup).cacheKey(), first.cacheKey());
    EXPECT_NE(ImageNamed::icon(LogViewController::getImageForOperation(4)).cacheKey(), first.cacheKey());
}

} // namespace
