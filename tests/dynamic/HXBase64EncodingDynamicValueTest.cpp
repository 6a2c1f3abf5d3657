#include "HXEncodingValueTestSupport.h"

#include <gtest/gtest.h>

using namespace HXEncodingValueTest;

TEST(HXBase64EncodingDynamicValue, EncodesTheInputBytes)
{
    auto value = HXDynamicValue::make<HXBase64EncodingDynamicValue>();
    EXPECT_EQ(value->mode(), 0u);
    value->setInput(QStringLiteral("user:p\u00e4ss"));
    EXPECT_EQ(evaluatedString(value), QStringLiteral("dXNlcjpww6Rzcw=="));
    EXPECT_EQ(evaluatedString(value, HXStringEncoding::ISOLatin1), QStringLiteral("dXNlcjpw5HNz"));
    // Long input: no line breaks.
    value->setInput(QStringLiteral("x").repeated(200));
    EXPECT_FALSE(evaluatedString(value).contains(u'\n'));
}

TEST(HXBase64EncodingDynamicValue, DecodesToBytesNotText)
{
    const QByteArray binary = QByteArray::fromHex("00ff80fe0d0a41");
    auto value = HXDynamicValue::make<HXBase64EncodingDynamicValue>();
    value->setMode(1);
    value->setInput(QStringLiteral("AP+A/g0K\nQQ=="));
    EXPECT_EQ(evaluatedData(value), binary);
    // The same bytes asked for as UTF-8 text are not valid: nothing.
    EXPECT_EQ(evaluatedString(value), QString());
    value->setInput(QStringLiteral("aGVsbG8"));
    EXPECT_EQ(evaluatedString(value), QStringLiteral("hello"));
}

TEST(HXBase64EncodingDynamicValue, EncodingADecodedTokenRoundTrips)
{
    const QByteArray binary = QByteArray::fromHex("89504e470d0a1a0a0000");
    auto encoder = HXDynamicValue::make<HXBase64EncodingDynamicValue>();
    encoder->setInput(archivedBytes(binary));
    EXPECT_EQ(evaluatedString(encoder), QString::fromLatin1(binary.toBase64()));
}
