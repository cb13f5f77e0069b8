#include "FoundationValues.h"

#include <QDateTime>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace FoundationValues {

namespace {

qsizetype skipSpace(const QString &text, qsizetype i = 0)
{
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    return i;
}

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}

} // namespace

bool stringBoolValue(const QString &text)
{
    qsizetype i = skipSpace(text);
    if (i < text.size() && (text.at(i) == u'+' || text.at(i) == u'-'))
        ++i;
    while (i < text.size() && text.at(i) == u'0')
        ++i;
    if (i >= text.size())
        return false;
    const QChar c = text.at(i);
    return c == u'Y' || c == u'y' || c == u'T' || c == u't' || (c >= u'1' && c <= u'9');
}

qint64 stringIntegerValue(const QString &text)
{
    qsizetype i = skipSpace(text);
    bool negative = false;
    if (i < text.size() && (text.at(i) == u'+' || text.at(i) == u'-'))
        negative = text.at(i++) == u'-';
    qint64 value = 0;
    for (; i < text.size() && text.at(i).isDigit() && text.at(i).unicode() < 128; ++i) {
        const int digit = text.at(i).unicode() - '0';
        if (value > (std::numeric_limits<qint64>::max() - digit) / 10)
            return negative ? std::numeric_limits<qint64>::min() : std::numeric_limits<qint64>::max();
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

double stringDoubleValue(const QString &text)
{
    // The longest leading prefix that reads as a decimal number.
    const qsizetype start = skipSpace(text);
    qsizetype end = start;
    if (end < text.size() && (text.at(end) == u'+' || text.at(end) == u'-'))
        ++end;
    bool digits = false, dot = false, exponent = false;
    qsizetype lastGood = start;
    for (; end < text.size(); ++end) {
        const QChar c = text.at(end);
        if (c.unicode() >= '0' && c.unicode() <= '9') {
            digits = true;
            lastGood = end + 1;
        } else if (c == u'.' && !dot && !exponent) {
            dot = true;
        } else if ((c == u'e' || c == u'E') && digits && !exponent) {
            exponent = true;
            if (end + 1 < text.size() && (text.at(end + 1) == u'+' || text.at(end + 1) == u'-'))
                ++end;
        } else {
            break;
        }
    }
    if (!digits)
        return 0.0;
    bool ok = false;
    const double value = text.mid(start, lastGood - start).toDouble(&ok);
    return ok ? value : 0.0;
}

bool boolValue(const QVariant &value)
{
    if (value.typeId() == QMetaType::QString)
        return stringBoolValue(value.toString());
    if (isNumber(value))
        return value.toDouble() != 0.0;
    return false;
}

qint64 integerValue(const QVariant &value)
{
    if (value.typeId() == QMetaType::QString)
        return stringIntegerValue(value.toString());
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) {
        // The platform saturates; a plain cast of a real beyond the range is undefined.
        const double d = value.toDouble();
        if (!std::isfinite(d))
            return 0;
        if (d >= 9223372036854775807.0)
            return std::numeric_limits<qint64>::max();
        if (d <= -9223372036854775808.0)
            return std::numeric_limits<qint64>::min();
        return qint64(d);
    }
    if (isNumber(value))
        return value.toLongLong();
    return 0;
}

double doubleValue(const QVariant &value)
{
    if (value.typeId() == QMetaType::QString)
        return stringDoubleValue(value.toString());
    if (isNumber(value))
        return value.toDouble();
    return 0.0;
}

QString description(const QVariant &value)
{
    if (!value.isValid() || (value.typeId() == QMetaType::QString && value.toString().isNull()))
        return u"(null)"_s;
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? u"1"_s : u"0"_s;
    return value.toString();
}

} // namespace FoundationValues
