#include "RecentRuns.h"

#include "LogManager.h"
#include "LogParseOperation.h"
#include "platform/FileContents.h"

#include <QLocale>

#include <functional>

using namespace Qt::StringLiterals;

namespace RecentRuns {

namespace {

QDateTime startOf(const LogNode &run)
{
    return QLocale::c().toDateTime(run.datetime(), u"MMM dd, yyyy hh:mm:ss AP"_s);
}

// The newest run of the account that `accept` takes, newest day first.
std::optional<LogNode> newest(const QString &account, const QDate &today, int days,
                              const std::function<bool(const LogNode &)> &accept)
{
    for (int back = 0; back < days; ++back) {
        const QString day = today.addDays(-back).toString(LogManager::kDayFormat);
        std::optional<LogNode> found;
        QDateTime foundStart;
        for (const QString &suffix : {u""_s, u"_cdp"_s}) {
            const FileContents file = FileContents::read(LogManager::kIndexFolder + u'/' + day + suffix + u".xml"_s);
            const LogParseOperation::Result parsed = file.ok() ? LogParseOperation::parse(file.data())
                                                               : LogParseOperation::Result {};
            for (const LogNode &run : parsed.records.value_or(QList<LogNode>())) {
                if (run.uname() != account || !accept(run))
                    continue;
                // Read once per run: the text-to-date reading is what a refresh spends most on here.
                const QDateTime start = startOf(run);
                if (start.isValid() && (!found || start > foundStart)) {
                    found = run;
                    foundStart = start;
                }
            }
        }
        if (found)
            return found;
    }
    return std::nullopt;
}

} // namespace

std::optional<QDateTime> lastSuccess(const QString &account, const QDate &today, int days)
{
    const std::optional<LogNode> run
        = newest(account, today, days, [](const LogNode &r) { return r.status() == "Success"_L1; });
    return run ? std::optional<QDateTime>(startOf(*run)) : std::nullopt;
}

std::optional<LogNode> lastRun(const QString &account, const QDate &today, int days)
{
    return newest(account, today, days, [](const LogNode &) { return true; });
}

} // namespace RecentRuns
