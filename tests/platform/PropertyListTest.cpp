#include "platform/PropertyList.h"
#include "platform/BinaryPlist.h"
#include "support/TestEnvironment.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QPoint>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// The same value on both sides of the boundary: built here, and in Python below.
QVariantMap sampleValue()
{
    return QVariantMap {
        {u"dict"_s,
         QVariantMap {
             {u"nested"_s,
              QVariantMap {{u"deep"_s, QVariantList {1, 2, QVariantMap {{u"x"_s, u"y"_s}}}}}},
             {u"empty"_s, QVariantMap()}}},
        {u"array"_s,
         QVariantList {u"a"_s, 1, 2.5, true, false, QVariantList(), QVariantList {u"inner"_s}}},
        {u"date"_s, QDateTime(QDate(2026, 11, 15), QTime(18, 5, 9), Qt::UTC)},
        {u"data"_s,
         QByteArray("\x00\x01\xff"
                    "binary",
                    9)},
        {u"negative"_s, qint64(-5)},
        {u"minus1"_s, qint64(-1)},
        {u"min64"_s, std::numeric_limits<qint64>::min()},
        {u"max64"_s, std::numeric_limits<qint64>::max()},
        {u"uint32"_s, qint64(4294967295LL)},
        {u"byte"_s, qint64(255)},
        {u"zero"_s, qint64(0)},
        {u"real"_s, 3.14159},
        {u"negreal"_s, -0.5},
        {u"yes"_s, true},
        {u"no"_s, false},
        {u"unicode"_s, u"Grüße, 日本語 — ✓ 🎉"_s},
        {u"emptystring"_s, u""_s},
    };
}

const char *kPythonSample = R"PY(
import datetime
value = {
    "dict": {"nested": {"deep": [1, 2, {"x": "y"}]}, "empty": {}},
    "array": ["a", 1, 2.5, True, False, [], ["inner"]],
    "date": datetime.datetime(2026, 11, 15, 18, 5, 9),
    "data": b"\x00\x01\xffbinary",
    "negative": -5, "minus1": -1,
    "min64": -9223372036854775808, "max64": 9223372036854775807,
    "uint32": 4294967295, "byte": 255, "zero": 0,
    "real": 3.14159, "negreal": -0.5,
    "yes": True, "no": False,
    "unicode": "Grüße, 日本語 — ✓ 🎉",
    "emptystring": "",
}
)PY";

// Booleans must stay booleans and integers integers, which QVariant's == would blur.
void expectSameTypes(const QVariant &actual, const QVariant &expected, const std::string &where)
{
    const auto kind = [](const QVariant &v) {
        switch (v.typeId()) {
        case QMetaType::Bool:
            return 'b';
        case QMetaType::Int:
        case QMetaType::LongLong:
            return 'i';
        case QMetaType::Double:
            return 'r';
        default:
            return 'o';
        }
    };
    ASSERT_EQ(kind(actual), kind(expected)) << where;
    if (expected.typeId() == QMetaType::QVariantMap) {
        const QVariantMap a = actual.toMap(), e = expected.toMap();
        for (auto it = e.cbegin(); it != e.cend(); ++it)
            expectSameTypes(a.value(it.key()), it.value(), where + "/" + it.key().toStdString());
    } else if (expected.typeId() == QMetaType::QVariantList) {
        const QVariantList a = actual.toList(), e = expected.toList();
        ASSERT_EQ(a.size(), e.size()) << where;
        for (qsizetype i = 0; i < e.size(); ++i)
            expectSameTypes(a.at(i), e.at(i), where + "[" + std::to_string(i) + "]");
    }
}

class PlistlibInterop : public ::testing::TestWithParam<const char *> { };

TEST_P(PlistlibInterop, ReadsWhatPlistlibWrites)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(u"from-python.plist"_s);
    const QString script = QString::fromUtf8(kPythonSample)
        + u"import plistlib, sys\n"
          "fmt = plistlib.FMT_BINARY if sys.argv[2] == 'binary' else plistlib.FMT_XML\n"
          "plistlib.dump(value, open(sys.argv[1], 'wb'), fmt=fmt)\n"_s;
    const ProcessResult python = runPython(script, {file, QString::fromUtf8(GetParam())});
    ASSERT_EQ(python.exitCode, 0) << python.errorOutput.toStdString();

    const QVariant value = PropertyList::fromData(readRealFile(file));
    ASSERT_EQ(value.typeId(), QMetaType::QVariantMap);
    const QVariantMap map = value.toMap();
    const QVariantMap expected = sampleValue();
    EXPECT_EQ(map.keys(), expected.keys());
    for (auto it = expected.cbegin(); it != expected.cend(); ++it)
        EXPECT_EQ(map.value(it.key()), it.value()) << it.key().toStdString();
    expectSameTypes(value, expected, "root");
}

