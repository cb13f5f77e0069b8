#include "platform/FoundationValues.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace FoundationValues;

namespace {

TEST(FoundationValues, StringsReadAsBooleansByTheirFirstSignificantCharacter)
{
    const struct
    {
        QString text;
        bool expected;
    } cases[] = {
        {u"YES"_s, true}, {u"yes"_s, true},  {u"true"_s, true},   {u"T"_s, true},
        {u"1"_s, true},   {u"  +007"_s, true}, {u"-3"_s, true},   {u"NO"_s, false},
        {u"0"_s, false},  {u"000"_s, false}, {u""_s, false},      {u"false"_s, false},
        {u"abc"_s, false}, {u" 0x1"_s, false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(stringBoolValue(c.text), c.expected) << c.text.toStdString();
}

TEST(FoundationValues, StringsReadAsNumbersByTheirLeadingDigits)
{
    EXPECT_EQ(stringIntegerValue(u"  42abc"_s), 42);
    EXPECT_EQ(stringIntegerValue(u"-17"_s), -17);
    EXPECT_EQ(stringIntegerValue(u"abc"_s), 0);
    EXPECT_EQ(stringIntegerValue(u"99999999999999999999"_s), std::numeric_limits<qint64>::max());
    EXPECT_DOUBLE_EQ(stringDoubleValue(u" 2.5e2xyz"_s), 250.0);
    EXPECT_DOUBLE_EQ(stringDoubleValue(u"-.5"_s), -0.5);
    EXPECT_DOUBLE_EQ(stringDoubleValue(u"1e"_s), 1.0);
    EXPECT_DOUBLE_EQ(stringDoubleValue(u"."_s), 0.0);
    // Reals beyond the range saturate like the texts do (a plain cast would be undefined).
    EXPECT_EQ(integerValue(1e300), std::numeric_limits<qint64>::max());
    EXPECT_EQ(integerValue(-1e300), std::numeric_limits<qint64>::min());
    EXPECT_EQ(integerValue(std::numeric_limits<double>::quiet_NaN()), 0);
    EXPECT_EQ(integerValue(-2.9), -2);
}

TEST(FoundationValues, VariantsOfEveryPropertyListKind)
{
    EXPECT_TRUE(boolValue(1));
    EXPECT_TRUE(boolValue(u"YES"_s)) << "strings go through the text rules";
    EXPECT_TRUE(boolValue(0.5));
    EXPECT_FALSE(boolValue(QVariantMap()));
    EXPECT_FALSE(boolValue(QVariant()));
    EXPECT_EQ(integerValue(u"12"_s), 12);
    EXPECT_EQ(integerValue(7.9), 7);
    EXPECT_EQ(integerValue(true), 1);
    EXPECT_EQ(description(QVariant()), u"(null)"_s);
    EXPECT_EQ(description(QString()), u"(null)"_s);
    EXPECT_EQ(description(u""_s), u""_s);
    EXPECT_EQ(description(12), u"12"_s);
}

} // namespace
