#include "prefs/GeneralViewController.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/PropertyList.h"
#include "platform/UserDefaults.h"
#include "prefs/CdpState.h"
#include "prefs/MultipleMacTextFieldFormatter.h"
#include "prefs/UserPreferences.h"
#include "product/FilePathAPIs.h"
#include "product/MonitorSettings.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

struct RecordingDelegate : GeneralViewDelegate {
    void ContinuousDataProtectionSelected() override { ++cdpClicks; }
    void sendIPCMessage(const QVariant &payload, int type, bool runInThread) override
    {
        messages.append({payload, type, runInThread});
    }
    int cdpClicks = 0;
    QList<QVariantList> messages;
};

class GeneralViewControllerTest : public ::testing::Test {
protected:
    // A pane for `user`, as the monitor fills it (a storage account unless told otherwise).
    GeneralViewController &pane(const QString &user = u"ann"_s, bool nexa = true,
                                DistributedNotificationCenter *notifications = nullptr)
    {
        GeneralViewController::Services services;
        services.notifications = notifications;
        services.computerName = [this] { return computerName; };
        services.timeMachineFolders = [this] { return timeMachineFolders; };
        services.mountTable = mountTable();
        services.volumePollIntervalMs = 10;
        auto *controller = new GeneralViewController(services, &owner);
        controller->initialize();
        controller->userInfo().setUserName(user);
        controller->userInfo().setNexaUser(nexa);
        controller->setDelegate(&delegate);
        return *controller;
    }
    QString mountTable() const { return mounts.filePath(u"mountinfo"_s); }
    void writeMounts(const QByteArray &lines) const
    {
        QFile file(mountTable());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(lines);
    }
    static QVariantMap storedFor(const QString &user)
    {
        return UserDefaults(MonitorSettings::defaultsDomain()).dictionaryForKey(user);
    }
    static QVariant hiddenFilesKey()
    {
        return UserDefaults(MonitorSettings::defaultsDomain())
            .objectForKey(u"ShowHiddenFilesKey "_s);
    }
    static QVariant folderNameOf(const QString &user)
    {
        return multipleMacState().value(user).toMap().value(u"MultipleMacFolderName"_s);
    }
    static QVariantMap multipleMacState()
    {
        return PropertyList::readDictionary(BrandPaths::multipleMacState());
    }
    static bool waitFor(const std::function<bool()> &condition)
    {
        for (QDeadlineTimer deadline(5000); !deadline.hasExpired();) {
            if (condition())
                return true;
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        }
        return condition();
    }

    TestEnvironment env;
    QTemporaryDir mounts;
    QObject owner;
    RecordingDelegate delegate;
    QString computerName = u"Studio's Mac Pro (2)"_s;
    QStringList timeMachineFolders;
};

TEST(GeneralViewFolderName, CleansTheComputersNameIntoAFolderName)
{
    const std::array<std::pair<QString, QString>, 10> cases {{
        {u"Studio's Mac Pro (2)"_s, u"StudiosMacPro"_s},
        {u"$%^`~!#&*()[]?;<> '"_s, u""_s},
        {u"(2)"_s, u""_s},
        {u"Mac (copy) Pro"_s, u"MaccopyPro"_s}, // only a last word in brackets goes
        {u"Mac (2) "_s, u"Mac2"_s}, // the last word is the empty one after the blank
        {u"-Mac.Book-"_s, u"Mac.Book"_s},
        {u"+Mac=\u00a9"_s, u"Mac"_s},
        {u"Cafe\u0301"_s, u"Cafe"_s}, // a trailing combining accent
        {u"Mac\U0001D400"_s, u"Mac\U0001D400"_s}, // a letter beyond the 16-bit range stays whole
        {u"Ünïcode Ünit"_s, u"ÜnïcodeÜnit"_s},
    }};
    for (const auto &[name, folder] : cases)
        EXPECT_EQ(GeneralViewController::getRemoteFolderName(name), folder) << name.toStdString();

    const QString fifty(50, u'a');
    EXPECT_TRUE(MultipleMacTextFieldFormatter::isPartialStringValid(fifty));
    EXPECT_FALSE(MultipleMacTextFieldFormatter::isPartialStringValid(fifty + u'b'));
}