TEST_P(PlistlibInterop, PlistlibReadsWhatWeWrite)
{
    const bool binary = QByteArray(GetParam()) == "binary";
    const QByteArray bytes = PropertyList::toData(
        sampleValue(), binary ? PropertyList::Format::Binary : PropertyList::Format::Xml);
    ASSERT_FALSE(bytes.isEmpty());
    EXPECT_EQ(bytes.startsWith("bplist00"), binary);

    QTemporaryDir dir;
    const QString file = dir.filePath(u"from-us.plist"_s);
    QFile out(file);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(bytes);
    out.close();
    const QString script = QString::fromUtf8(kPythonSample)
        + u"import plistlib, sys\n"
          "got = plistlib.load(open(sys.argv[1], 'rb'))\n"
          "bad = [k for k in value if got.get(k) != value[k] or type(got.get(k)) != "
          "type(value[k])]\n"
          "bad += [k for k in got if k not in value]\n"
          "print(bad); sys.exit(1 if bad else 0)\n"_s;
    const ProcessResult python = runPython(script, {file});
    EXPECT_EQ(python.exitCode, 0) << python.output.toStdString()
                                  << python.errorOutput.toStdString();
}

INSTANTIATE_TEST_SUITE_P(PropertyList, PlistlibInterop, ::testing::Values("xml", "binary"));

TEST(PropertyListFixtures, FoundationArchivesKeepTheirObjectReferences)
{
    const QString folder = fixturePath(u"keyed-archives"_s);
    const QStringList files = QDir(folder).entryList({u"*.plist"_s, u"*.archive"_s}, QDir::Files);
    ASSERT_GE(files.size(), 15);
    for (const QString &name : files) {
        const QVariantMap archive
            = PropertyList::fromData(readRealFile(folder + u'/' + name)).toMap();
        SCOPED_TRACE(name.toStdString());
        const QVariantList objects = archive.value(u"$objects"_s).toList();
        ASSERT_FALSE(objects.isEmpty());
        const QVariantMap top = archive.value(u"$top"_s).toMap();
        ASSERT_FALSE(top.isEmpty());
        for (const QVariant &ref : top) {
            ASSERT_EQ(ref.typeId(), qMetaTypeId<PlistUid>());
            EXPECT_LT(ref.value<PlistUid>().value, quint64(objects.size()));
        }
    }
}

TEST(PropertyListWrite, UidsAndNegativeNumbersSurviveTheBinaryForm)
{
    const QVariantMap value {
        {u"ref"_s, QVariant::fromValue(PlistUid {7})}, {u"n"_s, -70000}, {u"u"_s, 70000u}};
    const QVariant back
        = PropertyList::fromData(PropertyList::toData(value, PropertyList::Format::Binary));
    EXPECT_EQ(back.toMap().value(u"ref"_s).value<PlistUid>().value, 7u);
    EXPECT_EQ(back.toMap().value(u"n"_s).toLongLong(), -70000);
    EXPECT_EQ(back.toMap().value(u"u"_s).toLongLong(), 70000);
}

TEST(PropertyListWrite, ValuesWithoutAPropertyListFormAreRefused)
{
    WarningCapture warnings;
    EXPECT_TRUE(PropertyList::toData(QVariant(), PropertyList::Format::Xml).isEmpty());
    EXPECT_TRUE(PropertyList::toData(QVariantMap {{u"p"_s, QVariant(QPoint(1, 2))}},
                                     PropertyList::Format::Binary)
                    .isEmpty());
    EXPECT_FALSE(warnings.lines().isEmpty());
}

TEST(PropertyListFiles, DictionaryFilesAreXmlAndAtomic)
{
    TestEnvironment env;
    const QString path = u"/Library/Application Support/X/state.plist"_s;
    ASSERT_TRUE(PropertyList::writeDictionary(path, {{u"k"_s, u"v"_s}}, 0777));
    EXPECT_TRUE(env.readFile(path).startsWith("<?xml"));
    EXPECT_EQ(QFile(env.real(path)).permissions() & QFile::ExeOther, QFile::ExeOther);
    EXPECT_EQ(PropertyList::readDictionary(path).value(u"k"_s).toString(), u"v"_s);
    EXPECT_TRUE(QDir(env.real(u"/Library/Application Support/X"_s)).entryList(QDir::Files).size()
                == 1)
        << "no temporary file left behind";
}

struct CorruptCase {
    const char *name;
    QByteArray bytes;
};

