#include "HXBasicAuthDynamicValue.h"
#include "HXDigestTestVectors.h"
#include "HXEncodingValueTestSupport.h"
#include "HXHMACDynamicValue.h"
#include "HXHashDynamicValue.h"
#include "HXURLEncodingDynamicValue.h"

#include <gtest/gtest.h>

// The values that encode, digest or sign their input: Base64, URL encoding,
// HTTP Basic Auth, digests and HMACs.

using namespace HXEncodingValueTest;
using namespace HXDigestTestVectors;

namespace {

using Properties = std::initializer_list<std::pair<const char *, QVariant>>;

// A value of kind T with the given stored properties (the rest default).
template <typename T>
std::shared_ptr<T> made(Properties properties)
{
    auto value = HXDynamicValue::make<T>();
    for (const auto &[key, property] : properties) {
        if (!value->setValue(QLatin1String(key), property))
            ADD_FAILURE() << "cannot set " << key;
    }
    return value;
}

} // namespace

TEST(HXEncodingDynamicValues, EvaluateInTheirCharsetOrThePassEncoding)
{
    using B64 = HXBase64EncodingDynamicValue;
    using URL = HXURLEncodingDynamicValue;
    using Basic = HXBasicAuthDynamicValue;
    using Hash = HXHashDynamicValue;
    using HMAC = HXHMACDynamicValue;
    const auto latin1 = HXStringEncoding::ISOLatin1;
    const auto utf8 = HXStringEncoding::UTF8;
    const QString hashOfToken = archived({QStringLiteral("x"), HXDynamicValuePtr(made<Hash>({}))});
    const QString jurgen = QStringLiteral("J\u00fcrgen");
    struct Case
    {
        const char *name;
        HXDynamicValuePtr value;
        HXStringEncoding pass;
        QString expected;
    };
    const Case cases[] = {
        {"base64 of UTF-8", made<B64>({{"input", QStringLiteral("user:p\u00e4ss")}}), utf8,
         QStringLiteral("dXNlcjpww6Rzcw==")},
        {"base64 of Latin-1", made<B64>({{"input", QStringLiteral("user:p\u00e4ss")}}), latin1,
         QStringLiteral("dXNlcjpw5HNz")},
        {"base64 decoding unpadded", made<B64>({{"input", QStringLiteral("aGVsbG8")}, {"mode", 1}}), utf8,
         QStringLiteral("hello")},
        {"base64 decoding to bytes that are not UTF-8",
         made<B64>({{"input", QStringLiteral("AP+A/g0K\nQQ==")}, {"mode", 1}}), utf8, QString()},
        // Spaces are never plus signs.
        {"URL encoding, default UTF-8", made<URL>({{"input", QStringLiteral("a b&c \u00e9")}}), utf8,
         QStringLiteral("a%20b%26c%20%C3%A9")},
        {"URL encoding in Latin-1",
         made<URL>({{"input", QStringLiteral("a b&c \u00e9")}, {"charset", QStringLiteral("ISO-8859-1")}}), utf8,
         QStringLiteral("a%20b%26c%20%E9")},
        {"URL decoding in Latin-1",
         made<URL>({{"input", QStringLiteral("a+b%20%E9")}, {"mode", 1}, {"charset", QStringLiteral("ISO-8859-1")}}),
         utf8, QStringLiteral("a+b \u00e9")},
        // No charset name means UTF-8, in which %E9 alone is invalid.
        {"URL decoding invalid UTF-8",
         made<URL>({{"input", QStringLiteral("a+b%20%E9")}, {"mode", 1}, {"charset", QString()}}), utf8,
         QStringLiteral("a+b%20%E9")},
        {"URL decoding a malformed escape", made<URL>({{"input", QStringLiteral("100%zz")}, {"mode", 1}}), utf8,
         QStringLiteral("100%zz")},
        // The default charset is US-ASCII: one unencodable character empties the credentials.
        {"basic auth, unencodable", made<Basic>({{"username", jurgen}, {"password", QStringLiteral("pw")}}), utf8,
         QStringLiteral("Basic ")},
        {"basic auth in Latin-1",
         made<Basic>(
             {{"username", jurgen}, {"password", QStringLiteral("pw")}, {"charset", QStringLiteral("ISO-8859-1")}}),
         utf8, QStringLiteral("Basic SvxyZ2VuOnB3")},
        {"basic auth in UTF-8",
         made<Basic>({{"username", jurgen}, {"password", QStringLiteral("pw")}, {"charset", QStringLiteral("UTF-8")}}),
         utf8, QStringLiteral("Basic SsO8cmdlbjpwdw==")},
        {"basic auth, no charset name",
         made<Basic>({{"username", jurgen}, {"password", QStringLiteral("pw")}, {"charset", QString()}}), utf8,
         QStringLiteral("Basic SsO8cmdlbjpwdw==")},
        // Digests take the input in the pass's encoding.
        {"MD5 of UTF-8", made<Hash>({{"hashType", 2}, {"input", QStringLiteral("\u00e9")}}), utf8,
         HXDataAdditions::MD5HexString("\xc3\xa9")},
        {"MD5 of Latin-1", made<Hash>({{"hashType", 2}, {"input", QStringLiteral("\u00e9")}}), latin1,
         HXDataAdditions::MD5HexString("\xe9")},
        {"default digest is MD2", made<Hash>({}), utf8, QStringLiteral("8350E5A3E24C153DF2275C9F80692773")},
        // Out-of-range numbers give the stored input text itself, unevaluated.
        {"digest type 8", made<Hash>({{"hashType", 8}, {"input", hashOfToken}}), utf8, hashOfToken},
        {"digest type 1000", made<Hash>({{"hashType", 1000}, {"input", hashOfToken}}), utf8, hashOfToken},
        {"default HMAC is MD5, text key",
         made<HMAC>({{"input", QStringLiteral("what do ya want for nothing?")}, {"key", QStringLiteral("Jefe")}}), utf8,
         QStringLiteral("dQx4PmqwtQPqqG4xCl23OA==")},
        {"HMAC number outside the table", made<HMAC>({{"algorithm", 6}, {"input", QStringLiteral("x")}}), utf8,
         QString()},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(evaluatedString(c.value, c.pass), c.expected);
    }

    // Decoded Base64 is bytes, not text.
    EXPECT_EQ(evaluatedData(made<B64>({{"input", QStringLiteral("AP+A/g0K\nQQ==")}, {"mode", 1}})),
              QByteArray::fromHex("00ff80fe0d0a41"));
}

