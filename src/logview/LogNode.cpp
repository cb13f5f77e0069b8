#include "LogNode.h"

#include "platform/FileContents.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

bool LogNode::setValueForKey(QAnyStringView key, const QString &value)
{
    static constexpr struct {
        QLatin1StringView name;
        QString LogNode::*field;
    } fields[] = {{"datetime"_L1, &LogNode::m_datetime}, {"uname"_L1, &LogNode::m_uname},
                  {"files"_L1, &LogNode::m_files},       {"filesinsync"_L1, &LogNode::m_filesinsync},
                  {"status"_L1, &LogNode::m_status},     {"duration"_L1, &LogNode::m_duration},
                  {"optype"_L1, &LogNode::m_optype},     {"content"_L1, &LogNode::m_content},
                  {"lpath"_L1, &LogNode::m_lpath},       {"logfile"_L1, &LogNode::m_logfile},
                  {"logname"_L1, &LogNode::m_logname}};
    for (const auto &f : fields) {
        if (QAnyStringView::compare(key, f.name, Qt::CaseInsensitive) == 0) {
            this->*f.field = value;
            return true;
        }
    }
    return false;
}

QString LogNode::flattenSelfToXML() const
{
    // Joined, not formatted: a value may hold "%" and is written as it is.
    QString xml = u"<record>\n"_s;
    const auto element = [&xml](const QString &name, const QString &value) {
        xml += u"\t<"_s + name + u'>' + value + u"</"_s + name + u">\n"_s;
    };
    element(u"datetime"_s, m_datetime);
    element(u"uname"_s, m_uname);
    element(u"files"_s, m_files);
    element(u"filesinsync"_s, m_filesinsync);
    element(u"status"_s, m_status);
    element(u"duration"_s, m_duration);
    element(u"content"_s, m_content);
    element(u"optype"_s, QString::number(m_optype.trimmed().toInt())); // "07" is written 7
    element(u"lpath"_s, m_lpath);
    element(u"logfile"_s, m_logfile);
    element(u"logname"_s, m_logname);
    return xml + u"</record>\n"_s;
}

QString LogNode::fetchSummary() const
{
    return FileContents::readUtf8(m_logfile + u".summary"_s);
}

QString LogNode::getLogName() const
{
    const QString day = QFileInfo(m_logfile).fileName().mid(1, 10);
    return m_optype.toInt() == ContinuousProtection ? day + u"_cdp"_s : day;
}
