#include "DesktopServices.h"

#include "logging/SLLogger.h"
#include "platform/Paths.h"

#include <QDeadlineTimer>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <csignal>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int kPollMs = 50;

// Texts kept out of the messages printed while a page opens: Qt names the whole address when no
// browser takes it, and the account pages carry a one-time sign-in token in their query.
QMutex g_hiddenMutex;
QStringList g_hidden;
QtMessageHandler g_forward = nullptr;

void forwardWithoutHiddenTexts(QtMsgType type, const QMessageLogContext &context,
                               const QString &message)
{
    QString text = message;
    {
        QMutexLocker lock(&g_hiddenMutex);
        for (const QString &hidden : std::as_const(g_hidden))
            text.replace(hidden, u"(hidden)"_s);
    }
    if (g_forward)
        g_forward(type, context, text);
}

class HiddenInMessages {
public:
    explicit HiddenInMessages(const QStringList &texts)
    {
        {
            QMutexLocker lock(&g_hiddenMutex);
            g_hidden = texts;
        }
        g_forward = qInstallMessageHandler(forwardWithoutHiddenTexts);
    }
    ~HiddenInMessages()
    {
        qInstallMessageHandler(g_forward);
        QMutexLocker lock(&g_hiddenMutex);
        g_hidden.clear();
    }
    HiddenInMessages(const HiddenInMessages &) = delete;
    HiddenInMessages &operator=(const HiddenInMessages &) = delete;
};

// The folders of PATH that are absolute: an empty or relative entry would name the current folder.
QStringList programFolders()
{
    QStringList folders;
    for (const QString &folder : qEnvironmentVariable("PATH").split(u':', Qt::SkipEmptyParts)) {
        if (QDir::isAbsolutePath(folder))
            folders.append(folder);
    }
    return folders;
}

} // namespace

SystemDesktopServices::SystemDesktopServices(int commandTimeLimitMs)
    : m_timeLimitMs(commandTimeLimitMs)
{
    m_commands.setMaxThreadCount(4);
}

SystemDesktopServices::~SystemDesktopServices()
{
    m_closing = true;
    m_commands.waitForDone();
}

bool SystemDesktopServices::openUrl(const QUrl &url)
{
    QStringList query;
    for (const auto form : {QUrl::FullyEncoded, QUrl::PrettyDecoded, QUrl::FullyDecoded}) {
        if (!url.query(form).isEmpty())
            query.append(url.query(form));
    }
    const HiddenInMessages hidden(query);
    return QDesktopServices::openUrl(url);
}

bool SystemDesktopServices::launchApplication(const QString &path)
{
    const QString real = Paths::current().resolve(path);
    const QFileInfo info(real);
    if (!QDir::isAbsolutePath(real) || !info.exists())
        return false;
    if (info.isFile() && info.isExecutable())
        return QProcess::startDetached(real, {});
    return QDesktopServices::openUrl(QUrl::fromLocalFile(real));
}

bool SystemDesktopServices::launchApplicationNamed(const QString &name)
{
    if (name.isEmpty() || name.contains(u'/'))
        return false; // a name, not a path
    const QString program = QStandardPaths::findExecutable(name, programFolders());
    return !program.isEmpty() && QProcess::startDetached(program, {});
}

void SystemDesktopServices::runCommandLine(const QString &commandLine)
{
    m_commands.start([this, commandLine] { runToTheEnd(commandLine); });
}

void SystemDesktopServices::runToTheEnd(const QString &commandLine)
{
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    // A group of its own, so that what the shell started ends with it.
    process.setChildProcessModifier([] { ::setsid(); });
    process.start(u"/bin/sh"_s, {u"-c"_s, commandLine});
    if (!process.waitForStarted()) {
        SLLogger::logMonitorTrace(u"Could not run the command line: "_s + commandLine);
        return;
    }
    const QDeadlineTimer deadline(m_timeLimitMs);
    while (!process.waitForFinished(kPollMs)) {
        if (!m_closing && !deadline.hasExpired())
            continue;
        SLLogger::logMonitorTrace((m_closing
                                       ? u"Command line ended as the monitor quits: "_s
                                       : u"Command line ended after %1 ms: "_s.arg(m_timeLimitMs))
                                  + commandLine);
        ::kill(-pid_t(process.processId()), SIGKILL);
        process.waitForFinished();
        return;
    }
}
