#pragma once

#include <QString>
#include <QUrl>

// Opening web pages and starting programs, as the desktop does it.
class DesktopServices
{
public:
    virtual ~DesktopServices() = default;
    virtual bool openUrl(const QUrl &url) = 0;
    // Starts the program or opens the bundle at `path` (a product path).
    virtual bool launchApplication(const QString &path) = 0;
};

// The system's own: QDesktopServices for pages and files, a detached process for programs.
class SystemDesktopServices : public DesktopServices
{
public:
    bool openUrl(const QUrl &url) override;
    bool launchApplication(const QString &path) override;
};
