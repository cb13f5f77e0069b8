#include "StringTable.h"

#include "platform/FileContents.h"
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
    // Resource files are not product paths: read them as they are named, not through Paths.
    QByteArray data;
    if (path.startsWith(u':')) {
        QFile embedded(path);
        if (embedded.open(QIODevice::ReadOnly))
            data = embedded.readAll();
    } else {
        const FileContents file = FileContents::readLocal(path);
        if (!file.ok())
            qCWarning(lcPlatform) << "cannot read resource" << file.errorString();
        data = file.data();
    }
    return PropertyList::fromData(data).toMap();
}

// A value naming a file or folder: every program needs these to put its files where the others
// look for them.
bool isPathValue(const QVariant &value)
{
    const QString text = value.toString();
    return text.startsWith(u'/') || text.startsWith(u'~');
}

} // namespace

StringTable::StringTable(const QString &brand, const QString &resourcesDir)
    : m_brand(brand)
    , m_resourcesFolder(resourcesDir)
{
    const QString folder = resourcesDir.isEmpty() ? u":/brands/"_s + brand : resourcesDir;
    m_strings = readResource(folder + u"/Localizable.plist"_s);
    m_info = readResource(folder + u"/Info.plist"_s);
}

QString StringTable::install(const QString &brand, const QString &resourcesDir)
{
    delete installed();
    installed() = new StringTable(brand.isEmpty() ? u"corvane"_s : brand, resourcesDir);
    return resourcesDir.isEmpty() ? QString() : installed()->check(resourcesDir);
}

// A replacement table must name every path the brand's own table names; without them each path
// would be its own key, a file name in the current folder.
QString StringTable::check(const QString &folder) const
{
    const QString file = folder + u"/Localizable.plist"_s;
    if (m_strings.isEmpty())
        return u"The string table \"%1\" cannot be read: it is not a property list of texts."_s.arg(file);
    const QVariantMap own = StringTable(m_brand, QString()).strings();
    QStringList missing;
    for (auto it = own.cbegin(); it != own.cend(); ++it) {
        if (isPathValue(it.value()) && !isPathValue(m_strings.value(it.key())))
            missing.append(it.key());
    }
    if (missing.isEmpty())
        return QString();
    return u"The string table \"%1\" lacks the paths %2."_s.arg(file, missing.join(u", "_s));
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
