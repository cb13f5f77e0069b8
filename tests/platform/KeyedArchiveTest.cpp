#include "platform/KeyedArchive.h"
#include "platform/BinaryPlist.h"
#include "platform/PropertyList.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray fixture(const QString &name)
{
    return readRealFile(fixturePath(u"keyed-archives/"_s + name));
}

QVariant root(const QString &name)
{
    const KeyedArchive::Result result = KeyedArchive::unarchive(fixture(name));
    EXPECT_TRUE(result.ok()) << name.toStdString() << ": " << result.error.toStdString();
    return result.topObjects.value(u"root"_s);
}

QDateTime utc(int y, int mo, int d, int h, int mi, int s, int ms = 0)
{
    return QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms), Qt::UTC);
}

TEST(KeyedArchiveFixtures, EveryFoundationArchiveDecodes)
{
    const QStringList files = QDir(fixturePath(u"keyed-archives"_s))
                                  .entryList({u"*.plist"_s, u"*.archive"_s}, QDir::Files);
    ASSERT_GE(files.size(), 15);
    for (const QString &name : files) {
        if (name == u"mw235_circularReference.plist"_s)
            continue; // an array holding itself: see CyclesAreErrorsSharedObjectsDecodeOnce
        const KeyedArchive::Result result = KeyedArchive::unarchive(fixture(name));
        EXPECT_TRUE(result.ok()) << name.toStdString() << ": " << result.error.toStdString();
        EXPECT_FALSE(result.topObjects.isEmpty()) << name.toStdString();
    }
}

TEST(KeyedArchiveFixtures, DatesStringsAndDictionaries)
{
    EXPECT_EQ(root(u"kiler129_date.bin.plist"_s).toDateTime(), utc(2039, 5, 12, 20, 5, 12));
    EXPECT_EQ(root(u"mw235_plainString.plist"_s).typeId(), QMetaType::QString);

    const ArchivedObject dated = root(u"bpylist2_date_archive.plist"_s).value<ArchivedObject>();
    QDateTime date;
    for (const auto &[name, field] : dated.fields) {
        if (field.typeId() == QMetaType::QDateTime)
            date = field.toDateTime();
    }
    EXPECT_EQ(date, utc(2017, 2, 23, 6, 15, 58, 684));

    const QVariantMap dict = root(u"mw235_simpleDict.plist"_s).toMap();
    EXPECT_FALSE(dict.isEmpty());
}

TEST(KeyedArchiveFixtures, InlineScalarsMappedClassNamesAndNil)
{
    const ArchivedObject note = root(u"mw235_note.plist"_s).value<ArchivedObject>();
    EXPECT_EQ(note.className(), u"Note"_s);
    EXPECT_EQ(note.value(u"date"_s).toLongLong(), 2025);
    EXPECT_EQ(note.value(u"published"_s), QVariant(true));
    bool foundList = false;
    for (const auto &[name, field] : note.fields) {
        if (field.typeId() == QMetaType::QVariantList) {
            foundList = true;
            EXPECT_EQ(field.toList(), (QVariantList {u"Hello, World!"_s, 42, true}));
        }
    }
    EXPECT_TRUE(foundList);

    // A mapped class name: "$classname" without "$classes".
    const ArchivedObject dummy = root(u"kiler129_scalarTypes.bin.plist"_s).value<ArchivedObject>();
    EXPECT_EQ(dummy.className(), u"TestDummy"_s);

    const ArchivedObject simple = root(u"bpylist2_simple_archive.plist"_s).value<ArchivedObject>();
    EXPECT_EQ(simple.value(u"count"_s).toLongLong(), 42);
    EXPECT_EQ(simple.value(u"active"_s), QVariant(true));

    const ArchivedObject withNil = root(u"bpylist2_null_archive.plist"_s).value<ArchivedObject>();
    EXPECT_TRUE(withNil.contains(u"empty"_s));
    EXPECT_FALSE(withNil.value(u"empty"_s).isValid()) << "UID 0 is nil";
}

