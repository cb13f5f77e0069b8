#include "product/MonitorSettings.h"
#include "platform/PropertyList.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"
#include "util/SLUtility.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList names(const QList<QVariantMap> &records)
{
    QStringList out;
    for (const QVariantMap &record : records)
        out.append(record.value(u"filePath"_s).toString());
    return out;
}

TEST(CompactListing, RecordsFieldsTypesAndFilters)
{
    TestEnvironment env;
    const QString text = u"x//a.txt|10|2020-01-01|1||y//Docs|0|2020-01-02|4||z//Deep|0|2020-01-03|40||"
                         "w//.hidden|5|2020|1||no-marker|1|2|3||v//three|fields|only||"
                         "u//filelist.ldb|1|2|1||t//index.idxlist|1|2|1||||"_s;
    const QList<QVariantMap> records = SLUtility::collectServerFiles(text, u"ignored"_s);
    EXPECT_EQ(names(records), (QStringList{u"a.txt"_s, u"Docs"_s, u"Deep"_s, u".hidden"_s}))
        << "hidden names are shown while \"ShowHiddenFilesKey \" is not set";
    EXPECT_EQ(records.first().value(u"fileSize"_s).toString(), u"10"_s);
    EXPECT_EQ(records.first().value(u"fileModificationDate"_s).toString(), u"2020-01-01"_s);
    EXPECT_FALSE(SLUtility::isRemoteDirectory(u"/a.txt"_s));
    EXPECT_TRUE(SLUtility::isRemoteDirectory(u"/Docs"_s));
    EXPECT_TRUE(SLUtility::isRemoteDirectory(u"/Deep"_s)) << "a type of 40 starts with 4";
    EXPECT_EQ(SLUtility::remoteFileSize(u"/a.txt"_s), u"10"_s);
    EXPECT_EQ(names(SLUtility::serverFiles()), names(records));

    // The key ends with a blank: that is its name.
    UserDefaults defaults(MonitorSettings::defaultsDomain());
    defaults.setObject(false, u"ShowHiddenFilesKey "_s);
    defaults.synchronize();
    EXPECT_FALSE(names(SLUtility::collectServerFiles(text, QString())).contains(u".hidden"_s));
    defaults.setObject(true, u"ShowHiddenFilesKey "_s);
    defaults.synchronize();
    EXPECT_TRUE(names(SLUtility::collectServerFiles(text, QString())).contains(u".hidden"_s));
    defaults.setObject(true, u"ShowHiddenFilesKey"_s);
    defaults.setObject(false, u"ShowHiddenFilesKey "_s);
    defaults.synchronize();
    EXPECT_FALSE(names(SLUtility::collectServerFiles(text, QString())).contains(u".hidden"_s))
        << "the key without its blank is another key";
}

