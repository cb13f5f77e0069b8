#pragma once

#include <QMutex>
#include <QString>

// Gathers log lines in memory and appends them to their files in large batches. A buffer is
// written when it reaches 51,200 characters or when the caller asks for a flush. Whatever is
// still buffered when the process ends normally is written out then.
class SLBackupProgressLogger
{
public:
    static constexpr qsizetype kFlushThreshold = 51200;

    static SLBackupProgressLogger &progressLogger();

    SLBackupProgressLogger() = default;
    ~SLBackupProgressLogger();
    SLBackupProgressLogger(const SLBackupProgressLogger &) = delete;
    SLBackupProgressLogger &operator=(const SLBackupProgressLogger &) = delete;

    // The three session logs share one buffer: whichever crosses the threshold writes it all.
    void logDaemonSession(const QString &msg, bool flush);
    void logStelloaSession(const QString &msg, bool flush);
    void logSyncInteractiveSession(const QString &msg, bool flush);
    // A nil message forces the buffer out.
    void writeSessionLog(const QString &msg, const QString &path, bool flush);
    void logInteractiveTrace(const QString &msg, bool flush);
    // Safe from any thread.
    void logDaemonTrace(const QString &msg, bool flush);
    // Appends the daemon buffer to its file without emptying it.
    void writeUsingMainThread();
    void refreshSessionLogBuffer();

    // Writes every buffer out now.
    void flushAll();

private:
    struct Buffer
    {
        QString text;
        QString lastPath; // where the buffer goes when flushed at exit
    };

    void append(Buffer &buffer, const QString &line, const QString &path, bool flush);
    void logSession(const QString &line, const QString &pathKey, bool flush);
    static QString stampedLine(const QString &msg);

    QMutex m_mutex;
    Buffer m_progressedBackupFilesNames;
    Buffer m_progressedSessionFilesNames;
    Buffer m_interactiveTraceMsgs;
    Buffer m_daemonTraceMsgs;
};
