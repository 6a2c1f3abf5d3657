#include "HXDataAdditions.h"

#include <QRandomGenerator>

#include <openssl/evp.h>
#include <openssl/provider.h>

#include <gtest/gtest.h>

TEST(HXDataAdditions, DigestsOfOneMillionLetters)
{
    // FIPS 180's long message, which runs the block loop many times.
    const QByteArray million(1000000, 'a');
    EXPECT_EQ(HXDataAdditions::SHA1HexString(million), QStringLiteral("34AA973CD4C4DAA4F61EEB2BDBAD27316534016F"));
    EXPECT_EQ(HXDataAdditions::SHA256HexString(million),
              QStringLiteral("CDC76E5C9914FB9281A1C7E284D73E67F1809A48A497200E046D39CCC7112CD0"));
}

TEST(HXDataAdditions, OwnMD4MatchesOpenSSLLegacyProviderAtEveryPaddingLength)
{
    // OpenSSL 3 keeps MD4 out of its default provider; its legacy provider,
    // loaded into a private library context, serves as the reference here.
    OSSL_LIB_CTX *library = OSSL_LIB_CTX_new();
    ASSERT_TRUE(library);
    OSSL_PROVIDER *legacy = OSSL_PROVIDER_load(library, "legacy");
    EVP_MD *md4 = legacy ? EVP_MD_fetch(library, "MD4", nullptr) : nullptr;
    if (md4) {
        for (int length = 0; length < 200; ++length) {
            QByteArray message(length, Qt::Uninitialized);
            for (int i = 0; i < length; ++i)
                message[i] = char(i * 7 + length);
            unsigned char reference[EVP_MAX_MD_SIZE];
            unsigned int referenceLength = 0;
            ASSERT_EQ(EVP_Digest(message.constData(), size_t(length), reference, &referenceLength, md4, nullptr), 1);
            EXPECT_EQ(HXDataAdditions::digest(message, HXDataAdditions::DigestMD4),
                      QByteArray(reinterpret_cast<const char *>(reference), int(referenceLength)))
                << length;
        }
        EVP_MD_free(md4);
    }
    if (legacy)
        OSSL_PROVIDER_unload(legacy);
    OSSL_LIB_CTX_free(library);
    if (!md4)
        GTEST_SKIP() << "OpenSSL's legacy provider is not installed";
}

TEST(HXDataAdditions, HMACWithEmptyKeyAndMessageAndUnknownCode)
{
    // Empty buffers are valid input; an unknown code gives an empty MAC.
    EXPECT_EQ(HXDataAdditions::HMAC({}, {}, HXDataAdditions::HMACAlgorithmSHA256).toHex(),
              QByteArray("b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad"));
    EXPECT_TRUE(HXDataAdditions::HMAC("abc", "key", 6).isEmpty());
    EXPECT_TRUE(HXDataAdditions::HMAC("abc", "key", -1).isEmpty());
    EXPECT_EQ(HXDataAdditions::HMACLength(6), 0);
}

TEST(HXDataAdditions, Base64EncodesWithoutLineBreaks)
{
    EXPECT_EQ(HXDataAdditions::base64EncodedString("user:pass"), QStringLiteral("dXNlcjpwYXNz"));
    EXPECT_EQ(HXDataAdditions::base64EncodedString("ab"), QStringLiteral("YWI="));
    EXPECT_EQ(HXDataAdditions::base64EncodedString(QByteArray(300, '\xff')).size(), 400);
    EXPECT_FALSE(HXDataAdditions::base64EncodedString(QByteArray(300, 'x')).contains(u'\n'));
}

TEST(HXDataAdditions, Base64DecodingRoundTripsEveryLength)
{
    auto *random = QRandomGenerator::global();
    for (int length = 0; length < 70; ++length) {
        QByteArray bytes(length, Qt::Uninitialized);
        for (char &byte : bytes)
            byte = static_cast<char>(random->bounded(256));
        const QString text = HXDataAdditions::base64EncodedString(bytes);
        EXPECT_EQ(HXDataAdditions::dataByDecodingBase64(text), bytes) << length;
        QString unpadded = text;
        unpadded.remove(u'=');
        EXPECT_EQ(HXDataAdditions::dataByDecodingBase64(unpadded), bytes) << length;
    }
}

TEST(HXDataAdditions, Base64DecodingSkipsCharactersOutsideTheAlphabet)
{
    EXPECT_EQ(HXDataAdditions::dataByDecodingBase64(QStringLiteral("aGVs\r\nbG8=")), QByteArray("hello"));
    EXPECT_EQ(HXDataAdditions::dataByDecodingBase64(QStringLiteral(" a*G!V=sb\u00e9G8 ")), QByteArray("hello"));
    EXPECT_EQ(HXDataAdditions::dataByDecodingBase64(QStringLiteral("-_")), QByteArray());
    // A lone trailing character carries fewer than eight bits and is dropped.
    EXPECT_EQ(HXDataAdditions::dataByDecodingBase64(QStringLiteral("aGVsbG8hZ")), QByteArray("hello!"));
    EXPECT_EQ(HXDataAdditions::dataByDecodingBase64(QStringLiteral("====")), QByteArray());
}
