#include "HXStringEncoding.h"

#include <gtest/gtest.h>

using namespace HXStringEncodings;

TEST(HXStringEncodingTest, NamesRoundTripAndAliasesAreAccepted)
{
    const QList<HXStringEncoding> encodings = availableEncodings();
    ASSERT_FALSE(encodings.isEmpty());
    EXPECT_EQ(encodings.first(), HXStringEncoding::UTF8);
    for (const HXStringEncoding encoding : encodings) {
        EXPECT_EQ(encodingForIANAName(ianaName(encoding)), encoding) << ianaName(encoding).toStdString();
        EXPECT_EQ(encodingForIANAName(ianaName(encoding).toUpper()), encoding);
        EXPECT_FALSE(localizedName(encoding).isEmpty());
        // Every offered encoding converts plain ASCII letters.
        const std::optional<QByteArray> bytes = encode(QStringLiteral("Kea"), encoding);
        ASSERT_TRUE(bytes) << ianaName(encoding).toStdString();
        EXPECT_EQ(decode(*bytes, encoding), QStringLiteral("Kea")) << ianaName(encoding).toStdString();
    }
    EXPECT_EQ(ianaName(HXStringEncoding::ASCII), QStringLiteral("US-ASCII"));
    EXPECT_EQ(ianaName(HXStringEncoding::WindowsCP1252), QStringLiteral("windows-1252"));
    EXPECT_EQ(encodingForIANAName(u"latin1"), HXStringEncoding::ISOLatin1);
    EXPECT_EQ(encodingForIANAName(u" utf8 "), HXStringEncoding::UTF8);
    EXPECT_EQ(encodingForIANAName(u"cp1251"), HXStringEncoding::WindowsCP1251);
    EXPECT_EQ(encodingForIANAName(u"sjis"), HXStringEncoding::ShiftJIS);
    EXPECT_FALSE(encodingForIANAName(u"no-such-charset"));
    EXPECT_FALSE(encodingForIANAName(u""));
    EXPECT_EQ(encodingForIANANameOrUTF8(u""), HXStringEncoding::UTF8);
    EXPECT_EQ(encodingForIANANameOrUTF8(u"bogus"), HXStringEncoding::UTF8);
}

TEST(HXStringEncodingTest, KnownBytes)
{
    const QString text = QStringLiteral("\u00e9\u20ac");
    EXPECT_EQ(encode(text, HXStringEncoding::UTF8), QByteArray("\xc3\xa9\xe2\x82\xac"));
    EXPECT_EQ(encode(text, HXStringEncoding::WindowsCP1252), QByteArray("\xe9\x80"));
    EXPECT_EQ(encode(text, HXStringEncoding::ISOLatin9), QByteArray("\xe9\xa4"));
    EXPECT_EQ(encode(text, HXStringEncoding::UTF16BE), QByteArray("\x00\xe9\x20\xac", 4));
    EXPECT_EQ(encode(text, HXStringEncoding::UTF16LE), QByteArray("\xe9\x00\xac\x20", 4));
    EXPECT_EQ(encode(QStringLiteral("\U0001F600"), HXStringEncoding::UTF32BE), QByteArray("\x00\x01\xf6\x00", 4));
    EXPECT_EQ(encode(QStringLiteral("\u65e5\u672c"), HXStringEncoding::ShiftJIS), QByteArray("\x93\xfa\x96\x7b"));
    EXPECT_EQ(encode(QStringLiteral("\u65e5"), HXStringEncoding::ISO2022JP), QByteArray("\x1b$BF|\x1b(B"));
    EXPECT_EQ(encode(QStringLiteral("\u0416"), HXStringEncoding::KOI8R), QByteArray("\xf6"));
    // UTF-16 with a byte order mark is read in either byte order.
    EXPECT_EQ(decode(QByteArray("\xfe\xff\x00\x41", 4), HXStringEncoding::UTF16), QStringLiteral("A"));
    EXPECT_EQ(decode(QByteArray("\xff\xfe\x41\x00", 4), HXStringEncoding::UTF16), QStringLiteral("A"));
    EXPECT_EQ(decode(QByteArray("\xe9\x80"), HXStringEncoding::WindowsCP1252), text);
}

TEST(HXStringEncodingTest, StrictConversionFails)
{
    EXPECT_FALSE(encode(QStringLiteral("caf\u00e9"), HXStringEncoding::ASCII));
    EXPECT_FALSE(encode(QStringLiteral("\u20ac"), HXStringEncoding::ISOLatin1));
    EXPECT_FALSE(encode(QString(QChar(0xD800)), HXStringEncoding::UTF8));
    EXPECT_FALSE(decode(QByteArray("\xff"), HXStringEncoding::UTF8));
    EXPECT_FALSE(decode(QByteArray("\xc3"), HXStringEncoding::UTF8));
    EXPECT_FALSE(decode(QByteArray("\xed\xa0\x80"), HXStringEncoding::UTF8)); // an encoded surrogate
    EXPECT_FALSE(decode(QByteArray("\x80"), HXStringEncoding::ASCII));
    EXPECT_FALSE(decode(QByteArray("\x93"), HXStringEncoding::ShiftJIS)); // truncated double-byte character
    EXPECT_FALSE(decode(QByteArray("\x00\xd8", 2), HXStringEncoding::UTF16LE));
    EXPECT_EQ(decode(QByteArray(), HXStringEncoding::UTF8), QString());
    EXPECT_FALSE(decode(QByteArray(), HXStringEncoding::UTF8)->isNull());
}

TEST(HXStringEncodingTest, LossyConversionReplacesWhatCannotBeEncoded)
{
    EXPECT_EQ(encodeLossy(QStringLiteral("caf\u00e9 \U0001F600!"), HXStringEncoding::ASCII), QByteArray("caf? ?!"));
    EXPECT_EQ(encodeLossy(QStringLiteral("\u20ac\u00e9"), HXStringEncoding::ISOLatin1), QByteArray("?\xe9"));
    EXPECT_EQ(encodeLossy(QStringLiteral("a\u4e2db"), HXStringEncoding::UTF16BE), QByteArray("\0a\x4e\x2d\0b", 6));
    EXPECT_EQ(encodeLossy(QStringLiteral("\u00e9"), HXStringEncoding::KOI8R), QByteArray("?"));
    // A stateful encoding returns to ASCII before the replacement.
    EXPECT_EQ(encodeLossy(QStringLiteral("\u65e5\u00e9"), HXStringEncoding::ISO2022JP), QByteArray("\x1b$BF|\x1b(B?"));
    EXPECT_EQ(encodeLossy(QStringLiteral("a") + QChar(0xDC00) + u'b', HXStringEncoding::UTF8), QByteArray("a?b"));
    // Long input crosses the internal buffer size.
    const QString longText = QString(5000, QChar(0x00e9)) + QString(5000, u'x');
    EXPECT_EQ(encodeLossy(longText, HXStringEncoding::ASCII), QByteArray(5000, '?') + QByteArray(5000, 'x'));
    EXPECT_EQ(decode(*encode(longText, HXStringEncoding::UTF32LE), HXStringEncoding::UTF32LE), longText);
}
