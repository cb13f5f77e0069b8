#pragma once

#include <QString>
#include <QVariantMap>

// One defaults domain, kept as a binary property list at ~/Library/Preferences/<domain>.plist.
// Changes stay in memory until synchronize(), which writes them out and picks up other writers'.
class UserDefaults
{
public:
    explicit UserDefaults(const QString &domain);

    QString domain() const { return m_domain; }
    QString path() const { return pathFor(m_domain); }
    // Where a domain is kept, without reading it.
    static QString pathFor(const QString &domain);

    QVariant objectForKey(const QString &key) const;
    QString stringForKey(const QString &key) const;
    QVariantMap dictionaryForKey(const QString &key) const;
    bool boolForKey(const QString &key) const;
    qint64 integerForKey(const QString &key) const;

    void setObject(const QVariant &value, const QString &key);
    void removeObjectForKey(const QString &key);
    bool synchronize();

private:
    void reload();

    QString m_domain;
    QVariantMap m_values;
    QVariantMap m_changed;
    QStringList m_removed;
};
