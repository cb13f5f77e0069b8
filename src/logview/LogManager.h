#pragma once

#include "LogNode.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QObject>
#include <QThreadPool>

#include <atomic>
#include <memory>
#include <optional>

class Clock;

// The viewer's side of the store: it receives each index file's records on the main thread.
class LogParseDelegate
{
public:
    virtual ~LogParseDelegate() = default;
    // One index file's records; none when the file could not be read.
    virtual void xmlParsed(const std::optional<QList<LogNode>> &records) = 0;
};

// The operation log store: per-day XML index files (one record per run, "MM-dd-yyyy.xml" and
// "MM-dd-yyyy_cdp.xml" for continuous protection), read on a worker thread one file at a time
// and handed to the viewer; earlier days are kept once parsed, today's are read afresh since
// they may still grow. It also deletes runs and turns older plain-text session logs into
// index files.
class LogManager : public QObject
{
    Q_OBJECT
public:
    static inline const QString kIndexFolder
        = QStringLiteral("/Library/Application Support/CorvanePortableforMac/SessionLogs/LOGXML");
    static inline const QString kDayFormat = QStringLiteral("MM-dd-yyyy");

    explicit LogManager(LogParseDelegate *master, const Clock &clock, QObject *parent = nullptr);
    // Cancels what is queued; a parse under way ends without delivering.
    ~LogManager() override;

    // The day's two index files ("MM-dd-yyyy"): the "_cdp" file first, then the plain one.
    void parseXmlFile(const QString &day);
    void fetchAllLogs();
    // Each day from `from` up to, but not including, `to`.
    void fetchLogsFrom(const QDateTime &from, const QDateTime &to);
    // Keeps a delivery in the cache, only when it came from a fresh parse.
    void addToLogCache(const QString &name, const QList<LogNode> &records);
    // Removes the run's session log and summary, and the record from its day's index; the index
    // file goes with its last record.
    void deleteNode(const LogNode &record, const QString &name);

    static QString getXMLfromNodes(const QList<LogNode> &records);
    // Writes "<folder>/<name>.xml" atomically, unless there are no records.
    void writeToXMLFile(const QString &name, const QList<LogNode> &records);

    // Conversion of the older plain-text session logs into index files (today and the 30 days
    // before it, at most about 50 records).
    void createOldLogs();
    void generateLogsforDate(const QString &day);
    QList<LogNode> createNodesForDate(const QString &day);
    QList<LogNode> getNodesForOperation(const QString &operation, const QString &day);
    QList<LogNode> createNodesFromFileList(const QStringList &files, const QString &operation);
    static QString getOptypeForOperationName(const QString &operation);
    // "MM-dd-yyyy-HH-mm-ss" as "MMM dd, yyyy hh:mm:ss a"; empty when the text is no such date.
    static QString getLogDate(const QString &text);
    static QString runCommand(const QString &command);

    const QHash<QString, QList<LogNode>> &mLogData() const { return m_logData; }
    QString currentLog() const { return m_currentLog; }
    bool isParsed() const { return m_isParsed; }
    int logLimit() const { return m_logLimit; }
    // Blocks until every queued parse has been delivered (the main thread keeps delivering).
    void waitForParses();
    // What was asked for so far is not delivered any more (the viewer changed its period).
    void dropPendingDeliveries() { ++m_generation; }

private:
    // `listed`: the folder's files when just listed, else each file is looked for.
    void loadDay(const QString &day, const QString &today, const QSet<QString> *listed = nullptr);
    void loadIndex(const QString &name, const QString &todaysName, const QSet<QString> *listed);
    void queueParse(const QString &name);
    // A parse has ended (main thread): deliveries go out in the order the parses were asked for.
    void parsed(int ticket, int generation, bool fresh, const std::optional<QList<LogNode>> &records);
    void deliverNext();

    struct Parsed
    {
        int generation;
        bool fresh;
        std::optional<QList<LogNode>> records;
    };

    LogParseDelegate *m_master; // not owned
    const Clock &m_clock;
    QString mLogDumpPath;
    QHash<QString, QList<LogNode>> m_logData;
    QString m_currentLog;
    bool m_isParsed = false;
    int m_logLimit = 0;
    QThreadPool mQueue;
    int m_nextTicket = 0;    // of the next parse asked for
    int m_nextDelivery = 0;  // the ticket whose records go to the viewer next
    int m_generation = 0;    // deliveries asked for in an earlier one are dropped
    QHash<int, Parsed> m_waiting; // parsed ahead of their turn
    bool m_deliveryScheduled = false;
    std::shared_ptr<std::atomic_bool> m_cancelled = std::make_shared<std::atomic_bool>(false);
};
