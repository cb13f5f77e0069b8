#include "logview/LogViewController.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/UserDefaults.h"
#include "product/MonitorSettings.h"
#include "support/FakeAlertPresenter.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <unistd.h>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kLogs = u"/Library/Application Support/CorvanePortableforMac/SessionLogs"_s;

LogNode run(const QString &day, const QString &time, int optype = LogNode::Backup, const QString &files = u"12"_s)
{
    LogNode node;
    node.setDatetime(QLocale::c().toString(QDateTime::fromString(day + u' ' + time, u"MM-dd-yyyy HH:mm"_s),
                                           u"MMM dd, yyyy hh:mm:ss AP"_s));
    node.setFiles(files);
    node.setStatus(u"Success"_s);
    node.setDuration(u"00:01:02"_s);
    node.setOptype(QString::number(optype));
    node.setLogfile(kLogs + u"/Backup/B"_s + day + u'-' + QString(time).replace(u':', u'-') + u"-00.log"_s);
    node.setLogname(node.getLogName());
    return node;
}

class Folder : public LogFolderChooser
{
public:
    QStringList answers;
    int asked = 0;
    QString chooseFolder() override { return answers.value(asked++); }
};

class LogViewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        viewer.initializers();
        viewer.setFolderChooser(&folder);
        viewer.setUrlOpener([this](const QUrl &url) { opened.append(url); });
    }
    void writeDay(const QString &day, const QList<LogNode> &runs)
    {
        viewer.logManager()->writeToXMLFile(day, runs);
        for (const LogNode &r : runs)
            env.writeFile(r.logfile(), "Backup of " + r.datetime().toUtf8() + "\n");
    }
    QStringList listed() const
    {
        QStringList dates;
        for (const LogNode &r : viewer.mLogContainer())
            dates.append(r.datetime());
        return dates;
    }
    void show(int tag)
    {
        viewer.DisplayLogsFrom(tag);
        viewer.logManager()->waitForParses();
    }

    TestEnvironment env;
    FixedClock clock{QDateTime(QDate(2026, 11, 16), QTime(12, 0))};
    FakeAlertPresenter alerts;
    Folder folder;
    QList<QUrl> opened;
    LogViewController viewer{&alerts, clock};
};

TEST_F(LogViewTest, APeriodListsItsDaysNewestFirst)
{
    writeDay(u"11-01-2026"_s, {run(u"11-01-2026"_s, u"09:00"_s)});                               // 15 days ago
    writeDay(u"11-05-2026"_s, {run(u"11-05-2026"_s, u"09:00"_s)});                               // 11 days ago
    writeDay(u"11-10-2026"_s, {run(u"11-10-2026"_s, u"09:00"_s), run(u"11-10-2026"_s, u"10:00"_s)});
    writeDay(u"11-16-2026"_s, {run(u"11-16-2026"_s, u"08:00"_s)});

    show(LogViewController::LastWeek);
    EXPECT_EQ(listed(), (QStringList{u"Nov 16, 2026 08:00:00 AM"_s, u"Nov 10, 2026 10:00:00 AM"_s,
                                     u"Nov 10, 2026 09:00:00 AM"_s}))
        << "the last day on top, and each day's last run";
    EXPECT_EQ(viewer.tableModel()->rowCount(), 3);
    show(LogViewController::LastTwoWeeks);
    EXPECT_EQ(viewer.mLogContainer().size(), 4);
    show(LogViewController::LastOneMonth);
    EXPECT_EQ(viewer.mLogContainer().size(), 5);
    show(LogViewController::FromTheBeginning);
    EXPECT_EQ(viewer.mLogContainer().size(), 5);

    const QModelIndex first = viewer.tableModel()->index(0, LogTableModel::OperationColumn);
    EXPECT_EQ(first.data(), QVariant(u"Backup"_s));
    EXPECT_EQ(first.data(LogTableModel::IconNameRole), QVariant(u"backup12px.png"_s));
    EXPECT_EQ(first.siblingAtColumn(LogTableModel::FilesColumn).data(), QVariant(u"12"_s));
}

