#pragma once

#include <QString>
#include <QVariantMap>

// The program's string table: every user-visible text and every configurable path. One
// "Localizable.plist" per brand, embedded (":/brands/<brand>/") or taken from a resources folder.
class StringTable
{
public:
    // Chooses the table for the rest of the process: `resourcesDir` when given (it holds
    // Localizable.plist and Info.plist), else the embedded tables of `brand`.
    // An error text when the table cannot be used; the table is installed all the same, so that
    // a caller may still print its message through it.
    static QString install(const QString &brand, const QString &resourcesDir = QString());
    // Loaded on first use from LUMEN_BRAND / LUMEN_RESOURCES when nothing was installed.
    static const StringTable &shared();

    static QStringList brands();

    QString brand() const { return m_brand; }
    QString value(const QString &key) const;
    const QVariantMap &strings() const { return m_strings; }
    // The bundle's Info.plist ("CFBundleVersion", "ReleaseDate").
    const QVariantMap &info() const { return m_info; }
    // The resources folder the table came from; empty for the embedded tables.
    QString resourcesFolder() const { return m_resourcesFolder; }

private:
    StringTable(const QString &brand, const QString &resourcesDir);

    QString check(const QString &folder) const;

    QString m_brand;
    QString m_resourcesFolder;
    QVariantMap m_strings;
    QVariantMap m_info;
};

// nil key -> "", missing key -> the key itself.
QString SLLocalizedString(const QString &key);
