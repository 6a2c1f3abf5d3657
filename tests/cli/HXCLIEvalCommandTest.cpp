#include "HXBase64EncodingDynamicValue.h"
#include "HXDynamicString.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"

#include "HXCLITestRunner.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

#include <gtest/gtest.h>

TEST(HXCLIEvalCommandTest, WritesTheEvaluatedBytes)
{
    EXPECT_EQ(HXRunCLI({QStringLiteral("eval"), QStringLiteral("plain text")}).out, QByteArray("plain text"));
    const QString stored = QString::fromUtf8(
        QJsonDocument(QJsonArray{QStringLiteral("a [\u00e9]"), QStringLiteral(" b")}).toJson(QJsonDocument::Compact));
    HXCLIRun result = HXRunCLI({QStringLiteral("eval"), stored});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, QByteArray("a [\xc3\xa9] b"));

    result = HXRunCLI({QStringLiteral("eval"), QStringLiteral("--encoding"), QStringLiteral("ISO-8859-1"), stored});
    EXPECT_EQ(result.out, QByteArray("a [\xe9] b"));
    result = HXRunCLI({QStringLiteral("eval"), QStringLiteral("--encoding"), QStringLiteral("us-ascii"), stored});
    EXPECT_EQ(result.out, QByteArray("a [?] b"));
    result = HXRunCLI({QStringLiteral("eval"), QStringLiteral("--display"), stored});
    EXPECT_EQ(result.out, QByteArray("a [\xc3\xa9] b"));

    // Decoded Base64 reaches stdout as raw bytes: NUL, CR/LF and non-UTF-8 kept.
    auto base64 = HXDynamicValue::make<HXBase64EncodingDynamicValue>();
    base64->setMode(1);
    base64->setInput(QStringLiteral("AP+A/g0KQQ=="));
    result = HXRunCLI({QStringLiteral("eval"), QStringLiteral("--"), base64->archivedString()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, QByteArray::fromHex("00ff80fe0d0a41"));
}

TEST(HXCLIEvalCommandTest, DashesAndUsageErrors)
{
    EXPECT_EQ(HXRunCLI({QStringLiteral("eval"), QStringLiteral("--"), QStringLiteral("--x")}).out, QByteArray("--x"));
    EXPECT_EQ(HXRunCLI({QStringLiteral("eval"), QStringLiteral("--"), QString()}).out, QByteArray());
    EXPECT_EQ(HXRunCLI({QStringLiteral("eval"), QStringLiteral("-")}).out, QByteArray("-"));

    HXCLIRun result = HXRunCLI({QStringLiteral("eval"), QStringLiteral("--x")});
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.err.contains("--x"));
    EXPECT_EQ(HXRunCLI({QStringLiteral("eval")}).status, 2);
    EXPECT_EQ(HXRunCLI({QStringLiteral("eval"), QStringLiteral("a"), QStringLiteral("b")}).status, 2);
    result = HXRunCLI(
        {QStringLiteral("eval"), QStringLiteral("--encoding"), QStringLiteral("klingon"), QStringLiteral("x")});
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.out.isEmpty());
}

TEST(HXCLIEvalCommandTest, TokensOfTheBuiltInKinds)
{
    // Tokens nested three levels deep: SHA-256 of the Base64 decoding of the
    // URL decoding of "aGVsbG8%3D" ("hello").
    const HXDynamicValuePtr urlDecode =
        HXDynamicValueCatalogue::createValue(QStringLiteral("HXURLEncodingDynamicValue"));
    const HXDynamicValuePtr base64 =
        HXDynamicValueCatalogue::createValue(QStringLiteral("HXBase64EncodingDynamicValue"));
    const HXDynamicValuePtr hash = HXDynamicValueCatalogue::createValue(QStringLiteral("HXHashDynamicValue"));
    ASSERT_TRUE(urlDecode && base64 && hash);
    ASSERT_TRUE(urlDecode->setValue(QStringLiteral("mode"), 1));
    ASSERT_TRUE(urlDecode->setValue(QStringLiteral("input"), QStringLiteral("aGVsbG8%3D")));
    ASSERT_TRUE(base64->setValue(QStringLiteral("mode"), 1));
    ASSERT_TRUE(base64->setValue(QStringLiteral("input"), urlDecode->archivedString()));
    ASSERT_TRUE(hash->setValue(QStringLiteral("hashType"), 5));
    ASSERT_TRUE(hash->setValue(QStringLiteral("input"), base64->archivedString()));
    HXDynamicString labelled(QStringLiteral("sha="));
    labelled.appendDynamicValue(hash);
    const HXCLIRun result = HXRunCLI({QStringLiteral("eval"), HXDynamicValueEngine::archiveAttributedString(labelled)});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, QByteArray("sha=2CF24DBA5FB0A30E26E83B2AC5B9E29E1B161E5C1FA7425E73043362938B9824"));
}
