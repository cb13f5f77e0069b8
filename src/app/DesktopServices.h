#pragma once

#include <QMutex>
#include <QString>
#include <QThreadPool>
#include <QUrl>

#include <atomic>

// Opening web pages, starting programs and running command lines, as the desktop does it.
class DesktopServices {
public:
    virtual ~DesktopServices() = default;
    virtual bool openUrl(const QUrl &url) = 0;
    // Starts the program or opens the bundle at `path` (a product path).
    virtual bool launchApplication(const QString &path) = 0;
    // Starts the program called `name` where the desktop finds programs; never a file of that
    // name in the current folder.
    virtual bool launchApplicationNamed(const QString &name) = 0;
    // Runs a command line with /bin/sh off the calling thread and returns at once; a command
    // still running after the time limit is ended.
    virtual void runCommandLine(const QString &commandLine) = 0;
};

// The system's own: QDesktopServices for pages and files, detached processes for programs, a
// small pool of threads for command lines.
class SystemDesktopServices : public DesktopServices {
public:
    static constexpr int kCommandTimeLimitMs = 60 * 1000;

    explicit SystemDesktopServices(int commandTimeLimitMs = kCommandTimeLimitMs);
    // Ends the command lines still running.
    ~SystemDesktopServices() override;

    bool openUrl(const QUrl &url) override;
    bool launchApplication(const QString &path) override;
    bool launchApplicationNamed(const QString &name) override;
    void runCommandLine(const QString &commandLine) override;

private:
    void runToTheEnd(const QString &commandLine);

    const int m_timeLimitMs;
    std::atomic<bool> m_closing {false};
    QThreadPool m_commands;
};
