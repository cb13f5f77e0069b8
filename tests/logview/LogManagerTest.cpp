#include "logview/LogManager.h"
#include "logview/LogParseOperation.h"
#include "platform/UserDefaults.h"
#include "product/MonitorSettings.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QTemporaryDir>

#include <random>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kIndex = LogManager::kIndexFolder;
const QString kLogs = u"/Library/Application Support/CorvanePortableforMac/SessionLogs"_s;

// The viewer as the store sees it: keeps every delivery, and caches as the viewer does.
class Viewer : public LogParseDelegate
{
public:
    struct Delivery
    {
        std::optional<QList<LogNode>> records;
        bool fresh;
    };
    void xmlParsed(const std::optional<QList<LogNode>> &records) override
    {
        deliveries.append({records, manager->isParsed()});
        if (records && !records->isEmpty())
            manager->addToLogCache(records->first().logname(), *records);
    }
    QStringList lognames() const
    {
        QStringList names;
        for (const Delivery &d : deliveries)
            names.append(d.records && !d.records->isEmpty() ? d.records->first().logname() : u"<none>"_s);
        return names;
    }
    LogManager *manager = nullptr;
    QList<Delivery> deliveries;
};

LogNode run(const QString &day, int optype = LogNode::Backup, const QString &content = u"done"_s)
{
    LogNode node;
    node.setDatetime(u"Nov 16, 2026 10:20:30 AM"_s);
    node.setUname(u"ann@example.com"_s);
    node.setFiles(u"12"_s);
    node.setFilesinsync(u"3"_s);
    node.setStatus(u"Success"_s);
    node.setDuration(u"00:01:02"_s);
    node.setOptype(QString::number(optype));
    node.setContent(content);
    node.setLpath(u"/Users/ann"_s);
    node.setLogfile(kLogs + u"/Backup/B"_s + day + u"-10-20-30.log"_s);
    node.setLogname(node.getLogName());
    return node;
}

class LogManagerTest : public ::testing::Test
{
protected:
    void SetUp() override { viewer.manager = &manager; }
    void writeIndex(const QString &name, const QList<LogNode> &records)
    {
        env.writeFile(kIndex + u'/' + name + u".xml"_s, LogManager::getXMLfromNodes(records).toUtf8());
    }
    void load(const QString &day)
    {
        manager.parseXmlFile(day);
        manager.waitForParses();
    }

    TestEnvironment env;
    FixedClock clock{QDateTime(QDate(2026, 11, 16), QTime(12, 0))};
    Viewer viewer;
    LogManager manager{&viewer, clock};
};

TEST(LogIndexFormat, RecordsAreWrittenLineByLineWithValuesAsTheyAre)
{
    LogNode node = run(u"11-15-2026"_s, LogNode::Backup, u"a & b < c %1"_s);
    node.setOptype(u"07"_s);
    EXPECT_EQ(LogManager::getXMLfromNodes({node}),
              u"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<records>\n<record>\n"
              "\t<datetime>Nov 16, 2026 10:20:30 AM</datetime>\n\t<uname>ann@example.com</uname>\n"
              "\t<files>12</files>\n\t<filesinsync>3</filesinsync>\n\t<status>Success</status>\n"
              "\t<duration>00:01:02</duration>\n\t<content>a & b < c %1</content>\n\t<optype>7</optype>\n"
              "\t<lpath>/Users/ann</lpath>\n"
              "\t<logfile>/Library/Application Support/CorvanePortableforMac/SessionLogs/Backup/B11-15-2026-10-20-30.log</logfile>\n"
              "\t<logname>11-15-2026</logname>\n</record>\n</records>\n"_s);
    EXPECT_EQ(LogManager::getXMLfromNodes({}), u"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<records>\n</records>\n"_s);
    node.setOptype(u"7"_s);
    EXPECT_EQ(node.getLogName(), u"11-15-2026_cdp"_s) << "continuous protection has its own index";
}