TEST_F(GeneralViewControllerTest, ANewAccountLoadsTheDefaultsAndHasThemWrittenAtOnce)
{
    GeneralViewController &ann = pane();
    ann.loadPrefrences();
    EXPECT_EQ(ann.multipleMacFolderName(), u"StudiosMacPro"_s);
    EXPECT_TRUE(ann.showHiddenFiles());
    EXPECT_FALSE(ann.versionChecked());
    EXPECT_FALSE(ann.restoreDestinationChecked());
    EXPECT_FALSE(ann.powerOffAfterScheduledJob());
    EXPECT_FALSE(ann.mCDPCheckBox());
    EXPECT_TRUE(ann.isDefaultMessageVisible());

    EXPECT_EQ(multipleMacState(),
              (QVariantMap {{u"ann"_s,
                             QVariantMap {{u"EnableMultipleMacBackupKey"_s, u"1"_s},
                                          {u"MultipleMacFolderName"_s, u"StudiosMacPro"_s}}}}));
    EXPECT_EQ(storedFor(u"ann"_s),
              (QVariantMap {{u"EnableVersion"_s, false},
                            {u"PromptRestoreDestinationPanel"_s, false},
                            {u"PowerOffAfterScheduledJob"_s, false}}));
    EXPECT_EQ(hiddenFilesKey(), QVariant(true));
}

TEST_F(GeneralViewControllerTest, LoadingShowsTheStoredValuesBeforeSavingThemBack)
{
    UserDefaults stored(MonitorSettings::defaultsDomain());
    stored.setObject(QVariantMap {{u"EnableVersion"_s, true},
                                  {u"PromptRestoreDestinationPanel"_s, u"YES"_s},
                                  {u"PowerOffAfterScheduledJob"_s, 1}},
                     u"ann"_s);
    stored.setObject(false, u"ShowHiddenFilesKey "_s);
    stored.setObject(true, u"ShowHiddenFilesKey"_s); // without the blank: another key
    ASSERT_TRUE(stored.synchronize());
    ASSERT_TRUE(
        PropertyList::writeDictionary(BrandPaths::multipleMacState(),
                                      {{u"ann"_s,
                                        QVariantMap {{u"EnableMultipleMacBackupKey"_s, u"1"_s},
                                                     {u"MultipleMacFolderName"_s, u"Studio"_s}}}}));

    GeneralViewController &ann = pane();
    ann.loadPrefrences();
    EXPECT_EQ(ann.multipleMacFolderName(), u"Studio"_s);
    EXPECT_TRUE(ann.multipleMacBackupChecked());
    EXPECT_FALSE(ann.showHiddenFiles());
    EXPECT_TRUE(ann.versionChecked());
    EXPECT_TRUE(ann.restoreDestinationChecked());
    EXPECT_TRUE(ann.powerOffAfterScheduledJob());
    // The save at the end of the load wrote back what it read.
    EXPECT_EQ(storedFor(u"ann"_s).value(u"EnableVersion"_s), QVariant(true));
    EXPECT_EQ(storedFor(u"ann"_s).value(u"PromptRestoreDestinationPanel"_s), QVariant(true));
    EXPECT_EQ(hiddenFilesKey(), QVariant(false));

    // A stored name whose switch is not "1" does not count.
    ASSERT_TRUE(
        PropertyList::writeDictionary(BrandPaths::multipleMacState(),
                                      {{u"ann"_s,
                                        QVariantMap {{u"EnableMultipleMacBackupKey"_s, 1},
                                                     {u"MultipleMacFolderName"_s, u"Studio"_s}}}}));
    EXPECT_FALSE(ann.isMultipleMacEnabled());
    EXPECT_TRUE(ann.multipleMacFolderNameFromFile().isNull());
    ann.loadPrefrences();
    EXPECT_EQ(ann.multipleMacFolderName(), u"StudiosMacPro"_s);
}

