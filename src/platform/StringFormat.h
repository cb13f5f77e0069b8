#pragma once

#include <QDateTime>
#include <QString>
#include <QVariantList>

// printf-style formatting as the platform's string formatter does it: "%@" takes any value (nil
// prints "(null)"), "%d" "%i" "%ld" "%lld" "%u" integers, "%f" "%.2f" reals, "%x" hexadecimal,
// "%%" a percent sign. A format without placeholders comes back unchanged.
QString stringWithFormat(const QString &format, const QVariantList &arguments = {});

// ISO 8601 with the time's own offset from UTC always written as digits ("+00:00", never "Z"),
// so that every machine-readable time has the same shape; empty for an invalid time.
QString iso8601WithOffset(const QDateTime &time);

template<typename... Args>
QString stringWithFormatArgs(const QString &format, const Args &...args)
{
    return stringWithFormat(format, QVariantList{QVariant::fromValue(args)...});
}