TEST(KeyedArchiveFixtures, CyclesAreErrorsSharedObjectsDecodeOnce)
{
    WarningCapture quiet;
    // No value can hold itself; a nil in its place would be written back by the next save.
    const KeyedArchive::Result cycle
        = KeyedArchive::unarchive(fixture(u"mw235_circularReference.plist"_s));
    EXPECT_EQ(cycle.error, u"an object that contains itself"_s);
    EXPECT_TRUE(cycle.topObjects.isEmpty());
    const KeyedArchive::Result shared
        = KeyedArchive::unarchive(fixture(u"kiler129_reference.bin.plist"_s));
    EXPECT_TRUE(shared.ok()) << shared.error.toStdString();
}

TEST(KeyedArchiveRoundTrip, ContainersObjectsAndCalendarDates)
{
    const QDateTime when(QDate(2026, 11, 15), QTime(18, 5, 9, 250));
    const ArchivedObject item {
        {u"Thing"_s, u"NSObject"_s},
        {{u"count"_s, 7},
         {u"flag"_s, true},
         {u"ratio"_s, 0.25},
         {u"name"_s, u"Ünïcode"_s},
         {u"nothing"_s, QVariant()},
         {u"when"_s, QVariant::fromValue(KeyedArchive::calendarDate(when))},
         {u"list"_s, QVariantList {1, u"2"_s, QVariantMap {{u"k"_s, u"v"_s}}}},
         {u"blob"_s, QByteArray("\x00\x01", 2)}}};
    const QByteArray bytes = KeyedArchive::archive(
        {{u"root"_s, QVariant::fromValue(item)}, {u"other"_s, u"Ünïcode"_s}});
    ASSERT_TRUE(bytes.startsWith("bplist00"));
    const KeyedArchive::Result result = KeyedArchive::unarchive(bytes);
    ASSERT_TRUE(result.ok()) << result.error.toStdString();
    const ArchivedObject back = result.topObjects.value(u"root"_s).value<ArchivedObject>();
    EXPECT_EQ(back.classes, item.classes);
    EXPECT_EQ(back.value(u"count"_s).toLongLong(), 7);
    EXPECT_EQ(back.value(u"flag"_s), QVariant(true));
    EXPECT_DOUBLE_EQ(back.value(u"ratio"_s).toDouble(), 0.25);
    EXPECT_EQ(back.value(u"name"_s).toString(), u"Ünïcode"_s);
    EXPECT_TRUE(back.contains(u"nothing"_s));
    EXPECT_FALSE(back.value(u"nothing"_s).isValid());
    EXPECT_EQ(back.value(u"when"_s).toDateTime(), when);
    EXPECT_EQ(back.value(u"list"_s).toList(),
              (QVariantList {1, u"2"_s, QVariantMap {{u"k"_s, u"v"_s}}}));
    EXPECT_EQ(back.value(u"blob"_s).toByteArray(), QByteArray("\x00\x01", 2));
    EXPECT_EQ(result.topObjects.value(u"other"_s).toString(), u"Ünïcode"_s);
}

QByteArray archiveOf(const QVariantList &objects, const QVariantMap &top)
{
    return PropertyList::toData(QVariantMap {{u"$archiver"_s, u"NSKeyedArchiver"_s},
                                             {u"$version"_s, 100000},
                                             {u"$top"_s, top},
                                             {u"$objects"_s, objects}},
                                PropertyList::Format::Binary);
}

QVariant uid(quint64 value)
{
    return QVariant::fromValue(PlistUid {value});
}