TEST_F(GeneralViewControllerTest,
       SavingWritesOnlyTheAccountsOwnEntryAndOnlyHiddenFilesForOtherAccounts)
{
    const QVariantMap bob {{u"EnableMultipleMacBackupKey"_s, u"1"_s},
                           {u"MultipleMacFolderName"_s, u"BobsMac"_s},
                           {u"Extra"_s, 7}};
    ASSERT_TRUE(PropertyList::writeDictionary(
        BrandPaths::multipleMacState(),
        {{u"bob"_s, bob}, {u"ann"_s, QVariantMap {{u"Extra"_s, u"x"_s}}}}));
    GeneralViewController &ann = pane();
    ann.multipleMacOptionsBtnSelected(u"Ann's iMac (3)"_s);
    EXPECT_EQ(ann.multipleMacFolderName(), u"AnnsiMac"_s);
    EXPECT_EQ(multipleMacState().value(u"bob"_s).toMap(), bob);
    EXPECT_EQ(multipleMacState().value(u"ann"_s).toMap(),
              (QVariantMap {{u"EnableMultipleMacBackupKey"_s, u"1"_s},
                            {u"MultipleMacFolderName"_s, u"AnnsiMac"_s},
                            {u"Extra"_s, u"x"_s}}));
    // A name that cleans away to nothing falls back to the computer's name, shown in the field.
    ann.multipleMacOptionsBtnSelected(u"(!?)"_s);
    EXPECT_EQ(ann.multipleMacFolderName(), u"StudiosMacPro"_s);
    EXPECT_EQ(folderNameOf(u"ann"_s), QVariant(u"StudiosMacPro"_s));

    GeneralViewController &carl = pane(u"carl"_s, false);
    carl.loadPrefrences();
    carl.showHiddenFilesButtonChanged(false);
    carl.EnableVersion(true);
    EXPECT_EQ(hiddenFilesKey(), QVariant(false));
    EXPECT_TRUE(storedFor(u"carl"_s).isEmpty());
    EXPECT_FALSE(multipleMacState().contains(u"carl"_s));
    // The option can be turned on, never off, from the pane.
    carl.multipleMacBackupSelected();
    EXPECT_TRUE(carl.multipleMacBackupChecked());
    EXPECT_FALSE(carl.multipleMacBackupEnabled());
    EXPECT_TRUE(GeneralViewController::isMultipleMacOptionChanged());
}

TEST_F(GeneralViewControllerTest,
       TheCdpBoxFollowsTheAccountsOwnStateFileAndTheMonitorIsAskedAndTold)
{
    struct Case {
        QVariantMap file;
        bool on;
    };
    const QList<Case> cases {
        {{}, false},
        {{{u"Username"_s, u"ann"_s}, {u"Enabled"_s, u"1"_s}}, true},
        {{{u"Username"_s, u"ann"_s}, {u"Enabled"_s, u"0"_s}}, false},
        {{{u"Username"_s, u"bob"_s}, {u"Enabled"_s, u"1"_s}}, false},
        {{{u"Enabled"_s, u"1"_s}}, false},
    };
    GeneralViewController &ann = pane();
    for (const Case &c : cases) {
        if (!c.file.isEmpty()) {
            ASSERT_TRUE(PropertyList::writeDictionary(CdpState::path(u"ann"_s), c.file));
        }
        ann.loadPrefrences();
        EXPECT_EQ(ann.mCDPCheckBox(), c.on) << c.file.value(u"Username"_s).toString().toStdString();
    }
    EXPECT_EQ(CdpState::path(u"ann"_s),
              u"/Library/Application Support/CorvaneforMac/ann/CDPState.plist"_s);
    ASSERT_TRUE(CdpState::write(u"ann"_s, true));
    EXPECT_EQ(PropertyList::readDictionary(CdpState::path(u"ann"_s)),
              (QVariantMap {
                  {u"Enabled"_s, u"1"_s}, {u"Frequency"_s, u"1"_s}, {u"Username"_s, u"ann"_s}}));
    EXPECT_FALSE(CdpState::write(QString(), true));

    ann.EnableCDP(false);
    EXPECT_EQ(delegate.cdpClicks, 1);
    EXPECT_FALSE(ann.mCDPCheckBox()) << "shows the click until the monitor decides";
    ann.setDelegate(nullptr);
    ann.EnableCDP(false);
    EXPECT_TRUE(ann.mCDPCheckBox()) << "nobody to ask: the file decides";

    // The restore-destination box tells the main application (type 8) and is saved.
    ann.setDelegate(&delegate);
    ann.selectRestoreDestinationPath(true);
    ann.selectRestoreDestinationPath(false);
    ann.selectRestoreDestinationPath(true);
    ASSERT_EQ(delegate.messages.size(), 3);
    EXPECT_EQ(delegate.messages.at(0), (QVariantList {u"1"_s, 8, false}));
    EXPECT_EQ(delegate.messages.at(1), (QVariantList {u"0"_s, 8, false}));
    EXPECT_EQ(storedFor(u"ann"_s).value(u"PromptRestoreDestinationPanel"_s), QVariant(true));
}