TEST(PropertyListBadInput, GivesAnEmptyValueAndATraceLine)
{
    const QByteArray valid = PropertyList::toData(sampleValue(), PropertyList::Format::Binary);
    const QByteArray validXml = PropertyList::toData(sampleValue(), PropertyList::Format::Xml);
    QByteArray badOffsets = valid;
    for (qsizetype i = badOffsets.size() - 26; i < badOffsets.size() - 8; ++i)
        badOffsets[i] = char(0xff); // trailer: offset sizes and table position out of range
    const CorruptCase cases[] = {
        {"empty", QByteArray()},
        {"magic only", QByteArray("bplist00")},
        {"truncated binary", valid.left(valid.size() / 2)},
        {"binary trailer garbage", badOffsets},
        {"truncated xml", validXml.left(validXml.size() / 2)},
        {"garbage", QByteArray("\x13\x37 not a property list \xfe\xff", 26)},
        {"json", QByteArray("{\"a\": 1}")},
        {"key without value",
         QByteArray("<plist version=\"1.0\"><dict><key>a</key></dict></plist>")},
        {"unclosed tags", QByteArray("<?xml version=\"1.0\"?><plist><dict><key>a</key><string>b")},
    };
    for (const CorruptCase &c : cases) {
        WarningCapture warnings;
        const QVariant value = PropertyList::fromData(c.bytes);
        const bool empty = !value.isValid() || value.toMap().isEmpty();
        EXPECT_TRUE(empty) << c.name;
        if (!value.isValid()) {
            EXPECT_FALSE(warnings.lines().isEmpty()) << c.name;
        }
    }
}

TEST(PropertyListBadInput, EveryTruncationAndByteFlipOfABinaryFileIsSurvived)
{
    const QByteArray valid = PropertyList::toData(sampleValue(), PropertyList::Format::Binary);
    WarningCapture quiet;
    for (qsizetype n = 0; n < valid.size(); ++n)
        PropertyList::fromData(valid.left(n));
    for (qsizetype i = 8; i < valid.size(); ++i) {
        QByteArray flipped = valid;
        flipped[i] = char(flipped.at(i) ^ 0x5a);
        PropertyList::fromData(flipped);
    }
    SUCCEED(); // reaching here without a crash (or a sanitizer report) is the point
}

TEST(PropertyListBadInput, WrongTypeAndMissingFiles)
{
    TestEnvironment env;
    env.writeFile(u"/a.plist"_s,
                  PropertyList::toData(QVariantList {1, 2}, PropertyList::Format::Xml));
    WarningCapture warnings;
    EXPECT_TRUE(PropertyList::readDictionary(u"/a.plist"_s).isEmpty());
    EXPECT_EQ(PropertyList::readArray(u"/a.plist"_s).size(), 2);
    EXPECT_FALSE(warnings.lines().isEmpty());
    EXPECT_TRUE(PropertyList::readDictionary(u"/missing.plist"_s).isEmpty());
    env.writeFile(u"/d.plist"_s,
                  PropertyList::toData(QVariantMap {{u"a"_s, 1}}, PropertyList::Format::Xml));
    EXPECT_TRUE(PropertyList::readArray(u"/d.plist"_s).isEmpty());
    // A FIFO in a file's place would block the reader for good.
    ASSERT_EQ(::mkfifo(QFile::encodeName(env.real(u"/fifo.plist"_s)).constData(), 0600), 0);
    EXPECT_FALSE(PropertyList::read(u"/fifo.plist"_s).isValid());

    // An empty file is one made to be filled later: nothing, quietly, like a missing one.
    env.writeFile(u"/empty.plist"_s, "");
    WarningCapture quiet;
    EXPECT_TRUE(PropertyList::readDictionary(u"/empty.plist"_s).isEmpty());
    EXPECT_TRUE(PropertyList::readDictionary(u"/missing.plist"_s).isEmpty());
    EXPECT_TRUE(quiet.lines().isEmpty());
}

