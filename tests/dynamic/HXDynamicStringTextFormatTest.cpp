#include "HXDynamicStringTextFormat.h"
#include "HXDocument.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironment.h"
#include "HXHMACDynamicValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXResponseHeaderDynamicValue.h"
#include "HXTestSupport.h"

#include <QMessageAuthenticationCode>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class DynamicStringTextFormatTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HXManagedObjectContext *context = document.managedObjectContext();
        login = context->insertNewObject<HXRequest>(HXRequest::staticEntityName());
        login->setName(QStringLiteral("Log in"));
        HXEnvironment::createDefaultEnvironmentIfNeeded(context);
        HXEnvironment::addEnvironmentVariable(QStringLiteral("base"), QStringLiteral("https://example.com"), context);
        ASSERT_TRUE(HXTest::writeFile(folder.filePath(QStringLiteral("a.png")), "PNG"));
        formatContext = {context, folder.path()};
    }

    HXResult<QString> stored(const QString &text)
    {
        return HXDynamicStringTextFormat::archivedStringFromText(text, formatContext);
    }
    QString printed(const QString &archived)
    {
        return HXDynamicStringTextFormat::stringFromArchivedString(archived, formatContext);
    }

    HXDocument document;
    HXRequest *login = nullptr;
    QTemporaryDir folder;
    HXDynamicStringTextFormat::Context formatContext;
};

TEST_F(DynamicStringTextFormatTest, EveryKindReadsBackAsItWasWritten)
{
    const QStringList texts = {
        QStringLiteral("{{env base}}/users"),
        QStringLiteral("{{response \"Log in\" body data.token}}"),
        QStringLiteral("{{response \"Log in\" body token format=json}}"),
        QStringLiteral("{{response \"Log in\" raw}}"),
        QStringLiteral("{{response \"Log in\" length}}"),
        QStringLiteral("{{header \"Log in\" X-Token}}"),
        QStringLiteral("{{cookie session=abc !old=\"x y\"}}"),
        QStringLiteral("{{timestamp iso8601}}"),
        QStringLiteral("{{timestamp custom customFormat=yyyy-MM-dd delta=3600}}"),
        QStringLiteral("{{nonce 16 useASCIISymbols=true}}"),
        QStringLiteral("{{hash sha256 text}}"),
        QStringLiteral("{{hmac sha256 \"{{env base}}\" secret}}"),
        QStringLiteral("{{base64 user:pass}}"),
        QStringLiteral("{{base64 \"dXNlcg==\" mode=decode}}"),
        QStringLiteral("{{urlencode \"a b&c\"}}"),
        QStringLiteral("{{file a.png}}"),
        QStringLiteral("{{basic user pass}}"),
        QStringLiteral("{{oauth1 consumerKey=k consumerSecret=s token=t tokenSecret=ts}}"),
        QStringLiteral("{{oauth1signature consumerSecret=s tokenSecret=ts}}"),
        QStringLiteral("{{s3 KEY SECRET}}"),
        QStringLiteral("{{s3signature KEY SECRET}}"),
        QStringLiteral("{{form name=Kea \"a b\"=\"{{nonce 8}}\" !off=x}}"),
        QStringLiteral("{{multipart title=Hi avatar=\"{{file a.png}}\"}}"),
        QStringLiteral("plain \\{{ not a token {{nonce 4}} \\\\{{nonce 5}}"),
    };
    for (const QString &text : texts) {
        const auto archived = stored(text);
        ASSERT_TRUE(archived.ok()) << text.toStdString() << ": " << archived.error().description.toStdString();
        EXPECT_EQ(printed(*archived), text) << archived->toStdString();
    }
}