TEST_F(GeneralViewControllerTest, TheTimeMachineTableShowsTheBackupSetOfTheBackupMode)
{
    const QString backupSet
        = u"/Library/Application Support/CorvanePortableforMac/ann/TimeMachinebackupReferenceFile.plist"_s;
    const QString syncSet
        = u"/Library/Application Support/CorvanePortableforMac/ann/TimeMachinesyncReferenceFile.plist"_s;
    const QString mode = u"/Library/Application Support/CorvanePortableforMac/ann/backupmode"_s;
    timeMachineFolders = {u"/Backups.backupdb"_s, u"/media/Disk 2/Backups.backupdb"_s,
                          u"/media/Old/Backups.backupdb"_s};
    ASSERT_TRUE(PropertyList::write(backupSet, QVariantList {u"/media/Old/Backups.backupdb"_s},
                                    PropertyList::Format::Xml));
    GeneralViewController &ann = pane();
    ann.loadView();
    EXPECT_FALSE(ann.versionEnabled());
    ann.loadTimeMachineBackupSet();
    EXPECT_EQ(ann.timeMachineReferenceFile(), syncSet) << "no backup-mode file: the sync set";
    ASSERT_EQ(ann.mTimeMachineVolumes().size(), 3);
    EXPECT_FALSE(ann.mTimeMachineVolumes().at(2).checkState);

    env.writeFile(mode, "YES\n");
    ann.enableVersionButton();
    EXPECT_TRUE(ann.versionEnabled());
    ann.loadTimeMachineBackupSet();
    EXPECT_FALSE(ann.isDefaultMessageVisible());
    const QList<bool> checked {false, false, true};
    for (int row = 0; row < 3; ++row)
        EXPECT_EQ(ann.mTimeMachineVolumes().at(row).checkState, checked.at(row)) << row;
    TimeMachineTableModel &model = *ann.timeMachineModel();
    EXPECT_EQ(model.index(0, TimeMachineTableModel::NameColumn).data(),
              QVariant(u"Time Machine backup"_s));
    EXPECT_EQ(model.index(1, TimeMachineTableModel::NameColumn).data(),
              QVariant(u"Time Machine backup - Disk 2"_s));

    // A click on row 1's box adds it; the set keeps the table's order.
    ASSERT_TRUE(model.setData(model.index(1, TimeMachineTableModel::CheckColumn), Qt::Checked,
                              Qt::CheckStateRole));
    EXPECT_EQ(
        PropertyList::readArray(backupSet),
        (QVariantList {u"/media/Disk 2/Backups.backupdb"_s, u"/media/Old/Backups.backupdb"_s}));
    ann.toggleCheckBoxSate(2);
    EXPECT_EQ(PropertyList::readArray(backupSet),
              (QVariantList {u"/media/Disk 2/Backups.backupdb"_s}));
    EXPECT_FALSE(env.exists(syncSet));
}

TEST_F(GeneralViewControllerTest, MountingAndUnmountingAVolumeReloadsTheTimeMachineTable)
{
    const QByteArray root = "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n";
    const QByteArray disk = "40 22 8:17 / /media/Time\\040Disk rw - ext4 /dev/sdb1 rw\n";
    writeMounts(root);
    GeneralViewController &ann = pane();
    ann.loadView();
    EXPECT_TRUE(ann.isDefaultMessageVisible());

    timeMachineFolders = {u"/media/Time Disk/Backups.backupdb"_s};
    writeMounts(root + disk);
    EXPECT_TRUE(waitFor([&] { return ann.mTimeMachineVolumes().size() == 1; }));
    EXPECT_FALSE(ann.isDefaultMessageVisible());

    timeMachineFolders.clear();
    writeMounts(root);
    EXPECT_TRUE(waitFor([&] { return ann.mTimeMachineVolumes().isEmpty(); }));
    EXPECT_TRUE(ann.isDefaultMessageVisible());
}

