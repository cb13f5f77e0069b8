#pragma once

#include <QString>
#include <QStringList>
#include <QByteArrayView>

// One run of the engine (backup, restore, delete, rename, put-back, continuous protection) as the
// day's XML index holds it: eleven text fields pointing at the run's plain-text session log.
class LogNode
{
public:
    // Operation types (`optype`).
    enum OperationType { Backup = 1, Restore = 3, Delete = 5, Rename = 6, ContinuousProtection = 7, PutBack = 9, Other = 11 };

    const QString &datetime() const { return m_datetime; }
    const QString &uname() const { return m_uname; }
    const QString &files() const { return m_files; }
    const QString &filesinsync() const { return m_filesinsync; }
    const QString &status() const { return m_status; }
    const QString &duration() const { return m_duration; }
    const QString &optype() const { return m_optype; }
    const QString &content() const { return m_content; }
    const QString &lpath() const { return m_lpath; }
    const QString &logfile() const { return m_logfile; }
    const QString &logname() const { return m_logname; }

    void setDatetime(const QString &value) { m_datetime = value; }
    void setUname(const QString &value) { m_uname = value; }
    void setFiles(const QString &value) { m_files = value; }
    void setFilesinsync(const QString &value) { m_filesinsync = value; }
    void setStatus(const QString &value) { m_status = value; }
    void setDuration(const QString &value) { m_duration = value; }
    void setOptype(const QString &value) { m_optype = value; }
    void setContent(const QString &value) { m_content = value; }
    void setLpath(const QString &value) { m_lpath = value; }
    void setLogfile(const QString &value) { m_logfile = value; }
    void setLogname(const QString &value) { m_logname = value; }

    // Key-value assignment by field name ("datetime", ...; ASCII letters in any case); false for a
    // name that is no field.
    bool setValueForKey(QByteArrayView key, QString value);

    // The record as the index writes it: "<record>", one tab-indented element per field in the
    // index's fixed order, "</record>", each line ending in a line feed; values as they are.
    QString flattenSelfToXML() const;
    // The run's summary: "<logfile>.summary", read as UTF-8; empty when there is none.
    QString fetchSummary() const;
    // The index name of the run's day: 10 characters of the log's file name from the second on,
    // followed by "_cdp" for continuous protection.
    QString getLogName() const;

    bool operator==(const LogNode &) const = default;

private:
    QString m_datetime;
    QString m_uname;
    QString m_files;
    QString m_filesinsync;
    QString m_status;
    QString m_duration;
    QString m_optype;
    QString m_content;
    QString m_lpath;
    QString m_logfile;
    QString m_logname;
};
