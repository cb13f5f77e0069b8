#include "platform/PropertyList.h"
#include "platform/UserDefaults.h"
#include "prefs/PreferencesWindowLayout.h"
#include "prefs/User.h"
#include "prefs/UserPreferences.h"
#include "product/FilePathAPIs.h"
#include "product/MonitorSettings.h"
#include "support/TestEnvironment.h"
#include "util/StringExtensions.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class UserPreferencesTest : public ::testing::Test
{
protected:
    UserDefaults defaults() const { return UserDefaults(MonitorSettings::defaultsDomain()); }

    TestEnvironment env;
};

TEST_F(UserPreferencesTest, AnAccountThatNeverSavedReadsEveryDefaultAndTheFirstSaveCreatesItsDictionary)
{
    const UserPreferences ann(u"ann"_s);
    EXPECT_TRUE(ann.stored().isEmpty());
    const QVariantMap excluded = ann.defaultExclusion();
    ASSERT_EQ(excluded.size(), 23);
    for (const QString &path : UserPreferences::defaultExclusionPaths())
        EXPECT_EQ(excluded.value(path), QVariant(1)) << path.toStdString();
    EXPECT_TRUE(excluded.contains(u"/mach_kernel.ctfsys"_s));
    EXPECT_TRUE(ann.userSpecifiedExclusion().isEmpty());
    EXPECT_EQ(ann.partialFileExclusion(), (QVariantMap{{u"/CorvaneLumen"_s, 1}}));
    EXPECT_FALSE(ann.enableVersion());
    EXPECT_FALSE(ann.promptRestoreDestinationPanel());

    UserPreferences writer(u"ann"_s);
    ASSERT_TRUE(writer.store({{UserPreferences::kEnableVersion, true}}));
    EXPECT_EQ(defaults().dictionaryForKey(u"ann"_s), (QVariantMap{{u"EnableVersion"_s, true}}));
    EXPECT_TRUE(UserPreferences(u"ann"_s).enableVersion());
    EXPECT_EQ(UserPreferences(u"ann"_s).defaultExclusion().size(), 23) << "still the defaults";
}

TEST_F(UserPreferencesTest, ThePanesKeepEachOthersKeysAndTwoAccountsTheirOwnDictionaries)
{
    UserPreferences general(u"ann"_s), exclusions(u"ann"_s), bob(u"bob"_s);
    ASSERT_TRUE(general.store({{UserPreferences::kEnableVersion, true}}));
    ASSERT_TRUE(exclusions.store({{UserPreferences::kUserSpecifiedExclusion, QVariantMap{{u"/Users/ann/Movies"_s, 1}}}}));
    EXPECT_TRUE(defaults().dictionaryForKey(u"ann"_s).contains(u"User specified Exclusion"_s));
    // Another program writes a key of its own meanwhile.
    UserDefaults other = defaults();
    QVariantMap stored = other.dictionaryForKey(u"ann"_s);
    stored.insert(u"SomethingElse"_s, u"kept"_s);
    other.setObject(stored, u"ann"_s);
    ASSERT_TRUE(other.synchronize());
    ASSERT_TRUE(general.store({{UserPreferences::kPromptRestoreDestinationPanel, true}}));
    ASSERT_TRUE(bob.store({{UserPreferences::kEnableVersion, false}}));

    const QVariantMap ann = defaults().dictionaryForKey(u"ann"_s);
    EXPECT_EQ(ann.value(u"EnableVersion"_s), QVariant(true));
    EXPECT_EQ(ann.value(u"PromptRestoreDestinationPanel"_s), QVariant(true));
    EXPECT_EQ(ann.value(u"SomethingElse"_s), QVariant(u"kept"_s));
    EXPECT_EQ(UserPreferences(u"ann"_s).userSpecifiedExclusion(), (QVariantMap{{u"/Users/ann/Movies"_s, 1}}));
    EXPECT_FALSE(UserPreferences(u"bob"_s).enableVersion());
    EXPECT_TRUE(UserPreferences(u"bob"_s).userSpecifiedExclusion().isEmpty());
    EXPECT_FALSE(UserPreferences(QString()).store({{UserPreferences::kEnableVersion, true}}))
        << "nothing is stored without a user name";

    // The global keys are shared by both accounts.
    ASSERT_TRUE(UserPreferences::setGlobal(UserPreferences::kEnableExcludeHiddenFiles, false));
    EXPECT_FALSE(UserPreferences::enableExcludeHiddenFiles());
    EXPECT_EQ(defaults().objectForKey(u"enableExcludeHiddenFilesKey"_s), QVariant(false));
    EXPECT_EQ(defaults().dictionaryForKey(u"bob"_s).value(u"EnableVersion"_s), QVariant(false));
}

