#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXDocument.h"
#include "HXDynamicString.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXNonceDynamicValue.h"
#include "HXOAuth1HeaderDynamicValue.h"
#include "HXOAuth1SignatureDynamicValue.h"
#include "HXOAuth1Signing.h"
#include "HXRequest.h"
#include "HXStringAdditions.h"
#include "HXTimestampDynamicValue.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

// The two OAuth values signing the request they stand in, through request
// assembly, with published examples whose nonce and timestamp are fixed.

namespace {

QString archived(const QString &before, const HXDynamicValuePtr &value, const QString &after = QString())
{
    HXDynamicString string(before);
    string.appendDynamicValue(value);
    string.append(after);
    return HXDynamicValueEngine::archiveAttributedString(string);
}

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

    HXRequest *request() const { return m_request; }
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
    QString authorization()
    {
        return assemble().headers.valueForHTTPHeaderName(QStringLiteral("Authorization")).value_or(QString());
    }

private:
    HXDocument m_document;
    HXRequest *m_request = nullptr;
    quint64 m_order = 0;
};

std::shared_ptr<HXOAuth1HeaderDynamicValue> headerValue(const QString &consumerKey, const QString &consumerSecret,
                                                        const QString &token, const QString &tokenSecret,
                                                        const QString &nonce, const QString &timestamp)
{
    auto value = HXDynamicValue::make<HXOAuth1HeaderDynamicValue>();
    value->setConsumerKey(consumerKey);
    value->setConsumerSecret(consumerSecret);
    value->setToken(token);
    value->setTokenSecret(tokenSecret);
    value->setNonce(nonce);
    value->setTimestamp(timestamp);
    return value;
}

std::shared_ptr<HXOAuth1SignatureDynamicValue> signatureValue(const QString &consumerSecret, const QString &tokenSecret)
{
    auto value = HXDynamicValue::make<HXOAuth1SignatureDynamicValue>();
    value->setConsumerSecret(consumerSecret);
    value->setTokenSecret(tokenSecret);
    return value;
}

} // namespace

TEST(HXOAuth1DynamicValues, DefaultsTitlesAndChoices)
{
    auto header = HXDynamicValue::make<HXOAuth1HeaderDynamicValue>();
    EXPECT_EQ(header->algorithm(), QStringLiteral("HMAC-SHA1"));
    EXPECT_EQ(header->consumerKey(), QString());
    const auto nonce = std::dynamic_pointer_cast<HXNonceDynamicValue>(
        HXDynamicValueEngine::unarchiveAttributedString(header->nonce()).onlyDynamicValue());
    ASSERT_TRUE(nonce);
    EXPECT_EQ(nonce->length(), 32);
    const auto timestamp = std::dynamic_pointer_cast<HXTimestampDynamicValue>(
        HXDynamicValueEngine::unarchiveAttributedString(header->timestamp()).onlyDynamicValue());
    ASSERT_TRUE(timestamp);
    EXPECT_EQ(timestamp->format(), quint32(HXTimestampDynamicValue::FormatEpochTime));
    EXPECT_EQ(header->displayString(), QStringLiteral("OAuth 1.0 Authorization Header"));

    auto signature = HXDynamicValue::make<HXOAuth1SignatureDynamicValue>();
    EXPECT_TRUE(signature->URLEncoded());
    EXPECT_EQ(signature->algorithm(), QStringLiteral("HMAC-SHA1"));
    EXPECT_EQ(signature->displayString(), QStringLiteral("OAuth 1.0 Signature"));
    const auto choices = signature->valueForUndefinedKey(QStringLiteral("algorithmContent"));
    ASSERT_TRUE(choices);
    ASSERT_EQ(choices->size(), 3);
    EXPECT_EQ(choices->at(0).object.toString(), QStringLiteral("HMAC-SHA1"));
    EXPECT_EQ(choices->at(1).object.toString(), QStringLiteral("RSA-SHA1"));
    EXPECT_EQ(choices->at(2).object.toString(), QStringLiteral("PLAINTEXT"));

    // Registered, and a stored token reads back with its properties.
    const HXDynamicValuePtr read =
        HXDynamicValueEngine::unarchiveAttributedString(header->archivedString()).onlyDynamicValue();
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->isEqual(*header));
    EXPECT_EQ(HXDynamicValueCatalogue::kindForClassName(header->className())->group, QStringLiteral("Authorization"));
}

