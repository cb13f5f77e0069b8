#include "support/TestEnvironment.h"
#include "util/StringExtensions.h"

#include <QLocale>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace stelloaExtension;

namespace {

TEST(PathTests, ChildrenHiddenFoldersAndAncestors)
{
    EXPECT_TRUE(isChildOfHiddenFolder(u"/Users/a/.Trash/x"_s));
    EXPECT_TRUE(isChildOfHiddenFolder(u"/Users/a/.profile"_s));
    EXPECT_FALSE(isChildOfHiddenFolder(u"/Users/a.b/x"_s));

    EXPECT_FALSE(isChildOfFolder(u"/a/b"_s, u"/a/bc"_s));
    EXPECT_TRUE(isChildOfFolder(u"/a/b"_s, u"/a/b/c"_s));
    EXPECT_FALSE(isChildOfFolder(u"/a/b"_s, u"/a/b"_s));
    EXPECT_FALSE(isChildOfFolder(u"/a/b"_s, u"/a"_s));

    EXPECT_TRUE(isSuperStringOf(u"/a/b/c"_s, u"/a"_s));
    EXPECT_TRUE(isSuperStringOf(u"/a/b/c/"_s, u"/a/b/c"_s));
    EXPECT_TRUE(isSuperStringOf(u"/a/./b/../b/c"_s, u"/a/b"_s));
    EXPECT_FALSE(isSuperStringOf(u"/a/bc"_s, u"/a/b"_s));
    EXPECT_FALSE(isSuperStringOf(u"/a"_s, u"/a/b"_s));

    EXPECT_FALSE(fileVisible(u"/x/.."_s));
    EXPECT_FALSE(fileVisible(u"/x/."_s));
    EXPECT_TRUE(fileVisible(u"/x/.hidden"_s));

    EXPECT_TRUE(isOSFile(u"/Volumes/Disk/private"_s));
    EXPECT_TRUE(isOSFile(u"/Volumes/Disk/Desktop DB"_s));
    EXPECT_FALSE(isOSFile(u"/Volumes/Disk"_s));
    EXPECT_FALSE(isOSFile(u"/Volumes/Disk/Users"_s));
    EXPECT_TRUE(isOSFile(u"/mach_kernel"_s));
    EXPECT_FALSE(isOSFile(u"/usr/bin"_s));
}

TEST(PathTests, MissingFoldersOnTheWayUpToARoot)
{
    TestEnvironment env;
    env.writeFile(u"/data/present/file.txt"_s, "x");
    QString missing;
    EXPECT_TRUE(isAnyNonExistentDirectoryInPath(u"/data/present/gone/deeper"_s, u"/data"_s, &missing));
    EXPECT_EQ(missing, u"/data/present/gone"_s) << "the highest missing path";
    EXPECT_FALSE(isAnyNonExistentDirectoryInPath(u"/data/present/file.txt"_s, u"/data"_s));
    EXPECT_TRUE(isDir(u"/data/present"_s));
    EXPECT_FALSE(isDir(u"/data/present/file.txt"_s));
}

TEST(StringSurgery, ScramblingRoundTripsEverySixteenBitUnit)
{
    const QString password = u"Pa$$wörd ✓"_s;
    const QString scrambled = encryptedString(password);
    EXPECT_EQ(scrambled.size(), password.size());
    EXPECT_EQ(scrambled.at(0).unicode(), char16_t('P' << 1));
    EXPECT_EQ(decryptedString(scrambled), password);
    // The top bit is lost on the way in, as the stored format has always done.
    EXPECT_EQ(decryptedString(encryptedString(QString(QChar(0x8041)))), QString(QChar(0x0041)));
}

TEST(StringSurgery, ShellEscapesAndWildcards)
{
    EXPECT_EQ(posixPathForString(u"/a b/it's (1)[x]?*~!#&;<>`"_s),
              u"/a b/it\\'s \\(1\\)\\[x\\]\\?\\*\\~\\!\\#\\&\\;\\<\\>\\`"_s);

    const struct
    {
        QString text;
        QString pattern;
        bool matches;
    } cases[] = {
        {u"/Users/ann/Music/song.MP3"_s, u"*.mp3"_s, true},
        {u"/Users/ann/Music/song.mp3.txt"_s, u"*.mp3"_s, false},
        {u"/Users/ann/Documents/cache/x"_s, u"cache"_s, true},
        {u"/Users/ann/Documents/x"_s, u"cache"_s, false},
        {u"/Users/ann/x"_s, u"/Users/ann"_s, true},
        {u"/other/Users/ann/x"_s, u"/Users/ann"_s, true},
        {u"a"_s, u"?"_s, true},
        {u"ab"_s, u"?"_s, false},
        {u"xab"_s, u"a?"_s, true},
        {u"C:\\dir\\f"_s, u"\\dir\\"_s, true},
        {u"anything"_s, QString(), false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(isStringMatchesExpression(c.text, c.pattern), c.matches)
            << c.text.toStdString() << " ~ " << c.pattern.toStdString();
}

TEST(StringSurgery, SubstringsReversalsAndTrims)
{
    EXPECT_EQ(subStringFromString(u"name[size]rest]"_s, u"["_s, u"]"_s), u"size"_s);
    EXPECT_EQ(subStringFromString(u"a[b]c[d]e"_s, u"["_s, u"]"_s, true), u"d"_s);
    EXPECT_EQ(subStringFromString(u"no markers"_s, u"["_s, u"]"_s), u""_s);
    EXPECT_EQ(subStringFromString(u"]before["_s, u"["_s, u"]"_s), u""_s);
    EXPECT_EQ(reverseString(u"abc"_s), u"cba"_s);
    EXPECT_EQ(removeTrailingCharacter(u""_s), u""_s);
    EXPECT_EQ(removeTrailingCharacter(u"ab/"_s), u"ab"_s);
    EXPECT_EQ(trimCharactersAtFirstandLast(u" \t\n x y \r\n"_s), u"x y"_s);
}

TEST(StringSurgery, NumberFormatGroupsThreeThenTwoWithTheLocaleSeparator)
{
    EXPECT_EQ(numberFormat(u"-5"_s), u"0"_s);
    EXPECT_EQ(numberFormat(u"abc"_s), u"0"_s);
    EXPECT_EQ(numberFormat(u"0"_s), u"0"_s);
    EXPECT_EQ(numberFormat(u"999"_s), u"999"_s);
    EXPECT_EQ(numberFormat(u"1000"_s), u"1,000"_s);
    EXPECT_EQ(numberFormat(u"123456"_s), u"1,23,456"_s);
    EXPECT_EQ(numberFormat(u"1234567"_s), u"12,34,567"_s);
    EXPECT_EQ(numberFormat(u"12345678.4"_s), u"1,23,45,678"_s);
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(numberFormat(u"1234567"_s), u"12.34.567"_s);
    QLocale::setDefault(previous);
}

TEST(StringSurgery, PercentEscapesOfTheThreeFlavours)
{
    const QString text = u"a b;c?d:e@f&g=h$i+j{k}l<m>n,o_p~q/r#s%t\"é"_s;
    EXPECT_EQ(stringByAddingRFC3875PercentEscapesUsingEncoding(text),
              u"a%20b%3Bc%3Fd%3Ae%40f%26g%3Dh%24i%2Bj%7Bk%7Dl%3Cm%3En%2Co_p~q/r%23s%25t%22%C3%A9"_s);
    // "%" and "#" are not valid in a URL: the platform's escaping escapes both in every flavour.
    EXPECT_EQ(stringByAddingRFC3875PercentEscapesUsingEncoding(u"100%"_s), u"100%25"_s);
    EXPECT_EQ(stringByAddingRFC3875PercentEscapesUsingEncodingForShare(u"a#b"_s), u"a%23b"_s);
    EXPECT_EQ(stringByAddingRFC3875PercentEscapesUsingEncodingForShare(u"a_b,c"_s), u"a%5Fb%2Cc"_s);
    EXPECT_EQ(stringByAddingRFC3875PercentEscapesUsingEncodingForKey(u"~a/b%c#d[e] f!'()"_s),
              u"%7Ea%2Fb%25c%23d%5Be%5D%20f%21%27%28%29"_s);
    EXPECT_EQ(stringByReplacingRFC3875PercentEscapesUsingEncoding(u"a%20b%C3%A9"_s), u"a bé"_s);
    // Only the escapes are decoded in the given encoding; text that was never escaped stays.
    EXPECT_EQ(stringByReplacingRFC3875PercentEscapesUsingEncoding(u"é%E9 ü"_s, QStringConverter::Latin1),
              u"éé ü"_s);
    EXPECT_TRUE(stringByReplacingRFC3875PercentEscapesUsingEncoding(u"a%C3"_s).isNull())
        << "an escape that is not UTF-8 gives nothing";
    EXPECT_EQ(stringByReplacingRFC3875PercentEscapesUsingEncoding(
                  stringByAddingRFC3875PercentEscapesUsingEncodingForKey(text)),
              text);
}

TEST(StringFiles, SaveAndLoadUtf8)
{
    TestEnvironment env;
    ASSERT_TRUE(saveToFile(u"héllo"_s, u"~/note.txt"_s));
    EXPECT_EQ(env.readFile(u"~/note.txt"_s), QByteArray("h\xc3\xa9llo"));
    EXPECT_EQ(loadStringFromFile(u"~/note.txt"_s), u"héllo"_s);
    QString error;
    EXPECT_TRUE(loadStringFromFile(u"~/missing.txt"_s, &error).isNull());
    EXPECT_FALSE(error.isEmpty());
    env.writeFile(u"~/latin1.txt"_s, "caf\xe9");
    EXPECT_TRUE(loadStringFromFile(u"~/latin1.txt"_s).isNull()) << "not UTF-8";
    env.writeFile(u"~/empty.txt"_s, "");
    const QString empty = loadStringFromFile(u"~/empty.txt"_s);
    EXPECT_FALSE(empty.isNull());
    EXPECT_TRUE(empty.isEmpty());
}

} // namespace
