#pragma once

// A year (or any number of days) of operation log index files, as the engine writes them: `runs`
// successful backups a day of `account`'s `backupSet`, the first day `first`.

#include "logview/LogManager.h"
#include "logview/LogNode.h"
#include "platform/Clock.h"

#include <QDate>
#include <QDateTime>

inline void writeYearOfLogs(const QDate &first, int days, int runs, const QString &account, const QString &backupSet)
{
    using namespace Qt::StringLiterals;
    for (int d = 0; d < days; ++d) {
        const QDate day = first.addDays(d);
        const QString name = day.toString(LogManager::kDayFormat);
        QList<LogNode> records;
        for (int r = 0; r < runs; ++r) {
            LogNode node;
            node.setDatetime(QDateTime(day, QTime(0, 0).addSecs(r * 2700)).toString(u"MMM dd, yyyy hh:mm:ss AP"_s));
            node.setUname(account);
            node.setFiles(QString::number(100 + r));
            node.setFilesinsync(QString::number(r));
            node.setStatus(u"Success"_s);
            node.setDuration(u"00:04:12"_s);
            node.setOptype(u"1"_s);
            node.setContent(u"Backup of 3 folders"_s);
            node.setLpath(backupSet);
            node.setLogfile(u"/Library/Application Support/CorvanePortableforMac/SessionLogs/Backup/B"_s + name
                            + u"-%1.log"_s.arg(r));
            node.setLogname(name);
            records.append(node);
        }
        LogManager(nullptr, Clock::system()).writeToXMLFile(name, records);
    }
}
