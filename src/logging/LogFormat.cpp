#include "LogFormat.h"

#include "product/StringTable.h"
#include "platform/Clock.h"

#include <QLocale>

#include <atomic>

using namespace Qt::StringLiterals;

namespace LogFormat {

namespace {

std::atomic<const Clock *> g_clock{nullptr};
std::atomic<const UserNames *> g_delegate{nullptr};

QString replaceUserName(QString line)
{
    const QString mapped = mappedUserName();
    if (!mapped.isEmpty())
        line.replace(mapped, actualUserName(), Qt::CaseInsensitive);
    return line;
}

} // namespace

QString lineTimeStamp(const QDateTime &time)
{
    return QLocale().toString(time, u"ddd MMM d yyyy h:m:s AP"_s);
}

QString sessionFileTimeStamp(const QDateTime &time)
{
    return QLocale().toString(time, u"MM-d-yyyy-H-m-s"_s);
}

const Clock &clock()
{
    const Clock *installed = g_clock.load();
    return installed ? *installed : Clock::system();
}

void setClock(const Clock *clock)
{
    g_clock.store(clock);
}

void setApplicationDelegate(const UserNames *delegate)
{
    g_delegate.store(delegate);
}

QString mappedUserName()
{
    const UserNames *delegate = g_delegate.load();
    const QString name = delegate ? delegate->currentStelloaUserName() : QString();
    return name.isNull() ? u""_s : name;
}

QString actualUserName()
{
    const UserNames *delegate = g_delegate.load();
    const QString name = delegate ? delegate->currentCorvaneUserName() : QString();
    return name.isNull() ? u""_s : name;
}

QString rewrite(const QString &line)
{
    QString out = replaceUserName(line);
    if (SLLocalizedString(u"ApplicationName"_s) == "Corvane"_L1)
        out.replace(u"::stelloa"_s, u"::corvane"_s, Qt::CaseInsensitive);
    return out;
}

QString rewriteSync(const QString &line)
{
    QString out = line;
    out.replace(u"::stelloa"_s, u"::corvane"_s, Qt::CaseInsensitive);
    out.replace(u"in stelloa"_s, u"in corvane"_s, Qt::CaseInsensitive);
    out = replaceUserName(out);
    if (SLLocalizedString(u"ApplicationName"_s) == "Stelloa"_L1)
        out.replace(u"corvane"_s, u"stelloa"_s, Qt::CaseInsensitive);
    return out;
}

} // namespace LogFormat
