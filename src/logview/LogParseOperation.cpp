#include "LogParseOperation.h"

#include <QRegularExpression>
#include <expat.h>

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
        state->recordNode.setValueForKey(QByteArrayView(name), QString::fromUtf8(state->text));
    state->text.resize(0);
}

} // namespace

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
    QString error;
    std::optional<QList<LogNode>> whole = parseWhole(xmlData, &error);
    if (whole)
        return Result{std::move(whole), 0, QString()};
    return salvage(xmlData, error);
}
