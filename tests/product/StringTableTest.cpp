#include "product/FilePathAPIs.h"
#include "product/StringTable.h"
#include "platform/PropertyList.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(StringTable, LooksUpKeysAndFallsBackToTheKey)
{
    TestEnvironment env;
    EXPECT_EQ(SLLocalizedString(u"ApplicationName"_s), u"Corvane Lumen"_s);
    EXPECT_EQ(SLLocalizedString(u"No such key"_s), u"No such key"_s);
    EXPECT_EQ(SLLocalizedString(QString()), u""_s);
    EXPECT_FALSE(StringTable::shared().info().value(u"CFBundleVersion"_s).toString().isEmpty());
    EXPECT_FALSE(StringTable::shared().info().value(u"ReleaseDate"_s).toString().isEmpty());
}

TEST(StringTable, AReplacementTableMustBeReadableAndNameEveryPath)
{
    TestEnvironment env;
    QTemporaryDir resources;
    const auto install = [&](const QByteArray &table) {
        EXPECT_TRUE(writeStringTable(resources, table));
        return StringTable::install(u"stelloa"_s, resources.path());
    };
    EXPECT_TRUE(install("not a property list").contains(u"cannot be read"_s));
    StringTable::install(u"stelloa"_s);
    QVariantMap strings = StringTable::shared().strings();
    EXPECT_EQ(install(PropertyList::toData(strings, PropertyList::Format::Binary)), QString());
    strings.insert(u"SchedulerSettingsFile"_s, u"Schedules"_s);
    strings.remove(u"DaemonTraceFilePath"_s);
    const QString error = install(PropertyList::toData(strings, PropertyList::Format::Xml));
    EXPECT_TRUE(error.contains(u"SchedulerSettingsFile"_s) && error.contains(u"DaemonTraceFilePath"_s))
        << error.toStdString();
    EXPECT_EQ(StringTable::install(u"stelloa"_s), QString()) << "the built-in tables are always complete";
}

// Every key some part of the monitor looks up must be in both brands' tables.
TEST(StringTable, BothBrandsCarryEveryKeyTheMonitorLooksUp)
{
    const QStringList keys{
        u"ApplicationName"_s, u"ApplicationIcon"_s, u"ApplicationAlternateIcon"_s, u"OK"_s,
        u"Cancel"_s, u"UserDetailsPath"_s, u"LastUserLoginDetailsFilePath"_s,
        u"LoginDetailsFilePath"_s, u"SessionLogsFolderPath"_s, u"SchedulerState"_s,
        u"ApplicationStatusPath"_s, u"ApplicationExecName"_s, u"ApplicationExecPath"_s,
        u"ApplicationRootFolderPath"_s, u"DeamonPreferencePath"_s, u"ApplicationPreferenceFile"_s,
        u"BackupsetPath"_s, u"MultiplePCStateFilePath"_s, u"InteractiveTraceFilePath"_s,
        u"MonitorTraceFilePath"_s, u"DaemonTraceFilePath"_s, u"InteractiveSessionLog"_s,
        u"ScheduledBackupLog"_s, u"SyncInteractiveSessionLog"_s, u"LogsFolderPath"_s,
        u"SchedulerSettingsFile"_s, u"SchedulerProgress"_s, u"BackupFailCountFilePath"_s,
        u"CDPFilePath"_s, u"SchedulerPreferencesFilePath"_s, u"WebManagementLogFilePath"_s,
        u"BandwidthThrottleFilePath"_s, u"BandwidthThrottleFilePathForNexa"_s,
        u"NexaUserDetails"_s, u"WebmanagementFilePath"_s, u"WebmanagementFilePathTemp"_s,
        u"MagicFile"_s, u"WebManagementExecName"_s, u"WebManagementExecPath"_s,
        u"LastConsoleUserNameFilePath"_s, u"LogoutCommandOutputFilePath"_s, u"ProxySetting"_s,
        u"ProxyEnableCheck"_s, u"UpdateServiceURL"_s, u"AccountServiceURL"_s,
        u"NotificationServiceURL"_s, u"WebSiteURL"_s, u"HelpSiteURL"_s,
    };
    for (const QString &brand : StringTable::brands()) {
        TestEnvironment env(brand);
        for (const QString &key : keys)
            EXPECT_TRUE(StringTable::shared().strings().contains(key))
                << brand.toStdString() << " lacks " << key.toStdString();
    }
}

TEST(Brand, DecidedByTheExactApplicationName)
{
    {
        TestEnvironment env(u"corvane"_s);
        EXPECT_TRUE(FilePathAPIs::isCorvaneApplication());
    }
    TestEnvironment env(u"stelloa"_s);
    EXPECT_EQ(FilePathAPIs::applicationName(), u"Stelloa Lumen"_s);
    EXPECT_FALSE(FilePathAPIs::isCorvaneApplication());
}

TEST(FileKinds, EachKindHasItsFormAndTheRestAreEmpty)
{
    TestEnvironment env;
    using FilePathAPIs::pathForApplicationFile;
    // Format kinds keep "%@" for the caller.
    EXPECT_TRUE(pathForApplicationFile(0).contains(u"%@"_s));
    EXPECT_TRUE(pathForApplicationFile(31).contains(u"%@"_s));
    EXPECT_EQ(pathForApplicationFile(35),
              u"/Library/Application Support/CorvaneforMac/%@/CDPState.plist"_s);
    // Kind 2 is standardised: the tilde is expanded to the home folder.
    EXPECT_EQ(pathForApplicationFile(2),
              env.home() + u"/Library/Application Support/CorvanePortableforMac/CVLoginDetails.plist"_s);
    EXPECT_EQ(pathForApplicationFile(2), BrandPaths::loginDetails())
        << "the login-details kind and the fixed login path name the same file";
    // Kind 32 stays as it stands.
    EXPECT_TRUE(pathForApplicationFile(32).startsWith(u"~/"_s));
    for (int kind : {1, 8, 9, 14, 28, 33, 34, 36, -1, 1000})
        EXPECT_EQ(pathForApplicationFile(kind), u""_s) << kind;
    EXPECT_EQ(pathForApplicationFile(29), SLLocalizedString(u"SchedulerSettingsFile"_s));
}

TEST(FixedPaths, BrandSpecificAndBrandIndependentOnes)
{
    {
        TestEnvironment env(u"corvane"_s);
        EXPECT_EQ(BrandPaths::launchRequest(),
                  u"/Library/Application Support/CorvanePortableforMac/.launch"_s);
        EXPECT_EQ(BrandPaths::portFile(),
                  env.home() + u"/Library/Application Support/CorvanePortableforMac/port.txt"_s);
    }
    TestEnvironment env(u"stelloa"_s);
    EXPECT_EQ(BrandPaths::loginDetails(),
              env.home() + u"/Library/Application Support/StelloaLumen/SLLoginDetails.plist"_s);
    EXPECT_EQ(BrandPaths::multipleMacState(),
              u"/Library/Application Support/StelloaLumen/CorvaneMultipleMacState.plist"_s);
    EXPECT_EQ(BrandPaths::schedulerStatus(), u"/Library/Application Support/CorvaneforMac/SchedulerStatus"_s);
    EXPECT_EQ(BrandPaths::cdpState(u"ann"_s),
              u"/Library/Application Support/CorvaneforMac/ann/CDPState.plist"_s);
}

} // namespace