TEST_F(LogViewTest, APeriodChosenInTheMenuChangesTheListOnlyWhenItsNotificationReturns)
{
    writeDay(u"11-01-2026"_s, {run(u"11-01-2026"_s, u"09:00"_s)});
    show(LogViewController::LastWeek);
    ASSERT_TRUE(viewer.mLogContainer().isEmpty());
    SignalRecorder periods(&viewer, &LogViewController::periodChanged);
    viewer.sortLogsFromMenu(LogViewController::FromTheBeginning);
    EXPECT_EQ(viewer.selectedPeriod(), int(LogViewController::LastWeek)) << "not before the notification";
    ASSERT_TRUE(waitUntil([&] { return viewer.selectedPeriod() == LogViewController::FromTheBeginning; }));
    viewer.logManager()->waitForParses();
    EXPECT_EQ(viewer.mLogContainer().size(), 1);
    EXPECT_EQ(UserDefaults(MonitorSettings::defaultsDomain()).integerForKey(u"logsFrom"_s), 2);
    EXPECT_EQ(periods.count(), 1);

    viewer.reloadLogViewOnTableViewSelectionChange(); // the window opened again: the stored period
    EXPECT_EQ(viewer.selectedPeriod(), int(LogViewController::FromTheBeginning));
}

TEST_F(LogViewTest, TheSummaryTabComesWithASummaryAndLinksToTheExclusions)
{
    const LogNode plain = run(u"11-16-2026"_s, u"08:00"_s), summarised = run(u"11-16-2026"_s, u"09:00"_s);
    writeDay(u"11-16-2026"_s, {plain, summarised});
    env.writeFile(summarised.logfile() + u".summary"_s, "3 files skipped. click here to view excluded files/ folders.");
    show(LogViewController::LastWeek);

    viewer.tableViewSelectionChanged(1); // the older run, without a summary
    EXPECT_FALSE(viewer.summaryTabShown());
    EXPECT_TRUE(viewer.detailText().text.startsWith(u"Backup of"_s));
    viewer.tableViewSelectionChanged(0);
    ASSERT_TRUE(viewer.summaryTabShown());
    // The sentence is matched as written; "Click here" inside it in any case.
    EXPECT_EQ(viewer.summaryText().linkStart, -1);
    env.writeFile(summarised.logfile() + u".summary"_s, "Done. CLICK HERE, or Click here to view excluded files/ folders");
    viewer.tableViewSelectionChanged(0);
    const LogText &summary = viewer.summaryText();
    EXPECT_EQ(summary.text.mid(summary.linkStart, summary.linkLength), u"Click here"_s);
    EXPECT_EQ(summary.linkStart, 21) << "the one inside the sentence";
    EXPECT_EQ(viewer.detailText().linkStart, -1) << "only the summary links";

    DistributedNotificationCenter application;
    QString object;
    application.addObserver(u"CorvanePortableOpenPreferencesNotification"_s,
                            [&](const QString &, const QString &o, const QVariantMap &) { object = o; });
    viewer.linkClicked(summary.link);
    EXPECT_TRUE(waitUntil([&] { return object == u"ViewExclude"_s; }));
    viewer.tableViewSelectionChanged(7);
    EXPECT_TRUE(viewer.detailText().text.isEmpty() && viewer.summaryText().text.isEmpty());
}

TEST_F(LogViewTest, ANewPeriodTakesNoDayOfTheOldOneAndClearsTheTexts)
{
    for (int day = 1; day <= 28; ++day) {
        const QString name = QDate(2026, 10, day).toString(LogManager::kDayFormat);
        writeDay(name, QList<LogNode>(50, run(name, u"09:00"_s)));
    }
    writeDay(u"11-15-2026"_s, {run(u"11-15-2026"_s, u"09:00"_s)});
    show(LogViewController::LastWeek);
    viewer.tableViewSelectionChanged(0);
    ASSERT_FALSE(viewer.detailText().text.isEmpty());

    viewer.DisplayLogsFrom(LogViewController::FromTheBeginning); // a month of days on their way...
    EXPECT_TRUE(viewer.detailText().text.isEmpty()) << "no run selected: no texts";
    show(LogViewController::LastWeek);                         // ...and the user goes back at once
    EXPECT_EQ(viewer.mLogContainer().size(), 1) << "only last week's run";
}

