#include "platform/AtomicFile.h"
#include "platform/FileContents.h"
#include "platform/PropertyList.h"
#include "platform/ShellCommand.h"
#include "platform/UserDefaults.h"
#include "platform/Workspace.h"
#include "support/TestEnvironment.h"

#include <QDateTime>
#include <QDir>
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

TEST(AtomicFile, AReaderHoldingTheOldFileKeepsReadingItWhole)
{
    TestEnvironment env;
    const QString path = u"/shared/Schedules"_s;
    const QByteArray old(100000, 'o');
    ASSERT_TRUE(AtomicFile::write(path, old));
    QFile reader(env.real(path));
    ASSERT_TRUE(reader.open(QIODevice::ReadOnly));
    ASSERT_EQ(reader.read(10), QByteArray(10, 'o'));
    ASSERT_TRUE(AtomicFile::write(path, "new"));
    EXPECT_EQ(reader.readAll(), old.mid(10)) << "the file a reader holds is never rewritten in place";
    EXPECT_EQ(env.readFile(path), QByteArray("new"));
}

TEST(AtomicFile, ALinkIsReplacedNotWrittenThrough)
{
    TestEnvironment env;
    env.writeFile(u"/elsewhere/target"_s, "not ours");
    ::chmod(QFile::encodeName(env.real(u"/elsewhere/target"_s)).constData(), 0600);
    env.writeFile(u"/shared/placeholder"_s, "");
    ASSERT_TRUE(QFile::link(env.real(u"/elsewhere/target"_s), env.real(u"/shared/Schedules"_s)));
    ASSERT_TRUE(AtomicFile::write(u"/shared/Schedules"_s, "ours", 0777));
    EXPECT_EQ(env.readFile(u"/elsewhere/target"_s), QByteArray("not ours"));
    EXPECT_EQ(modeOf(env.real(u"/elsewhere/target"_s)), mode_t(0600));
    EXPECT_FALSE(QFileInfo(env.real(u"/shared/Schedules"_s)).isSymLink());
    EXPECT_EQ(env.readFile(u"/shared/Schedules"_s), QByteArray("ours"));
    EXPECT_EQ(modeOf(env.real(u"/shared/Schedules"_s)), mode_t(0777));

    // Without a mode: a new file gets what the umask leaves of 0666, a rewrite keeps its mode.
    const mode_t umask = ::umask(027);
    ASSERT_TRUE(AtomicFile::write(u"/shared/new"_s, "new"));
    EXPECT_EQ(modeOf(env.real(u"/shared/new"_s)), mode_t(0640));
    ::chmod(QFile::encodeName(env.real(u"/shared/new"_s)).constData(), 0604);
    ASSERT_TRUE(AtomicFile::write(u"/shared/new"_s, "rewritten"));
    EXPECT_EQ(modeOf(env.real(u"/shared/new"_s)), mode_t(0604));
    ::umask(umask);
}

TEST(AtomicFile, TheNextWriteRemovesTemporariesThatKilledWritersLeftBehind)
{
    TestEnvironment env;
    const QString path = u"/shared/Schedules"_s;
    const auto leave = [&](const QString &name, int minutesAgo) {
        env.writeFile(u"/shared/"_s + name, "half");
        QFile file(env.real(u"/shared/"_s + name));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addSecs(-60 * minutesAgo),
                                     QFileDevice::FileModificationTime));
    };
    leave(u"Schedules.tmp-abc12"_s, 60);    // a writer killed an hour ago
    leave(u"Schedules.tmp-def34"_s, 1);     // a writer that may still be at work
    leave(u"Schedules.lock"_s, 60);         // not a temporary
    leave(u"Schedules.tmp-old.keep"_s, 60); // not one of ours either
    leave(u"Other.tmp-abc12"_s, 60);        // another file's
    ASSERT_TRUE(AtomicFile::write(path, "new"));
    EXPECT_EQ(QDir(env.real(u"/shared"_s)).entryList(QDir::Files, QDir::Name),
              (QStringList{u"Other.tmp-abc12"_s, u"Schedules"_s, u"Schedules.lock"_s, u"Schedules.tmp-def34"_s,
                           u"Schedules.tmp-old.keep"_s}));
}

TEST(FileContents, OnlyRegularFilesUpToTheCapAreRead)
{
    TestEnvironment env;
    env.writeFile(u"/f/small"_s, "12345");
    ASSERT_EQ(::mkfifo(QFile::encodeName(env.real(u"/f/fifo"_s)).constData(), 0600), 0);
    ASSERT_TRUE(QFile::link(u"/dev/zero"_s, env.real(u"/f/zero"_s)));
    using Status = FileContents::Status;
    const auto status = [](const QString &path, qint64 cap = FileContents::kDefaultCap) {
        return FileContents::read(path, cap).status();
    };
    EXPECT_EQ(FileContents::read(u"/f/small"_s).data(), QByteArray("12345"));
    EXPECT_EQ(status(u"/f/small"_s, 5), Status::Ok) << "the cap is inclusive";
    EXPECT_EQ(status(u"/f/small"_s, 4), Status::TooLarge);
    EXPECT_EQ(status(u"/f/missing"_s), Status::Missing);
    EXPECT_EQ(status(u"/f/small/below"_s), Status::Missing);
    EXPECT_EQ(status(u"/f"_s), Status::Unreadable) << "a folder";
    EXPECT_EQ(status(u"/f/fifo"_s), Status::NotRegularFile) << "returns at once, never waits for a writer";
    EXPECT_EQ(status(u"/f/zero"_s), Status::NotRegularFile) << "a device behind a link";
    EXPECT_TRUE(FileContents::read(u"/f/zero"_s).errorString().contains(env.real(u"/f/zero"_s)));

    env.writeFile(u"/f/latin1"_s, "caf\xe9");
    QString error;
    EXPECT_TRUE(FileContents::readUtf8(u"/f/latin1"_s, &error).isNull());
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(FileContents::readUtf8(u"/f/small"_s), u"12345"_s);
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
    defaults.setObject(u"  -0042abc"_s, u"stringNumber"_s);
    defaults.setObject(QVariantMap{{u"DesktopNotificationKey "_s, 1}}, u"ann"_s);
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_TRUE(env.readFile(u"~/Library/Preferences/com.halvern.Test.plist"_s).startsWith("bplist00"));

    const UserDefaults reread(u"com.halvern.Test"_s);
    EXPECT_EQ(reread.integerForKey(u"NSInitialToolTipDelay"_s), 50);
    EXPECT_TRUE(reread.boolForKey(u"AppleShowAllFiles"_s));
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
