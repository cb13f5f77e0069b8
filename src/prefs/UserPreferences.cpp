#include "UserPreferences.h"

#include "User.h"
#include "platform/FoundationValues.h"
#include "platform/UserDefaults.h"
#include "product/FilePathAPIs.h"
#include "product/MonitorSettings.h"
#include "platform/StringFormat.h"
#include "util/StringExtensions.h"

using namespace Qt::StringLiterals;

namespace {

UserDefaults monitorDefaults()
{
    return UserDefaults(MonitorSettings::defaultsDomain());
}

bool globalFlag(const QString &key)
{
    const QVariant value = monitorDefaults().objectForKey(key);
    return value.isValid() ? FoundationValues::boolValue(value) : true;
}

} // namespace

UserPreferences::UserPreferences(const QString &userName)
    : m_userName(userName)
{
}

QVariantMap UserPreferences::stored() const
{
    return monitorDefaults().dictionaryForKey(m_userName);
}

QVariantMap UserPreferences::states(const QString &key, const QVariantMap &ifAbsent) const
{
    const QVariant value = stored().value(key);
    if (value.typeId() != QMetaType::QVariantMap)
        return ifAbsent; // absent, or not a dictionary at all
    QVariantMap states;
    const QVariantMap map = value.toMap();
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        states.insert(it.key(), int(FoundationValues::integerValue(it.value())));
    return states;
}

QVariantMap UserPreferences::defaultExclusion() const
{
    QVariantMap all;
    for (const QString &path : defaultExclusionPaths())
        all.insert(path, 1);
    return states(kDefaultExclusion, all);
}

QVariantMap UserPreferences::userSpecifiedExclusion() const
{
    return states(kUserSpecifiedExclusion, {});
}

QVariantMap UserPreferences::partialFileExclusion() const
{
    return states(kPartialFileExclusion, {{defaultPartialPath(), 1}});
}

bool UserPreferences::enableVersion() const
{
    return FoundationValues::boolValue(stored().value(kEnableVersion));
}

bool UserPreferences::promptRestoreDestinationPanel() const
{
    return FoundationValues::boolValue(stored().value(kPromptRestoreDestinationPanel));
}

bool UserPreferences::powerOffAfterScheduledJob() const
{
    return FoundationValues::boolValue(stored().value(kPowerOffAfterScheduledJob));
}

bool UserPreferences::store(const QVariantMap &values)
{
    if (m_userName.isEmpty())
        return false;
    // Start from what is on disk now: another pane may have saved its keys since we read ours.
    UserDefaults defaults = monitorDefaults();
    QVariantMap dictionary = defaults.dictionaryForKey(m_userName);
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        dictionary.insert(it.key(), it.value());
    defaults.setObject(dictionary, m_userName);
    return defaults.synchronize();
}

bool UserPreferences::showHiddenFiles()
{
    return globalFlag(kShowHiddenFiles);
}

bool UserPreferences::enableExcludeHiddenFiles()
{
    return globalFlag(kEnableExcludeHiddenFiles);
}

bool UserPreferences::setGlobal(const QString &key, bool value)
{
    UserDefaults defaults = monitorDefaults();
    defaults.setObject(value, key);
    return defaults.synchronize();
}

QStringList UserPreferences::defaultExclusionPaths()
{
    return {u"/Desktop DB"_s, u"/Desktop DF"_s, u"/Network"_s, u"/Temporary Items"_s,
            u"/TheVolumeSettingsFolder"_s, u"/Trash"_s, u"/Volumes"_s, u"/automount"_s,
            u"/bin"_s, u"/cores"_s, u"/dev"_s, u"/etc"_s, u"/home"_s, u"/net"_s, u"/mach"_s,
            u"/mach.sym"_s, u"/mach_kernel"_s, u"/mach_kernel.ctfsys"_s, u"/private"_s,
            u"/sbin"_s, u"/tmp"_s, u"/usr"_s, u"/var"_s};
}

QString UserPreferences::defaultPartialPath()
{
    return u"/CorvaneLumen"_s;
}

QString UserPreferences::timeMachineBackupSetPath(const QString &userName)
{
    const QString format = FilePathAPIs::isCorvaneApplication()
        ? u"/Library/Application Support/CorvanePortableforMac/%@/TimeMachinebackupReferenceFile.plist"_s
        : u"/Library/Application Support/StelloaLumen/%@/TimeMachinebackupReferenceFile.plist"_s;
    return stringWithFormat(format, {userName});
}

bool fillUser(User &user, const QVariantMap &loginDetails)
{
    if (loginDetails.isEmpty())
        return false;
    user.setUserName(loginDetails.value(u"CorvaneUsername"_s).toString());
    user.setPassword(stelloaExtension::decryptedString(loginDetails.value(u"Password"_s).toString()));
    user.setPrivateKey(u""_s);
    user.setPort(MonitorSettings::portParam());
    user.setNexaServerIP(loginDetails.value(u"serverName"_s).toString());
    user.setNexaUser(true);
    return true;
}
