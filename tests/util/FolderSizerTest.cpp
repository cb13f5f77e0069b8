#include "support/TestEnvironment.h"
#include "util/FolderSizer.h"

#include <QDir>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

// A tree with every kind of entry the sizer must count right.
const char *kMakeTree = R"PY(
import os, sys
root = os.fsencode(sys.argv[1])
def p(*parts): return os.path.join(root, *parts)
os.makedirs(p(b'a', b'b', b'c'))
os.makedirs(p(b'empty'))
os.makedirs(p(b'locked', b'inner'))
for i in range(300):
    d = p(b'many', b'd%03d' % (i % 30))
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, b'f%03d' % i), 'wb') as f: f.write(b'x' * (i * 7))
with open(p(b'a', b'one.txt'), 'wb') as f: f.write(b'1' * 1000)
with open(p(b'a', b'b', b'c', b'deep.bin'), 'wb') as f: f.write(os.urandom(4096))
with open(p(b'sparse.img'), 'wb') as f: f.truncate(50 * 1024 * 1024)
os.link(p(b'a', b'one.txt'), p(b'a', b'b', b'hardlink.txt'))
os.symlink(b'a/one.txt', p(b'link-to-file'))
os.symlink(b'a', p(b'link-to-dir'))
os.symlink(b'nowhere/at/all', p(b'dangling'))
with open(p(b'new\nline name'), 'wb') as f: f.write(b'n' * 11)
with open(p(b'bad-\xff\xfe-utf8'), 'wb') as f: f.write(b'b' * 13)
with open(p(b'locked', b'inner', b'secret'), 'wb') as f: f.write(b's' * 17)
os.chmod(p(b'locked', b'inner'), 0)
)PY";

quint64 findTotal(const QString &tree)
{
    const ProcessResult sum = runProgram(u"/bin/sh"_s, {u"-c"_s,
        u"find \"$1\" ! -type d -printf '%s\\n' 2>/dev/null | awk '{s+=$1} END {printf \"%d\", s}'"_s,
        u"sh"_s, tree});
    return sum.output.toULongLong();
}

quint64 findEntries(const QString &tree)
{
    const ProcessResult count = runProgram(u"/bin/sh"_s, {u"-c"_s,
        u"find \"$1\" -mindepth 1 -printf '.' 2>/dev/null | wc -c"_s, u"sh"_s, tree});
    return count.output.trimmed().toULongLong();
}

class FolderSizerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const ProcessResult made = runPython(QString::fromUtf8(kMakeTree), {tree.path()});
        ASSERT_EQ(made.exitCode, 0) << made.errorOutput.toStdString();
    }
    void TearDown() override
    {
        QFile::setPermissions(tree.filePath(u"locked/inner"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QTemporaryDir tree;
};

TEST_F(FolderSizerTest, TotalsEqualTheSumOfEveryNonFolderEntryAtAnyThreadCount)
{
    const quint64 expected = findTotal(tree.path());
    ASSERT_GT(expected, quint64(50 * 1024 * 1024)) << "the sparse file counts by its logical size";
    for (const int threads : {1, 2, 8, 32}) {
        const FolderSizer::Totals totals = FolderSizer(threads).measure(tree.path());
        EXPECT_EQ(totals.bytes, expected) << threads << " threads";
        EXPECT_EQ(totals.entries, findEntries(tree.path())) << threads << " threads";
    }
}

TEST_F(FolderSizerTest, FilesLinksAndMissingPathsMeasureThemselves)
{
    EXPECT_EQ(FolderSizer().measure(tree.filePath(u"a/one.txt"_s)).bytes, 1000u);
    EXPECT_EQ(FolderSizer().measure(tree.filePath(u"link-to-dir"_s)).bytes, 1u) << "the link, not its target";
    EXPECT_EQ(FolderSizer().measure(tree.filePath(u"empty"_s)).bytes, 0u);
    EXPECT_EQ(FolderSizer().measure(tree.filePath(u"no such thing"_s)).bytes, 0u);
}

TEST_F(FolderSizerTest, ProgressIsReportedOnTheCallingThread)
{
    std::atomic<int> calls{0};
    QThread *caller = QThread::currentThread();
    bool sameThread = true;
    const FolderSizer::Totals totals = FolderSizer(1).measure(tree.path(), [&](const FolderSizer::Totals &) {
        ++calls;
        sameThread = sameThread && QThread::currentThread() == caller;
    }, 1);
    EXPECT_TRUE(sameThread);
    EXPECT_EQ(totals.bytes, findTotal(tree.path()));
    EXPECT_GE(calls, 1) << "the last report is the result";
}

TEST_F(FolderSizerTest, AFolderThatVanishesDuringTheScanCostsOnlyItsOwnShare)
{
    const quint64 full = FolderSizer().measure(tree.path()).bytes;
    std::thread remover([&] { QDir(tree.filePath(u"many"_s)).removeRecursively(); });
    const FolderSizer::Totals totals = FolderSizer(2).measure(tree.path());
    remover.join();
    EXPECT_LE(totals.bytes, full);
    EXPECT_GE(totals.bytes, full - 300 * 299 * 7 / 2 - 300 * 7) << "everything outside the removed folder counts";
}

TEST(FolderSizerThreads, DefaultCountIsBounded)
{
    const int threads = FolderSizer::defaultThreadCount(u"/"_s);
    EXPECT_GE(threads, 1);
    EXPECT_LE(threads, 32);
}

} // namespace
