#include "SLLogger.h"

#include "LogFormat.h"
#include "WriteToFile.h"
#include "product/StringTable.h"
#include "platform/Clock.h"
#include "platform/FoundationValues.h"
#include "platform/Paths.h"
#include "util/StringExtensions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype kTailLength = 20480;

} // namespace

QString SLLogger::messageTypeTag(int type)
{
    static const QString tags[] = {u"Information"_s, u"Success"_s, u"Error"_s, u"Warning"_s};
    return type >= 0 && type < 4 ? tags[type] : QString();
}

QString SLLogger::mappedUserName()
{
    return LogFormat::mappedUserName();
}

QString SLLogger::actualUserName()
{
    return LogFormat::actualUserName();
}

void SLLogger::logMsg(const QString &msg, int /*type*/, const QString &path)
{
    // The type is not written: direct lines carry the message only.
    const QString line = stringWithFormat(u"%@\n"_s, {msg});
    writeToFile(path, LogFormat::rewrite(line));
}

void SLLogger::trace(const QString &msg, const QString &pathKey)
{
    if (msg.isNull())
        return;
    // Trailing blank, no line break: consecutive entries run on in one physical line.
    const QString line = LogFormat::lineTimeStamp(LogFormat::clock().now()) + u" : "_s + msg
                         + u" "_s;
    writeToFile(SLLocalizedString(pathKey), LogFormat::rewrite(line));
}

void SLLogger::logInteractiveTrace(const QString &msg)
{
    trace(msg, u"InteractiveTraceFilePath"_s);
}

void SLLogger::logMonitorTrace(const QString &msg)
{
    trace(msg, u"MonitorTraceFilePath"_s);
}

void SLLogger::logDaemonTrace(const QString &msg)
{
    trace(msg, u"DaemonTraceFilePath"_s);
}

void SLLogger::logDaemonSession(const QString &msg)
{
    if (!msg.isNull())
        logMsg(msg, Information, SLLocalizedString(u"ScheduledBackupLog"_s));
}

void SLLogger::logStelloaSession(const QString &msg)
{
    if (!msg.isNull())
        logMsg(msg, Information, SLLocalizedString(u"InteractiveSessionLog"_s));
}

void SLLogger::writeSessionLog(const QString &msg, const QString &path)
{
    logMsg(msg, Information, path);
}

void SLLogger::insertCDPSessionLogFile(const QString &cdpLogPath, const QString &path)
{
    const QString sessionText = stelloaExtension::loadStringFromFile(path);
    writeSessionLog(FoundationValues::description(sessionText), cdpLogPath);
    const Paths &paths = Paths::current();
    QFile::remove(paths.resolve(path));
    QFile::rename(paths.resolve(cdpLogPath), paths.resolve(path));
}

QString SLLogger::constructSessionFileNameforOperarion(int op)
{
    static const char16_t *const prefixes[] = {
        u"Backup%@", u"Restore%@", u"Schedule%@", u"Delete%@", u"Automatic_Sync%@",
        u"Sync%@", u"Put_Back%@", u"Empty_Trash%@", u"Rename%@", u"Delete_Forever%@",
        u"Continuous_Backup%@",
    };
    if (op < 1 || op > 11)
        return u""_s;
    const QString stamp = LogFormat::sessionFileTimeStamp(LogFormat::clock().now());
    return stringWithFormat(QString::fromUtf16(prefixes[op - 1]), {stamp});
}

QString SLLogger::errorLogPath()
{
    return u"/Library/Application Support/CorvaneforMac/Logs/ErrorLog.txt"_s;
}

void SLLogger::clearErrorLogForScheduledBackup()
{
    QFile::remove(Paths::current().resolve(errorLogPath()));
}

void SLLogger::writeErrorMessageForScheduledBackup(const QString &msg)
{
    logMsg(msg, Error, errorLogPath());
}

QString SLLogger::getErrorLogContentForScheduledBackup()
{
    return getUTT8StringFromFile(errorLogPath());
}

QString SLLogger::getUTT8StringFromFile(const QString &path)
{
    const QString text = stelloaExtension::loadStringFromFile(path);
    if (text.isNull())
        return u""_s;
    return text.size() <= kTailLength ? text : text.right(kTailLength);
}