TEST(LogText, LogsOverTenKilobytesAreClippedWithALinkToTheWholeLog)
{
    TestEnvironment env;
    const QString path = u"/logs/run.log"_s;
    env.writeFile(path, QByteArray(10240, 'a'));
    LogText shown = LogViewController::loadTextView(path, false);
    EXPECT_EQ(shown.text.size(), 10240);
    EXPECT_EQ(shown.linkStart, -1);

    env.writeFile(path, QByteArray(10241, 'a'));
    shown = LogViewController::loadTextView(path, false);
    EXPECT_EQ(shown.text, QString(10240, u'a') + u"... \n [Log clipped]  View entire log"_s);
    EXPECT_EQ(shown.text.mid(shown.linkStart, shown.linkLength), u"View entire log"_s);
    EXPECT_EQ(shown.link, QUrl::fromLocalFile(env.real(path)));

    env.writeFile(path, QByteArray(10239, 'a') + "\xc3\xa9" + QByteArray(100, 'b')); // "é" cut in two
    EXPECT_EQ(LogViewController::loadTextView(path, false).text, u" "_s);
    env.writeFile(path, "short but \xff not text");
    EXPECT_EQ(LogViewController::loadTextView(path, false), LogText()) << "a small log that is no UTF-8";
    EXPECT_EQ(LogViewController::loadTextView(u"/logs/missing.log"_s, false), LogText());
}

TEST_F(LogViewTest, SortingKeepsTheSelectedRunSelected)
{
    writeDay(u"11-16-2026"_s, {run(u"11-16-2026"_s, u"08:00"_s, LogNode::Restore, u"9"_s),
                               run(u"11-16-2026"_s, u"21:00"_s, LogNode::Backup, u"10"_s),
                               run(u"11-16-2026"_s, u"10:00"_s, LogNode::Delete, u"100"_s)});
    show(LogViewController::LastWeek);
    viewer.tableViewSelectionChanged(0); // 10:00
    const LogNode selected = viewer.mLogContainer().at(0);
    viewer.tableModel()->sort(LogTableModel::FilesColumn, Qt::AscendingOrder);
    QStringList files;
    for (const LogNode &r : viewer.mLogContainer())
        files.append(r.files());
    EXPECT_EQ(files, (QStringList{u"9"_s, u"10"_s, u"100"_s})) << "digit runs compare as numbers";
    EXPECT_EQ(viewer.mLogContainer().at(viewer.selectedRow()), selected);

    viewer.tableModel()->sort(LogTableModel::DateTimeColumn, Qt::DescendingOrder);
    EXPECT_EQ(viewer.mLogContainer().first().datetime(), u"Nov 16, 2026 09:00:00 PM"_s) << "dates, not text";
    viewer.tableModel()->sort(LogTableModel::OperationColumn, Qt::AscendingOrder);
    EXPECT_EQ(viewer.mLogContainer().first().optype(), u"1"_s) << "Backup, Delete, Restore";
    EXPECT_EQ(viewer.mLogContainer().last().optype(), u"3"_s);
    EXPECT_EQ(viewer.mLogContainer().at(viewer.selectedRow()), selected);
}

TEST_F(LogViewTest, DeletingAsksAndTheLastRunOfADayTakesItsIndex)
{
    writeDay(u"11-15-2026"_s, {run(u"11-15-2026"_s, u"09:00"_s)});
    writeDay(u"11-16-2026"_s, {run(u"11-16-2026"_s, u"08:00"_s), run(u"11-16-2026"_s, u"09:00"_s)});
    show(LogViewController::LastWeek);
    ASSERT_EQ(viewer.mLogContainer().size(), 3);

    alerts.answerWith({AlertPresenter::kAlternate});
    viewer.deleteRow(2);
    EXPECT_EQ(alerts.lastMessage(), u"Would you like to delete selected item(s)?"_s);
    EXPECT_EQ(alerts.shown().last().buttons.defaultButton, u"Yes"_s);
    EXPECT_EQ(viewer.mLogContainer().size(), 3) << "No";

    const LogNode lastOfItsDay = viewer.mLogContainer().at(2);
    alerts.answerWith({AlertPresenter::kDefault});
    viewer.deleteRow(2);
    EXPECT_EQ(alerts.shown().last().title, u"Corvane Lumen"_s);
    EXPECT_EQ(viewer.mLogContainer().size(), 2);
    EXPECT_EQ(viewer.selectedRow(), 1) << "the table's row now shows the run before it";
    EXPECT_FALSE(env.exists(lastOfItsDay.logfile()));
    EXPECT_FALSE(env.exists(LogManager::kIndexFolder + u"/11-15-2026.xml"_s));

    alerts.answerWith({AlertPresenter::kDefault});
    viewer.deleteSelectedItems({1, 0});
    EXPECT_TRUE(viewer.mLogContainer().isEmpty());
    EXPECT_FALSE(env.exists(LogManager::kIndexFolder + u"/11-16-2026.xml"_s));

    writeDay(u"11-16-2026"_s, {run(u"11-16-2026"_s, u"08:00"_s)});
    show(LogViewController::LastWeek);
    alerts.answerWith({AlertPresenter::kDefault});
    viewer.deleteAllItems();
    EXPECT_EQ(alerts.lastMessage(), u"Would you like to delete all item(s)?"_s);
    EXPECT_TRUE(viewer.mLogContainer().isEmpty());
}