// The example of the OAuth Core 1.0 specification, Appendix A.5 (the photos
// request with oauth_version, signed with HMAC-SHA1): the whole header comes
// from the header value. Additional parameters are appended unsigned.
TEST(HXOAuth1DynamicValues, HeaderValueReproducesTheOAuthCoreExample)
{
    TestRequest photos(QStringLiteral("GET"),
                       QStringLiteral("http://photos.example.net/photos?file=vacation.jpg&size=original"));
    auto value = headerValue(QStringLiteral("dpf43f3p2l4k3l03"), QStringLiteral("kd94hf93k423kf44"),
                             QStringLiteral("nnch734d00sl2jdk"), QStringLiteral("pfkkdhi9sl3r4s00"),
                             QStringLiteral("kllo9940pd9333jh"), QStringLiteral("1191242096"));
    value->setAdditionalParameters(QStringLiteral("realm=\"Photos\""));
    photos.addHeader(QStringLiteral("Authorization"), value->archivedString());
    EXPECT_EQ(photos.authorization(),
              QStringLiteral("OAuth oauth_consumer_key=\"dpf43f3p2l4k3l03\", oauth_signature_method=\"HMAC-SHA1\", "
                             "oauth_timestamp=\"1191242096\", oauth_nonce=\"kllo9940pd9333jh\", "
                             "oauth_version=\"1.0\", oauth_token=\"nnch734d00sl2jdk\", "
                             "oauth_signature=\"tR3%2BTy81lMeYAr%2FFid0kMTYa%2FWM%3D\", realm=\"Photos\""));

    // The same token in a URL parameter, not a header, gives nothing.
    TestRequest inURL(QStringLiteral("GET"), archived(QStringLiteral("http://h/p?auth="), value));
    EXPECT_EQ(inURL.assemble().URL, QUrl(QStringLiteral("http://h/p?auth=")));
}

// Twitter's "Creating a signature" example: query parameter, form body and
// oauth_version. The body is written with the upper-case escapes that the
// example's base string shows, since Kea signs the body as it is sent.
TEST(HXOAuth1DynamicValues, HeaderValueReproducesTheTwitterExample)
{
    TestRequest update(QStringLiteral("POST"),
                       QStringLiteral("https://api.twitter.com/1.1/statuses/update.json?include_entities=true"),
                       QStringLiteral("status=Hello%20Ladies%20%2B%20Gentlemen%2C%20a%20signed%20OAuth%20request%21"));
    update.addHeader(QStringLiteral("Content-Type"), QStringLiteral("application/x-www-form-urlencoded"));
    update.addHeader(QStringLiteral("Authorization"),
                     headerValue(QStringLiteral("xvz1evFS4wEEPTGEFPHBog"),
                                 QStringLiteral("kAcSOqF21Fu85e7zjz7ZN2U4ZRhfV3WpwPAoE3Z7kBw"),
                                 QStringLiteral("370773112-GmHxMAgYyLbNEtIKZeRNFsMKPR9EyMZeS9weJAEb"),
                                 QStringLiteral("LswwdoUaIvS8ltyTt5jkRh4J50vUPVVHtR2YPi5kE"),
                                 QStringLiteral("kYjzVBB8Y0ZFabxSWbWovY3uYSQ2pTgmZeNu2VS4cg"),
                                 QStringLiteral("1318622958"))
                         ->archivedString());
    EXPECT_TRUE(update.authorization().endsWith(QStringLiteral("oauth_signature=\"hCtSmYh%2BiHYCEqBWrE7C7hYmtUk%3D\"")))
        << update.authorization().toStdString();
}

