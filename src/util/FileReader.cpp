#include "FileReader.h"

#include "DataExtensions.h"
#include "platform/Paths.h"

FileReader::FileReader(const QString &path)
    : m_filePath(path)
    , m_fileHandle(Paths::current().resolve(path))
{
}

std::unique_ptr<FileReader> FileReader::initWithFilePath(const QString &path)
{
    std::unique_ptr<FileReader> reader(new FileReader(path));
    if (!reader->m_fileHandle.open(QIODevice::ReadOnly))
        return nullptr;
    reader->m_totalFileLength = quint64(reader->m_fileHandle.size());
    return reader;
}

QString FileReader::readLine()
{
    if (m_currentOffset >= m_totalFileLength)
        return QString();
    const QByteArray delimiter = m_lineDelimiter.toUtf8();
    const qint64 chunk = qMax<quint32>(m_chunkSize, 1);
    m_fileHandle.seek(qint64(m_currentOffset));
    QByteArray line;
    for (;;) {
        QByteArray bytes = m_fileHandle.read(chunk);
        if (bytes.isEmpty())
            break;
        const Additions::Range hit = Additions::rangeOfData_dd(bytes, delimiter);
        // Only a delimiter lying whole in this chunk ends the line; one cut by the chunk's end
        // (reported by the scan as a hit) lets the line run on.
        const bool found = hit.location != Additions::kNotFound
                           && hit.location + hit.length <= bytes.size();
        if (found)
            bytes.truncate(qsizetype(hit.location + hit.length));
        line.append(bytes);
        m_currentOffset += quint64(bytes.size());
        if (found)
            break;
    }
    return QString::fromUtf8(line);
}

QString FileReader::readTrimmedLine()
{
    return readLine().trimmed();
}

void FileReader::enumerateLinesUsingBlock(
    const std::function<void(const QString &line, bool *stop)> &block)
{
    bool stop = false;
    while (!stop) {
        const QString line = readLine();
        if (line.isNull())
            break;
        block(line, &stop);
    }
}
