#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXDocument.h"
#include "HXDynamicString.h"
#include "HXDynamicValueEngine.h"
#include "HXEncodingValueTestSupport.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXOAuth1HeaderDynamicValue.h"
#include "HXOAuth1SignatureDynamicValue.h"
#include "HXOAuth1Signing.h"
#include "HXRequest.h"
#include "HXStringAdditions.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

// The two OAuth values signing the request they stand in, through request
// assembly. The published examples run end to end through kea-cli in
// HXCLISignatureVectorsTest.

namespace {

// A request of a fresh document, with header rows in the order added.
class TestRequest
{
public:
    TestRequest(const QString &method, const QString &url, const QString &body = QString())
    {
        m_request = m_document.managedObjectContext()->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        m_request->setMethod(method);
        m_request->setUrl(url);
        m_request->setBody(body);
    }

    void addHeader(const QString &name, const QString &value)
    {
        auto *row = m_document.managedObjectContext()->insertNewObject<HXKeyValue>(QStringLiteral("HXKeyValue"));
        row->setName(name);
        row->setValue(value);
        row->setEnabled(true);
        row->setOrder(m_order++);
        row->setRequest(m_request);
    }
    HXRequestAssembly assemble() { return m_request->evaluateWithDocument(&m_document); }

private:
    HXDocument m_document;
    HXRequest *m_request = nullptr;
    quint64 m_order = 0;
};

std::shared_ptr<HXOAuth1SignatureDynamicValue> signatureValue(const QString &consumerSecret, const QString &tokenSecret)
{
    auto value = HXDynamicValue::make<HXOAuth1SignatureDynamicValue>();
    value->setConsumerSecret(consumerSecret);
    value->setTokenSecret(tokenSecret);
    return value;
}

} // namespace

TEST(HXOAuth1DynamicValues, PlainTextUnsupportedAlgorithmsAndPlacement)
{
    TestRequest request(QStringLiteral("GET"), QStringLiteral("http://h/"));
    auto plain = signatureValue(QStringLiteral("cs"), QStringLiteral("ts"));
    plain->setAlgorithm(QStringLiteral("PLAINTEXT"));
    auto raw = std::dynamic_pointer_cast<HXOAuth1SignatureDynamicValue>(plain->copy());
    raw->setURLEncoded(false);
    auto rsa = signatureValue(QStringLiteral("cs"), QStringLiteral("ts"));
    rsa->setAlgorithm(QStringLiteral("RSA-SHA1"));
    request.addHeader(QStringLiteral("X-Encoded"),
                      HXEncodingValueTest::archived({QStringLiteral("s="), HXDynamicValuePtr(plain)}));
    request.addHeader(QStringLiteral("X-Raw"),
                      HXEncodingValueTest::archived({QStringLiteral("s="), HXDynamicValuePtr(raw)}));
    request.addHeader(QStringLiteral("X-RSA"),
                      HXEncodingValueTest::archived({QStringLiteral("s="), HXDynamicValuePtr(rsa)}));
    const HXRequestHeaderList headers = request.assemble().headers;
    EXPECT_EQ(headers.valueForHTTPHeaderName(QStringLiteral("X-Encoded")), QStringLiteral("s=cs%26ts"));
    EXPECT_EQ(headers.valueForHTTPHeaderName(QStringLiteral("X-Raw")), QStringLiteral("s=cs&ts"));
    EXPECT_EQ(headers.valueForHTTPHeaderName(QStringLiteral("X-RSA")), QStringLiteral("s="));

    // Outside request assembly there is no request and no header; in a URL
    // there is a request but no header.
    EXPECT_EQ(raw->evaluatedString(), QString());
    auto header = HXDynamicValue::make<HXOAuth1HeaderDynamicValue>();
    EXPECT_EQ(header->evaluatedString(), QString());
    TestRequest inURL(QStringLiteral("GET"),
                      HXEncodingValueTest::archived({QStringLiteral("http://h/p?auth="), HXDynamicValuePtr(header)}));
    EXPECT_EQ(inURL.assemble().URL, QUrl(QStringLiteral("http://h/p?auth=")));
}

// The header signs the nonce and timestamp it sends (one evaluation pass
// computes each token once), and a form body built from rows counts as a
// form body: query a=1 and body b=2 are both signed.
TEST(HXOAuth1DynamicValues, HeaderSignsWhatIsSent)
{
    auto form = HXDynamicValue::make<HXBodyFormKeyValueDynamicValue>();
    form->setKeyValues({{QStringLiteral("b"), QStringLiteral("2"), true}});
    TestRequest request(QStringLiteral("POST"), QStringLiteral("http://h:8080/p?a=1"), form->archivedString());
    auto value = HXDynamicValue::make<HXOAuth1HeaderDynamicValue>(); // random nonce, current time
    value->setConsumerKey(QStringLiteral("ck"));
    value->setConsumerSecret(QStringLiteral("cs"));
    request.addHeader(QStringLiteral("Authorization"), value->archivedString());
    const HXRequestAssembly assembly = request.assemble();
    const QString authorization =
        assembly.headers.valueForHTTPHeaderName(QStringLiteral("Authorization")).value_or(QString());

    static const QRegularExpression pattern(QStringLiteral("oauth_timestamp=\"(\\d+)\", oauth_nonce=\"(\\w{32})\", "
                                                           "oauth_version=\"1.0\", oauth_signature=\"([^\"]+)\"$"));
    const QRegularExpressionMatch match = pattern.match(authorization);
    ASSERT_TRUE(match.hasMatch()) << authorization.toStdString();
    const QString unsignedHeader = QStringLiteral("oauth_consumer_key=\"ck\", oauth_signature_method=\"HMAC-SHA1\", "
                                                  "oauth_timestamp=\"%1\", oauth_nonce=\"%2\", oauth_version=\"1.0\"")
                                       .arg(match.captured(1), match.captured(2));
    const std::optional<QString> base = HXOAuth1Signing::OAuthSignatureBaseStringWithURL(
        QUrl(QStringLiteral("http://h:8080/p?a=1")), QStringLiteral("POST"),
        {{QStringLiteral("Content-Type"), QStringLiteral("application/x-www-form-urlencoded")}}, "b=2",
        HXStringEncoding::UTF8, unsignedHeader);
    ASSERT_TRUE(base);
    EXPECT_TRUE(base->contains(QStringLiteral("a%3D1%26b%3D2%26oauth_consumer_key"))) << base->toStdString();
    const std::optional<QString> expected = HXOAuth1Signing::OAuthSignatureForSignatureBaseString(
        *base, QStringLiteral("cs"), QString(), QStringLiteral("HMAC-SHA1"));
    EXPECT_EQ(match.captured(3), HXStringAdditions::stringByAddingPercentExcapeUsingEncoding(
                                     expected.value_or(QString()), HXStringEncoding::UTF8, false));
}
