#include "HXHMACDynamicValue.h"
#include "HXDigestTestVectors.h"
#include "HXEncodingValueTestSupport.h"

#include <gtest/gtest.h>

using namespace HXEncodingValueTest;
using namespace HXDigestTestVectors;

TEST(HXHMACDynamicValue, PublishedVectorsThroughTokensAsBase64)
{
    for (const HMACVector &vector : hmacVectors()) {
        SCOPED_TRACE(testing::Message() << "algorithm " << vector.algorithm << " message "
                                        << vector.message.left(20).toHex().constData());
        auto hmac = HXDynamicValue::make<HXHMACDynamicValue>();
        hmac->setAlgorithm(vector.algorithm);
        hmac->setInput(archivedBytes(vector.message));
        hmac->setKey(archivedBytes(vector.key));
        const QString expected = QString::fromLatin1(QByteArray::fromHex(vector.hex).toBase64());
        EXPECT_EQ(evaluatedString(hmac), expected);
    }
}

TEST(HXHMACDynamicValue, TextInputAndKeyAndOutputLength)
{
    auto hmac = HXDynamicValue::make<HXHMACDynamicValue>();
    EXPECT_EQ(hmac->algorithm(), 0u); // HMAC-MD5
    hmac->setInput(QStringLiteral("what do ya want for nothing?"));
    hmac->setKey(QStringLiteral("Jefe"));
    EXPECT_EQ(evaluatedString(hmac), QStringLiteral("dQx4PmqwtQPqqG4xCl23OA=="));
    hmac->setAlgorithm(3);
    EXPECT_EQ(evaluatedString(hmac), QStringLiteral("W9zBRr9gdU5qBCQmCJV1x1oAPwidJzmDnexYuWTsOEM="));

    // HMAC-SHA256 of anything is 32 bytes: 44 characters ending in "=".
    hmac->setInput(QString());
    hmac->setKey(QString());
    const QString empty = evaluatedString(hmac);
    EXPECT_EQ(empty.size(), 44);
    EXPECT_TRUE(empty.endsWith(u'='));

    // Numbers outside the table give an empty MAC.
    hmac->setAlgorithm(6);
    EXPECT_EQ(evaluatedString(hmac), QString());
}
