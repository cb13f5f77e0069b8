#include "SLBackupProgressLogger.h"

#include "LogFormat.h"
#include "WriteToFile.h"
#include "product/StringTable.h"
#include "platform/Clock.h"
#include "platform/FoundationValues.h"
#include "platform/Paths.h"

using namespace Qt::StringLiterals;

SLBackupProgressLogger &SLBackupProgressLogger::progressLogger()
{
    static SLBackupProgressLogger logger;
    return logger;
}

SLBackupProgressLogger::~SLBackupProgressLogger()
{
    flushAll();
}

QString SLBackupProgressLogger::stampedLine(const QString &msg)
{
    return LogFormat::lineTimeStamp(LogFormat::clock().now()) + u" : "_s + msg + u" \n"_s;
}

// One lock for all buffers: the daemon trace is written from worker threads, and the ordering of
// lines in a file must follow the ordering of the calls.
void SLBackupProgressLogger::append(Buffer &buffer, const QString &line, const QString &path,
                                    bool flush)
{
    QMutexLocker lock(&m_mutex);
    buffer.text.append(line);
    buffer.lastPath = path;
    if (buffer.text.size() < kFlushThreshold && !flush)
        return;
    writeToFile(path, buffer.text);
    buffer.text.clear();
}

void SLBackupProgressLogger::logSession(const QString &line, const QString &pathKey, bool flush)
{
    append(m_progressedBackupFilesNames, line, SLLocalizedString(pathKey), flush);
}

namespace {

QString sessionLine(const QString &msg)
{
    return u"Information : "_s + LogFormat::lineTimeStamp(LogFormat::clock().now()) + u" : "_s
           + FoundationValues::description(msg) + u" \n"_s;
}

} // namespace

void SLBackupProgressLogger::logDaemonSession(const QString &msg, bool flush)
{
    logSession(LogFormat::rewrite(sessionLine(msg)), u"ScheduledBackupLog"_s, flush);
}

void SLBackupProgressLogger::logStelloaSession(const QString &msg, bool flush)
{
    logSession(LogFormat::rewrite(sessionLine(msg)), u"InteractiveSessionLog"_s, flush);
}

void SLBackupProgressLogger::logSyncInteractiveSession(const QString &msg, bool flush)
{
    // The sync log's path is tilde-expanded and standardised before use.
    const QString path = stringByStandardizingPath(SLLocalizedString(u"SyncInteractiveSessionLog"_s));
    append(m_progressedBackupFilesNames, LogFormat::rewriteSync(sessionLine(msg)), path, flush);
}

void SLBackupProgressLogger::writeSessionLog(const QString &msg, const QString &path, bool flush)
{
    QMutexLocker lock(&m_mutex);
    Buffer &buffer = m_progressedSessionFilesNames;
    if (!msg.isNull())
        buffer.text.append(LogFormat::rewrite(msg + u"\n"_s));
    buffer.lastPath = path;
    if (!msg.isNull() && !flush && buffer.text.size() < kFlushThreshold)
        return;
    writeToFile(path, buffer.text);
    buffer.text.clear();
}

void SLBackupProgressLogger::logInteractiveTrace(const QString &msg, bool flush)
{
    if (msg.isNull())
        return;
    append(m_interactiveTraceMsgs, LogFormat::rewrite(stampedLine(msg)),
           SLLocalizedString(u"InteractiveTraceFilePath"_s), flush);
}

void SLBackupProgressLogger::logDaemonTrace(const QString &msg, bool flush)
{
    if (msg.isNull())
        return;
    // An empty message adds no line but still applies the flush rule.
    const QString line = msg.isEmpty() ? QString() : LogFormat::rewrite(stampedLine(msg));
    append(m_daemonTraceMsgs, line, SLLocalizedString(u"DaemonTraceFilePath"_s), flush);
}

void SLBackupProgressLogger::writeUsingMainThread()
{
    QMutexLocker lock(&m_mutex);
    if (!m_daemonTraceMsgs.text.isEmpty())
        writeToFile(SLLocalizedString(u"DaemonTraceFilePath"_s), m_daemonTraceMsgs.text);
}

void SLBackupProgressLogger::refreshSessionLogBuffer()
{
    QMutexLocker lock(&m_mutex);
    m_progressedSessionFilesNames.text.clear();
}

void SLBackupProgressLogger::flushAll()
{
    QMutexLocker lock(&m_mutex);
    for (Buffer *buffer : {&m_progressedBackupFilesNames, &m_progressedSessionFilesNames,
                           &m_interactiveTraceMsgs, &m_daemonTraceMsgs}) {
        if (!buffer->text.isEmpty() && !buffer->lastPath.isEmpty())
            writeToFile(buffer->lastPath, buffer->text);
        buffer->text.clear();
    }
}