TEST(LogIndexFormat, WhatTheWriterWritesReadsBackAndUnknownElementsAreIgnored)
{
    const QList<LogNode> records = {run(u"11-15-2026"_s), run(u"11-15-2026"_s, LogNode::Restore, u"second"_s)};
    const LogParseOperation::Result back = LogParseOperation::parse(LogManager::getXMLfromNodes(records).toUtf8());
    ASSERT_TRUE(back.records);
    EXPECT_EQ(*back.records, records);
    EXPECT_EQ(back.lostRecords, 0);

    const LogParseOperation::Result odd = LogParseOperation::parse(
        "<records><record><STATUS>Failed</STATUS><colour>red</colour><files>4</files></record></records>");
    ASSERT_TRUE(odd.records && odd.records->size() == 1);
    EXPECT_EQ(odd.records->first().status(), u"Failed"_s) << "element names are lower-cased";
    EXPECT_EQ(odd.records->first().files(), u"4"_s);
}

TEST(LogIndexFormat, ADamagedIndexKeepsTheRecordsThatCanBeRead)
{
    LogNode ampersand = run(u"11-15-2026"_s);
    ampersand.setLpath(u"/Users/ann/Tom & Jerry"_s); // written unescaped by the engine
    LogNode angle = run(u"11-15-2026"_s, LogNode::Restore, u"x < y"_s);
    const QList<LogNode> records = {run(u"11-15-2026"_s), ampersand, angle, run(u"11-15-2026"_s, LogNode::Delete)};
    const LogParseOperation::Result result = LogParseOperation::parse(LogManager::getXMLfromNodes(records).toUtf8());
    ASSERT_TRUE(result.records);
    EXPECT_EQ(*result.records, (QList<LogNode>{records[0], ampersand, records[3]})) << "only the record with \"<\" is lost";
    EXPECT_EQ(result.lostRecords, 1);
    EXPECT_FALSE(result.damage.isEmpty());

    const QByteArray whole = LogManager::getXMLfromNodes({records[0], records[3]}).toUtf8();
    const LogParseOperation::Result cut = LogParseOperation::parse(whole.left(whole.lastIndexOf("<uname>")));
    ASSERT_TRUE(cut.records);
    EXPECT_EQ(*cut.records, QList<LogNode>{records[0]}) << "a file cut off in its last record";
    EXPECT_EQ(cut.lostRecords, 1);

    EXPECT_FALSE(LogParseOperation::parse("not xml at all").records) << "nothing readable: none";
    EXPECT_FALSE(LogParseOperation::parse("").records);
}

TEST(LogIndexFormat, TheWritersLayoutIsReadFastAndExactlyAsTheXmlReaderReadsIt)
{
    const auto reader = [](const QByteArray &xml) {
        QString ignored;
        return LogParseOperation::parseWhole(xml, &ignored);
    };
    LogNode escaped = run(u"11-15-2026"_s, LogNode::Backup, u"&lt;a&gt; &amp; &quot;b&apos; &#233;&#x1F600; \u00e9t\u00e9"_s);
    const QByteArray own = LogManager::getXMLfromNodes({run(u"11-15-2026"_s), escaped}).toUtf8();
    const std::optional<QList<LogNode>> fast = LogParseOperation::scanWriterLayout(own);
    ASSERT_TRUE(fast) << "the writer's own files take the fast way";
    EXPECT_EQ(fast, reader(own));
    EXPECT_EQ(fast->at(1).content(), u"<a> & \"b' \u00e9\U0001F600 \u00e9t\u00e9"_s);

    // Whatever else a file holds, the fast reader gives what the XML reader gives, or leaves it to it.
    const QByteArray inserts[] = {"&", "&#1;", "&#xFFFE;", "&#65;", "&#x;", "&bogus;", "\r", "\x01", "]]>", "<!-- c -->",
                                  "<b>x</b>", "<record>", "</record>", "<record/>", "<x a=\"1\">", "\xef\xbf\xbf",
                                  "\xc3", "\xef\xbb\xbf", "<1a>", "<STATUS>", "</STATUS>", " ", "\t", "<![CDATA[x]]>", ">"};
    std::mt19937 random(20261123);
    int fastTaken = 0;
    for (int round = 0; round < 3000; ++round) {
        QByteArray xml = own;
        for (int edits = 1 + int(random() % 2); edits > 0; --edits)
            xml.insert(qsizetype(random() % (xml.size() + 1)), inserts[random() % std::size(inserts)]);
        const std::optional<QList<LogNode>> scanned = LogParseOperation::scanWriterLayout(xml);
        if (!scanned)
            continue;
        ++fastTaken;
        ASSERT_EQ(scanned, reader(xml)) << xml.toStdString();
    }
    EXPECT_GT(fastTaken, 100) << "harmless changes (blanks, escapes, upper-case names) are still read fast";
}

