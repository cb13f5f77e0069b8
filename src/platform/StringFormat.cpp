#include "StringFormat.h"

#include "platform/FoundationValues.h"

#include <algorithm>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

// Widths and precisions beyond this are taken as this: a string table from a resources folder may
// say "%2147483648@", which must neither overflow the count nor ask for gigabytes of padding.
constexpr int kMaxFieldSize = 1024;

int appendDigit(int value, QChar digit)
{
    return std::min(value * 10 + digit.digitValue(), kMaxFieldSize);
}

struct Placeholder
{
    int width = 0;
    int precision = -1;
    bool leftAlign = false;
    bool zeroPad = false;
    QChar conversion;
};

// Reads flags, width, precision and length modifiers after a '%'; returns the index after the
// conversion character, or -1 when the text ends first.
qsizetype parsePlaceholder(const QString &format, qsizetype i, Placeholder *field)
{
    for (; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c == u'-')
            field->leftAlign = true;
        else if (c == u'0' && field->width == 0 && field->precision < 0)
            field->zeroPad = true;
        else if (c.isDigit() && field->precision < 0)
            field->width = appendDigit(field->width, c);
        else if (c == u'.')
            field->precision = 0;
        else if (c.isDigit())
            field->precision = appendDigit(field->precision, c);
        else if (c == u'l' || c == u'h' || c == u'q' || c == u'z' || c == u'+' || c == u' ')
            continue;
        else {
            field->conversion = c;
            return i + 1;
        }
    }
    return -1;
}

QString render(const Placeholder &field, const QVariant &arg)
{
    using namespace FoundationValues;
    switch (field.conversion.unicode()) {
    case '@':
        return description(arg);
    case 'd':
    case 'i':
        return QString::number(integerValue(arg));
    case 'u':
        return QString::number(quint64(integerValue(arg)));
    case 'x':
        return QString::number(quint64(integerValue(arg)), 16);
    case 'X':
        return QString::number(quint64(integerValue(arg)), 16).toUpper();
    case 'f':
        return QString::number(doubleValue(arg), 'f', field.precision < 0 ? 6 : field.precision);
    case 'g':
        return QString::number(doubleValue(arg), 'g', field.precision < 0 ? 6 : field.precision);
    case 's':
    case 'S':
        return arg.toString();
    case 'c':
        return QString(QChar(char16_t(integerValue(arg))));
    default:
        return QString();
    }
}

} // namespace

QString stringWithFormat(const QString &format, const QVariantList &arguments)
{
    QString out;
    out.reserve(format.size() + 16);
    qsizetype next = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c != u'%' || i + 1 >= format.size()) {
            out.append(c);
            continue;
        }
        if (format.at(i + 1) == u'%') {
            out.append(u'%');
            ++i;
            continue;
        }
        Placeholder field;
        const qsizetype after = parsePlaceholder(format, i + 1, &field);
        if (after < 0) {
            out.append(format.mid(i));
            break;
        }
        QString text = render(field, arguments.value(next++));
        if (text.size() < field.width) {
            const QChar pad = field.zeroPad && !field.leftAlign ? u'0' : u' ';
            text = field.leftAlign ? text.leftJustified(field.width, pad)
                                  : text.rightJustified(field.width, pad);
        }
        out.append(text);
        i = after - 1;
    }
    return out;
}

QString iso8601WithOffset(const QDateTime &time)
{
    if (!time.isValid())
        return QString();
    const int offset = time.offsetFromUtc();
    const int minutes = std::abs(offset) / 60;
    return time.toOffsetFromUtc(offset).toString(u"yyyy-MM-ddTHH:mm:ss"_s)
           + (offset < 0 ? u'-' : u'+')
           + u"%1:%2"_s.arg(minutes / 60, 2, 10, QLatin1Char('0')).arg(minutes % 60, 2, 10, QLatin1Char('0'));
}
