#include "platform/StringFormat.h"

#include <QTimeZone>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(StringFormat, PlaceholdersOfThePlatformFormatter)
{
    EXPECT_EQ(stringWithFormat(u"--port=%@"_s, {u"8443"_s}), u"--port=8443"_s);
    EXPECT_EQ(stringWithFormat(u"%@ : %@ "_s, {u"a"_s, u"b"_s}), u"a : b "_s);
    EXPECT_EQ(stringWithFormat(u"%@"_s, {QVariant()}), u"(null)"_s);
    EXPECT_EQ(stringWithFormat(u"%d%%"_s, {42}), u"42%"_s);
    EXPECT_EQ(stringWithFormat(u"%ld/%lld/%u"_s, {-1, 2, 3}), u"-1/2/3"_s);
    EXPECT_EQ(stringWithFormat(u"%.2f|%f"_s, {2.345, 1.5}), u"2.35|1.500000"_s);
    EXPECT_EQ(stringWithFormat(u"[%5d][%-3d][%03d]"_s, {42, 7, 5}), u"[   42][7  ][005]"_s);
    EXPECT_EQ(stringWithFormat(u"%x"_s, {255}), u"ff"_s);
}

TEST(StringFormat, FormatsWithoutPlaceholdersComeBackUnchanged)
{
    EXPECT_EQ(stringWithFormat(u"/Library/x.plist"_s, {u"%@"_s}), u"/Library/x.plist"_s);
    // A placeholder filled with itself stays for the caller to fill later.
    EXPECT_EQ(stringWithFormat(u"/Users/%@/a"_s, {u"%@"_s}), u"/Users/%@/a"_s);
    EXPECT_EQ(stringWithFormat(u"trailing %"_s), u"trailing %"_s);
    EXPECT_EQ(stringWithFormatArgs(u"%@ has %d"_s, u"ann"_s, 3), u"ann has 3"_s);
}

TEST(StringFormat, HugeWidthsAndPrecisionsAreCappedAtAThousandAndTwentyFour)
{
    const QString wide = stringWithFormat(u"[%2147483648d]"_s, {5});
    EXPECT_EQ(wide, u'[' + QString(1023, u' ') + u"5]"_s);
    const QString precise = stringWithFormat(u"%.99999999999f"_s, {0.5});
    EXPECT_EQ(precise, u"0.5"_s + QString(1023, u'0'));
    EXPECT_EQ(stringWithFormat(u"[%1024d]"_s, {5}).size(), 1026) << "up to the cap, as asked";
}


TEST(StringFormat, IsoTimesAlwaysCarryADigitOffset)
{
    const QDateTime instant = QDateTime(QDate(2026, 3, 29), QTime(1, 30), Qt::UTC);
    EXPECT_EQ(iso8601WithOffset(instant), u"2026-03-29T01:30:00+00:00"_s) << "never \"Z\"";
    EXPECT_EQ(iso8601WithOffset(instant.toTimeZone(QTimeZone("Europe/Berlin"))), u"2026-03-29T03:30:00+02:00"_s);
    EXPECT_EQ(iso8601WithOffset(instant.toOffsetFromUtc(-(3 * 3600 + 30 * 60))), u"2026-03-28T22:00:00-03:30"_s);
    EXPECT_EQ(iso8601WithOffset(QDateTime()), QString());
}

} // namespace
