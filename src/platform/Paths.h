#pragma once

#include <QString>

// The one place that turns a product path ("/Library/...", "~/Library/...") into a path on this
// machine. "~" is the user's home; every other absolute path is relocated under the chosen root
// (default "/"), so a test or a demo can run the whole product inside one folder.
class Paths
{
public:
    explicit Paths(const QString &root = QStringLiteral("/"), const QString &home = QString());

    // The process-wide instance, chosen once at start-up (see LaunchOptions).
    static const Paths &current();
    static void install(const Paths &paths);

    QString root() const { return m_root; }
    QString home() const { return m_home; }

    // Product path -> real path. Idempotent: a path already under the root or the home folder is
    // returned standardised but not relocated again.
    QString resolve(const QString &productPath) const;

    // A system path (/proc, /etc, /sys): standardised, never relocated.
    static QString system(const QString &path);

    QString expandTilde(const QString &path) const;
    QString standardize(const QString &path) const;

private:
    bool isUnder(const QString &path, const QString &folder) const;

    QString m_root;
    QString m_home;
};

// The platform's string-path operations, against the current home folder.
QString stringByExpandingTildeInPath(const QString &path);
QString stringByStandardizingPath(const QString &path);
QString lastPathComponent(const QString &path);
QString stringByDeletingLastPathComponent(const QString &path);
QString stringByAppendingPathComponent(const QString &path, const QString &component);