TEST_F(LogManagerTest, ADayLoadsItsProtectionIndexFirstThenThePlainOne)
{
    writeIndex(u"11-14-2026_cdp"_s, {run(u"11-14-2026"_s, LogNode::ContinuousProtection)});
    load(u"11-14-2026"_s);
    EXPECT_EQ(viewer.lognames(), QStringList{u"11-14-2026_cdp"_s}) << "only the protection index";

    writeIndex(u"11-13-2026_cdp"_s, {run(u"11-13-2026"_s, LogNode::ContinuousProtection)});
    writeIndex(u"11-13-2026"_s, {run(u"11-13-2026"_s), run(u"11-13-2026"_s)});
    viewer.deliveries.clear();
    load(u"11-13-2026"_s);
    EXPECT_EQ(viewer.lognames(), (QStringList{u"11-13-2026_cdp"_s, u"11-13-2026"_s}));
    EXPECT_EQ(viewer.deliveries.at(1).records->size(), 2);
    EXPECT_EQ(manager.currentLog(), u"11-13-2026"_s);

    viewer.deliveries.clear();
    load(u"11-12-2026"_s);
    EXPECT_TRUE(viewer.deliveries.isEmpty()) << "a day without index files";
}

TEST_F(LogManagerTest, TodayIsReadAfreshEachTimeEarlierDaysOnce)
{
    writeIndex(u"11-16-2026"_s, {run(u"11-16-2026"_s)});
    writeIndex(u"11-15-2026"_s, {run(u"11-15-2026"_s)});
    for (int pass = 0; pass < 2; ++pass) {
        load(u"11-16-2026"_s);
        load(u"11-15-2026"_s);
    }
    ASSERT_EQ(viewer.deliveries.size(), 4);
    EXPECT_EQ(viewer.lognames(), (QStringList{u"11-16-2026"_s, u"11-15-2026"_s, u"11-16-2026"_s, u"11-15-2026"_s}));
    EXPECT_TRUE(viewer.deliveries.at(0).fresh && viewer.deliveries.at(1).fresh);
    EXPECT_TRUE(viewer.deliveries.at(2).fresh) << "today is parsed again";
    EXPECT_FALSE(viewer.deliveries.at(3).fresh) << "an earlier day comes from the cache";

    // The cache serves what was parsed, not what the file says now.
    writeIndex(u"11-15-2026"_s, {run(u"11-15-2026"_s), run(u"11-15-2026"_s)});
    load(u"11-15-2026"_s);
    EXPECT_EQ(viewer.deliveries.last().records->size(), 1);
}