TEST(FixedColumnListing, ColumnsSnapshotsAndShortLines)
{
    TestEnvironment env;
    const QString file = u"~/listing.plist"_s;
    // Permissions 0-9, size 11-22, date 23-41, name from 43.
    //                          0         1         2         3         4
    //                          01234567890123456789012345678901234567890123
    const QString fileLine = u"-rw-r--r-- 0000000012342026-11-15 18:05:09 report.pdf"_s;
    const QString dirLine = u"drwxr-xr-x 0000000000002026-11-14 10:00:00 Photos"_s;
    const QString exact43 = u"-rw-r--r-- 0000000012342026-11-15 18:05:09 "_s;
    ASSERT_EQ(exact43.size(), 43);
    PropertyList::write(file,
                        QVariantList{fileLine, dirLine, exact43,
                                     u"-rw-r--r-- 0000000000012026-11-15 18:05:09 .secret"_s,
                                     u"lrwxrwxrwx 0000000000012026-11-15 18:05:09 link"_s,
                                     u"/BackUp_nightly.3_MAC\"extra/more"_s, u"short"_s, u""_s},
                        PropertyList::Format::Xml);
    const QList<QVariantMap> records = SLUtility::collectServerFiles(u"/Users/ann"_s, file, true);
    EXPECT_EQ(names(records), (QStringList{u"report.pdf"_s, u"Photos"_s, u"BackUp_nightly.3_MAC"_s}));
    EXPECT_EQ(records.at(0).value(u"fileSize"_s).toString(), u"000000001234"_s) << "columns 11 to 22";
    EXPECT_EQ(SLUtility::remoteFileSize(u"/Users/ann/report.pdf"_s), u" 000000001234"_s) << "columns 10 to 22";
    EXPECT_EQ(records.at(0).value(u"fileModificationDate"_s).toString(), u"2026-11-15 18:05:09"_s);
    EXPECT_TRUE(SLUtility::isRemoteDirectory(u"/Users/ann/Photos"_s));
    EXPECT_FALSE(SLUtility::isRemoteDirectory(u"/Users/ann/report.pdf"_s));
    EXPECT_EQ(records.at(2).value(u"fileSize"_s).toString(), u" "_s);
    EXPECT_TRUE(SLUtility::isRemoteDirectory(u"/Users/ann/BackUp_nightly.3_MAC"_s));

    EXPECT_TRUE(SLUtility::collectServerFiles(u"/"_s, u"~/missing.plist"_s, false).isEmpty());
}

TEST(NexaListing, BracketedFieldsAndNamesWithBrackets)
{
    TestEnvironment env;
    const QString text = u"[-rw-r--r--][2048][3][2026-11-15 18:05][/Docs/a.txt]\n"
                         "[drwxr-xr-x][0][1][2026-11-14 10:00][/Photos]\n"
                         "[-rw-r--r--][10][1][2026-11-14 10:00][/a]b]\n"
                         "[-rw-r--r--][10][1][2026-11-14 10:00][/.hidden]\n"
                         "[-rw-r--r--][10][1][2026-11-14 10:00][/x.idxlist]\n"
                         "[lrw-r--r--][10][1][2026-11-14 10:00][/link]\n"
                         "[too][few][pieces]\n\n"_s;
    const QList<QVariantMap> records = SLUtility::collectNexaServerFiles(u"/"_s, text);
    EXPECT_EQ(names(records), (QStringList{u"Docs"_s, u"Photos"_s, u"a]b"_s})) << "the top-level name";
    EXPECT_EQ(records.at(0).value(u"Version"_s).toString(), u"3"_s);
    EXPECT_EQ(records.at(0).value(u"fileSize"_s).toString(), u"2048"_s);
    EXPECT_EQ(records.at(0).value(u"fileModificationDate"_s).toString(), u"2026-11-15 18:05"_s);
    EXPECT_TRUE(SLUtility::isRemoteDirectory(u"/Photos"_s));
    EXPECT_FALSE(records.at(1).contains(u"fileSize"_s)) << "folders carry no size";

    // A listing line needs more than five pieces; a search line at least five.
    const QString fivePieces = u"[-rw-r--r--][10][1][2026-11-14 10:00][/five"_s;
    ASSERT_EQ(fivePieces.split(u']').size(), 5);
    EXPECT_TRUE(SLUtility::collectNexaServerFiles(u"/"_s, fivePieces).isEmpty());
    EXPECT_EQ(names(SLUtility::collectNexaServerFiles(u"/"_s, fivePieces + u"]"_s)), QStringList{u"five"_s});
    EXPECT_EQ(SLUtility::parsedEntriesForOutputInfoSearch(fivePieces, false).fileSize, u"10"_s);
}