// A folder nobody may write to: read-only for an ordinary user, a read-only mount for root (who
// may write to any folder of a writable file system).
class ReadOnlyFolder
{
public:
    ReadOnlyFolder()
    {
        if (::geteuid() == 0)
            m_mounted = QProcess::execute(u"mount"_s, {u"-t"_s, u"tmpfs"_s, u"-o"_s, u"ro,size=64k"_s, u"tmpfs"_s, m_dir.path()}) == 0;
        else
            QFile::setPermissions(m_dir.path(), QFile::ReadOwner | QFile::ExeOwner);
    }
    ~ReadOnlyFolder()
    {
        if (m_mounted)
            QProcess::execute(u"umount"_s, {m_dir.path()});
        QFile::setPermissions(m_dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QString path() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
    bool m_mounted = false;
};

TEST_F(LogViewTest, ArchivingCopiesTheLogsOrOffersAnotherFolder)
{
    writeDay(u"11-16-2026"_s, {run(u"11-16-2026"_s, u"08:00"_s), run(u"11-16-2026"_s, u"09:00"_s)});
    show(LogViewController::LastWeek);
    ReadOnlyFolder readOnly;
    ASSERT_FALSE(QFileInfo(readOnly.path()).isWritable()) << "no read-only folder can be made here";
    QTemporaryDir chosen;
    folder.answers = {readOnly.path(), chosen.path()};
    alerts.answerWith({AlertPresenter::kDefault}); // "Select another"
    viewer.archiveSelectedLog({0, 1});
    ASSERT_EQ(alerts.shown().size(), 1);
    EXPECT_EQ(alerts.lastMessage(), u"Selected folder doesn't have write permission. "_s);
    EXPECT_EQ(alerts.shown().last().title, u"Unable to write the file(s)"_s);
    EXPECT_EQ(alerts.shown().last().buttons.defaultButton, u"Select another"_s);
    EXPECT_EQ(alerts.shown().last().buttons.alternateButton, u"OK"_s);
    EXPECT_EQ(folder.asked, 2);
    EXPECT_EQ(QDir(chosen.path()).entryList(QDir::Files),
              (QStringList{u"B11-16-2026-08-00-00.log"_s, u"B11-16-2026-09-00-00.log"_s}));

    folder.asked = 0;
    folder.answers = {readOnly.path()};
    alerts.answerWith({AlertPresenter::kAlternate}); // "OK": nothing more
    viewer.archiveSelectedLog({0});
    EXPECT_EQ(folder.asked, 1);
}

TEST_F(LogViewTest, TheContextMenuNeedsAClickedRowAndTakesItAsTheSelection)
{
    SignalRecorder selections(&viewer, &LogViewController::selectRowRequested);
    EXPECT_TRUE(viewer.validateMenuItem(true, -1, {}));
    EXPECT_FALSE(viewer.validateMenuItem(false, -1, {2}));
    EXPECT_TRUE(viewer.validateMenuItem(false, 3, {3, 4}));
    EXPECT_EQ(selections.count(), 0);
    EXPECT_TRUE(viewer.validateMenuItem(false, 3, {1}));
    ASSERT_EQ(selections.count(), 1);
    EXPECT_EQ(selections.emissions().first().first(), QVariant(3));

    viewer.onlineHelp();
    ASSERT_EQ(opened.size(), 1);
    EXPECT_TRUE(opened.first().toString().endsWith(u"/help/Mac/log.htm"_s));
    EXPECT_EQ(LogViewController::getOperationName(42), u"Corvane"_s);
    EXPECT_EQ(LogViewController::getImageForOperation(42), u"default12px.png"_s);
    EXPECT_EQ(LogViewController::daysBetweenDate(QDateTime(QDate(2026, 11, 1), QTime(23, 59)),
                                                 QDateTime(QDate(2026, 11, 3), QTime(0, 1))), 2);
}

} // namespace
