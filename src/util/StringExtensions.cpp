#include "StringExtensions.h"

#include "SLUtility.h"
#include "platform/AtomicFile.h"
#include "platform/FoundationValues.h"
#include "platform/FileContents.h"
#include "platform/Paths.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStringDecoder>
#include <QStringEncoder>

#include <cmath>

using namespace Qt::StringLiterals;

namespace stelloaExtension {

namespace {

bool exists(const QString &path)
{
    return QFileInfo::exists(Paths::current().resolve(path));
}

constexpr const char16_t *kSystemEntries[] = {
    u"/Desktop DB", u"/Desktop DF", u"/Network", u"/Temporary Items",
    u"/TheVolumeSettingsFolder", u"/Trash", u"/Volumes", u"/automount",
    u"/bin", u"/cores", u"/dev", u"/etc",
    u"/home", u"/net", u"/mach", u"/mach.sym",
    u"/mach_kernel", u"/mach_kernel.ctfsys", u"/private", u"/sbin",
    u"/tmp", u"/usr", u"/var",
};

bool isHexDigit(QChar c)
{
    return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

// Legal URL characters that the platform's URL escaping leaves alone; everything else (and
// every byte of a non-ASCII character) is escaped.
bool isLegalUrlCharacter(char c)
{
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    return QByteArrayView("!$&'()*+,-./:;=?@_~").contains(c);
}

QString percentEscape(const QString &text, QStringConverter::Encoding encoding,
                      QByteArrayView alsoEscaped)
{
    QStringEncoder encoder(encoding);
    const QByteArray bytes = encoder(text);
    QString out;
    out.reserve(bytes.size() * 3);
    for (const char c : bytes) {
        if (isLegalUrlCharacter(c) && !alsoEscaped.contains(c))
            out.append(QLatin1Char(c));
        else
            out.append(u'%' + QString::number(uchar(c), 16).toUpper().rightJustified(2, u'0'));
    }
    return out;
}

// "like[c]": '*' any run, '?' one character, '\' makes the next character literal.
bool likeMatch(const QString &text, const QString &pattern)
{
    qsizetype t = 0, p = 0, starP = -1, starT = 0;
    auto same = [](QChar a, QChar b) { return a.toCaseFolded() == b.toCaseFolded(); };
    while (t < text.size()) {
        if (p < pattern.size() && pattern.at(p) == u'*') {
            starP = p++;
            starT = t;
            continue;
        }
        if (p < pattern.size()) {
            const bool escaped = pattern.at(p) == u'\\' && p + 1 < pattern.size();
            const QChar want = escaped ? pattern.at(p + 1) : pattern.at(p);
            if ((!escaped && want == u'?') || same(text.at(t), want)) {
                p += escaped ? 2 : 1;
                ++t;
                continue;
            }
        }
        if (starP < 0)
            return false;
        p = starP + 1;
        t = ++starT;
    }
    while (p < pattern.size() && pattern.at(p) == u'*')
        ++p;
    return p == pattern.size();
}

} // namespace

bool isChildOfHiddenFolder(const QString &path)
{
    return SLUtility::isStringContainsKeyString(path, u"/."_s);
}

bool isChildOfFolder(const QString &folder, const QString &candidate)
{
    if (candidate.size() < folder.size())
        return false;
    return candidate.startsWith(folder + u'/');
}

bool isSuperStringOf(const QString &receiver, const QString &other)
{
    QString path = stringByStandardizingPath(receiver);
    const QString target = stringByStandardizingPath(other);
    if (path == target)
        return true;
    while (path != "/"_L1 && path.size() > target.size()) {
        path = stringByDeletingLastPathComponent(path);
        if (path == target)
            return true;
    }
    return false;
}

bool isAnyNonExistentDirectoryInPath(const QString &receiver, const QString &root,
                                     QString *missing)
{
    bool anyMissing = false;
    QString path = stringByStandardizingPath(receiver);
    for (;;) {
        if (path == root || path == "/"_L1 || path.size() <= root.size())
            break;
        if (!exists(path)) {
            anyMissing = true;
            if (missing)
                *missing = path;
        }
        const QString parent = stringByDeletingLastPathComponent(path);
        if (parent == path || parent.isEmpty())
            break;
        path = parent;
    }
    return anyMissing;
}

bool fileVisible(const QString &path)
{
    const QString last = lastPathComponent(path);
    return last != "."_L1 && last != ".."_L1;
}

bool isOSFile(const QString &path)
{
    for (const char16_t *entry : kSystemEntries) {
        if (path == QStringView(entry))
            return true;
    }
    if (!path.startsWith("/Volumes"_L1))
        return false;
    const QStringList parts = path.split(u'/');
    if (parts.size() < 4)
        return false;
    for (const char16_t *entry : kSystemEntries) {
        if (parts.at(3) == lastPathComponent(QString::fromUtf16(entry)))
            return true;
    }
    return false;
}

QString encryptedString(const QString &text)
{
    QString out(text.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < text.size(); ++i)
        out[i] = QChar(char16_t(text.at(i).unicode() << 1));
    return out;
}

QString decryptedString(const QString &text)
{
    QString out(text.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < text.size(); ++i)
        out[i] = QChar(char16_t(text.at(i).unicode() >> 1));
    return out;
}

bool saveToFile(const QString &text, const QString &path, QString *error)
{
    const bool ok = AtomicFile::write(path, text.toUtf8());
    if (!ok && error)
        *error = u"Could not write \"%1\"."_s.arg(path);
    return ok;
}

QString loadStringFromFile(const QString &path, QString *error)
{
    return FileContents::readUtf8(path, error);
}

QString posixPathForString(const QString &path)
{
    QString out = path;
    for (const QChar c : u"`~!#&*()[]?';<>") {
        if (!c.isNull())
            out.replace(c, u'\\' + QString(c), Qt::CaseInsensitive);
    }
    return out;
}

bool isStringMatchesExpression(const QString &text, const QString &pattern)
{
    if (pattern.isNull())
        return false;
    QString expression = pattern;
    if (!expression.contains(u'*') && !expression.contains(u'?'))
        expression = u'*' + expression + u'*';
    const bool slashAndStar = expression.startsWith(u'/') && expression.startsWith(u'*');
    if (!slashAndStar && pattern != "?"_L1)
        expression.prepend(u'*');
    expression.replace(u"\\"_s, u"\\\\"_s);
    return likeMatch(text, expression);
}

QString subStringFromString(const QString &text, const QString &from, const QString &to,
                            bool isBackward)
{
    const qsizetype start = isBackward ? text.lastIndexOf(from) : text.indexOf(from);
    const qsizetype end = isBackward ? text.lastIndexOf(to) : text.indexOf(to);
    if (from.isEmpty() || to.isEmpty() || start < 0 || end < 0 || end < start + 1)
        return u""_s;
    return text.mid(start + 1, end - start - 1);
}

QString reverseString(const QString &text)
{
    QString out(text.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < text.size(); ++i)
        out[i] = text.at(text.size() - 1 - i);
    return out;
}

QString numberFormat(const QString &text)
{
    const double value = FoundationValues::stringDoubleValue(text);
    if (!(value > 0))
        return u"0"_s;
    // "#,##,###": the last three digits, then groups of two, with the locale's separator.
    const QString digits = QString::number(std::nearbyint(value), 'f', 0);
    const QString separator = QLocale().groupSeparator();
    QString out = digits.right(3);
    for (qsizetype end = digits.size() - 3; end > 0; end -= 2)
        out = digits.mid(qMax<qsizetype>(0, end - 2), end - qMax<qsizetype>(0, end - 2))
              + separator + out;
    return out;
}

QString trimCharactersAtFirstandLast(const QString &text)
{
    return text.trimmed();
}

QString stringByAddingRFC3875PercentEscapesUsingEncoding(const QString &text,
                                                          QStringConverter::Encoding encoding)
{
    return percentEscape(text, encoding, ";?:@&=$+{}<>,");
}

QString stringByAddingRFC3875PercentEscapesUsingEncodingForShare(
    const QString &text, QStringConverter::Encoding encoding)
{
    return percentEscape(text, encoding, ";?:@&=$+{}<>,_");
}

QString stringByAddingRFC3875PercentEscapesUsingEncodingForKey(const QString &text,
                                                               QStringConverter::Encoding encoding)
{
    return percentEscape(text, encoding, "~,!'\"();:@&=+$,/?%#[]%{}<> ");
}

QString stringByReplacingRFC3875PercentEscapesUsingEncoding(const QString &text,
                                                            QStringConverter::Encoding encoding)
{
    // Only the escapes are bytes in `encoding`; the characters around them are already text.
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size();) {
        QByteArray run;
        while (i + 2 < text.size() && text.at(i) == u'%' && isHexDigit(text.at(i + 1))
               && isHexDigit(text.at(i + 2))) {
            run.append(char(text.mid(i + 1, 2).toInt(nullptr, 16)));
            i += 3;
        }
        if (!run.isEmpty()) {
            QStringDecoder decoder(encoding, QStringDecoder::Flag::Stateless);
            const QString decoded = decoder(run);
            if (decoder.hasError())
                return QString();
            out += decoded;
            continue;
        }
        out += text.at(i++);
    }
    return out;
}

QString removeTrailingCharacter(const QString &text)
{
    return text.isEmpty() ? text : text.left(text.size() - 1);
}

bool isDir(const QString &path)
{
    return QFileInfo(Paths::current().resolve(path)).isDir();
}

} // namespace stelloaExtension