TEST(SearchOutput, TokensBracketsAndMissingParts)
{
    TestEnvironment env;
    SLUtility::SearchEntry info = SLUtility::parsedEntriesForInfo(u"-rw 512 x y /Users/ann/my  file.txt"_s);
    EXPECT_EQ(info.fileSize, u"512"_s);
    EXPECT_EQ(info.filePath, u"/Users/ann/my  file.txt"_s) << "the blanks of the path are kept";
    info = SLUtility::parsedEntriesForInfo(u"-rw"_s);
    EXPECT_EQ(info.fileSize, u""_s);
    EXPECT_EQ(info.filePath, u""_s);

    SLUtility::SearchEntry search = SLUtility::parsedEntriesForOutputInfoSearch(u"f  99 2026-11-15 x /a b"_s);
    EXPECT_EQ(search.fileSize, u"99"_s);
    EXPECT_EQ(search.fileModifiedDate, u"2026-11-15"_s);
    EXPECT_EQ(search.filePath, u"/a b"_s);
    EXPECT_TRUE(SLUtility::parsedEntriesForOutputInfoSearch(u"f 99 d x"_s).filePath.isNull());

    SLUtility::SearchEntry nexa = SLUtility::parsedEntriesForOutputInfoSearch(
        u"[-rw][77][v2][2026-11-15][x][/docs/a]b]"_s, true);
    EXPECT_EQ(nexa.filePermission, u"-rw"_s);
    EXPECT_EQ(nexa.fileSize, u"77"_s);
    EXPECT_EQ(nexa.version1, u"v2"_s);
    EXPECT_EQ(nexa.fileModifiedDate, u"2026-11-15"_s);
    EXPECT_EQ(nexa.filePath, u"/docs/a]b"_s);
    EXPECT_TRUE(nexa.version2.isNull());
    EXPECT_EQ(SLUtility::remoteFileSize(u"/docs/a]b"_s), u"77"_s);

    SLUtility::SearchEntry plain = SLUtility::parsedEntriesForOutputInfoSearch(u"[-rw][5][2026][/p]"_s, false);
    EXPECT_EQ(plain.fileModifiedDate, u"2026"_s);
    EXPECT_EQ(plain.filePath, u"/p"_s);
    EXPECT_TRUE(SLUtility::parsedEntriesForOutputInfoSearch(u"[a][b][c]"_s, false).fileSize.isNull());

    SLUtility::SearchEntry one = SLUtility::parsedEntriesForOutputInfoSearch1(u"[2026][9][v1][ignored][/z]"_s);
    EXPECT_EQ(one.fileModifiedDate, u"2026"_s);
    EXPECT_EQ(one.fileSize, u"9"_s);
    EXPECT_EQ(one.version1, u"v1"_s);
    EXPECT_EQ(one.filePath, u"/z"_s);
}

TEST(Listings, GarbageAndTruncatedInputGiveNothingAndNoCrash)
{
    TestEnvironment env;
    const QString garbage = QString::fromLatin1(QByteArray("\x00\x01\xff||//|||\n]]][[[", 18));
    EXPECT_TRUE(SLUtility::collectServerFiles(garbage, QString()).isEmpty());
    EXPECT_TRUE(SLUtility::collectNexaServerFiles(u"/"_s, garbage).isEmpty());
    EXPECT_TRUE(SLUtility::collectServerFiles(u"a//|||"_s, QString()).size() <= 1);
    env.writeFile(u"~/garbage.plist"_s, "not a property list at all");
    WarningCapture quiet;
    EXPECT_TRUE(SLUtility::collectServerFiles(u"/"_s, u"~/garbage.plist"_s, false).isEmpty());
    for (const QString &line : {u""_s, u"]"_s, u"[[[[[]]]]]"_s, u"[a]"_s})
        SLUtility::parsedEntriesForOutputInfoSearch(line, true);
}

