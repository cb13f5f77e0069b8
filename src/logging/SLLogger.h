#pragma once

#include "platform/StringFormat.h"

#include <QString>

// Trace and session lines written to their files at once. Paths of the traces and session logs
// come from the string table. A null QString stands for a nil message.
class SLLogger
{
public:
    enum MessageType { Information = 0, Success = 1, Error = 2, Warning = 3 };
    static QString messageTypeTag(int type);

    static QString mappedUserName();
    static QString actualUserName();

    static void logMsg(const QString &msg, int type, const QString &path);
    template<typename... Args>
    static void logInfoToFile(const QString &path, const QString &format, const Args &...args)
    {
        logMsg(stringWithFormatArgs(format, args...), Information, path);
    }
    template<typename... Args>
    static void logSuccessToFile(const QString &path, const QString &format, const Args &...args)
    {
        logMsg(stringWithFormatArgs(format, args...), Success, path);
    }
    template<typename... Args>
    static void logErrorToFile(const QString &path, const QString &format, const Args &...args)
    {
        logMsg(stringWithFormatArgs(format, args...), Error, path);
    }
    template<typename... Args>
    static void logWarningToFile(const QString &path, const QString &format, const Args &...args)
    {
        logMsg(stringWithFormatArgs(format, args...), Warning, path);
    }

    static void logInteractiveTrace(const QString &msg);
    static void logMonitorTrace(const QString &msg);
    static void logDaemonTrace(const QString &msg);
    static void logDaemonSession(const QString &msg);
    static void logStelloaSession(const QString &msg);
    static void writeSessionLog(const QString &msg, const QString &path);

    // Puts the continuous-backup log in front of the session log at `path`.
    static void insertCDPSessionLogFile(const QString &cdpLogPath, const QString &path);
    static QString constructSessionFileNameforOperarion(int op);

    static QString errorLogPath();
    static void clearErrorLogForScheduledBackup();
    static void writeErrorMessageForScheduledBackup(const QString &msg);
    static QString getErrorLogContentForScheduledBackup();
    // The file as UTF-8, or only its last 20,480 characters when longer; "" when unreadable.
    static QString getUTT8StringFromFile(const QString &path);

private:
    static void trace(const QString &msg, const QString &pathKey);
};
