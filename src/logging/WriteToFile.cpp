#include "WriteToFile.h"

#include "platform/AtomicFile.h"
#include "platform/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

void writeToFile(const QString &path, const QString &text)
{
    if (path.isEmpty() || text.isEmpty())
        return;
    const QString real = Paths::current().resolve(path);
    QFile file(real);
    if (!file.exists()) {
        AtomicFile::write(path, text.toUtf8());
        return;
    }
    if (file.open(QIODevice::ReadWrite) && file.seek(file.size()))
        file.write(text.toUtf8());
}

void flushFileData(const QString &path)
{
    const QString real = Paths::current().resolve(path);
    QDir().mkpath(QFileInfo(real).absolutePath());
    QFile file(real);
    if (file.open(QIODevice::Append))
        file.write("", 0);
}

char readFile(const QString &path)
{
    QFile file(Paths::current().resolve(path));
    char first = 0;
    if (!file.open(QIODevice::ReadOnly) || !file.getChar(&first))
        return 0;
    return first;
}
