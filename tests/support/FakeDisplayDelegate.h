#pragma once

#include "notify/DisplayController.h"

#include <QStringList>

// The monitor as the notification window sees it: counts what its buttons ask for.
class FakeDisplayDelegate : public DisplayControllerDelegate
{
public:
    void openLogfile() override { ++logsOpened; }
    void viewLog() override { ++listsShown; }
    void upgradeAccount(const QString &user) override { upgrades.append(user); }
    int logsOpened = 0;
    int listsShown = 0;
    QStringList upgrades;
};
