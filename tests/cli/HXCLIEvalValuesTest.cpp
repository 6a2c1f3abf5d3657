// Every encoding, digest, file and body value reached through `kea-cli eval`
// with a stored token, run as a real subprocess.

#include "HXBase64EncodingDynamicValue.h"
#include "HXBasicAuthDynamicValue.h"
#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXDynamicString.h"
#include "HXDynamicValueEngine.h"
#include "HXFileContentDynamicValue.h"
#include "HXHMACDynamicValue.h"
#include "HXHashDynamicValue.h"
#include "HXNonceDynamicValue.h"
#include "HXTestSupport.h"
#include "HXTimestampDynamicValue.h"
#include "HXURLEncodingDynamicValue.h"

#include "HXCLITestRunner.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimeZone>

#include <gtest/gtest.h>

namespace {

HXCLIRun runEval(const QStringList &arguments)
{
    return HXRunCLI(QStringList{QStringLiteral("eval")} + arguments);
}

// The bytes `kea-cli eval` writes for a stored text holding just `value`.
QByteArray eval(const HXDynamicValuePtr &value, const QStringList &options = {})
{
    const HXCLIRun result = runEval(options + QStringList{QStringLiteral("--"), value->archivedString()});
    EXPECT_EQ(result.status, 0) << result.err.constData();
    return result.out;
}

HXDynamicKeyValueRow row(const QString &name, const QString &value, bool enabled = true)
{
    return HXDynamicKeyValueRow{name, value, enabled};
}

} // namespace

TEST(HXCLIEvalValues, TimestampAndNonce)
{
    auto timestamp = HXDynamicValue::make<HXTimestampDynamicValue>();
    timestamp->setNow(false);
    timestamp->setDate(QDateTime(QDate(1994, 11, 6), QTime(8, 49, 37), QTimeZone::utc()));
    EXPECT_EQ(eval(timestamp), QByteArray("Sun, 06 Nov 1994 08:49:37 GMT"));

    auto nonce = HXDynamicValue::make<HXNonceDynamicValue>();
    nonce->setLength(64);
    nonce->setUseUppercaseLetters(false);
    nonce->setUseLowercaseLetters(false);
    const QByteArray digits = eval(nonce);
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^[0-8]{64}$")).match(QString::fromLatin1(digits)).hasMatch())
        << digits.constData();
}

TEST(HXCLIEvalValues, EncodingsDigestsAndAuthorization)
{
    auto url = HXDynamicValue::make<HXURLEncodingDynamicValue>();
    url->setInput(QStringLiteral("a b&c"));
    EXPECT_EQ(eval(url), QByteArray("a%20b%26c"));

    // Decoded Base64 reaches stdout as raw bytes.
    auto base64 = HXDynamicValue::make<HXBase64EncodingDynamicValue>();
    base64->setMode(1);
    base64->setInput(QStringLiteral("AP+A/g0KQQ=="));
    EXPECT_EQ(eval(base64), QByteArray::fromHex("00ff80fe0d0a41"));

    auto hash = HXDynamicValue::make<HXHashDynamicValue>();
    hash->setInput(QStringLiteral("abc"));
    hash->setHashType(5);
    EXPECT_EQ(eval(hash), QByteArray("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"));
    // The input is digested in the encoding asked for.
    hash->setInput(QStringLiteral("\u00e9"));
    hash->setHashType(2);
    EXPECT_EQ(eval(hash, {QStringLiteral("--encoding"), QStringLiteral("ISO-8859-1")}),
              QByteArray("3406877694691DDD1DFB0ACA54681407"));

    auto hmac = HXDynamicValue::make<HXHMACDynamicValue>();
    hmac->setAlgorithm(3);
    hmac->setInput(QStringLiteral("what do ya want for nothing?"));
    hmac->setKey(QStringLiteral("Jefe"));
    EXPECT_EQ(eval(hmac), QByteArray("W9zBRr9gdU5qBCQmCJV1x1oAPwidJzmDnexYuWTsOEM="));

    auto basic = HXDynamicValue::make<HXBasicAuthDynamicValue>();
    basic->setUsername(QStringLiteral("user"));
    basic->setPassword(QStringLiteral("pass"));
    EXPECT_EQ(eval(basic), QByteArray("Basic dXNlcjpwYXNz"));
}

TEST(HXCLIEvalValues, FileAndBodies)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("logo.png"));
    const QByteArray bytes = QByteArray::fromHex("89504e470d0a1a0a00ff00");
    ASSERT_TRUE(HXTest::writeFile(path, bytes));
    auto file = HXDynamicValue::make<HXFileContentDynamicValue>();
    file->setFilePath(path);
    EXPECT_EQ(eval(file), bytes);

    auto form = HXDynamicValue::make<HXBodyFormKeyValueDynamicValue>();
    form->setKeyValues({row(QStringLiteral("a"), QStringLiteral("1")),
                        row(QStringLiteral("b c"), QStringLiteral("x&y")),
                        row(QStringLiteral("d"), QStringLiteral("2"), false)});
    EXPECT_EQ(eval(form), QByteArray("a=1&b+c=x%26y"));

    HXDynamicString fileOnly;
    fileOnly.appendDynamicValue(file);
    auto multipart = HXDynamicValue::make<HXBodyMultipartFormDataDynamicValue>();
    multipart->setKeyValues({row(QStringLiteral("field"), QStringLiteral("hello")),
                             row(QStringLiteral("up\"load"), HXDynamicValueEngine::archiveAttributedString(fileOnly))});
    EXPECT_EQ(eval(multipart),
              QByteArray("--__X_KEA_BOUNDARY__\r\n"
                         "Content-Disposition: form-data; name=\"field\"\r\n"
                         "\r\n"
                         "hello\r\n"
                         "--__X_KEA_BOUNDARY__\r\n"
                         "Content-Disposition: form-data; name=\"up\\\"load\"; filename=\"logo.png\"\r\n"
                         "Content-Type: image/png\r\n"
                         "\r\n") +
                  bytes +
                  QByteArray("\r\n"
                             "--__X_KEA_BOUNDARY__--\r\n"));
}
