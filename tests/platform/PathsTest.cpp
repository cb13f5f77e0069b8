#include "platform/Paths.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct PathCase
{
    const char *input;
    const char *expected;
};

void PrintTo(const PathCase &c, std::ostream *os)
{
    *os << '"' << c.input << '"';
}

class StandardizeTest : public ::testing::TestWithParam<PathCase>
{
};

TEST_P(StandardizeTest, FollowsThePlatformRules)
{
    const Paths paths(u"/"_s, u"/home/ann"_s);
    EXPECT_EQ(paths.standardize(QString::fromUtf8(GetParam().input)),
              QString::fromUtf8(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Paths, StandardizeTest,
    ::testing::Values(PathCase{"~/Library/Logs/", "/home/ann/Library/Logs"},
                      PathCase{"~", "/home/ann"},
                      PathCase{"/a/./b//c/", "/a/b/c"},
                      PathCase{"/a/b/../c", "/a/c"},
                      PathCase{"/..", "/"},
                      PathCase{"/", "/"},
                      PathCase{"a/../b/./c/", "a/../b/c"}, // ".." is kept in relative paths
                      PathCase{"", ""},
                      PathCase{"~nosuchuser_lumen/x", "~nosuchuser_lumen/x"}));

TEST(PathsResolve, RelocatesProductPathsUnderTheRootAndKeepsTheHome)
{
    const Paths paths(u"/tmp/r"_s, u"/home/ann"_s);
    EXPECT_EQ(paths.resolve(u"/Library/Application Support/X/a.plist"_s),
              u"/tmp/r/Library/Application Support/X/a.plist"_s);
    EXPECT_EQ(paths.resolve(u"~/Library/Preferences/d.plist"_s),
              u"/home/ann/Library/Preferences/d.plist"_s);
    EXPECT_EQ(paths.resolve(u"/"_s), u"/tmp/r"_s);
    EXPECT_EQ(paths.resolve(u"relative/file"_s), u"relative/file"_s);
    // Resolving twice changes nothing: callers may hand over an already real path.
    const QString once = paths.resolve(u"/Library/x"_s);
    EXPECT_EQ(paths.resolve(once), once);
    EXPECT_EQ(paths.resolve(u"/home/ann/y"_s), u"/home/ann/y"_s);
    // "/tmp/rx" only shares a prefix with the root; it is not inside it.
    EXPECT_EQ(paths.resolve(u"/tmp/rx"_s), u"/tmp/r/tmp/rx"_s);
    EXPECT_EQ(Paths(u"/"_s, u"/home/ann"_s).resolve(u"/Library/x/"_s), u"/Library/x"_s);
}

TEST(PathComponents, SplitAndJoinLikeThePlatform)
{
    EXPECT_EQ(lastPathComponent(u"/a/b/"_s), u"b"_s);
    EXPECT_EQ(lastPathComponent(u"/"_s), u"/"_s);
    EXPECT_EQ(lastPathComponent(u"name"_s), u"name"_s);
    EXPECT_EQ(stringByDeletingLastPathComponent(u"/a/b"_s), u"/a"_s);
    EXPECT_EQ(stringByDeletingLastPathComponent(u"/a"_s), u"/"_s);
    EXPECT_EQ(stringByDeletingLastPathComponent(u"/"_s), u"/"_s);
    EXPECT_EQ(stringByDeletingLastPathComponent(u"name"_s), u""_s);
    EXPECT_EQ(stringByAppendingPathComponent(u"/a/"_s, u"b"_s), u"/a/b"_s);
    EXPECT_EQ(stringByAppendingPathComponent(u"/a"_s, u"b"_s), u"/a/b"_s);
}

} // namespace
