#include "HXHashDynamicValue.h"
#include "HXDigestTestVectors.h"
#include "HXEncodingValueTestSupport.h"

#include <gtest/gtest.h>

using namespace HXEncodingValueTest;
using namespace HXDigestTestVectors;

TEST(HXHashDynamicValue, PublishedVectorsThroughTokens)
{
    for (const DigestVector &vector : digestVectors()) {
        SCOPED_TRACE(testing::Message() << "hashType " << vector.hashType << " message " << vector.message.constData());
        auto hash = HXDynamicValue::make<HXHashDynamicValue>();
        hash->setHashType(vector.hashType);
        // Every other vector goes in as bytes of a nested token.
        hash->setInput(vector.message.size() % 2 ? archivedBytes(vector.message)
                                                 : archived({QString::fromLatin1(vector.message)}));
        EXPECT_EQ(evaluatedString(hash), QString::fromLatin1(vector.hex).toUpper());
    }
}

TEST(HXHashDynamicValue, DigestsTheInputInTheCurrentEncoding)
{
    auto hash = HXDynamicValue::make<HXHashDynamicValue>();
    hash->setHashType(HXDataAdditions::DigestMD5);
    hash->setInput(QStringLiteral("\u00e9"));
    EXPECT_EQ(evaluatedString(hash, HXStringEncoding::UTF8), HXDataAdditions::MD5HexString("\xc3\xa9"));
    EXPECT_EQ(evaluatedString(hash, HXStringEncoding::ISOLatin1), HXDataAdditions::MD5HexString("\xe9"));
}

TEST(HXHashDynamicValue, DefaultsAndTypeEightOrMore)
{
    auto hash = HXDynamicValue::make<HXHashDynamicValue>();
    EXPECT_EQ(hash->hashType(), 0u); // MD2
    EXPECT_EQ(hash->input(), QString());
    EXPECT_EQ(evaluatedString(hash), QStringLiteral("8350E5A3E24C153DF2275C9F80692773"));

    // Out-of-range numbers give the stored input text itself, unevaluated.
    auto inner = HXDynamicValue::make<HXHashDynamicValue>();
    const QString stored = archived({QStringLiteral("x"), HXDynamicValuePtr(inner)});
    for (const quint32 type : {8u, 1000u}) {
        hash->setHashType(type);
        hash->setInput(stored);
        EXPECT_EQ(evaluatedString(hash), stored);
    }
}

TEST(HXHashDynamicValue, DisplayNamesTheAlgorithmAndInput)
{
    auto hash = HXDynamicValue::make<HXHashDynamicValue>();
    hash->setHashType(HXDataAdditions::DigestSHA256);
    hash->setInput(QStringLiteral("abc"));
    EXPECT_EQ(hash->displayString(), QStringLiteral("SHA256(abc)"));
}
