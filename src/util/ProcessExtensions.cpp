#include "ProcessExtensions.h"

#include "platform/FoundationValues.h"
#include "platform/Paths.h"
#include "platform/ShellCommand.h"

#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace SLXExtension {

QVariantMap executeAppleScriptFromFile(const QString &path)
{
    const QString runner = QStandardPaths::findExecutable(u"osascript"_s);
    const QString script = Paths::current().resolve(path);
    auto error = [](const QString &message, int number) {
        return QVariantMap{{u"NSAppleScriptErrorMessage"_s, message},
                           {u"NSAppleScriptErrorNumber"_s, number}};
    };
    if (!QFileInfo::exists(script))
        return error(u"The script file could not be found."_s, -43);
    if (runner.isEmpty())
        return error(u"No script runner is available on this system."_s, -1);
    QProcess process;
    process.start(runner, {script});
    if (!process.waitForFinished(-1) || process.exitCode() != 0)
        return error(QString::fromUtf8(process.readAllStandardError()).trimmed(),
                     process.exitCode());
    return {};
}

QList<qint64> parseProcessIDs(const QString &psOutput, const QString &name)
{
    QList<qint64> ids;
    if (name.isEmpty())
        return ids;
    const QStringList lines = psOutput.split(u'\n');
    for (const QString &line : lines) {
        const qsizetype at = line.indexOf(name);
        if (at < 0)
            continue;
        const qint64 id = FoundationValues::stringIntegerValue(line.left(at));
        if (id != 0)
            ids.append(id);
    }
    return ids;
}

QList<qint64> getAllProcessIDsWithName(const QString &name)
{
    const QString command = u"/bin/ps -axwwopid,command,user | grep "_s + ShellCommand::quoted(name);
    return parseProcessIDs(ShellCommand::output(command), name);
}

void killAllProcessesWithName(const QString &name)
{
    for (const qint64 id : getAllProcessIDsWithName(name)) {
        QProcess kill;
        kill.start(u"/bin/kill"_s, {QString::number(id)});
        kill.waitForFinished(-1); // a process already gone is no error worth stopping for
    }
}

} // namespace SLXExtension
