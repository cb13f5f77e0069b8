#pragma once

#include "LogNode.h"

#include <QDateTime>
#include <QString>

#include <optional>

// The engine's runs of an account as its day index files record them, newest day first.
namespace RecentRuns {

// When the account's last successful run started, looking back `days` days from `today`
// (today included); nothing when none succeeded in that time.
std::optional<QDateTime> lastSuccess(const QString &account, const QDate &today, int days);
// The account's newest run of any result in that time.
std::optional<LogNode> lastRun(const QString &account, const QDate &today, int days);

} // namespace RecentRuns
