#pragma once

#include <QString>
#include <QVariantList>

// printf-style formatting as the platform's string formatter does it: "%@" takes any value (nil
// prints "(null)"), "%d" "%i" "%ld" "%lld" "%u" integers, "%f" "%.2f" reals, "%x" hexadecimal,
// "%%" a percent sign. A format without placeholders comes back unchanged.
QString stringWithFormat(const QString &format, const QVariantList &arguments = {});

template<typename... Args>
QString stringWithFormatArgs(const QString &format, const Args &...args)
{
    return stringWithFormat(format, QVariantList{QVariant::fromValue(args)...});
}