TEST(KeyedArchiveBadInput, StructuralFaultsAreReportedNotCrashedOn)
{
    const QByteArray good = KeyedArchive::archive({{u"root"_s, QVariantList {1, 2, 3}}});
    QVariantList deep {u"$null"_s};
    for (int i = 1; i < 400; ++i)
        deep.append(QVariantMap {{u"$class"_s, uid(400)},
                                 {u"NS.objects"_s, QVariantList {uid(quint64(i + 1))}}});
    deep.append(QVariantMap {{u"$classname"_s, u"NSArray"_s}});
    const auto dictionary = [](const QVariantList &keys, const QVariantList &values) {
        return archiveOf(
            {u"$null"_s,
             QVariantMap {{u"$class"_s, uid(3)}, {u"NS.keys"_s, keys}, {u"NS.objects"_s, values}},
             u"k"_s, QVariantMap {{u"$classname"_s, u"NSDictionary"_s}}},
            {{u"root"_s, uid(1)}});
    };
    const struct {
        const char *name;
        QByteArray bytes;
        QString error;
    } cases[] = {
        {"empty", QByteArray(), u"not a property list"_s},
        {"truncated", good.left(good.size() - 20), u"bad integer sizes in the trailer"_s},
        {"garbage", QByteArray("not an archive at all"), u"not a property list"_s},
        {"plain property list",
         PropertyList::toData(QVariantMap {{u"a"_s, 1}}, PropertyList::Format::Binary),
         u"not a keyed archive"_s},
        {"dangling reference", archiveOf({u"$null"_s}, {{u"root"_s, uid(9)}}),
         u"reference 9 points past the object table"_s},
        {"object without class",
         archiveOf({u"$null"_s, QVariantMap {{u"NS.objects"_s, QVariantList()}}},
                   {{u"root"_s, uid(1)}}),
         u"an object without a class"_s},
        {"class reference that is no UID",
         archiveOf({u"$null"_s, QVariantMap {{u"$class"_s, 5}}}, {{u"root"_s, uid(1)}}),
         u"an object without a class"_s},
        {"array member that is no UID",
         archiveOf({u"$null"_s,
                    QVariantMap {{u"$class"_s, uid(2)}, {u"NS.objects"_s, QVariantList {7}}},
                    QVariantMap {{u"$classname"_s, u"NSArray"_s}}},
                   {{u"root"_s, uid(1)}}),
         u"a collection member that is not a reference"_s},
        {"too deep", archiveOf(deep, {{u"root"_s, uid(1)}}), u"objects nested too deeply"_s},
        {"more keys than values", dictionary({uid(2), uid(2)}, {uid(2)}),
         u"a dictionary whose keys and values differ in number"_s},
        {"more values than keys", dictionary({uid(2)}, {uid(2), uid(2)}),
         u"a dictionary whose keys and values differ in number"_s},
        {"values without keys", dictionary({}, {uid(2)}),
         u"a dictionary whose keys and values differ in number"_s},
    };
    for (const auto &c : cases) {
        WarningCapture warnings;
        const KeyedArchive::Result result = KeyedArchive::unarchive(c.bytes);
        EXPECT_EQ(result.error, c.error) << c.name;
        EXPECT_TRUE(result.topObjects.isEmpty()) << c.name;
        EXPECT_FALSE(warnings.lines().isEmpty()) << c.name;
    }
}


TEST(KeyedArchiveBadInput, EveryTruncationAndByteFlipIsSurvived)
{
    const ArchivedObject item {
        {u"Thing"_s, u"NSObject"_s},
        {{u"n"_s, 300},
         {u"s"_s, u"héllo"_s},
         {u"l"_s, QVariantList {1, u"x"_s}},
         {u"d"_s, QVariant::fromValue(KeyedArchive::calendarDate(QDateTime::currentDateTime()))}}};
    const QByteArray good
        = KeyedArchive::archive({{u"root"_s, QVariantList {QVariant::fromValue(item)}}});
    WarningCapture quiet;
    int readable = 0;
    for (qsizetype n = 0; n < good.size(); ++n)
        readable += KeyedArchive::unarchive(good.left(n)).ok();
    EXPECT_EQ(readable, 0) << "no prefix of an archive is a whole archive";
    for (qsizetype i = 0; i < good.size(); ++i) {
        for (const char mask : {char(0x01), char(0x80), char(0xff)}) {
            QByteArray flipped = good;
            flipped[i] = char(flipped.at(i) ^ mask);
            KeyedArchive::unarchive(flipped); // must not crash, read out of bounds or hang
        }
    }
}