TEST_F(LogManagerTest, RangesAndTheWholeFolder)
{
    for (const QString &day : {u"11-10-2026"_s, u"11-11-2026"_s, u"11-12-2026"_s})
        writeIndex(day, {run(day)});
    writeIndex(u"11-11-2026_cdp"_s, {run(u"11-11-2026"_s, LogNode::ContinuousProtection)});
    writeIndex(u"11-09-2026_cdp"_s, {run(u"11-09-2026"_s, LogNode::ContinuousProtection)});
    env.writeFile(kIndex + u"/notes.txt"_s, "not an index");

    const QDateTime start(QDate(2026, 11, 10), QTime(8, 0));
    manager.fetchLogsFrom(start, start);
    manager.waitForParses();
    EXPECT_TRUE(viewer.deliveries.isEmpty()) << "an empty range";
    manager.fetchLogsFrom(start, start.addDays(2));
    manager.waitForParses();
    EXPECT_EQ(viewer.lognames(), (QStringList{u"11-10-2026"_s, u"11-11-2026_cdp"_s, u"11-11-2026"_s}));

    viewer.deliveries.clear();
    manager.fetchAllLogs();
    manager.waitForParses();
    // Cached days wait for the parses asked for before them.
    EXPECT_EQ(viewer.lognames(), (QStringList{u"11-09-2026_cdp"_s, u"11-10-2026"_s, u"11-11-2026_cdp"_s,
                                              u"11-11-2026"_s, u"11-12-2026"_s}))
        << "each file once, a day's two together, in order";
    EXPECT_FALSE(viewer.deliveries.at(1).fresh) << "from the cache";
}

TEST_F(LogManagerTest, DeliveriesFollowTheOrderOfTheRequestsWhateverTheFileSizes)
{
    // Large files first: parsed side by side, the small ones would otherwise come first.
    QStringList asked;
    for (int day = 1; day <= 30; ++day) {
        const QString name = QDate(2026, 10, day).toString(LogManager::kDayFormat);
        writeIndex(name, QList<LogNode>(day <= 5 ? 3000 : 1, run(name)));
        asked.append(name);
    }
    manager.fetchLogsFrom(QDateTime(QDate(2026, 10, 1), QTime(0, 0)), QDateTime(QDate(2026, 10, 31), QTime(0, 0)));
    manager.waitForParses();
    EXPECT_EQ(viewer.lognames(), asked);
    EXPECT_EQ(viewer.deliveries.first().records->size(), 3000);
}

TEST_F(LogManagerTest, AnUnreadableIndexDeliversNone)
{
    env.writeFile(kIndex + u"/11-15-2026.xml"_s, "<records><record><status>");
    load(u"11-15-2026"_s);
    ASSERT_EQ(viewer.deliveries.size(), 1);
    EXPECT_FALSE(viewer.deliveries.first().records);
}

TEST_F(LogManagerTest, DeletingRunsRewritesTheDayAndTheLastOneTakesTheDayAway)
{
    const LogNode first = run(u"11-15-2026"_s), second = run(u"11-15-2026"_s, LogNode::Restore, u"two"_s);
    writeIndex(u"11-15-2026"_s, {first, second});
    env.writeFile(first.logfile(), "log");
    env.writeFile(first.logfile() + u".summary"_s, "summary");
    manager.deleteNode(first, u"11-15-2026"_s);
    EXPECT_TRUE(env.exists(first.logfile())) << "nothing happens for a day that is not loaded";

    load(u"11-15-2026"_s);
    manager.deleteNode(first, u"11-15-2026"_s);
    EXPECT_FALSE(env.exists(first.logfile()));
    EXPECT_FALSE(env.exists(first.logfile() + u".summary"_s));
    EXPECT_EQ(env.readFile(kIndex + u"/11-15-2026.xml"_s), LogManager::getXMLfromNodes({second}).toUtf8());
    EXPECT_EQ(manager.mLogData().value(u"11-15-2026"_s), QList<LogNode>{second});

    manager.deleteNode(second, u"11-15-2026"_s); // its log is already gone: no matter
    EXPECT_FALSE(env.exists(kIndex + u"/11-15-2026.xml"_s));
    EXPECT_FALSE(manager.mLogData().contains(u"11-15-2026"_s));
}

