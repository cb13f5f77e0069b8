#include "StringTable.h"

#include "platform/PlatformLog.h"
#include "platform/PropertyList.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace {

StringTable *&installed()
{
    static StringTable *table = nullptr; // kept for the life of the process, never reloaded
    return table;
}

QVariantMap readResource(const QString &path)
{
    // Resource files are not product paths: read them directly, not through Paths.
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcPlatform) << "missing resource" << path;
        return {};
    }
    return PropertyList::fromData(file.readAll()).toMap();
}

} // namespace

StringTable::StringTable(const QString &brand, const QString &resourcesDir)
    : m_brand(brand)
{
    const QString folder = resourcesDir.isEmpty() ? u":/brands/"_s + brand : resourcesDir;
    m_strings = readResource(folder + u"/Localizable.plist"_s);
    m_info = readResource(folder + u"/Info.plist"_s);
}

void StringTable::install(const QString &brand, const QString &resourcesDir)
{
    delete installed();
    installed() = new StringTable(brand.isEmpty() ? u"corvane"_s : brand, resourcesDir);
}

const StringTable &StringTable::shared()
{
    if (!installed()) {
        install(qEnvironmentVariable("LUMEN_BRAND", u"corvane"_s),
                qEnvironmentVariable("LUMEN_RESOURCES"));
    }
    return *installed();
}

QStringList StringTable::brands()
{
    return {u"corvane"_s, u"stelloa"_s};
}

QString StringTable::value(const QString &key) const
{
    const QVariant value = m_strings.value(key);
    return value.isValid() ? value.toString() : key;
}

QString SLLocalizedString(const QString &key)
{
    if (key.isNull())
        return u""_s;
    return StringTable::shared().value(key);
}
