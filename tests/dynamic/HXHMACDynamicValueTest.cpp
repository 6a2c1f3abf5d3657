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

TEST(HXHMACDynamicValue, DisplayAndChoices)
{
    auto hmac = HXDynamicValue::make<HXHMACDynamicValue>();
    hmac->setAlgorithm(5);
    hmac->setInput(QStringLiteral("msg"));
    EXPECT_EQ(hmac->displayString(), QStringLiteral("HMAC-SHA512(msg)"));
    const auto choices = hmac->valueForUndefinedKey(QStringLiteral("algorithmContent"));
    ASSERT_TRUE(choices.has_value());
    QStringList labels;
    for (const HXDynamicChoice &choice : *choices)
        labels.append(choice.descriptiveString);
    EXPECT_EQ(labels, QStringList({QStringLiteral("HMAC-MD5"), QStringLiteral("HMAC-SHA1"),
                                   QStringLiteral("HMAC-SHA224"), QStringLiteral("HMAC-SHA256"),
                                   QStringLiteral("HMAC-SHA384"), QStringLiteral("HMAC-SHA512")}));
    // The platform codes behind the numbers.
    const int codes[] = {1, 0, 5, 2, 3, 4};
    for (quint32 i = 0; i < 6; ++i)
        EXPECT_EQ(HXHMACDynamicValue::platformAlgorithmCode(i), codes[i]);
}

TEST(HXHMACDynamicValue, StoredPropertiesSurviveTheArchive)
{
    auto hmac = HXDynamicValue::make<HXHMACDynamicValue>();
    hmac->setAlgorithm(4);
    hmac->setInput(archivedBytes("\x01\x02"));
    hmac->setKey(QStringLiteral("k"));
    const auto copy = roundTripped(hmac);
    ASSERT_TRUE(copy);
    EXPECT_TRUE(copy->isEqual(*hmac));
    EXPECT_EQ(copy->algorithm(), 4u);
    EXPECT_EQ(copy->input(), hmac->input());
    EXPECT_EQ(copy->key(), QStringLiteral("k"));
}
