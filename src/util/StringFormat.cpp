#include "StringFormat.h"

#include "platform/FoundationValues.h"

using namespace Qt::StringLiterals;

namespace {

struct Spec
{
    int width = 0;
    int precision = -1;
    bool leftAlign = false;
    bool zeroPad = false;
    QChar conversion;
};

// Reads flags, width, precision and length modifiers after a '%'; returns the index after the
// conversion character, or -1 when the text ends first.
qsizetype parseSpec(const QString &format, qsizetype i, Spec *spec)
{
    for (; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c == u'-')
            spec->leftAlign = true;
        else if (c == u'0' && spec->width == 0 && spec->precision < 0)
            spec->zeroPad = true;
        else if (c.isDigit() && spec->precision < 0)
            spec->width = spec->width * 10 + c.digitValue();
        else if (c == u'.')
            spec->precision = 0;
        else if (c.isDigit())
            spec->precision = spec->precision * 10 + c.digitValue();
        else if (c == u'l' || c == u'h' || c == u'q' || c == u'z' || c == u'+' || c == u' ')
            continue;
        else {
            spec->conversion = c;
            return i + 1;
        }
    }
    return -1;
}

QString render(const Spec &spec, const QVariant &arg)
{
    using namespace FoundationValues;
    switch (spec.conversion.unicode()) {
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
        return QString::number(doubleValue(arg), 'f', spec.precision < 0 ? 6 : spec.precision);
    case 'g':
        return QString::number(doubleValue(arg), 'g', spec.precision < 0 ? 6 : spec.precision);
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
        Spec spec;
        const qsizetype after = parseSpec(format, i + 1, &spec);
        if (after < 0) {
            out.append(format.mid(i));
            break;
        }
        QString text = render(spec, arguments.value(next++));
        if (text.size() < spec.width) {
            const QChar pad = spec.zeroPad && !spec.leftAlign ? u'0' : u' ';
            text = spec.leftAlign ? text.leftJustified(spec.width, pad)
                                  : text.rightJustified(spec.width, pad);
        }
        out.append(text);
        i = after - 1;
    }
    return out;
}
