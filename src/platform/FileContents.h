#pragma once

#include <QByteArray>
#include <QString>

// Whole-file reads of product files. Only regular files are read, and never more than a cap, so
// that a FIFO, a device or a runaway file where a small shared file should be cannot hang the
// monitor or exhaust its memory.
class FileContents
{
public:
    enum class Status { Ok, Missing, Unreadable, NotRegularFile, TooLarge };

    // Far above any file the product shares (a 10,000-record schedule archive is about 2 MB).
    static constexpr qint64 kDefaultCap = 64 * 1024 * 1024;

    // `path` is a product path.
    static FileContents read(const QString &path, qint64 cap = kDefaultCap);
    // The same for a path on this machine as it stands (a folder named on the command line).
    static FileContents readLocal(const QString &localPath, qint64 cap = kDefaultCap);

    Status status() const { return m_status; }
    bool ok() const { return m_status == Status::Ok; }
    const QByteArray &data() const { return m_data; }
    // One line for a trace or a message, naming the file and what kept it from being read.
    QString errorString() const { return m_error; }

    // The contents as UTF-8 text; null when the file cannot be read or is not valid UTF-8 (a
    // sequence cut off at the end counts as invalid).
    static QString readUtf8(const QString &path, QString *error = nullptr);

private:
    Status m_status = Status::Missing;
    QByteArray m_data;
    QString m_error;
};
