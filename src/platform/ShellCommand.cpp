#include "ShellCommand.h"

#include "PlatformLog.h"

#include <QProcess>

using namespace Qt::StringLiterals;

ShellCommand::Result ShellCommand::run(const QString &commandLine)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(u"/bin/sh"_s, {u"-c"_s, commandLine});
    Result result;
    if (!process.waitForStarted(-1) || !process.waitForFinished(-1)) {
        qCWarning(lcPlatform) << "shell command failed to run:" << commandLine;
        return result;
    }
    result.output = QString::fromUtf8(process.readAllStandardOutput());
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return result;
}

QString ShellCommand::quoted(const QString &text)
{
    return u'\'' + QString(text).replace(u"'"_s, u"'\\''"_s) + u'\'';
}
