#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

// One sub-command of lumenctl. `run` gets the arguments after the command name and returns the
// process exit code (0 done, 1 failed, 2 bad usage).
struct Command
{
    QString name;
    QString synopsis;
    QString summary;
    int (*run)(const QStringList &arguments, QTextStream &out, QTextStream &err);
};

int runPathsCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
int runStringCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
int runSchedulesCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
int runSendCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
int runListenCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
int runNotifyCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
int runSizeCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
int runBackupNowCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
int runStatusCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
int runMenuCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);