TEST_F(UserPreferencesTest, StoredStatesAndFlagsAreReadThroughTheirNumberOrBooleanValue)
{
    UserDefaults stored = defaults();
    stored.setObject(QVariantMap{{u"Default Exclusion"_s, QVariantMap{{u"/tmp"_s, false}, {u"/usr"_s, true}}},
                                 {u"Partial File Exclusion"_s, QVariantMap{{u"/Cache"_s, u"1"_s}}},
                                 {u"EnableVersion"_s, u"YES"_s}},
                     u"ann"_s);
    ASSERT_TRUE(stored.synchronize());
    const UserPreferences ann(u"ann"_s);
    EXPECT_EQ(ann.defaultExclusion(), (QVariantMap{{u"/tmp"_s, 0}, {u"/usr"_s, 1}})) << "as stored, not the defaults";
    EXPECT_EQ(ann.partialFileExclusion(), (QVariantMap{{u"/Cache"_s, 1}}));
    EXPECT_TRUE(ann.enableVersion());

    stored.setObject(QVariantMap{{u"Default Exclusion"_s, u"everything"_s},
                                 {u"PromptRestoreDestinationPanel"_s, 1}},
                     u"bob"_s);
    ASSERT_TRUE(stored.synchronize());
    EXPECT_EQ(UserPreferences(u"bob"_s).defaultExclusion().size(), 23) << "not a dictionary: the defaults";
    EXPECT_TRUE(UserPreferences(u"bob"_s).promptRestoreDestinationPanel());
}

TEST_F(UserPreferencesTest, TheHiddenFilesKeyEndsInABlank)
{
    EXPECT_TRUE(UserPreferences::showHiddenFiles()) << "absent: true";
    UserDefaults stored = defaults();
    stored.setObject(false, u"ShowHiddenFilesKey"_s); // without the blank: another key
    ASSERT_TRUE(stored.synchronize());
    EXPECT_TRUE(UserPreferences::showHiddenFiles());
    ASSERT_TRUE(UserPreferences::setGlobal(UserPreferences::kShowHiddenFiles, false));
    EXPECT_FALSE(UserPreferences::showHiddenFiles());
    EXPECT_TRUE(defaults().objectForKey(u"ShowHiddenFilesKey "_s).isValid());
}

TEST_F(UserPreferencesTest, TheRecordIsFilledFromTheLoginDetailsOrKeepsWhatItHeld)
{
    env.writeFile(BrandPaths::portFile(), "8443\n");
    User user;
    EXPECT_TRUE(user.UserName().isNull());
    EXPECT_FALSE(user.isNexaUser());
    ASSERT_TRUE(fillUser(user, {{u"CorvaneUsername"_s, u"ann@example.com"_s},
                                {u"Password"_s, stelloaExtension::encryptedString(u"s3cret é"_s)},
                                {u"serverName"_s, u"storage7.example"_s}}));
    EXPECT_EQ(user.UserName(), u"ann@example.com"_s);
    EXPECT_EQ(user.Password(), u"s3cret é"_s) << "deciphered";
    EXPECT_EQ(user.Port(), u"--port=8443\n"_s) << "the port file's newline stays";
    EXPECT_EQ(user.NexaServerIP(), u"storage7.example"_s);
    EXPECT_EQ(user.PrivateKey(), u""_s);
    EXPECT_FALSE(user.PrivateKey().isNull());
    EXPECT_TRUE(user.isNexaUser());
    EXPECT_FALSE(user.isBusinessUser());

    EXPECT_FALSE(fillUser(user, {}));
    EXPECT_EQ(user.UserName(), u"ann@example.com"_s) << "nobody logged in: the record keeps its values";
}

TEST_F(UserPreferencesTest, WithoutAPortFileThePortIs443AndTheTimeMachineSetLiesUnderTheBrandsFolder)
{
    User user;
    fillUser(user, {{u"CorvaneUsername"_s, u"ann"_s}});
    EXPECT_EQ(user.Port(), u"--port=443"_s);
    EXPECT_EQ(UserPreferences::timeMachineBackupSetPath(u"ann"_s),
              u"/Library/Application Support/CorvanePortableforMac/ann/TimeMachinebackupReferenceFile.plist"_s);
    TestEnvironment stelloa(u"stelloa"_s);
    EXPECT_EQ(UserPreferences::timeMachineBackupSetPath(u"ann"_s),
              u"/Library/Application Support/StelloaLumen/ann/TimeMachinebackupReferenceFile.plist"_s);
}

TEST(PreferencesWindowLayout, TheUserNameSitsTenPointsInFromTheRightOrAt300WhenAsWideAsTheWindow)
{
    EXPECT_EQ(PreferencesWindowLayout::userNameLabelX(640, 120), 510);
    EXPECT_EQ(PreferencesWindowLayout::userNameLabelX(640, 630), 0);
    EXPECT_EQ(PreferencesWindowLayout::userNameLabelX(640, 640), 300);
    EXPECT_EQ(PreferencesWindowLayout::userNameLabelX(640, 641), -11);
}

} // namespace
