#include "MonitorSettings.h"

#include "FilePathAPIs.h"
#include "platform/FileContents.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/UserDefaults.h"
#include "platform/StringFormat.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace MonitorSettings {

namespace {

bool exists(const QString &path)
{
    return QFileInfo::exists(Paths::current().resolve(path));
}

} // namespace

QString defaultsDomain()
{
    return FilePathAPIs::isCorvaneApplication() ? u"com.halvern.CorvaneLumenMonitor"_s
                                                : u"com.halvern.StelloaLumenMonitor"_s;
}

QString portParam()
{
    QString port = FileContents::readUtf8(BrandPaths::portFile());
    if (port.isNull())
        port = u"443"_s;
    return stringWithFormat(u"--port=%@"_s, {port});
}

QVariantMap getPreferencesSettingForUser(const QString &userName)
{
    QVariantMap settings = UserDefaults(defaultsDomain()).dictionaryForKey(userName);
    const QString cdpPath = BrandPaths::cdpState(userName);
    if (exists(cdpPath))
        settings.insert(u"CDPState"_s, PropertyList::readDictionary(cdpPath));
    const QString multiplePath = BrandPaths::multipleMacState();
    if (exists(multiplePath)) {
        const QVariantMap all = PropertyList::readDictionary(multiplePath);
        if (all.contains(userName))
            settings.insert(u"MultipleMacState"_s, all.value(userName));
    }
    return settings;
}

} // namespace MonitorSettings
