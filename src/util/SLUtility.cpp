// SLUtility: brand test, formatting and validation. Sizes, listings and system facts live in
// SLUtilitySizes.cpp, SLUtilityListings.cpp and SLUtilitySystem.cpp.

#include "SLUtility.h"

#include "product/FilePathAPIs.h"
#include "platform/Clock.h"
#include "platform/StringFormat.h"

#include <QLocale>

using namespace Qt::StringLiterals;

namespace {

__extension__ typedef unsigned __int128 Wide;

// value / divisor as exact decimal text with up to `digits` fraction digits (trailing zeros
// dropped, as a decimal number prints), rounded up or half away from zero.
QString decimalQuotient(Wide value, Wide divisor, int digits, bool roundUp)
{
    Wide scale = 1;
    for (int i = 0; i < digits; ++i)
        scale *= 10;
    const Wide scaled = value * scale;
    Wide units = roundUp ? (scaled + divisor - 1) / divisor : (scaled * 2 + divisor) / (divisor * 2);
    const quint64 whole = quint64(units / scale);
    quint64 fraction = quint64(units % scale);
    QString text = QString::number(whole);
    if (fraction == 0)
        return text;
    QString decimals = QString::number(fraction).rightJustified(digits, u'0');
    while (decimals.endsWith(u'0'))
        decimals.chop(1);
    return text + u'.' + decimals;
}

constexpr quint64 KiB = 1024ULL, MiB = KiB * 1024, GiB = MiB * 1024;

} // namespace

bool SLUtility::isCorvaneApplication()
{
    return FilePathAPIs::isCorvaneApplication();
}

bool SLUtility::isStringContainsKeyString(const QString &text, const QString &key)
{
    return !key.isEmpty() && text.contains(key);
}

QString SLUtility::formatedFileSizeAsString(std::optional<quint64> bytes)
{
    if (!bytes)
        return u"0 bytes"_s;
    const quint64 value = *bytes;
    if (value < KiB)
        return u"%1 bytes"_s.arg(qint16(value));
    if (value < MiB)
        return decimalQuotient(value, KiB, 1, true) + u" KB"_s;
    if (value < GiB)
        return decimalQuotient(value, MiB, 1, true) + u" MB"_s;
    return decimalQuotient(value, GiB, 1, true) + u" GB"_s;
}

QString SLUtility::formatedFileSizeAsStringWithDecimalTruncated(std::optional<quint64> bytes)
{
    if (!bytes)
        return u""_s;
    const quint64 value = *bytes;
    // Whole thousands of MiB are plan sizes: they read as round figures (5,000 MiB is 5 GB).
    const bool wholeThousands = (value / MiB) % 1000 == 0;
    if (value < KiB)
        return u"%1 bytes"_s.arg(qint16(value));
    if (value < MiB)
        return decimalQuotient(value, KiB, 1, false) + u" KB"_s;
    if (value < GiB)
        return decimalQuotient(value, wholeThousands ? 1024000ULL : MiB, 1, false) + u" MB"_s;
    if (value < 1000 * GiB)
        return decimalQuotient(value, wholeThousands ? 1048576000ULL : GiB, 1, false) + u" GB"_s;
    return decimalQuotient(value, wholeThousands ? 1048576000000ULL : 1000 * GiB, 1, false) + u" TB"_s;
}

QString SLUtility::formatedFileSizeInBits(std::optional<quint64> bytes)
{
    if (!bytes)
        return u"1 bytes"_s;
    Wide bits = Wide(*bytes) * 8;
    if (bits == 0)
        bits = 51200; // a rate is never shown as zero
    if (bits < KiB)
        return u"%1 bytes"_s.arg(quint64(bits));
    if (bits < MiB)
        return decimalQuotient(bits, KiB, 2, false) + u" Kb"_s;
    if (bits < GiB)
        return decimalQuotient(bits, MiB, 2, false) + u" Mb"_s;
    return decimalQuotient(bits, GiB, 2, false) + u" Gb"_s;
}

QString SLUtility::formatedFileSizeForOutlineView(quint64 bytes)
{
    const double value = double(bytes);
    if (value < 1024.0)
        return QString::asprintf("%.0lf bytes", value);
    if (value < 1048576.0)
        return QString::asprintf("%.2lf KB", value / 1024.0);
    if (value < 1073741824.0)
        return QString::asprintf("%.2lf MB", value / 1048576.0);
    return QString::asprintf("%.2lf GB", value / 1073741824.0);
}

QString SLUtility::timeDisplayFormatHour(int hour, int minute, int seconds)
{
    const auto part = [](int value) {
        return value >= 0 && value <= 9 ? u"0%1"_s.arg(value) : QString::number(value);
    };
    return stringWithFormat(u"%@:%@:%@"_s, {part(hour), part(minute), part(seconds)});
}

namespace {

const QString kSessionTimeFormat = u"MM/dd/yyyy hh:mm:ss AP"_s;

} // namespace

QString SLUtility::getSessionLogTime(const Clock &clock)
{
    return QLocale::c().toString(clock.now(), kSessionTimeFormat);
}

QString SLUtility::getSessionDurationWithStartDate(const QString &start, const QString &end)
{
    const QDateTime from = QLocale::c().toDateTime(start, kSessionTimeFormat);
    const QDateTime to = QLocale::c().toDateTime(end, kSessionTimeFormat);
    const qint64 seconds = from.isValid() && to.isValid() ? from.secsTo(to) : 0;
    const qint64 hours = qMax<qint64>(0, seconds / 3600);
    const qint64 minutes = qMax<qint64>(0, (seconds % 3600) / 60);
    const qint64 rest = qMax<qint64>(0, seconds % 60);
    if (hours == 0 && minutes == 0 && rest == 0)
        return u"--:--:--"_s;
    return QString::asprintf("%02lld:%02lld:%02lld", hours, minutes, rest);
}

bool SLUtility::isEmailID(const QString &text)
{
    const QStringList parts = text.split(u'@');
    if (parts.size() != 2)
        return false;
    const QStringList domain = parts.at(1).split(u'.');
    return !domain.first().isEmpty() && domain.size() > 1;
}

bool SLUtility::isValidEmailID(const QString &text)
{
    if (!isEmailID(text))
        return false;
    for (const QChar c : text) {
        const char low = char(c.unicode() & 0xFF); // only the low eight bits are looked at
        const bool allowed = low == '@' || low == '-' || low == '.' || low == '_'
                             || (low >= 'A' && low <= 'Z') || (low >= 'a' && low <= 'z')
                             || (low >= '0' && low <= '9');
        if (!allowed)
            return false;
    }
    return true;
}

int SLUtility::LocateCharecter(const QString &text, QChar character)
{
    return int(text.indexOf(character));
}

std::optional<QString> SLUtility::parseError(const QString &line)
{
    if (!line.contains(u']'))
        return std::nullopt;
    const QStringList pieces = line.split(u']', Qt::SkipEmptyParts);
    if (pieces.size() <= 4)
        return std::nullopt;
    const QString &piece = pieces.at(2);
    return piece.mid(LocateCharecter(piece, u'[') + 1);
}
