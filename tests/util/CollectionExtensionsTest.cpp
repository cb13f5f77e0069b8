#include "support/TestEnvironment.h"
#include "util/DataExtensions.h"
#include "util/DictionaryExtensions.h"
#include "util/ArrayExtensions.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(ArrayExtensions, PrefixSearchesWalkUpThePath)
{
    const QStringList backupSet{u"/Users/ann/Documents/Work"_s, u"/Users/ann/Music"_s};
    EXPECT_EQ(MyExtensions::objectWithPrefix(backupSet, u"/Users/ann/Music"_s), u"/Users/ann/Music"_s);
    // Nothing starts with the full path: its parents are tried, nearest first.
    EXPECT_EQ(MyExtensions::objectWithPrefix(backupSet, u"/Users/ann/Documents/Other/x"_s),
              u"/Users/ann/Documents/Work"_s);
    EXPECT_TRUE(MyExtensions::objectWithPrefix(backupSet, u"nopath"_s).isNull());
    EXPECT_TRUE(MyExtensions::objectWithPrefix({}, u"/Users"_s).isNull());
    EXPECT_TRUE(MyExtensions::objectWithPrefix({u"relative"_s}, u"/x/y"_s).isNull())
        << "the walk ends at the root instead of looping there";

    EXPECT_EQ(MyExtensions::objectsWithPrefix(backupSet, u"/Users/ann/"_s), backupSet);
    EXPECT_TRUE(MyExtensions::objectsWithPrefix({}, u"/"_s).isEmpty());
}

TEST(ArrayExtensions, InsertFilterAndIdentity)
{
    QStringList list{u"a"_s, u"d"_s};
    MyExtensions::insertObjectsFromArray(list, QStringList{u"b"_s, u"c"_s}, 1);
    EXPECT_EQ(list, (QStringList{u"a"_s, u"b"_s, u"c"_s, u"d"_s}));

    QStringList withEmpties{u""_s, u"a"_s, u""_s};
    EXPECT_EQ(MyExtensions::filterEmptyEntries(withEmpties), 2);
    EXPECT_EQ(withEmpties, QStringList{u"a"_s});

    const QList<QString> items{u"same"_s, u"same"_s};
    const QString equalButElsewhere = u"same"_s;
    EXPECT_TRUE(MyExtensions::containsObjectIdenticalTo(items, &items[1]));
    EXPECT_FALSE(MyExtensions::containsObjectIdenticalTo(items, &equalButElsewhere));
}

TEST(ArrayExtensions, LocalNonRemovablePathsSurviveTheMediaFilter)
{
    TestEnvironment env;
    QStringList paths{u"/"_s, env.root()};
    MyExtensions::filterRemovableMediaFilePaths(paths);
    EXPECT_EQ(paths.size(), 2);
}

TEST(DictionaryExtention, ChangedEntriesAreComparedByTruthValue)
{
    const QVariantMap saved{{u"a"_s, true}, {u"b"_s, u"1"_s}, {u"c"_s, u"old"_s}, {u"d"_s, 0}};
    const QVariantMap edited{{u"a"_s, false}, {u"b"_s, u"YES"_s}, {u"c"_s, u"new"_s},
                             {u"d"_s, 0}, {u"e"_s, u"added"_s}};
    const QVariantMap changed = Extention::modifiedEntriesInDictionary(saved, edited);
    EXPECT_EQ(changed.keys(), (QStringList{u"a"_s, u"e"_s}))
        << "\"old\" and \"new\" are both false, \"1\" and \"YES\" both true";
    EXPECT_EQ(changed.value(u"a"_s), QVariant(false));
}

TEST(DataAdditions, SingleScanSearchWithItsKnownBlindSpots)
{
    using Additions::Range;
    using Additions::rangeOfData_dd;
    constexpr qint64 notFound = Additions::kNotFound;
    EXPECT_EQ(rangeOfData_dd("hello\nworld", "\n"), (Range{5, 1}));
    EXPECT_EQ(rangeOfData_dd("abcab", "ab"), (Range{0, 2}));
    EXPECT_EQ(rangeOfData_dd("xyz", "ab"), (Range{notFound, 2}));
    // The mismatching byte is not re-tested as a new start: "ab" in "aab" is missed.
    EXPECT_EQ(rangeOfData_dd("aab", "ab"), (Range{notFound, 2}));
    // A partial match running into the end counts as a hit.
    EXPECT_EQ(rangeOfData_dd("xxa", "ab"), (Range{2, 2}));
    EXPECT_EQ(rangeOfData_dd("", "a"), (Range{notFound, 1}));
    EXPECT_EQ(rangeOfData_dd("abc", ""), (Range{notFound, 0}));
}

} // namespace
