#include "support/TestEnvironment.h"
#include "util/SLUtility.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct SizeCase
{
    std::optional<quint64> bytes;
    const char *expected;
};

void expectAll(QString (*format)(std::optional<quint64>), std::initializer_list<SizeCase> cases)
{
    for (const SizeCase &c : cases)
        EXPECT_EQ(format(c.bytes), QString::fromUtf8(c.expected))
            << (c.bytes ? std::to_string(*c.bytes) : std::string("nil"));
}

TEST(SizeFormatting, OneFractionDigitRoundedUp)
{
    expectAll(SLUtility::formatedFileSizeAsString,
              {{std::nullopt, "0 bytes"},
               {0, "0 bytes"},
               {1023, "1023 bytes"},
               {1024, "1 KB"},
               {1025, "1.1 KB"},
               {1536, "1.5 KB"},
               {1048575, "1024 KB"},
               {1048576, "1 MB"},
               {1048577, "1.1 MB"},
               {1073741823, "1024 MB"},
               {1073741824, "1 GB"},
               {5242880000ULL, "4.9 GB"},
               {1099511627776ULL * 3, "3072 GB"},
               {std::numeric_limits<quint64>::max(), "17179869184 GB"}});
}

TEST(SizeFormatting, PlanSizesHalfAwayFromZeroWithTheThousandsOfMiBRule)
{
    expectAll(SLUtility::formatedFileSizeAsStringWithDecimalTruncated,
              {{std::nullopt, ""},
               {1023, "1023 bytes"},
               {1024, "1 KB"},
               {1075, "1 KB"},    // 1.0498 rounds down
               {1076, "1.1 KB"},  // 1.0508 rounds up
               {1048576 * 500ULL, "500 MB"},
               {1048576 * 1000ULL, "1024 MB"},     // below 1 GiB the rule divides by 1,024,000
               {5242880000ULL, "5 GB"},            // 5,000 MiB: a plan of 5 GB, not 4.9
               {5368709120ULL, "5 GB"},            // 5 GiB exactly
               {1048576 * 1500ULL, "1.5 GB"},
               {1073741824000ULL, "1 TB"},         // 1,000 GiB = 1,024,000 MiB: a whole thousand
               {1073741824000ULL * 2 + 1048576, "2 TB"},
               {1048576 * 2500000ULL, "2.5 TB"}});
}

TEST(SizeFormatting, RatesInBitsWithTwoDigitsAndNeverZero)
{
    expectAll(SLUtility::formatedFileSizeInBits,
              {{std::nullopt, "1 bytes"},
               {0, "50 Kb"},
               {1, "8 bytes"},
               {127, "1016 bytes"},
               {128, "1 Kb"},
               {129, "1.01 Kb"},
               {131072, "1 Mb"},
               {200000, "1.53 Mb"},
               {134217728, "1 Gb"}});
}

TEST(SizeFormatting, OutlineViewUsesPrintfRounding)
{
    EXPECT_EQ(SLUtility::formatedFileSizeForOutlineView(1023), u"1023 bytes"_s);
    EXPECT_EQ(SLUtility::formatedFileSizeForOutlineView(1536), u"1.50 KB"_s);
    EXPECT_EQ(SLUtility::formatedFileSizeForOutlineView(1048575), u"1024.00 KB"_s);
    EXPECT_EQ(SLUtility::formatedFileSizeForOutlineView(3221225472ULL), u"3.00 GB"_s);
    EXPECT_EQ(SLUtility::formatedFileSize(42), std::optional<quint64>(42));
}

TEST(TimeFormatting, ClockFieldsAndSessionDurations)
{
    EXPECT_EQ(SLUtility::timeDisplayFormatHour(5, 30, -1), u"05:30:-1"_s);
    EXPECT_EQ(SLUtility::timeDisplayFormatHour(0, 9, 10), u"00:09:10"_s);
    EXPECT_EQ(SLUtility::timeDisplayFormatHour(123, 59, 59), u"123:59:59"_s);

    const QString start = u"11/15/2026 06:05:09 PM"_s;
    EXPECT_EQ(SLUtility::getSessionDurationWithStartDate(start, start), u"--:--:--"_s);
    EXPECT_EQ(SLUtility::getSessionDurationWithStartDate(start, u"11/15/2026 07:06:10 PM"_s), u"01:01:01"_s);
    EXPECT_EQ(SLUtility::getSessionDurationWithStartDate(start, u"11/16/2026 08:05:09 PM"_s), u"26:00:00"_s);
    EXPECT_EQ(SLUtility::getSessionDurationWithStartDate(start, u"11/15/2026 06:00:00 PM"_s), u"--:--:--"_s)
        << "an end before the start has no positive part";
    EXPECT_EQ(SLUtility::getSessionDurationWithStartDate(u"garbage"_s, start), u"--:--:--"_s);

    FixedClock clock(QDateTime(QDate(2026, 11, 15), QTime(18, 5, 9)));
    EXPECT_EQ(SLUtility::getSessionLogTime(clock), start);
}

TEST(Validation, EmailAddresses)
{
    const struct
    {
        QString text;
        bool structure;
        bool valid;
    } cases[] = {
        {u"ann@example.com"_s, true, true},
        {u"ann.b_c-d@mail.example.co"_s, true, true},
        {u"ann+tag@example.com"_s, true, false},
        {u"ann@localhost"_s, false, false},
        {u"ann@.com"_s, false, false},
        {u"a@b@example.com"_s, false, false},
        {u""_s, false, false},
        {u"ann@example."_s, true, true},
        {u"änn@example.com"_s, true, false},
        {u"\u0141ukasz@example.com"_s, true, true}, // only the low eight bits count: U+0141 reads as "A"
        {u"ann smith@example.com"_s, true, false},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(SLUtility::isEmailID(c.text), c.structure) << c.text.toStdString();
        EXPECT_EQ(SLUtility::isValidEmailID(c.text), c.valid) << c.text.toStdString();
    }
}

TEST(Validation, CharactersAndVerificationErrors)
{
    EXPECT_EQ(SLUtility::LocateCharecter(u"ab[c"_s, u'['), 2);
    EXPECT_EQ(SLUtility::LocateCharecter(u"abc"_s, u'['), -1);
    EXPECT_EQ(SLUtility::parseError(u"[E][2026][/Users/ann/file.txt][x][y]"_s), std::optional(u"/Users/ann/file.txt"_s));
    EXPECT_EQ(SLUtility::parseError(u"[E]]][2026][name][x][y]"_s), std::optional(u"name"_s)) << "empty pieces dropped";
    EXPECT_FALSE(SLUtility::parseError(u"[a][b][c][d]"_s).has_value()) << "four pieces are too few";
    EXPECT_FALSE(SLUtility::parseError(u"no brackets at all"_s).has_value());
}

} // namespace
