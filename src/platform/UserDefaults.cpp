#include "UserDefaults.h"

#include "FoundationValues.h"
#include "PropertyList.h"

using namespace Qt::StringLiterals;

UserDefaults::UserDefaults(const QString &domain)
    : m_domain(domain)
{
    reload();
}

QString UserDefaults::pathFor(const QString &domain)
{
    return u"~/Library/Preferences/"_s + domain + u".plist"_s;
}

void UserDefaults::reload()
{
    m_values = PropertyList::readDictionary(path());
    for (auto it = m_changed.cbegin(); it != m_changed.cend(); ++it)
        m_values.insert(it.key(), it.value());
    for (const QString &key : std::as_const(m_removed))
        m_values.remove(key);
}

QVariant UserDefaults::objectForKey(const QString &key) const
{
    return m_values.value(key);
}

QString UserDefaults::stringForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

QVariantMap UserDefaults::dictionaryForKey(const QString &key) const
{
    return objectForKey(key).toMap();
}

bool UserDefaults::boolForKey(const QString &key) const
{
    return FoundationValues::boolValue(objectForKey(key));
}

qint64 UserDefaults::integerForKey(const QString &key) const
{
    return FoundationValues::integerValue(objectForKey(key));
}

void UserDefaults::setObject(const QVariant &value, const QString &key)
{
    if (!value.isValid()) {
        removeObjectForKey(key);
        return;
    }
    m_values.insert(key, value);
    m_changed.insert(key, value);
    m_removed.removeAll(key);
}

void UserDefaults::removeObjectForKey(const QString &key)
{
    m_values.remove(key);
    m_changed.remove(key);
    if (!m_removed.contains(key))
        m_removed.append(key);
}

bool UserDefaults::synchronize()
{
    // Merge our changes over what is on disk now, so a value another process wrote meanwhile
    // under a different key survives.
    reload();
    bool ok = true;
    if (!m_changed.isEmpty() || !m_removed.isEmpty())
        ok = PropertyList::write(path(), m_values, PropertyList::Format::Binary);
    if (ok) {
        m_changed.clear();
        m_removed.clear();
    }
    return ok;
}
