#include "HXURLEncodingDynamicValue.h"
#include "HXEncodingValueTestSupport.h"

#include <gtest/gtest.h>

using namespace HXEncodingValueTest;

TEST(HXURLEncodingDynamicValue, EncodesAndDecodesInTheChosenCharset)
{
    auto value = HXDynamicValue::make<HXURLEncodingDynamicValue>();
    EXPECT_EQ(value->charset(), QStringLiteral("UTF-8"));
    EXPECT_EQ(value->mode(), 0);
    value->setInput(QStringLiteral("a b&c \u00e9"));
    // Spaces are never plus signs here.
    EXPECT_EQ(evaluatedString(value), QStringLiteral("a%20b%26c%20%C3%A9"));
    value->setCharset(QStringLiteral("ISO-8859-1"));
    EXPECT_EQ(evaluatedString(value), QStringLiteral("a%20b%26c%20%E9"));

    value->setMode(1);
    value->setInput(QStringLiteral("a+b%20%E9"));
    EXPECT_EQ(evaluatedString(value), QStringLiteral("a+b \u00e9"));
    value->setCharset(QString()); // no name: UTF-8, in which %E9 alone is invalid
    EXPECT_EQ(evaluatedString(value), QStringLiteral("a+b%20%E9"));
    value->setInput(QStringLiteral("100%zz"));
    EXPECT_EQ(evaluatedString(value), QStringLiteral("100%zz"));
}

TEST(HXURLEncodingDynamicValue, InputMayHoldTokens)
{
    auto inner = HXDynamicValue::make<HXURLEncodingDynamicValue>();
    inner->setInput(QStringLiteral("x y"));
    auto outer = HXDynamicValue::make<HXURLEncodingDynamicValue>();
    outer->setInput(archived({QStringLiteral("q="), HXDynamicValuePtr(inner)}));
    // Encoding twice escapes the percent signs of the inner result.
    EXPECT_EQ(evaluatedString(outer), QStringLiteral("q%3Dx%2520y"));
}

TEST(HXURLEncodingDynamicValue, DisplayNamesTheModeAndInput)
{
    auto value = HXDynamicValue::make<HXURLEncodingDynamicValue>();
    EXPECT_EQ(value->displayString(), QStringLiteral("URL-Encode"));
    value->setInput(QStringLiteral("abc"));
    EXPECT_EQ(value->displayString(), QStringLiteral("URL-Encode: abc"));
    value->setMode(1);
    EXPECT_EQ(value->displayString(), QStringLiteral("URL-Decode: abc"));
}
