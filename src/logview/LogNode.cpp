#include "LogNode.h"

#include "platform/FileContents.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

bool LogNode::setValueForKey(QByteArrayView key, QString value)
{
    static constexpr struct {
        QByteArrayView name;
        QString LogNode::*field;
    } fields[] = {{"datetime", &LogNode::m_datetime}, {"uname", &LogNode::m_uname},
                  {"files", &LogNode::m_files},       {"filesinsync", &LogNode::m_filesinsync},
                  {"status", &LogNode::m_status},     {"duration", &LogNode::m_duration},
                  {"optype", &LogNode::m_optype},     {"content", &LogNode::m_content},
                  {"lpath", &LogNode::m_lpath},       {"logfile", &LogNode::m_logfile},
                  {"logname", &LogNode::m_logname}};
    // A year of index files passes through here: no allocation, exact names first.
    for (const auto &f : fields) {
        if (key == f.name) {
            this->*f.field = std::move(value);
            return true;
        }
    }
    for (const auto &f : fields) {
        if (key.size() == f.name.size() && qstrnicmp(key.data(), f.name.data(), size_t(key.size())) == 0) {
            this->*f.field = std::move(value);
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