TEST(Comparators, DirectoriesFirstThenCaseInsensitive)
{
    TestEnvironment env;
    SLUtility::setDirNode(u"d"_s, u"0"_s, u"zeta"_s, u"/"_s);
    SLUtility::setDirNode(u"-"_s, u"5"_s, u"Alpha"_s, u"/"_s);
    SLUtility::setDirNode(u"-"_s, u"6"_s, u"beta"_s, u"/"_s);
    SLUtility::setDirNode(u"0"_s, u"0"_s, u"omega"_s, u"/top"_s);
    EXPECT_TRUE(SLUtility::isRemoteDirectory(u"/top/omega"_s)) << "type 0 is a folder too";
    EXPECT_EQ(SLUtility::remoteFileSize(u"/Alpha"_s), u"5"_s);

    QList<QVariantMap> records{{{u"filePath"_s, u"beta"_s}}, {{u"filePath"_s, u"zeta"_s}}, {{u"filePath"_s, u"Alpha"_s}}};
    std::sort(records.begin(), records.end(), [](const QVariantMap &a, const QVariantMap &b) {
        return SLUtility::sortRemoteFilesAndFolder(a, b, QString()) < 0;
    });
    EXPECT_EQ(names(records), (QStringList{u"zeta"_s, u"Alpha"_s, u"beta"_s}));

    EXPECT_LT(SLUtility::sortSearchedFiles({{u"filePath"_s, u"/zeta"_s}}, {{u"filePath"_s, u"/Alpha"_s}}), 0);
    EXPECT_GT(SLUtility::sortFiles(u"b"_s, u"B"_s, u"/x"_s), 0) << "case-sensitive";
    EXPECT_GT(SLUtility::sortSnapshotObjects({{u"filePath"_s, u"b"_s}}, {{u"filePath"_s, u"B"_s}}), 0);
    const QVariantMap older{{u"StartTime"_s, QDateTime(QDate(2026, 1, 1), QTime(0, 0))}};
    const QVariantMap newer{{u"StartTime"_s, QDateTime(QDate(2026, 2, 1), QTime(0, 0))}};
    EXPECT_GT(SLUtility::sortByDate(older, newer), 0) << "the newest first";
    EXPECT_EQ(SLUtility::sortByDate(older, older), 0);
}

TEST(Comparators, LocalFoldersBeforeFilesAndPackages)
{
    TestEnvironment env;
    env.writeFile(u"/data/b-folder/x"_s, "x");
    env.writeFile(u"/data/Tool.app/Contents/x"_s, "x");
    env.writeFile(u"/data/a-file.txt"_s, "x");
    EXPECT_LT(SLUtility::sortLocalFilesAndFolder(u"b-folder"_s, u"a-file.txt"_s, u"/data"_s), 0);
    EXPECT_LT(SLUtility::sortLocalFilesAndFolder(u"b-folder"_s, u"Tool.app"_s, u"/data"_s), 0);
    EXPECT_LT(SLUtility::sortLocalFilesAndFolder(u"a-file.txt"_s, u"Tool.app"_s, u"/data"_s), 0);
}

TEST(Snapshots, VersionsAndOrdering)
{
    EXPECT_EQ(SLUtility::snapshotVersion(u"BackUp_nightly.3_MAC"_s), u"3"_s);
    EXPECT_EQ(SLUtility::snapshotVersion(u"Documents"_s), u""_s);
    QList<QVariantMap> records{{{u"filePath"_s, u"Docs"_s}}, {{u"filePath"_s, u"Home_MAC"_s}},
                               {{u"filePath"_s, u"BackUp_nightly.2"_s}}, {{u"filePath"_s, u"Work_MAC"_s}},
                               {{u"filePath"_s, u"BackUp_nightly.1"_s}}};
    SLUtility::moveSnapshotFoldersToTop(records);
    EXPECT_EQ(names(records), (QStringList{u"BackUp_nightly.2"_s, u"BackUp_nightly.1"_s, u"Home_MAC"_s,
                                           u"Work_MAC"_s, u"Docs"_s}));
    SLUtility::sortMacFoldersInSnapshots(records);
    EXPECT_EQ(names(records), (QStringList{u"Home_MAC"_s, u"Work_MAC"_s, u"BackUp_nightly.2"_s,
                                           u"BackUp_nightly.1"_s, u"Docs"_s}));
}

} // namespace