TEST_F(DynamicStringTextFormatTest, PrintingWhatWasReadIsAFixedPoint)
{
    const QStringList texts = {
        QStringLiteral("\\{{{nonce 4}}}"),
        QStringLiteral("\\\\{{nonce 4}}\\"),
        QStringLiteral("{ \\{{ }} \\{"),
        QStringLiteral("{{base64 \"a\\\"b\\\\\\{{\"}}"),
        QStringLiteral("{{form \"\"=\"\"}}"),
        QStringLiteral("{{timestamp}}{{oauth1}}{{hmac}}"),
        QStringLiteral("{{hash 3 \"{{hash 1 \"x y\"}}\"}}"),
        QStringLiteral("{{nonce null}}"),
    };
    for (const QString &text : texts) {
        const auto first = stored(text);
        ASSERT_TRUE(first.ok()) << text.toStdString() << ": " << first.error().description.toStdString();
        const QString once = printed(*first);
        const auto second = stored(once);
        ASSERT_TRUE(second.ok()) << once.toStdString();
        EXPECT_EQ(*second, *first) << text.toStdString();
        EXPECT_EQ(printed(*second), once);
    }
}

TEST_F(DynamicStringTextFormatTest, ReadableTokensStoreWhatDirectlyMadeValuesStore)
{
    auto hmac = HXDynamicValue::make<HXHMACDynamicValue>();
    hmac->setAlgorithm(3);
    hmac->setKey(QStringLiteral("secret"));
    hmac->setInput(QStringLiteral("abc"));
    auto header = HXDynamicValue::make<HXResponseHeaderDynamicValue>();
    header->setRequest(login);
    header->setHeader(QStringLiteral("X-Token"));
    const std::vector<std::pair<QString, QString>> cases = {
        {QStringLiteral("{{hmac sha256 key=secret input=abc}}"), hmac->archivedString()},
        {QStringLiteral("{{header \"Log in\" X-Token}}"), header->archivedString()},
    };
    for (const auto &[text, direct] : cases) {
        const auto archived = stored(text);
        ASSERT_TRUE(archived.ok()) << text.toStdString();
        EXPECT_EQ(*archived, direct);
    }
    EXPECT_EQ(
        HXDynamicValueEngine::evaluateStringAsString(*stored(QStringLiteral("{{hmac sha256 key=secret input=abc}}"))),
        QString::fromLatin1(QMessageAuthenticationCode::hash("abc", "secret", QCryptographicHash::Sha256).toBase64()));
    EXPECT_EQ(HXDynamicValueEngine::evaluateStringAsString(*stored(QStringLiteral("a\\{{b}}c"))),
              QStringLiteral("a{{b}}c"));
}

TEST_F(DynamicStringTextFormatTest, ErrorsNameTheColumnAndWhatWasExpected)
{
    const std::vector<std::pair<QString, QString>> cases = {
        {QStringLiteral("x{{nope}}"), QStringLiteral("column 4: expected a kind of token")},
        {QStringLiteral("{{nonce 16"), QStringLiteral("column 11: expected }} to close the token opened at column 1")},
        {QStringLiteral("{{nonce many}}"), QStringLiteral("column 9: expected a whole number for length")},
        {QStringLiteral("{{hmac sha3}}"), QStringLiteral("column 8: expected one of md5, sha1")},
        {QStringLiteral("{{env missing}}"), QStringLiteral("column 7: expected the name or uuid of a variable")},
        {QStringLiteral("{{base64 \"abc}}"), QStringLiteral("column 16: expected a closing \"")},
        {QStringLiteral("{{response \"Log in\" other}}"),
         QStringLiteral("column 1: expected one of body, raw, length")},
        {QStringLiteral("{{form a}}"), QStringLiteral("column 8: expected a row written NAME=VALUE")},
        {QStringLiteral("{{nonce colour=red}}"), QStringLiteral("column 9: expected a property of nonce")},
        {QStringLiteral("{{file missing.png}}"), QStringLiteral("column 8: expected an existing file")},
    };
    for (const auto &[text, expected] : cases) {
        const auto result = stored(text);
        ASSERT_FALSE(result.ok()) << text.toStdString();
        EXPECT_TRUE(result.error().description.startsWith(expected))
            << text.toStdString() << " gave " << result.error().description.toStdString();
    }
}

} // namespace
