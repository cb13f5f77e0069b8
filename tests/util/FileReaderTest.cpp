#include "support/TestEnvironment.h"
#include "util/FileReader.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList allLines(FileReader &reader)
{
    QStringList lines;
    reader.enumerateLinesUsingBlock([&](const QString &line, bool *) { lines.append(line); });
    return lines;
}

TEST(FileReader, LinesKeepTheirDelimiterAcrossChunkBoundaries)
{
    TestEnvironment env;
    env.writeFile(u"/log.txt"_s, "first line is longer than a chunk\n\nthird é\nno newline");
    auto reader = FileReader::initWithFilePath(u"/log.txt"_s);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->chunkSize(), 10u);
    EXPECT_EQ(allLines(*reader), (QStringList{u"first line is longer than a chunk\n"_s, u"\n"_s,
                                               u"third é\n"_s, u"no newline"_s}));
    EXPECT_TRUE(reader->readLine().isNull());
}

TEST(FileReader, EmptyMissingAndStoppedReads)
{
    TestEnvironment env;
    env.writeFile(u"/empty.txt"_s, "");
    auto empty = FileReader::initWithFilePath(u"/empty.txt"_s);
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->readLine().isNull());
    EXPECT_FALSE(FileReader::initWithFilePath(u"/missing.txt"_s));

    env.writeFile(u"/three.txt"_s, "a\nb\nc\n");
    auto reader = FileReader::initWithFilePath(u"/three.txt"_s);
    int calls = 0;
    reader->enumerateLinesUsingBlock([&](const QString &, bool *stop) { *stop = ++calls == 2; });
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(reader->readTrimmedLine(), u"c"_s);
}

TEST(FileReader, ALongDelimiterSplitAcrossChunksRunsOnToTheNextWholeOne)
{
    TestEnvironment env;
    // With chunks of 4 bytes, the first "<>" straddles bytes 3-4 and is not seen.
    env.writeFile(u"/d.txt"_s, "abc<>defgh<>ij");
    auto reader = FileReader::initWithFilePath(u"/d.txt"_s);
    reader->setChunkSize(4);
    reader->setLineDelimiter(u"<>"_s);
    EXPECT_EQ(reader->readLine(), u"abc<>defgh<>"_s);
    EXPECT_EQ(reader->readLine(), u"ij"_s);
}

} // namespace