TEST(KeyedArchiveSizes, WideReferencesRoundTripAndPlistlibAgrees)
{
    // More than 65,536 objects: references and offsets take four bytes.
    QVariantList many;
    for (int i = 0; i < 70000; ++i)
        many.append(u"item %1"_s.arg(i));
    const QByteArray bytes = KeyedArchive::archive({{u"root"_s, many}});
    const KeyedArchive::Result back = KeyedArchive::unarchive(bytes);
    ASSERT_TRUE(back.ok()) << back.error.toStdString();
    EXPECT_EQ(back.topObjects.value(u"root"_s).toList(), many);

    QTemporaryDir dir;
    QFile file(dir.filePath(u"wide"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    const ProcessResult python
        = runPython(u"import plistlib, sys\n"
                    "a = plistlib.load(open(sys.argv[1], 'rb'))\n"
                    "o = a['$objects']\n"
                    "root = o[a['$top']['root'].data]\n"
                    "print(len(root['NS.objects']), o[root['NS.objects'][69999].data])\n"_s,
                    {file.fileName()});
    EXPECT_EQ(python.output.trimmed(), QByteArray("70000 item 69999"))
        << python.errorOutput.toStdString();
}


ArchivedObject dateObject(const QString &className, const QList<ArchivedObject::Field> &fields)
{
    return ArchivedObject {{className, u"NSDate"_s, u"NSObject"_s}, fields};
}

TEST(KeyedArchiveDates, OnlyAReadableTimeMakesADate)
{
    const ArchivedObject zone {{u"NSTimeZone"_s, u"NSObject"_s}, {{u"$0"_s, u"Europe/Berlin"_s}}};
    const QDateTime when = utc(2026, 3, 29, 1, 30, 0);
    const double seconds = 796440600; // `when` counted from 2001
    const struct {
        const char *name;
        ArchivedObject object;
        std::optional<QDateTime> expected;
    } cases[] = {
        {"NSDate", dateObject(u"NSDate"_s, {{u"NS.time"_s, seconds}}), when},
        {"integer time", dateObject(u"NSCalendarDate"_s, {{u"NS.time"_s, qint64(796440600)}}),
         when},
        {"GNUstep calendar date",
         dateObject(u"NSCalendarDate"_s,
                    {{u"$0"_s, seconds},
                     {u"$1"_s, u"%Y-%m-%d %H:%M:%S %z"_s},
                     {u"$2"_s, QVariant::fromValue(zone)}}),
         when},
        {"no time", dateObject(u"NSCalendarDate"_s, {{u"NS.format"_s, u"%Y"_s}}), std::nullopt},
        {"time as text", dateObject(u"NSDate"_s, {{u"NS.time"_s, u"796440600"_s}}), std::nullopt},
        {"beyond the milliseconds", dateObject(u"NSDate"_s, {{u"NS.time"_s, 9.2e15}}),
         std::nullopt},
        {"year 10000", dateObject(u"NSDate"_s, {{u"NS.time"_s, 2.6e11}}), std::nullopt},
        {"huge", dateObject(u"NSDate"_s, {{u"NS.time"_s, 1e300}}), std::nullopt},
        {"not a number", dateObject(u"NSDate"_s, {{u"NS.time"_s, std::nan("")}}), std::nullopt},
        {"infinite", dateObject(u"NSDate"_s, {{u"NS.time"_s, -HUGE_VAL}}), std::nullopt},
    };
    for (const auto &c : cases) {
        WarningCapture quiet;
        const KeyedArchive::Result result = KeyedArchive::unarchive(
            KeyedArchive::archive({{u"root"_s, QVariant::fromValue(c.object)}}));
        ASSERT_TRUE(result.ok()) << c.name << ": " << result.error.toStdString();
        const QVariant value = result.topObjects.value(u"root"_s);
        EXPECT_EQ(KeyedArchive::dateOf(value), c.expected) << c.name;
        EXPECT_EQ(KeyedArchive::dateOf(QVariant::fromValue(c.object)), c.expected) << c.name;
        if (!c.expected) { // kept as it was found, so that it can be written back unchanged
            EXPECT_EQ(value.value<ArchivedObject>().classes, c.object.classes) << c.name;
        }
    }
}

// Arrays that each hold the level below twice: 2^levels leaves from a few hundred bytes.
QByteArray sharedLevels(int levels, bool byReference)
{
    BinaryPlist::Writer out;
    std::vector<BinaryPlist::Writer::Index> objects {out.addString(u"$null"_s)};
    const auto arrayClass = out.reserve();
    out.setDictionary(arrayClass, {out.addString(u"$classname"_s)}, {out.addString(u"NSArray"_s)});
    objects.push_back(arrayClass);
    objects.push_back(out.addString(u"leaf"_s));
    auto level = byReference ? out.addUid(objects.size() - 1) : out.addInteger(1);
    for (int i = 0; i < levels; ++i) {
        const auto array = out.reserve();
        if (byReference) {
            out.setArray(array, {level, level});
            const auto instance = out.reserve();
            out.setDictionary(instance,
                              {out.addString(u"$class"_s), out.addString(u"NS.objects"_s)},
                              {out.addUid(1), array});
            objects.push_back(instance);
            level = out.addUid(objects.size() - 1);
        } else {
            out.setArray(array, {level, level});
            level = array;
        }
    }
    if (!byReference) {
        const auto holder = out.reserve();
        out.setDictionary(holder, {out.addString(u"$class"_s), out.addString(u"levels"_s)},
                          {out.addUid(objects.size() + 1), level});
        objects.push_back(holder);
        const auto thing = out.reserve();
        out.setDictionary(thing, {out.addString(u"$classname"_s)}, {out.addString(u"Thing"_s)});
        objects.push_back(thing);
        level = out.addUid(objects.size() - 2);
    }
    const auto objectArray = out.reserve();
    out.setArray(objectArray, objects);
    const auto top = out.reserve();
    out.setDictionary(top, {out.addString(u"root"_s)}, {level});
    const auto root = out.reserve();
    out.setDictionary(root, {out.addString(u"$top"_s), out.addString(u"$objects"_s)},
                      {top, objectArray});
    return out.finish(root);
}

qint64 leaves(const QVariant &value)
{
    if (value.typeId() == qMetaTypeId<ArchivedObject>())
        return leaves(value.value<ArchivedObject>().value(u"levels"_s));
    if (value.typeId() != QMetaType::QVariantList)
        return 1;
    const QVariantList list = value.toList();
    return list.isEmpty() ? 0 : 2 * leaves(list.first());
}

TEST(KeyedArchiveBadInput, SharedObjectsDecodeOnceWithinABudget)
{
    for (const bool byReference : {false, true}) {
        SCOPED_TRACE(byReference ? "shared by reference" : "shared in place");
        const KeyedArchive::Result small = KeyedArchive::unarchive(sharedLevels(12, byReference));
        ASSERT_TRUE(small.ok()) << small.error.toStdString();
        EXPECT_EQ(leaves(small.topObjects.value(u"root"_s)), 4096);

        WarningCapture warnings;
        const QByteArray bomb = sharedLevels(30, byReference);
        EXPECT_LT(bomb.size(), 1000);
        const KeyedArchive::Result result = KeyedArchive::unarchive(bomb);
        EXPECT_EQ(result.error, u"the archive stands for "_s + BinaryPlist::Cost::exceededText());
        EXPECT_TRUE(result.topObjects.isEmpty());
        EXPECT_FALSE(warnings.lines().isEmpty());
    }
}

} // namespace