TEST_F(GeneralViewControllerTest, TheGeneralAndExclusionPanesNeverEraseEachOthersKeys)
{
    const QVariantMap exclusions {
        {u"Default Exclusion"_s, QVariantMap {{u"/tmp"_s, 0}}},
        {u"User specified Exclusion"_s, QVariantMap {{u"/home/ann/Movies"_s, 1}}}};
    const QVariantMap partial {{u"Partial File Exclusion"_s, QVariantMap {{u".cache"_s, 1}}}};
    std::array<int, 3> order {0, 1, 2};
    do {
        UserDefaults reset(MonitorSettings::defaultsDomain());
        reset.removeObjectForKey(u"ann"_s);
        ASSERT_TRUE(reset.synchronize());
        GeneralViewController &ann = pane();
        ann.loadPrefrences();
        const std::array<std::function<void()>, 3> writers {
            [&] { ann.EnableVersion(true); },
            [&] { UserPreferences(u"ann"_s).store(exclusions); },
            [&] { UserPreferences(u"ann"_s).store(partial); },
        };
        for (int writer : order)
            writers.at(writer)();
        ann.powerOffAfterScheduledJobToggle(true);
        const QVariantMap stored = storedFor(u"ann"_s);
        const std::string sequence
            = std::to_string(order[0]) + std::to_string(order[1]) + std::to_string(order[2]);
        for (const QVariantMap &expected : {exclusions, partial})
            for (auto it = expected.cbegin(); it != expected.cend(); ++it)
                EXPECT_EQ(stored.value(it.key()), it.value())
                    << sequence << ' ' << it.key().toStdString();
        EXPECT_EQ(stored.value(u"EnableVersion"_s), QVariant(true)) << sequence;
        EXPECT_EQ(stored.value(u"PowerOffAfterScheduledJob"_s), QVariant(true)) << sequence;
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(GeneralViewControllerTest, TimeMachineAndVersionsFollowTheBroadcastNotifications)
{
    DistributedNotificationCenter center;
    QList<QStringList> posted;
    ASSERT_TRUE(
        center.addObserver(u"CorvanePortableTimeMachineFileBackup"_s,
                           [&](const QString &, const QString &object, const QVariantMap &info) {
                               posted.append({object, info.value(object).toString()});
                           }));
    GeneralViewController &ann = pane(u"ann"_s, true, &center);
    timeMachineFolders = {u"/Backups.backupdb"_s};
    ann.loadTimeMachineBackupSet();
    ann.toggleCheckBoxSate(0);
    ann.toggleCheckBoxSate(0);
    EXPECT_TRUE(waitFor([&] { return posted.size() == 2; }));
    EXPECT_EQ(posted,
              (QList<QStringList> {{u"add"_s, u"/Backups.backupdb"_s},
                                   {u"Remove"_s, u"/Backups.backupdb"_s}}));

    timeMachineFolders.append(u"/media/B/Backups.backupdb"_s);
    center.post(u"CorvanePortableMonitorTimeMachineFileBackup"_s);
    EXPECT_TRUE(waitFor([&] { return ann.mTimeMachineVolumes().size() == 2; }));
    env.writeFile(u"/Library/Application Support/CorvanePortableforMac/ann/backupmode"_s, "1");
    center.post(u"ShouldEnableVerionsButton"_s);
    EXPECT_TRUE(waitFor([&] { return ann.versionEnabled(); }));
}

TEST(GeneralViewSecondBrand, KeepsTheBackupSetWhateverTheModeAndSetsItsOwnToolTips)
{
    TestEnvironment stelloa(u"stelloa"_s);
    GeneralViewController ann;
    ann.userInfo().setUserName(u"ann"_s);
    EXPECT_EQ(
        ann.timeMachineReferenceFile(),
        u"/Library/Application Support/StelloaLumen/ann/TimeMachinebackupReferenceFile.plist"_s);
    EXPECT_TRUE(ann.multipleMacToolTip().startsWith(u"Backup data from multiple computers"_s));
    EXPECT_TRUE(ann.proxyToolTip().startsWith(u"This option helps you to set Stelloa Lumen"_s));
    TestEnvironment corvane;
    EXPECT_TRUE(ann.proxyToolTip().isNull()) << "the first brand keeps the form's own";
}

} // namespace
