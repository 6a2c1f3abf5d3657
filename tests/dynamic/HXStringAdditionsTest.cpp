#include "HXStringAdditions.h"

#include <gtest/gtest.h>

namespace {

QString encode(const QString &text, HXStringEncoding encoding = HXStringEncoding::UTF8, bool plus = false)
{
    return HXStringAdditions::stringByAddingPercentExcapeUsingEncoding(text, encoding, plus);
}

QString decode(const QString &text, HXStringEncoding encoding = HXStringEncoding::UTF8, bool plus = false)
{
    return HXStringAdditions::stringByReplacingPercentEscapesUsingEncoding(text, encoding, plus);
}

} // namespace

TEST(HXStringAdditions, PercentEncodingLeavesExactlyLettersDigitsAndFiveMarks)
{
    QByteArray everyByte;
    for (int byte = 0; byte < 256; ++byte)
        everyByte.append(char(byte));
    const QString encoded = HXStringAdditions::stringByAddingPercentEscapesToData(everyByte, false);

    QString expected;
    for (int byte = 0; byte < 256; ++byte) {
        const char c = char(byte);
        if (std::isalnum(byte) || c == '-' || c == '_' || c == '.' || c == '[' || c == ']')
            expected.append(QLatin1Char(c));
        else
            expected.append(QStringLiteral("%%1").arg(byte, 2, 16, QLatin1Char('0')).toUpper());
    }
    EXPECT_EQ(encoded, expected);
    // The reserved characters of URLs are always escaped.
    EXPECT_EQ(encode(QStringLiteral(":/?&=;+!@#$()~',*")),
              QStringLiteral("%3A%2F%3F%26%3D%3B%2B%21%40%23%24%28%29%7E%27%2C%2A"));
}

TEST(HXStringAdditions, PercentEncodingInTheGivenEncodingAndPlusForSpaces)
{
    EXPECT_EQ(encode(QStringLiteral("a b&c")), QStringLiteral("a%20b%26c"));
    EXPECT_EQ(encode(QStringLiteral("a b+c"), HXStringEncoding::UTF8, true), QStringLiteral("a+b%2Bc"));
    EXPECT_EQ(encode(QStringLiteral("caf\u00e9")), QStringLiteral("caf%C3%A9"));
    EXPECT_EQ(encode(QStringLiteral("caf\u00e9"), HXStringEncoding::ISOLatin1), QStringLiteral("caf%E9"));
    EXPECT_EQ(encode(QStringLiteral("\u20ac"), HXStringEncoding::WindowsCP1252), QStringLiteral("%80"));
    EXPECT_EQ(encode(QString()), QString());
}

TEST(HXStringAdditions, PercentDecoding)
{
    EXPECT_EQ(decode(QStringLiteral("a%20b%26c")), QStringLiteral("a b&c"));
    EXPECT_EQ(decode(QStringLiteral("caf%c3%A9")), QStringLiteral("caf\u00e9"));
    EXPECT_EQ(decode(QStringLiteral("caf%E9"), HXStringEncoding::ISOLatin1), QStringLiteral("caf\u00e9"));
    // Plus signs are spaces only when asked.
    EXPECT_EQ(decode(QStringLiteral("a+b%2B"), HXStringEncoding::UTF8, true), QStringLiteral("a b+"));
    EXPECT_EQ(decode(QStringLiteral("a+b%2B")), QStringLiteral("a+b+"));
    // Characters that are not escapes stay as they are, even outside ASCII.
    EXPECT_EQ(decode(QStringLiteral("\u00e9%41\u4e2d")), QStringLiteral("\u00e9A\u4e2d"));
}

TEST(HXStringAdditions, PercentDecodingReturnsInputWhenMalformedOrInvalid)
{
    for (const QString &input : {QStringLiteral("%zz"), QStringLiteral("a%4"), QStringLiteral("%"),
                                 QStringLiteral("ok%2"), QStringLiteral("%G1x")})
        EXPECT_EQ(decode(input), input);
    // Bytes that are not UTF-8.
    EXPECT_EQ(decode(QStringLiteral("caf%E9")), QStringLiteral("caf%E9"));
    EXPECT_EQ(decode(QStringLiteral("%C3")), QStringLiteral("%C3"));
}

TEST(HXStringAdditions, DoubleQuoteEscape)
{
    EXPECT_EQ(HXStringAdditions::stringByAddingDoubleQuoteEscape(QStringLiteral("plain name-1")),
              QStringLiteral("plain name-1"));
    EXPECT_EQ(HXStringAdditions::stringByAddingDoubleQuoteEscape(QStringLiteral("a\"b\\c")),
              QStringLiteral("a\\\"b\\\\c"));
    EXPECT_EQ(HXStringAdditions::stringByAddingDoubleQuoteEscape(QStringLiteral("\a\b\t\n\v\f\r")),
              QStringLiteral("\\a\\b\\t\\n\\v\\f\\r"));
    // Other control characters, DEL and every byte of a non-ASCII character
    // become three octal digits.
    EXPECT_EQ(HXStringAdditions::stringByAddingDoubleQuoteEscape(QString::fromLatin1("\x01\x06\x0e\x1f\x7f")),
              QStringLiteral("\\001\\006\\016\\037\\177"));
    EXPECT_EQ(HXStringAdditions::stringByAddingDoubleQuoteEscape(QStringLiteral("\u00e9\u20ac")),
              QStringLiteral("\\303\\251\\342\\202\\254"));
    EXPECT_EQ(HXStringAdditions::stringByAddingDoubleQuoteEscape(QStringLiteral(" ~'")), QStringLiteral(" ~'"));
}

TEST(HXStringAdditions, CharsetNames)
{
    const QStringList names = HXStringAdditions::availableCharsetNames();
    ASSERT_FALSE(names.isEmpty());
    EXPECT_EQ(names.first(), QStringLiteral("UTF-8"));
    EXPECT_EQ(QStringList(names).removeDuplicates(), 0);
    for (const QString &name : names)
        EXPECT_EQ(HXStringAdditions::charsetForEncoding(HXStringAdditions::encodingForCharset(name)), name);
    // No name, or an unknown one, means UTF-8.
    EXPECT_EQ(HXStringAdditions::encodingForCharset(QString()), HXStringEncoding::UTF8);
    EXPECT_EQ(HXStringAdditions::encodingForCharset(QStringLiteral("no-such-charset")), HXStringEncoding::UTF8);
}
