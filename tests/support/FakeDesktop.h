#pragma once

#include "app/DesktopServices.h"

#include <QList>
#include <QStringList>
#include <QUrl>

// Records what the monitor asks of the desktop; opening a URL and launching by name succeed.
class FakeDesktop : public DesktopServices {
public:
    bool openUrl(const QUrl &url) override
    {
        opened.append(url);
        return true;
    }
    bool launchApplication(const QString &path) override
    {
        launched.append(path);
        return false;
    }
    bool launchApplicationNamed(const QString &name) override
    {
        launchedByName.append(name);
        return true;
    }
    void runCommandLine(const QString &commandLine) override { commands.append(commandLine); }
    QList<QUrl> opened;
    QStringList launched, launchedByName, commands;
};