// Lengths below 15 sit in the marker's low nibble; from 15 on the nibble is 0xF and an integer
// object follows. Both writers (the library's and ours) and our reader must agree at the seam.
TEST(PropertyListBinary, LengthMarkersAroundTheExtendedForm)
{
    for (const int n : {14, 15, 16}) {
        const QVariant values[]
            = {QString(n, u'a'), QString(n, u'é'), QByteArray(n, '\x07'), QVariantList(n, 3)};
        const quint8 types[] = {0x5, 0x6, 0x4, 0xA};
        for (int kind = 0; kind < 4; ++kind) {
            SCOPED_TRACE(std::to_string(n) + " of kind " + std::to_string(kind));
            QByteArray expected(1, char(types[kind] << 4 | qMin(n, 15)));
            if (n >= 15)
                expected += QByteArray("\x10") + char(n);
            const QByteArray fromLibrary
                = PropertyList::toData(values[kind], PropertyList::Format::Binary);
            EXPECT_EQ(fromLibrary.mid(8, expected.size()), expected);
            EXPECT_EQ(PropertyList::fromData(fromLibrary), values[kind]);

            BinaryPlist::Writer writer;
            BinaryPlist::Writer::Index top = 0;
            if (kind == 3) {
                top = writer.reserve();
                writer.setArray(
                    top, std::vector<BinaryPlist::Writer::Index>(size_t(n), writer.addInteger(3)));
            } else {
                top = kind == 2 ? writer.addData(values[kind].toByteArray())
                                : writer.addString(values[kind].toString());
            }
            const QByteArray ours = writer.finish(top);
            EXPECT_EQ(ours.mid(8, expected.size()), expected);
            EXPECT_EQ(PropertyList::fromData(ours), values[kind]);
            BinaryPlist::Reader reader;
            QString error;
            ASSERT_TRUE(reader.open(ours, &error));
            EXPECT_EQ(reader.object(reader.topObject()).count, n);
        }
    }
}

// A dictionary {key: value} written by our own writer, as any sender could.
QByteArray binaryDictionary(const QString &key, const QString &value)
{
    BinaryPlist::Writer out;
    const auto dict = out.reserve();
    out.setDictionary(dict, {out.addString(key)}, {out.addString(value)});
    return out.finish(dict);
}

TEST(PropertyListBadInput, KeysAndStringsAreReadByLength)
{
    const QString key(u"a\u0000b"_s), value(u"x\u0000y"_s);
    const QByteArray payload = binaryDictionary(key, value);
    const QVariantMap map = PropertyList::fromData(payload).toMap();
    EXPECT_EQ(map.keys(), QStringList {key});
    EXPECT_EQ(map.value(key).toString(), value);
    const QByteArray utf16 = binaryDictionary(u"é\u0000"_s, u"ü"_s);
    EXPECT_EQ(PropertyList::fromData(utf16).toMap().keys(), QStringList {u"é\u0000"_s});

    // XML has no way to say U+0000: a raw NUL byte is refused rather than cut at.
    WarningCapture warnings;
    EXPECT_FALSE(PropertyList::fromData(QByteArray("<plist version=\"1.0\"><dict><key>a\0b</key>"
                                                   "<string>x</string></dict></plist>",
                                                   75))
                     .isValid());
    EXPECT_FALSE(PropertyList::fromData("<plist version=\"1.0\"><dict><key>a&#0;b</key>"
                                        "<string>x</string></dict></plist>")
                     .isValid());
    EXPECT_EQ(warnings.lines().size(), 2);
}

TEST(PropertyListBadInput, SharedContainersDecodeOnceWithinABudgetAndCyclesAreRefused)
{
    const auto levels = [](int count) {
        BinaryPlist::Writer out;
        auto level = out.addString(u"leaf"_s);
        for (int i = 0; i < count; ++i) {
            const auto array = out.reserve();
            out.setArray(array, {level, level});
            level = array;
        }
        return out.finish(level);
    };
    QVariant small = PropertyList::fromData(levels(10));
    int depth = 0;
    for (; small.typeId() == QMetaType::QVariantList; ++depth) {
        ASSERT_EQ(small.toList().size(), 2);
        EXPECT_EQ(small.toList().first(), small.toList().last());
        small = small.toList().first();
    }
    EXPECT_EQ(depth, 10);
    EXPECT_EQ(small.toString(), u"leaf"_s);

    BinaryPlist::Writer out;
    const auto self = out.reserve();
    out.setArray(self, {out.addInteger(1), self});
    const QByteArray cycle = out.finish(self);

    const QByteArray bomb = levels(30);
    EXPECT_LT(bomb.size(), 200);
    const struct {
        const char *name;
        QByteArray bytes;
        QString trace;
    } cases[] = {
        {"shared 2^30 times", bomb,
         u"the property list stands for "_s + BinaryPlist::Cost::exceededText()},
        {"an array holding itself", cycle, u"a container that contains itself"_s},
    };
    for (const auto &c : cases) {
        WarningCapture warnings;
        EXPECT_FALSE(PropertyList::fromData(c.bytes).isValid()) << c.name;
        EXPECT_TRUE(warnings.lines().join(u'\n').contains(c.trace))
            << c.name << warnings.lines().join(u'\n').toStdString();
    }
}

} // namespace