TEST_F(LogManagerTest, AStoreReleasedWhileParsingDeliversNothing)
{
    for (int day = 1; day <= 20; ++day) {
        const QString name = QDate(2026, 10, day).toString(LogManager::kDayFormat);
        writeIndex(name, QList<LogNode>(200, run(name)));
    }
    Viewer quiet;
    {
        LogManager store(&quiet, clock);
        quiet.manager = &store;
        store.fetchAllLogs();
    }
    EXPECT_LT(quiet.deliveries.size(), 20) << "the queue was cancelled";
}

TEST_F(LogManagerTest, OlderTextLogsBecomeIndexFiles)
{
    const QString backup = kLogs + u"/Backup/"_s, removed = kLogs + u"/Delete/"_s;
    env.writeFile(backup + u"B11-16-2026-09-00-00.log"_s, "File size: 10\nfile size: 20\nBackup completed successfully\n");
    env.writeFile(backup + u"B11-16-2026-10-00-00.log"_s, "nothing copied\n");          // no files: no record
    env.writeFile(backup + u"B11-16-2026-11-00-00.log"_s, "File size: 1\n");
    env.writeFile(backup + u"B11-16-2026-11-00-00.log.summary"_s, "indexed by the engine");
    env.writeFile(removed + u"D11-16-2026-12-00-00.log"_s, "Deleted file a\ndeleted file b\n"); // case counts here
    env.writeFile(backup + u"B11-14-2026-09-00-00.log"_s, "file size: 5\n");
    env.writeFile(backup + u"B10-01-2026-09-00-00.log"_s, "file size: 5\n"); // over 30 days ago
    // A name the engine's folder may hold: the shell lines quote it, so nothing of it runs (it
    // would leave its file in the current folder).
    env.writeFile(backup + u"B11-16-2026-13-00-00'$(touch pwned1)'; touch pwned2 #.log"_s, "nothing copied\n");
    QTemporaryDir current;
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(current.path()));
    manager.createOldLogs();
    QDir::setCurrent(previous);
    EXPECT_EQ(QDir(current.path()).entryList(QDir::Files), QStringList());
    EXPECT_EQ(UserDefaults(MonitorSettings::defaultsDomain()).integerForKey(u"onlyonce"_s), 1);
    EXPECT_EQ(manager.logLimit(), 3);
    manager.fetchAllLogs();
    manager.waitForParses();
    ASSERT_EQ(viewer.lognames(), (QStringList{u"11-14-2026"_s, u"11-16-2026"_s}));
    const QList<LogNode> today = *viewer.deliveries.at(1).records;
    ASSERT_EQ(today.size(), 2);
    EXPECT_EQ(today.at(0).files(), u"2"_s);
    EXPECT_EQ(today.at(0).status(), u"Success"_s);
    EXPECT_EQ(today.at(0).datetime(), u"Nov 16, 2026 09:00:00 AM"_s);
    EXPECT_EQ(today.at(0).duration(), u"--:--:--"_s);
    EXPECT_EQ(today.at(0).logfile(), backup + u"B11-16-2026-09-00-00.log"_s);
    EXPECT_EQ(today.at(1).optype(), u"5"_s);
    EXPECT_EQ(today.at(1).files(), u"1"_s);
    EXPECT_EQ(LogManager::getLogDate(u"11-16-2026-23-05-09"_s), u"Nov 16, 2026 11:05:09 PM"_s);
    EXPECT_TRUE(LogManager::getLogDate(u"16-11-2026-23-05-09"_s).isEmpty());
    EXPECT_EQ(LogManager::getOptypeForOperationName(u"PutBack"_s), u"9"_s);
    EXPECT_EQ(LogManager::getOptypeForOperationName(u"Verify"_s), u"11"_s);
}

} // namespace
