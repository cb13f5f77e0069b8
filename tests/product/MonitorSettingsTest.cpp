#include "product/FilePathAPIs.h"
#include "product/MonitorSettings.h"
#include "platform/PropertyList.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(PortParam, ThePortFileOr443)
{
    TestEnvironment env;
    EXPECT_EQ(MonitorSettings::portParam(), u"--port=443"_s);
    env.writeFile(BrandPaths::portFile(), "8443");
    EXPECT_EQ(MonitorSettings::portParam(), u"--port=8443"_s);
}

TEST(PreferencesForUser, DefaultsEntryWithCdpAndSeveralComputersState)
{
    {
        TestEnvironment second(u"stelloa"_s);
        EXPECT_EQ(MonitorSettings::defaultsDomain(), u"com.halvern.StelloaLumenMonitor"_s);
    }
    TestEnvironment env;
    EXPECT_EQ(MonitorSettings::defaultsDomain(), u"com.halvern.CorvaneLumenMonitor"_s);
    UserDefaults defaults(MonitorSettings::defaultsDomain());
    defaults.setObject(QVariantMap{{u"DesktopNotificationKey "_s, 1}}, u"ann"_s);
    ASSERT_TRUE(defaults.synchronize());

    // Nothing but the defaults entry while the other files are missing.
    EXPECT_EQ(MonitorSettings::getPreferencesSettingForUser(u"ann"_s),
              (QVariantMap{{u"DesktopNotificationKey "_s, 1}}));

    PropertyList::writeDictionary(BrandPaths::cdpState(u"ann"_s), {{u"Enabled"_s, u"1"_s}});
    PropertyList::writeDictionary(BrandPaths::multipleMacState(),
                                  {{u"ann"_s, QVariantMap{{u"EnableMultipleMacBackupKey"_s, u"1"_s}}},
                                   {u"bob"_s, QVariantMap{{u"EnableMultipleMacBackupKey"_s, u"2"_s}}}});
    const QVariantMap ann = MonitorSettings::getPreferencesSettingForUser(u"ann"_s);
    EXPECT_EQ(ann.value(u"CDPState"_s).toMap().value(u"Enabled"_s).toString(), u"1"_s);
    EXPECT_EQ(ann.value(u"MultipleMacState"_s).toMap().value(u"EnableMultipleMacBackupKey"_s).toString(), u"1"_s);
    EXPECT_EQ(ann.value(u"DesktopNotificationKey "_s).toInt(), 1);

    const QVariantMap carol = MonitorSettings::getPreferencesSettingForUser(u"carol"_s);
    EXPECT_TRUE(carol.isEmpty()) << "no defaults, no CDP file, no several-computers entry";
}

} // namespace
