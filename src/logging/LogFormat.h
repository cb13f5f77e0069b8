#pragma once

#include <QDateTime>
#include <QString>

class Clock;

// What every log line shares: its time stamps, the clock they come from, and the rewrites that
// put the real user name and the running brand into each line.
namespace LogFormat {

// "Sun Nov 15 2026 6:5:9 PM": nothing padded, 12-hour clock.
QString lineTimeStamp(const QDateTime &time);
// "11-15-2026-18-5-9": two-digit month, the rest unpadded, 24-hour clock.
QString sessionFileTimeStamp(const QDateTime &time);

// The clock every logger reads (the system clock unless one was installed).
const Clock &clock();
void setClock(const Clock *clock);

// Supplies the user names of the account the log lines should show.
class UserNames
{
public:
    virtual ~UserNames() = default;
    virtual QString currentStelloaUserName() const = 0;
    virtual QString currentCorvaneUserName() const = 0;
};
void setApplicationDelegate(const UserNames *delegate);
QString mappedUserName();
QString actualUserName();

// User-name rewrite, then the brand rewrite.
QString rewrite(const QString &line);
// The sync log's rewrite: always names the running brand.
QString rewriteSync(const QString &line);

} // namespace LogFormat