// RFC 5849, section 1.2: the three requests, with the Authorization header
// written by hand and the signature value in place of oauth_signature.
TEST(HXOAuth1DynamicValues, SignatureValueReproducesTheRFC5849Examples)
{
    struct Example
    {
        QString method, url, parameters, consumerSecret, tokenSecret, signature;
    };
    const QList<Example> examples = {
        {QStringLiteral("POST"), QStringLiteral("https://photos.example.net/initiate"),
         QStringLiteral("oauth_consumer_key=\"dpf43f3p2l4k3l03\", oauth_signature_method=\"HMAC-SHA1\", "
                        "oauth_timestamp=\"137131200\", oauth_nonce=\"wIjqoS\", "
                        "oauth_callback=\"http%3A%2F%2Fprinter.example.com%2Fready\""),
         QStringLiteral("kd94hf93k423kf44"), QString(), QStringLiteral("74KNZJeDHnMBp0EMJ9ZHt%2FXKycU%3D")},
        {QStringLiteral("POST"), QStringLiteral("https://photos.example.net/token"),
         QStringLiteral("oauth_consumer_key=\"dpf43f3p2l4k3l03\", oauth_token=\"hh5s93j4hdidpola\", "
                        "oauth_signature_method=\"HMAC-SHA1\", oauth_timestamp=\"137131201\", "
                        "oauth_nonce=\"walatlh\", oauth_verifier=\"hfdp7dh39dks9884\""),
         QStringLiteral("kd94hf93k423kf44"), QStringLiteral("hdhd0244k9j7ao03"),
         QStringLiteral("gKgrFCywp7rO0OXSjdot%2FIHF7IU%3D")},
        {QStringLiteral("GET"), QStringLiteral("http://photos.example.net/photos?file=vacation.jpg&size=original"),
         QStringLiteral("oauth_consumer_key=\"dpf43f3p2l4k3l03\", oauth_token=\"nnch734d00sl2jdk\", "
                        "oauth_signature_method=\"HMAC-SHA1\", oauth_timestamp=\"137131202\", oauth_nonce=\"chapoH\""),
         QStringLiteral("kd94hf93k423kf44"), QStringLiteral("pfkkdhi9sl3r4s00"),
         QStringLiteral("MdpQcU8iPSUjWoN%2FUDMsK2sui9I%3D")},
    };
    for (const Example &example : examples) {
        SCOPED_TRACE(example.url.toStdString());
        TestRequest request(example.method, example.url);
        const QString before =
            QLatin1String("OAuth realm=\"Photos\", ") + example.parameters + QLatin1String(", oauth_signature=\"");
        request.addHeader(
            QStringLiteral("Authorization"),
            archived(before, signatureValue(example.consumerSecret, example.tokenSecret), QStringLiteral("\"")));
        EXPECT_EQ(request.authorization(), before + example.signature + u'"');
    }
}

TEST(HXOAuth1DynamicValues, PlainTextUnsupportedAlgorithmsAndPlacement)
{
    TestRequest request(QStringLiteral("GET"), QStringLiteral("http://h/"));
    auto plain = signatureValue(QStringLiteral("cs"), QStringLiteral("ts"));
    plain->setAlgorithm(QStringLiteral("PLAINTEXT"));
    auto raw = std::dynamic_pointer_cast<HXOAuth1SignatureDynamicValue>(plain->copy());
    raw->setURLEncoded(false);
    auto rsa = signatureValue(QStringLiteral("cs"), QStringLiteral("ts"));
    rsa->setAlgorithm(QStringLiteral("RSA-SHA1"));
    request.addHeader(QStringLiteral("X-Encoded"), archived(QStringLiteral("s="), plain));
    request.addHeader(QStringLiteral("X-Raw"), archived(QStringLiteral("s="), raw));
    request.addHeader(QStringLiteral("X-RSA"), archived(QStringLiteral("s="), rsa));
    const HXRequestHeaderList headers = request.assemble().headers;
    EXPECT_EQ(headers.valueForHTTPHeaderName(QStringLiteral("X-Encoded")), QStringLiteral("s=cs%26ts"));
    EXPECT_EQ(headers.valueForHTTPHeaderName(QStringLiteral("X-Raw")), QStringLiteral("s=cs&ts"));
    EXPECT_EQ(headers.valueForHTTPHeaderName(QStringLiteral("X-RSA")), QStringLiteral("s="));

    // Outside request assembly there is no request and no header.
    EXPECT_EQ(raw->evaluatedString(), QString());
    EXPECT_EQ(HXDynamicValue::make<HXOAuth1HeaderDynamicValue>()->evaluatedString(), QString());
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
