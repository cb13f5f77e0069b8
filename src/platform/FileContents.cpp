#include "FileContents.h"

#include "Paths.h"

#include <QFile>
#include <QStringDecoder>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

FileContents::Status statusForErrno(int error)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return FileContents::Status::Missing;
    case ENXIO: // a FIFO without a writer, opened without blocking
        return FileContents::Status::NotRegularFile;
    default:
        return FileContents::Status::Unreadable;
    }
}

} // namespace

FileContents FileContents::read(const QString &path, qint64 cap)
{
    return readLocal(Paths::current().resolve(path), cap);
}

FileContents FileContents::readLocal(const QString &real, qint64 cap)
{
    FileContents result;
    const auto fail = [&](Status status, const QString &why) {
        result.m_status = status;
        result.m_data.clear();
        result.m_error = u"\"%1\": %2"_s.arg(real, why);
        return result;
    };
    // O_NONBLOCK so that opening a FIFO returns at once; the type check below then refuses it.
    const int fd = ::open(QFile::encodeName(real).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        const int error = errno;
        return fail(statusForErrno(error), QString::fromLocal8Bit(std::strerror(error)));
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return fail(S_ISDIR(info.st_mode) ? Status::Unreadable : Status::NotRegularFile,
                    S_ISDIR(info.st_mode) ? u"is a folder"_s : u"is not a regular file"_s);
    }
    if (info.st_size > cap) {
        ::close(fd);
        return fail(Status::TooLarge, u"is larger than %1 bytes"_s.arg(cap));
    }
    // The size may change while we read; never read more than the cap whatever it says.
    QByteArray data;
    data.reserve(qsizetype(info.st_size));
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            const int error = errno;
            ::close(fd);
            return fail(Status::Unreadable, QString::fromLocal8Bit(std::strerror(error)));
        }
        if (n == 0)
            break;
        if (data.size() + n > cap) {
            ::close(fd);
            return fail(Status::TooLarge, u"is larger than %1 bytes"_s.arg(cap));
        }
        data.append(buffer, n);
    }
    ::close(fd);
    result.m_status = Status::Ok;
    result.m_data = std::move(data);
    return result;
}

QString FileContents::readUtf8(const QString &path, QString *error)
{
    const FileContents file = read(path);
    if (!file.ok()) {
        if (error)
            *error = file.errorString();
        return QString();
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(file.data());
    if (decoder.hasError()) {
        if (error)
            *error = u"\"%1\" is not UTF-8 text."_s.arg(path);
        return QString();
    }
    return text.isNull() ? u""_s : text;
}
