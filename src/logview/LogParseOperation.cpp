#include "LogParseOperation.h"

#include <QRegularExpression>
#include <expat.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <type_traits>

using namespace Qt::StringLiterals;

namespace {

// What expat's callbacks build: the records so far, the record being read and the text of the
// element being read.
struct ParseState
{
    QList<LogNode> parsedData;
    LogNode recordNode;
    QByteArray text;
};

// UTF-8 text as it stands: a byte order mark is a character here, not a marker to drop.
QString textOf(QByteArrayView bytes)
{
    QString text;
    while (bytes.startsWith("\xEF\xBB\xBF")) {
        text += QChar(0xFEFF);
        bytes = bytes.sliced(3);
    }
    return text + QString::fromUtf8(bytes);
}

void XMLCALL startElement(void *data, const XML_Char *name, const XML_Char **)
{
    auto *state = static_cast<ParseState *>(data);
    if (std::strcmp(name, "record") == 0)
        state->recordNode = LogNode();
    state->text.resize(0); // keeps its capacity
}

void XMLCALL characters(void *data, const XML_Char *text, int length)
{
    static_cast<ParseState *>(data)->text.append(text, length);
}

void XMLCALL endElement(void *data, const XML_Char *name)
{
    auto *state = static_cast<ParseState *>(data);
    if (std::strcmp(name, "record") == 0)
        state->parsedData.append(std::move(state->recordNode));
    else if (std::strcmp(name, "records") != 0) // names compared lower-cased; unknown ones ignored
        state->recordNode.setValueForKey(QByteArrayView(name), textOf(state->text));
    state->text.resize(0);
}

// ---- the writer's own layout -------------------------------------------------------------

bool take(const char *&p, const char *end, QByteArrayView token)
{
    if (end - p < token.size() || std::memcmp(p, token.data(), size_t(token.size())) != 0)
        return false;
    p += token.size();
    return true;
}

void skipSpace(const char *&p, const char *end)
{
    while (p < end && (*p == ' ' || *p == '\t' || *p == '\n'))
        ++p;
}

bool isNameStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isNameChar(char c)
{
    return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

// A character the XML reader accepts in a character reference.
bool isXmlChar(uint code)
{
    return code == 0x9 || code == 0xA || code == 0xD || (code >= 0x20 && code <= 0xD7FF)
        || (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
}

// The text of one field with its references decoded; nothing when it holds what the general
// reader would refuse or treat otherwise (control characters, carriage returns, "]]>", an "&"
// that starts no reference, the two non-characters U+FFFE and U+FFFF).
std::optional<QString> fieldText(QByteArrayView text)
{
    bool references = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const uchar c = uchar(text[i]);
        if ((c < 0x20 && c != '\t' && c != '\n') || (c == '>' && i >= 2 && text[i - 1] == ']' && text[i - 2] == ']'))
            return std::nullopt;
        if (c == 0xEF && i + 2 < text.size() && uchar(text[i + 1]) == 0xBF && (uchar(text[i + 2]) & 0xFE) == 0xBE)
            return std::nullopt;
        references |= c == '&';
    }
    if (!references)
        return textOf(text);
    static constexpr struct { QByteArrayView name; char16_t character; } named[]
        = {{"amp;", u'&'}, {"lt;", u'<'}, {"gt;", u'>'}, {"quot;", u'"'}, {"apos;", u'\''}};
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size();) {
        const qsizetype amp = text.indexOf('&', i);
        out += textOf(text.sliced(i, (amp < 0 ? text.size() : amp) - i));
        if (amp < 0)
            break;
        const QByteArrayView rest = text.sliced(amp + 1);
        const auto known = std::find_if(std::begin(named), std::end(named),
                                        [&](const auto &entity) { return rest.startsWith(entity.name); });
        if (known != std::end(named)) {
            out += QChar(known->character);
            i = amp + 1 + known->name.size();
            continue;
        }
        const qsizetype semicolon = rest.indexOf(';');
        const bool hex = rest.startsWith("#x");
        const qsizetype digitsFrom = hex ? 2 : 1;
        const QByteArrayView digits
            = semicolon > digitsFrom ? rest.sliced(digitsFrom, semicolon - digitsFrom) : QByteArrayView();
        bool ok = rest.startsWith('#') && !digits.isEmpty() && digits.size() <= 8
            && std::all_of(digits.begin(), digits.end(), [hex](char c) { return hex ? std::isxdigit(uchar(c)) : std::isdigit(uchar(c)); });
        const uint code = ok ? QByteArray(digits.data(), digits.size()).toUInt(&ok, hex ? 16 : 10) : 0;
        if (!ok || !isXmlChar(code))
            return std::nullopt;
        const char32_t character = code;
        out += QString::fromUcs4(&character, 1);
        i = amp + 1 + semicolon + 1;
    }
    return out;
}

} // namespace

