#include "platform/PropertyList.h"
#include "platform/SystemInfo.h"
#include "support/TestEnvironment.h"
#include "util/SLUtility.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QVariantMap exclusionsFor(const QString &user, const QVariantMap &defaults, const QVariantMap &own)
{
    return {{user, QVariantMap{{u"Default Exclusion"_s, defaults}, {u"User specified Exclusion"_s, own}}}};
}

// The answer of `check` as an ordinary user would get it: run in a child process that gives up
// root, since root may read everything.
bool asOrdinaryUser(const std::function<bool()> &check)
{
    if (::geteuid() != 0)
        return check();
    const pid_t child = ::fork();
    if (child == 0) {
        const bool dropped = ::setgid(65534) == 0 && ::setuid(65534) == 0;
        ::_exit(!dropped ? 2 : check() ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 2) << "could not become an ordinary user";
    return WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

TEST(ExclusionRules, PrefixesTruthValuesAndHiddenFiles)
{
    const QVariantMap ann{{u"User specified Exclusion"_s,
                           QVariantMap{{u"/Users/a/Doc"_s, true}, {u"/a/b"_s, false}}}};
    EXPECT_TRUE(SLUtility::shouldExcludeUserFile(u"/Users/a/Documents/x"_s, ann)) << "a plain prefix test";
    EXPECT_FALSE(SLUtility::shouldExcludeUserFile(u"/a/b/c"_s, ann)) << "an exclusion set false";
    EXPECT_FALSE(SLUtility::shouldExcludeUserFile(u"/x"_s, QVariantMap()));

    EXPECT_TRUE(SLUtility::shouldExcludeHiddenFile(u"/Users/a/.cache/x"_s, {{u"enableExcludeHiddenFilesKey"_s, true}}));
    EXPECT_FALSE(SLUtility::shouldExcludeHiddenFile(u"/Users/a/.cache/x"_s, {{u"enableExcludeHiddenFilesKey"_s, false}}));
    EXPECT_FALSE(SLUtility::shouldExcludeHiddenFile(u"/Users/a/cache"_s, {{u"enableExcludeHiddenFilesKey"_s, true}}));

    QStringList paths{u"/x/a=b"_s, u"/x/../y"_s, u"/x/a.b"_s, u"/x/;rm"_s, u"/x/./z"_s, u"/ok"_s};
    SLUtility::filterUndeletableFiles(paths);
    EXPECT_EQ(paths, (QStringList{u"/x/a.b"_s, u"/ok"_s}));
}

TEST(SizeRules, ExclusionAwareSizeSkipsTheFirstItemAndExcludedOnes)
{
    TestEnvironment env;
    env.writeFile(u"/set/only.txt"_s, QByteArray(100, 'x'));
    // One item: the enumeration's first item is passed over uncounted.
    EXPECT_EQ(SLUtility::calculateSizeOfFile(u"/set"_s, u"ann"_s, {}), 0u);

    env.writeFile(u"/tree/a.bin"_s, QByteArray(1000, 'a'));
    env.writeFile(u"/tree/b.bin"_s, QByteArray(2000, 'b'));
    env.writeFile(u"/tree/.c.bin"_s, QByteArray(4000, 'c'));
    // Which file the folder lists first is the file system's business; it is the one left out.
    QDirIterator listing(env.real(u"/tree"_s), QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    const QString first = QFileInfo(listing.next()).fileName();
    const auto expected = [&](const QStringList &left) {
        quint64 sum = 0;
        for (const auto &[name, size] : {std::pair{u"a.bin"_s, 1000u}, {u"b.bin"_s, 2000u}, {u".c.bin"_s, 4000u}}) {
            if (name != first && !left.contains(name))
                sum += size;
        }
        return sum;
    };
    const QVariantMap excluded = exclusionsFor(u"ann"_s, {}, {{u"/tree/b"_s, true}});
    EXPECT_EQ(SLUtility::calculateSizeOfFile(u"/tree"_s, u"ann"_s, {}), expected({}));
    EXPECT_EQ(SLUtility::calculateSizeOfFile(u"/tree"_s, u"ann"_s, excluded), expected({u"b.bin"_s}))
        << "a plain prefix: /tree/b excludes b.bin";
    QVariantMap hiddenToo = excluded;
    hiddenToo.insert(u"enableExcludeHiddenFilesKey"_s, true); // read from the whole dictionary
    EXPECT_EQ(SLUtility::calculateSizeOfFile(u"/tree"_s, u"ann"_s, hiddenToo), expected({u"b.bin"_s, u".c.bin"_s}));
    QVariantMap hiddenInUsersOnly = exclusionsFor(u"ann"_s, {}, {});
    hiddenInUsersOnly[u"ann"_s] = QVariantMap{{u"enableExcludeHiddenFilesKey"_s, true}};
    EXPECT_EQ(SLUtility::calculateSizeOfFile(u"/tree"_s, u"ann"_s, hiddenInUsersOnly), expected({}))
        << "the user's own hidden-file switch is not the one read";
    EXPECT_EQ(SLUtility::calculateSizeOfFile(u"/tree/a.bin"_s, u"ann"_s, excluded), 1000u);
}

TEST(SizeRules, ExclusionTotalsAndBackupSetTotals)
{
    TestEnvironment env;
    env.writeFile(u"/d1/x"_s, QByteArray(300, 'x'));
    env.writeFile(u"/f2"_s, QByteArray(50, 'y'));
    const QVariantMap excluded = exclusionsFor(u"ann"_s, {{u"/d1"_s, true}, {u"/f2"_s, false}}, {{u"/f2"_s, true}});
    EXPECT_EQ(SLUtility::totalSizeOfDefaultExclusionForUser(u"ann"_s, excluded), 300u);
    EXPECT_EQ(SLUtility::totalSizeOfUserExclusionForUser(u"ann"_s, excluded), 50u);
    EXPECT_EQ(SLUtility::totalSizeOfDefaultExclusionForUser(QString(), excluded), 0u) << "a nil user";

    EXPECT_EQ(SLUtility::calculateTotalSizeInArray({u"/d1"_s, u"/f2"_s, u"/missing"_s}), 350u);
    EXPECT_EQ(SLUtility::getFolderSize(u"/d1"_s), std::optional<quint64>(300));
    EXPECT_FALSE(SLUtility::getFolderSize(u"/missing"_s).has_value());
    EXPECT_GT(*SLUtility::getFolderSize(u"/"_s), 0u) << "the start-up volume's used space";
    // Other tests write to the same volume: a size is compared with the used space only when two
    // readings around it agree.
    const auto againstUsedSpace = [](const std::function<quint64()> &measure) {
        for (int attempt = 0; attempt < 50; ++attempt) {
            const quint64 before = SLUtility::usedSpaceOfVolume(u"/"_s);
            const quint64 size = measure();
            if (SLUtility::usedSpaceOfVolume(u"/"_s) == before)
                return std::pair{size, before};
        }
        return std::pair<quint64, quint64>{0, 1}; // the volume never stood still
    };
    const auto whole = againstUsedSpace([] { return SLUtility::calculateSizeOfFile(u"/"_s, u"ann"_s, {}); });
    EXPECT_EQ(whole.first, whole.second);
    // The start-up volume less what is excluded; a lone file is no folder.
    const auto less = againstUsedSpace([&] { return SLUtility::calculateSizeOfFile(u"/"_s, u"ann"_s, excluded) + 350u; });
    EXPECT_EQ(less.first, less.second);
    EXPECT_EQ(SLUtility::getFolderSize(u"/f2"_s), std::optional<quint64>(0)) << "a file has no contents";
}

TEST(SizeRules, BackupSetProgressEndsAtTheTotal)
{
    TestEnvironment env;
    env.writeFile(u"/s1/x"_s, QByteArray(300, 'x'));
    env.writeFile(u"/s2/y/z"_s, QByteArray(70, 'z'));
    QList<quint64> reports;
    const quint64 total = SLUtility::calculateTotalSizeInArray(
        {u"/s1"_s, u"/s2"_s}, [&](quint64 bytes, quint64) { reports.append(bytes); });
    EXPECT_EQ(total, 370u);
    ASSERT_FALSE(reports.isEmpty());
    EXPECT_EQ(reports.last(), 370u) << "the second folder's reports add to the first one's total";
    EXPECT_TRUE(std::is_sorted(reports.cbegin(), reports.cend()));
}

TEST(SizeRules, TheGentleSizeRunsOffTheMainThread)
{
    TestEnvironment env;
    env.writeFile(u"/g/a"_s, QByteArray(10, 'a'));
    env.writeFile(u"/g/b"_s, QByteArray(20, 'b'));
    QObject context;
    std::optional<quint64> result;
    SLUtility::calculateSizeOfFileInBackground(u"/g"_s, &context, [&](quint64 size) { result = size; });
    waitUntil([&] { return result.has_value(); });
    EXPECT_EQ(result, std::optional<quint64>(30));
}

TEST(PathFacts, FoldersPackagesPermissionsAndVolumes)
{
    TestEnvironment env;
    env.writeFile(u"/v/Tool.app/Contents/x"_s, "x");
    env.writeFile(u"/v/file.txt"_s, "x");
    QDir().mkpath(env.real(u"/v/empty"_s));
    EXPECT_TRUE(SLUtility::isMacDirectory(u"/v/Tool.app"_s));
    EXPECT_TRUE(SLUtility::isMacDirectory(u"/v/file.txt"_s));
    EXPECT_FALSE(SLUtility::isMacDirectory(u"/v/empty"_s));
    EXPECT_FALSE(SLUtility::isMacDirectory(u"/v/missing"_s));
    QFile::link(env.real(u"/v/missing"_s), env.real(u"/v/dangling"_s));
    EXPECT_FALSE(SLUtility::isMacDirectory(u"/v/dangling"_s)) << "a dangling link does not exist";
    EXPECT_TRUE(SLUtility::isEmptyFolder(u"/v/empty"_s));
    EXPECT_TRUE(SLUtility::isEmptyFolder(u"/v/missing"_s));
    env.writeFile(u"/v/empty/.hidden"_s, "");
    EXPECT_FALSE(SLUtility::isEmptyFolder(u"/v/empty"_s)) << "hidden entries count";
    EXPECT_TRUE(SLUtility::isSupportedImageFile(u"/p/photo.JPG"_s, {u"jpg"_s, u"png"_s}));
    EXPECT_FALSE(SLUtility::isSupportedImageFile(u"/p/photo.tiff"_s, {u"jpg"_s}));
    EXPECT_TRUE(SLUtility::hasReadPermissionForFile(u"/v/file.txt"_s));
    EXPECT_TRUE(SLUtility::hasReadPermissionForFile(u"/no/such/parents/file"_s))
        << "prefixes that do not exist are passed over";
    // Unreadable items, checked as an ordinary user (root reads everything).
    env.writeFile(u"/locked/inner.txt"_s, "x");
    ::chmod(QFile::encodeName(env.root()).constData(), 0755);
    ::chmod(QFile::encodeName(env.real(u"/locked"_s)).constData(), 0);
    EXPECT_FALSE(asOrdinaryUser([] { return SLUtility::hasReadPermissionForFile(u"/locked/inner.txt"_s); }));
    EXPECT_FALSE(asOrdinaryUser([] { return SLUtility::hasReadPermissionForFile(u"/locked"_s); }))
        << "a top-level item has two components, \"/\" and its name";
    EXPECT_TRUE(asOrdinaryUser([] { return SLUtility::hasReadPermissionForFile(u"locked"_s); }))
        << "one component: not checked";
    ::chmod(QFile::encodeName(env.real(u"/locked"_s)).constData(), 0755);
    EXPECT_TRUE(SLUtility::isWritableFileAtPath(u"/v/file.txt"_s));

    const QStringList volumes = SLUtility::listMountedVolumesPaths();
    ASSERT_FALSE(volumes.isEmpty());
    EXPECT_EQ(volumes.first(), u"/"_s) << "the start-up volume is listed as /";
    for (const QString &volume : volumes)
        EXPECT_FALSE(volume.startsWith(u"/proc"_s) || volume.startsWith(u"/sys"_s)) << volume.toStdString();
    EXPECT_FALSE(SLUtility::isTimeMachineFolderPresentLocallyAndInBackupSet({u"/nothing"_s}));
}

TEST(SystemFacts, IdentityVersionAndUsers)
{
    EXPECT_EQ(SLUtility::machineID().size(), 32) << "the machine-id is 32 hex digits";
    const QString name = SLUtility::machineName();
    EXPECT_FALSE(name.isEmpty());
    for (const QChar c : name)
        EXPECT_TRUE(c.isLetterOrNumber());

    const SystemInfo::OSVersion debian = SystemInfo::parseOsRelease(
        "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n");
    EXPECT_EQ(debian.productName, u"Debian GNU/Linux"_s);
    EXPECT_EQ(debian.major, 12);
    EXPECT_EQ(debian.minor, 0);
    const SystemInfo::OSVersion ubuntu = SystemInfo::parseOsRelease("NAME=Ubuntu\nVERSION_ID='24.04.1'\n");
    EXPECT_EQ(ubuntu.major, 24);
    EXPECT_EQ(ubuntu.minor, 4);
    EXPECT_EQ(ubuntu.bugfix, 1);
    EXPECT_FALSE(SLUtility::MacOSVersion().isEmpty());

    TestEnvironment env;
    PropertyList::writeDictionary(u"/System/Library/CoreServices/SystemVersion.plist"_s,
                                  {{u"ProductName"_s, u"Mac OS X"_s}, {u"ProductUserVisibleVersion"_s, u"10.6.8"_s}});
    EXPECT_EQ(SLUtility::MacOSVersion(), u"10.6"_s);
    EXPECT_EQ(SLUtility::MacOSVersionWithBugfix(), u"10.6.8"_s);

    EXPECT_EQ(SLUtility::userPreferencePath(), env.home() + u"/Library/Preferences/"_s);
}

TEST(SystemFacts, ARunningApplicationIsLookedUpAmongTheUsersProcesses)
{
    TestEnvironment env;
    const QString me = QString::fromLocal8Bit(::getpwuid(::geteuid())->pw_name);
    const QString self = QCoreApplication::applicationFilePath().section(u'/', -1);
    EXPECT_TRUE(SLUtility::isApplicationRunningForUser(self, me));
    EXPECT_FALSE(SLUtility::isApplicationRunningForUser(u"NoSuchApplication-4711"_s, me));
    EXPECT_FALSE(SLUtility::isApplicationRunningForUser(self, u"no-such-user-4711"_s));
    // A program merely given the name as an argument is not that application.
    QProcess sleeper;
    sleeper.start(QStringLiteral(LUMEN_PYTHON), {u"-c"_s, u"import time; time.sleep(30)"_s, u"NoSuchApplication-4711"_s});
    ASSERT_TRUE(sleeper.waitForStarted());
    ASSERT_TRUE(waitUntil([&] { return QFile(u"/proc/%1/cmdline"_s.arg(sleeper.processId())).open(QIODevice::ReadOnly)
                                      && SLUtility::isApplicationRunningForUser(u"python"_s, me); }));
    EXPECT_FALSE(SLUtility::isApplicationRunningForUser(u"NoSuchApplication-4711"_s, me));
    sleeper.kill();
    sleeper.waitForFinished();
}

class FakeWindows : public WindowOrder
{
public:
    QList<const void *> windowsFrontToBack() const override { return order; }
    QList<const void *> order;
};

TEST(SystemFacts, FrontWindowProcessesAndFiles)
{
    int a = 0, b = 0;
    FakeWindows windows;
    EXPECT_FALSE(SLUtility::isFrontWindow(windows, &a));
    windows.order = {&a, &b};
    EXPECT_TRUE(SLUtility::isFrontWindow(windows, &a));
    EXPECT_FALSE(SLUtility::isFrontWindow(windows, &b));

    EXPECT_EQ(SLUtility::killProcess(0), 0);
    EXPECT_EQ(SLUtility::killProcess(-5), 0);
    QProcess sleeper;
    sleeper.start(u"sleep"_s, {u"30"_s});
    ASSERT_TRUE(sleeper.waitForStarted());
    EXPECT_EQ(SLUtility::killProcess(sleeper.processId()), 0);
    EXPECT_TRUE(sleeper.waitForFinished(5000));
    EXPECT_EQ(sleeper.exitStatus(), QProcess::CrashExit);

    TestEnvironment env;
    env.writeFile(u"/short.bin"_s, "abc");
    EXPECT_EQ(SLUtility::dataWithContentsOfFile(u"/short.bin"_s, 6), std::optional(QByteArray("abc\0\0\0", 6)));
    EXPECT_EQ(SLUtility::dataWithContentsOfFile(u"/short.bin"_s, 2), std::optional(QByteArray("ab")));
    EXPECT_FALSE(SLUtility::dataWithContentsOfFile(u"/missing.bin"_s, 4).has_value());

    env.writeFile(u"/trash/dir/file"_s, "x");
    env.writeFile(u"/trash/plain"_s, "x");
    SLUtility::removeFile(u"/trash/dir"_s);
    EXPECT_FALSE(env.exists(u"/trash/dir"_s)) << "rm -rf takes folders too";
    SLUtility::removeFolder(u"/trash/plain"_s);
    EXPECT_FALSE(env.exists(u"/trash/plain"_s));
    SLUtility::removeFolder(u".."_s);
    EXPECT_TRUE(QDir(env.root()).exists());
}

} // namespace