TEST(HXEncodingDynamicValues, InputsMayHoldTokens)
{
    // Encoding the bytes of a decoding token gives the same Base64 back.
    const QByteArray binary = QByteArray::fromHex("89504e470d0a1a0a0000");
    EXPECT_EQ(evaluatedString(made<HXBase64EncodingDynamicValue>({{"input", archivedBytes(binary)}})),
              QString::fromLatin1(binary.toBase64()));

    // Encoding twice escapes the percent signs of the inner result.
    auto inner = made<HXURLEncodingDynamicValue>({{"input", QStringLiteral("x y")}});
    auto outer =
        made<HXURLEncodingDynamicValue>({{"input", archived({QStringLiteral("q="), HXDynamicValuePtr(inner)})}});
    EXPECT_EQ(evaluatedString(outer), QStringLiteral("q%3Dx%2520y"));

    auto secret = made<HXBase64EncodingDynamicValue>({{"input", QStringLiteral("c2VjcmV0")}, {"mode", 1}});
    auto basic =
        made<HXBasicAuthDynamicValue>({{"username", QStringLiteral("user")},
                                       {"password", archived({HXDynamicValuePtr(secret), QStringLiteral("!")})}});
    EXPECT_EQ(evaluatedString(basic), QStringLiteral("Basic dXNlcjpzZWNyZXQh"));
}

TEST(HXEncodingDynamicValues, PublishedDigestAndHMACVectorsThroughTokens)
{
    for (const DigestVector &vector : digestVectors()) {
        SCOPED_TRACE(testing::Message() << "hashType " << vector.hashType << " message " << vector.message.constData());
        // Every other vector goes in as bytes of a nested token.
        auto hash = made<HXHashDynamicValue>(
            {{"hashType", qint64(vector.hashType)},
             {"input", vector.message.size() % 2 ? archivedBytes(vector.message)
                                                 : archived({QString::fromLatin1(vector.message)})}});
        EXPECT_EQ(evaluatedString(hash), QString::fromLatin1(vector.hex).toUpper());
    }
    for (const HMACVector &vector : hmacVectors()) {
        SCOPED_TRACE(testing::Message() << "algorithm " << vector.algorithm << " message "
                                        << vector.message.left(20).toHex().constData());
        auto hmac = made<HXHMACDynamicValue>({{"algorithm", qint64(vector.algorithm)},
                                              {"input", archivedBytes(vector.message)},
                                              {"key", archivedBytes(vector.key)}});
        EXPECT_EQ(evaluatedString(hmac), QString::fromLatin1(QByteArray::fromHex(vector.hex).toBase64()));
    }
}

TEST(HXEncodingDynamicValues, DisplayStringsAndTheDefaultAuthorization)
{
    const std::pair<HXDynamicValuePtr, QString> cases[] = {
        {made<HXURLEncodingDynamicValue>({}), QStringLiteral("URL-Encode")},
        {made<HXURLEncodingDynamicValue>({{"input", QStringLiteral("abc")}}), QStringLiteral("URL-Encode: abc")},
        {made<HXURLEncodingDynamicValue>({{"input", QStringLiteral("abc")}, {"mode", 1}}),
         QStringLiteral("URL-Decode: abc")},
        {made<HXBasicAuthDynamicValue>({}), QStringLiteral("HTTP Basic Auth")},
        {made<HXBasicAuthDynamicValue>({{"username", QStringLiteral("alice")}}),
         QStringLiteral("HTTP Basic Auth: alice")},
        {made<HXHashDynamicValue>({{"hashType", 5}, {"input", QStringLiteral("abc")}}), QStringLiteral("SHA256(abc)")},
    };
    for (const auto &[value, expected] : cases)
        EXPECT_EQ(value->displayString(), expected);

    const QString stored = HXBasicAuthDynamicValue::archivedDefaultAuthorizationHeaderValue();
    const auto fresh = std::dynamic_pointer_cast<HXBasicAuthDynamicValue>(
        HXDynamicValueEngine::unarchiveAttributedString(stored).onlyDynamicValue());
    ASSERT_TRUE(fresh);
    EXPECT_TRUE(fresh->isEqual(*HXDynamicValue::make<HXBasicAuthDynamicValue>()));
    EXPECT_EQ(HXDynamicValueEngine::evaluateStringAsString(stored), QStringLiteral("Basic Og=="));
}