std::optional<QList<LogNode>> LogParseOperation::scanWriterLayout(const QByteArray &xmlData)
{
    if (!xmlData.isValidUtf8())
        return std::nullopt;
    const char *p = xmlData.constData();
    const char *const end = p + xmlData.size();
    if (!take(p, end, R"(<?xml version="1.0" encoding="utf-8"?>)"))
        take(p, end, R"(<?xml version="1.0" encoding="UTF-8"?>)");
    skipSpace(p, end);
    if (!take(p, end, "<records>"))
        return std::nullopt;
    QList<LogNode> records;
    for (;;) {
        skipSpace(p, end);
        if (take(p, end, "</records>"))
            break;
        if (!take(p, end, "<record>"))
            return std::nullopt;
        LogNode record;
        for (;;) {
            skipSpace(p, end);
            if (take(p, end, "</record>"))
                break;
            if (p == end || *p != '<' || p + 1 == end || !isNameStart(p[1]))
                return std::nullopt;
            const char *const nameStart = ++p;
            while (p < end && isNameChar(*p))
                ++p;
            const QByteArrayView name(nameStart, p);
            if (!take(p, end, ">") || name == "record" || name == "records")
                return std::nullopt;
            const char *const textEnd = static_cast<const char *>(std::memchr(p, '<', size_t(end - p)));
            if (!textEnd)
                return std::nullopt;
            std::optional<QString> text = fieldText(QByteArrayView(p, textEnd));
            p = textEnd;
            if (!text || !take(p, end, "</") || !take(p, end, name) || !take(p, end, ">"))
                return std::nullopt;
            record.setValueForKey(name, std::move(*text));
        }
        records.append(std::move(record));
    }
    skipSpace(p, end);
    if (p != end)
        return std::nullopt;
    return records;
}

std::optional<QList<LogNode>> LogParseOperation::parseWhole(const QByteArray &xmlData, QString *error)
{
    // Expat, the streaming parser Python's ElementTree uses too: several times the speed of
    // QXmlStreamReader on these files, which matters for a year of them.
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate("UTF-8"), &XML_ParserFree);
    ParseState state;
    state.parsedData.reserve(xmlData.count("<record>"));
    XML_SetUserData(parser.get(), &state);
    XML_SetElementHandler(parser.get(), startElement, endElement);
    XML_SetCharacterDataHandler(parser.get(), characters);
    if (XML_Parse(parser.get(), xmlData.constData(), int(xmlData.size()), XML_TRUE) != XML_STATUS_OK) {
        *error = u"line %1, column %2: %3"_s.arg(XML_GetCurrentLineNumber(parser.get()))
                     .arg(XML_GetCurrentColumnNumber(parser.get()))
                     .arg(QString::fromUtf8(XML_ErrorString(XML_GetErrorCode(parser.get()))));
        return std::nullopt;
    }
    return std::move(state.parsedData);
}

LogParseOperation::Result LogParseOperation::salvage(const QByteArray &xmlData, const QString &error)
{
    // An "&" that starts no entity or character reference is the engine's text, not markup.
    static const QRegularExpression bareAmpersand(u"&(?!(?:amp|lt|gt|quot|apos|#[0-9]+|#x[0-9A-Fa-f]+);)"_s);
    static const QRegularExpression record(u"<record>.*?</record>"_s, QRegularExpression::DotMatchesEverythingOption);
    Result result;
    result.damage = error;
    QList<LogNode> records;
    int found = 0;
    const QString text = QString::fromUtf8(xmlData);
    for (auto match = record.globalMatch(text); match.hasNext();) {
        ++found;
        QString chunk = match.next().captured();
        chunk.replace(bareAmpersand, u"&amp;"_s);
        QString ignored;
        const std::optional<QList<LogNode>> one = parseWhole(chunk.toUtf8(), &ignored);
        if (one && one->size() == 1)
            records.append(one->first());
    }
    // A record cut off at the end of the file (its "<record>" without an end) is lost too.
    const int started = int(text.count(u"<record>"_s));
    result.lostRecords = qMax(found, started) - int(records.size());
    if (!records.isEmpty())
        result.records = records;
    return result;
}

LogParseOperation::Result LogParseOperation::parse(const QByteArray &xmlData)
{
    if (std::optional<QList<LogNode>> scanned = scanWriterLayout(xmlData))
        return Result{std::move(scanned), 0, QString()};
    QString error;
    std::optional<QList<LogNode>> whole = parseWhole(xmlData, &error);
    if (whole)
        return Result{std::move(whole), 0, QString()};
    return salvage(xmlData, error);
}
