#include "HXDynamicString.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"

#include "HXCLITestRunner.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

HXCLIRun runCli(const QStringList &arguments)
{
    return HXRunCLI(arguments);
}

} // namespace

TEST(HXCLIEvalCommandTest, WritesTheEvaluatedBytes)
{
    EXPECT_EQ(runCli({QStringLiteral("eval"), QStringLiteral("plain text")}).out, QByteArray("plain text"));
    const QString stored = QString::fromUtf8(
        QJsonDocument(QJsonArray{QStringLiteral("a [\u00e9]"), QStringLiteral(" b")}).toJson(QJsonDocument::Compact));
    HXCLIRun result = runCli({QStringLiteral("eval"), stored});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, QByteArray("a [\xc3\xa9] b"));

    result = runCli({QStringLiteral("eval"), QStringLiteral("--encoding"), QStringLiteral("ISO-8859-1"), stored});
    EXPECT_EQ(result.out, QByteArray("a [\xe9] b"));
    result = runCli({QStringLiteral("eval"), QStringLiteral("--encoding"), QStringLiteral("us-ascii"), stored});
    EXPECT_EQ(result.out, QByteArray("a [?] b"));
    result = runCli({QStringLiteral("eval"), QStringLiteral("--display"), stored});
    EXPECT_EQ(result.out, QByteArray("a [\xc3\xa9] b"));
}

TEST(HXCLIEvalCommandTest, DashesAndUsageErrors)
{
    EXPECT_EQ(runCli({QStringLiteral("eval"), QStringLiteral("--"), QStringLiteral("--x")}).out, QByteArray("--x"));
    EXPECT_EQ(runCli({QStringLiteral("eval"), QStringLiteral("--"), QString()}).out, QByteArray());
    EXPECT_EQ(runCli({QStringLiteral("eval"), QStringLiteral("-")}).out, QByteArray("-"));

    HXCLIRun result = runCli({QStringLiteral("eval"), QStringLiteral("--x")});
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.err.contains("--x"));
    EXPECT_EQ(runCli({QStringLiteral("eval")}).status, 2);
    EXPECT_EQ(runCli({QStringLiteral("eval"), QStringLiteral("a"), QStringLiteral("b")}).status, 2);
    result =
        runCli({QStringLiteral("eval"), QStringLiteral("--encoding"), QStringLiteral("klingon"), QStringLiteral("x")});
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.out.isEmpty());
}

TEST(HXCLIEvalCommandTest, TokensOfTheBuiltInKinds)
{
    // One nonce used twice gives the same text at both places within a run,
    // and a new text in the next run.
    const HXDynamicValuePtr nonce = HXDynamicValueCatalogue::createValue(QStringLiteral("HXNonceDynamicValue"));
    if (!nonce)
        GTEST_SKIP() << "the nonce kind is not built in";
    HXDynamicString twice;
    twice.appendDynamicValue(nonce);
    twice.append(QStringLiteral("|"));
    twice.appendDynamicValue(nonce->copy());
    const QString stored = HXDynamicValueEngine::archiveAttributedString(twice);
    const QList<QByteArray> first = runCli({QStringLiteral("eval"), stored}).out.split('|');
    ASSERT_EQ(first.size(), 2);
    EXPECT_EQ(first[0].size(), 32);
    EXPECT_EQ(first[0], first[1]);
    EXPECT_NE(runCli({QStringLiteral("eval"), stored}).out.split('|').value(0), first[0]);

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
    const HXCLIRun result = runCli({QStringLiteral("eval"), HXDynamicValueEngine::archiveAttributedString(labelled)});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, QByteArray("sha=2CF24DBA5FB0A30E26E83B2AC5B9E29E1B161E5C1FA7425E73043362938B9824"));
}
