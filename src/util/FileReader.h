#pragma once

#include <QFile>
#include <QString>

#include <functional>
#include <memory>

// Reads a text file line by line in small chunks, keeping each line's delimiter.
class FileReader
{
public:
    // Null when the file cannot be opened.
    static std::unique_ptr<FileReader> initWithFilePath(const QString &path);

    // The next line including its delimiter, or a null string at the end of the file.
    QString readLine();
    QString readTrimmedLine();
    void enumerateLinesUsingBlock(const std::function<void(const QString &line, bool *stop)> &block);

    QString lineDelimiter() const { return m_lineDelimiter; }
    void setLineDelimiter(const QString &delimiter) { m_lineDelimiter = delimiter; }
    quint32 chunkSize() const { return m_chunkSize; }
    void setChunkSize(quint32 size) { m_chunkSize = size; }

private:
    explicit FileReader(const QString &path);

    QString m_filePath;
    QFile m_fileHandle;
    quint64 m_currentOffset = 0;
    quint64 m_totalFileLength = 0;
    QString m_lineDelimiter = QStringLiteral("\n");
    quint32 m_chunkSize = 10;
};
