#include "platform/AtomicFile.h"
#include "platform/PropertyList.h"
#include "platform/ShellCommand.h"
#include "platform/UserDefaults.h"
#include "platform/Workspace.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

mode_t modeOf(const QString &path)
{
    struct stat info {};
    ::stat(QFile::encodeName(path).constData(), &info);
    return info.st_mode & 07777;
}

TEST(AtomicFile, ReplacesWholeFilesAndAppliesTheModeDespiteTheUmask)
{
    TestEnvironment env;
    const QString path = u"/Library/Application Support/P/Schedules"_s;
    const mode_t old = ::umask(022);
    ASSERT_TRUE(AtomicFile::write(path, "first version, longer", 0777));
    ASSERT_TRUE(AtomicFile::write(path, "second", 0777));
    ::umask(old);
    EXPECT_EQ(env.readFile(path), QByteArray("second"));
    EXPECT_EQ(modeOf(env.real(path)), mode_t(0777));
}

TEST(AtomicFile, AFailedWriteLeavesNothingHalfWritten)
{
    TestEnvironment env;
    env.writeFile(u"/blocker"_s, "a file where a folder should be");
    WarningCapture warnings;
    EXPECT_FALSE(AtomicFile::write(u"/blocker/child.txt"_s, "x"));
    EXPECT_EQ(env.readFile(u"/blocker"_s), QByteArray("a file where a folder should be"));
    EXPECT_FALSE(warnings.lines().isEmpty());
}

TEST(UserDefaults, StoresABinaryDomainFileAndReadsTypedValuesAsThePlatformDoes)
{
    TestEnvironment env;
    UserDefaults defaults(u"com.halvern.Test"_s);
    defaults.setObject(50, u"NSInitialToolTipDelay"_s);
    defaults.setObject(true, u"AppleShowAllFiles"_s);
    defaults.setObject(u"YES"_s, u"stringYes"_s);
    defaults.setObject(u"  -0042abc"_s, u"stringNumber"_s);
    defaults.setObject(QVariantMap{{u"DesktopNotificationKey "_s, 1}}, u"ann"_s);
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_TRUE(env.readFile(u"~/Library/Preferences/com.halvern.Test.plist"_s).startsWith("bplist00"));

    const UserDefaults reread(u"com.halvern.Test"_s);
    EXPECT_EQ(reread.integerForKey(u"NSInitialToolTipDelay"_s), 50);
    EXPECT_TRUE(reread.boolForKey(u"AppleShowAllFiles"_s));
    EXPECT_TRUE(reread.boolForKey(u"stringYes"_s));
    EXPECT_EQ(reread.integerForKey(u"stringNumber"_s), -42);
    EXPECT_FALSE(reread.boolForKey(u"missing"_s));
    EXPECT_EQ(reread.dictionaryForKey(u"ann"_s).value(u"DesktopNotificationKey "_s).toInt(), 1);
    EXPECT_TRUE(reread.stringForKey(u"NSInitialToolTipDelay"_s).isNull()) << "not a string";
}

TEST(UserDefaults, SynchronizeKeepsOtherWritersKeysAndHonoursRemovals)
{
    TestEnvironment env;
    UserDefaults mine(u"com.halvern.Shared"_s);
    mine.setObject(u"a"_s, u"mine"_s);
    mine.setObject(u"gone soon"_s, u"old"_s);
    ASSERT_TRUE(mine.synchronize());

    UserDefaults theirs(u"com.halvern.Shared"_s);
    theirs.setObject(u"b"_s, u"theirs"_s);
    ASSERT_TRUE(theirs.synchronize());

    mine.removeObjectForKey(u"old"_s);
    mine.setObject(u"a2"_s, u"mine"_s);
    ASSERT_TRUE(mine.synchronize());
    const QVariantMap onDisk = PropertyList::readDictionary(u"~/Library/Preferences/com.halvern.Shared.plist"_s);
    EXPECT_EQ(onDisk.value(u"mine"_s).toString(), u"a2"_s);
    EXPECT_EQ(onDisk.value(u"theirs"_s).toString(), u"b"_s);
    EXPECT_FALSE(onDisk.contains(u"old"_s));
}

TEST(ShellCommand, ReturnsStandardOutputAsUtf8AndTheExitCode)
{
    const ShellCommand::Result ok = ShellCommand::run(u"printf 'h\\303\\251 %s' \"$((6*7))\"; echo oops >&2"_s);
    EXPECT_EQ(ok.output, u"hé 42"_s);
    EXPECT_EQ(ok.exitCode, 0);
    EXPECT_EQ(ShellCommand::run(u"exit 3"_s).exitCode, 3);
}

TEST(Workspace, ParsesMountInfoWithEscapedMountPoints)
{
    const QByteArray text =
        "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
        "30 22 8:17 / /media/ann/USB\\040STICK rw shared:5 - vfat /dev/sdb1 rw\n"
        "31 22 0:50 / /mnt/share rw - nfs4 server:/export rw\n"
        "garbage line\n";
    const QList<Workspace::Mount> mounts = Workspace::parseMountInfo(text);
    ASSERT_EQ(mounts.size(), 3);
    EXPECT_EQ(mounts.at(0).mountPoint, u"/"_s);
    EXPECT_EQ(mounts.at(1).mountPoint, u"/media/ann/USB STICK"_s);
    EXPECT_EQ(mounts.at(1).fileSystem, u"vfat"_s);
    EXPECT_EQ(mounts.at(1).device, u"8:17"_s);
    EXPECT_EQ(mounts.at(2).fileSystem, u"nfs4"_s);
}

TEST(Workspace, RunningProgramsByName)
{
    EXPECT_TRUE(Workspace::isApplicationRunning(u"platform_tests"_s)) << "this very test";
    EXPECT_FALSE(Workspace::isApplicationRunning(u"no-such-program-here"_s));
}

TEST(Workspace, TheRunningSystemHasARootMountAndALocalTemporaryFolder)
{
    const QList<Workspace::Mount> mounts = Workspace::mounts();
    EXPECT_TRUE(std::any_of(mounts.cbegin(), mounts.cend(),
                            [](const Workspace::Mount &m) { return m.mountPoint == "/"_L1; }));
    TestEnvironment env;
    EXPECT_TRUE(Workspace::isLocalVolume(u"/"_s));
}

} // namespace
