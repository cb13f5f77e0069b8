#include "Paths.h"

#include <QDir>
#include <QStringList>

#include <pwd.h>

using namespace Qt::StringLiterals;

namespace {

Paths *&currentPaths()
{
    // Never freed: loggers flushing at exit still resolve paths.
    static Paths *paths = new Paths();
    return paths;
}

QString homeOfUser(const QString &user)
{
    const QByteArray name = user.toLocal8Bit();
    const passwd *entry = getpwnam(name.constData());
    return entry ? QString::fromLocal8Bit(entry->pw_dir) : QString();
}

// Collapses "//" and "." always, ".." only in absolute paths (as the platform does), and drops a
// trailing "/".
QString normalizeComponents(const QString &path)
{
    if (path.isEmpty())
        return path;
    const bool absolute = path.startsWith(u'/');
    QStringList out;
    const QStringList parts = path.split(u'/', Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        if (part == "."_L1)
            continue;
        if (part == ".."_L1 && absolute) {
            if (!out.isEmpty())
                out.removeLast();
            continue;
        }
        out.append(part);
    }
    const QString joined = out.join(u'/');
    if (absolute)
        return u'/' + joined;
    return joined.isEmpty() ? u"."_s : joined;
}

} // namespace

Paths::Paths(const QString &root, const QString &home)
    : m_root(normalizeComponents(root.isEmpty() ? u"/"_s : QDir(root).absolutePath()))
    , m_home(normalizeComponents(home.isEmpty() ? QDir::homePath() : QDir(home).absolutePath()))
{
}

const Paths &Paths::current()
{
    return *currentPaths();
}

void Paths::install(const Paths &paths)
{
    *currentPaths() = paths;
}

QString Paths::expandTilde(const QString &path) const
{
    if (!path.startsWith(u'~'))
        return path;
    const qsizetype slash = path.indexOf(u'/');
    const QString user = path.mid(1, slash < 0 ? -1 : slash - 1);
    const QString home = user.isEmpty() ? m_home : homeOfUser(user);
    if (home.isEmpty())
        return path; // unknown user: left as it stands, like the platform
    return slash < 0 ? home : home + path.mid(slash);
}

QString Paths::standardize(const QString &path) const
{
    return normalizeComponents(expandTilde(path));
}

bool Paths::isUnder(const QString &path, const QString &folder) const
{
    if (folder == "/"_L1)
        return true;
    return path == folder || path.startsWith(folder + u'/');
}

QString Paths::resolve(const QString &productPath) const
{
    const QString path = standardize(productPath);
    if (!path.startsWith(u'/') || isUnder(path, m_root) || isUnder(path, m_home))
        return path;
    return path == "/"_L1 ? m_root : m_root + path;
}

QString Paths::system(const QString &path)
{
    return normalizeComponents(path);
}

QString stringByExpandingTildeInPath(const QString &path)
{
    return Paths::current().expandTilde(path);
}

QString stringByStandardizingPath(const QString &path)
{
    return Paths::current().standardize(path);
}

QString lastPathComponent(const QString &path)
{
    QString p = path;
    while (p.size() > 1 && p.endsWith(u'/'))
        p.chop(1);
    if (p == "/"_L1)
        return p;
    return p.mid(p.lastIndexOf(u'/') + 1);
}

QString stringByDeletingLastPathComponent(const QString &path)
{
    QString p = path;
    while (p.size() > 1 && p.endsWith(u'/'))
        p.chop(1);
    const qsizetype slash = p.lastIndexOf(u'/');
    if (slash < 0)
        return QString(u""_s);
    if (slash == 0)
        return u"/"_s;
    return p.left(slash);
}

QString stringByAppendingPathComponent(const QString &path, const QString &component)
{
    if (path.isEmpty())
        return component;
    if (path.endsWith(u'/'))
        return path + component;
    return path + u'/' + component;
}
