#include "RecentRuns.h"

#include "LogManager.h"
#include "LogParseOperation.h"
#include "platform/FileContents.h"

#include <QLocale>

using namespace Qt::StringLiterals;

namespace RecentRuns {

std::optional<QDateTime> lastSuccess(const QString &account, const QDate &today, int days)
{
    for (int back = 0; back < days; ++back) {
        const QString day = today.addDays(-back).toString(LogManager::kDayFormat);
        std::optional<QDateTime> newest;
        for (const QString &suffix : {u""_s, u"_cdp"_s}) {
            const FileContents file = FileContents::read(LogManager::kIndexFolder + u'/' + day + suffix + u".xml"_s);
            const LogParseOperation::Result parsed = file.ok() ? LogParseOperation::parse(file.data())
                                                               : LogParseOperation::Result {};
            for (const LogNode &run : parsed.records.value_or(QList<LogNode>())) {
                if (run.uname() != account || run.status() != "Success"_L1)
                    continue;
                const QDateTime start = QLocale::c().toDateTime(run.datetime(), u"MMM dd, yyyy hh:mm:ss AP"_s);
                if (start.isValid() && (!newest || start > *newest))
                    newest = start;
            }
        }
        if (newest)
            return newest;
    }
    return std::nullopt;
}

} // namespace RecentRuns
