#include "HXOAuth1Signing.h"

#include <gtest/gtest.h>

// The OAuth 1.0 signing steps over plain values, checked against published
// examples. Where Kea's parameter rule (texts as they appear, sorted as whole
// "name=value" texts) gives a different base string than RFC 5849, the test
// says so and expects Kea's.

namespace {

using Headers = QMap<QString, QString>;

std::optional<QString> signature(const QString &method, const QString &url, const QString &authorization,
                                 const QString &consumerSecret, const QString &tokenSecret, const Headers &headers = {},
                                 const QByteArray &body = {})
{
    const std::optional<QString> base = HXOAuth1Signing::OAuthSignatureBaseStringWithURL(
        QUrl(url), method, headers, body, HXStringEncoding::UTF8, authorization);
    if (!base)
        return std::nullopt;
    return HXOAuth1Signing::OAuthSignatureForSignatureBaseString(*base, consumerSecret, tokenSecret,
                                                                 HXOAuth1Signing::HMACSHA1());
}

} // namespace

// RFC 5849, section 1.2: the protected resource request, with its
// Authorization header as printed (realm and the signature itself are not
// signed). The section's other two requests are signed end to end in
// HXCLISignatureVectorsTest.
TEST(HXOAuth1Signing, RFC5849Section12Example)
{
    const QString photos = QStringLiteral("http://photos.example.net/photos?file=vacation.jpg&size=original");
    const QString photosAuthorization =
        QStringLiteral("OAuth realm=\"Photos\", oauth_consumer_key=\"dpf43f3p2l4k3l03\", "
                       "oauth_token=\"nnch734d00sl2jdk\", oauth_signature_method=\"HMAC-SHA1\", "
                       "oauth_timestamp=\"137131202\", oauth_nonce=\"chapoH\", "
                       "oauth_signature=\"MdpQcU8iPSUjWoN%2FUDMsK2sui9I%3D\"");
    EXPECT_EQ(HXOAuth1Signing::OAuthSignatureBaseStringWithURL(QUrl(photos), QStringLiteral("get"), {}, {},
                                                               HXStringEncoding::UTF8, photosAuthorization),
              QStringLiteral("GET&http%3A%2F%2Fphotos.example.net%2Fphotos&file%3Dvacation.jpg%26oauth_consumer_"
                             "key%3Ddpf43f3p2l4k3l03%26oauth_nonce%3DchapoH%26oauth_signature_method%3DHMAC-SHA1%"
                             "26oauth_timestamp%3D137131202%26oauth_token%3Dnnch734d00sl2jdk%26size%3Doriginal"));
    EXPECT_EQ(signature(QStringLiteral("GET"), photos, photosAuthorization, QStringLiteral("kd94hf93k423kf44"),
                        QStringLiteral("pfkkdhi9sl3r4s00")),
              QStringLiteral("MdpQcU8iPSUjWoN/UDMsK2sui9I="));

    // Without an Authorization text the one in the headers is used; without
    // either there is nothing to sign.
    EXPECT_EQ(HXOAuth1Signing::OAuthSignatureBaseStringWithURL(QUrl(photos), QStringLiteral("GET"),
                                                               {{QStringLiteral("authorization"), photosAuthorization}},
                                                               {}, HXStringEncoding::UTF8, std::nullopt),
              HXOAuth1Signing::OAuthSignatureBaseStringWithURL(QUrl(photos), QStringLiteral("GET"), {}, {},
                                                               HXStringEncoding::UTF8, photosAuthorization));
    EXPECT_EQ(HXOAuth1Signing::OAuthSignatureBaseStringWithURL(QUrl(photos), QStringLiteral("GET"), {}, {},
                                                               HXStringEncoding::UTF8, std::nullopt),
              std::nullopt);
}

// RFC 5849, section 3.4.1.1: the request with query, form body and
// Authorization header. The RFC decodes and re-encodes each parameter and
// sorts by name, then value; Kea signs the texts as they appear, so two
// pieces differ from the RFC's base string: the body's "a3=2+q" stays
// "a3=2+q" (RFC: "a3=2%20q") and the body's "c2" stays "c2" (RFC: "c2=").
// The order happens to be the same.
TEST(HXOAuth1Signing, RFC5849Section341BaseStringFollowsTheTextsAsTheyAppear)
{
    const Headers headers = {{QStringLiteral("Content-Type"), QStringLiteral("application/x-www-form-urlencoded")}};
    const QString authorization = QStringLiteral(
        "OAuth realm=\"Example\", oauth_consumer_key=\"9djdj82h48djs9d2\", oauth_token=\"kkk9d7dh3k39sjv7\", "
        "oauth_signature_method=\"HMAC-SHA1\", oauth_timestamp=\"137131201\", oauth_nonce=\"7d8f3e4a\", "
        "oauth_signature=\"bYT5CMsGcbgUdFHObYMEfcx6bsw%3D\"");
    const std::optional<QString> base = HXOAuth1Signing::OAuthSignatureBaseStringWithURL(
        QUrl(QStringLiteral("http://example.com/request?b5=%3D%253D&a3=a&c%40=&a2=r%20b")), QStringLiteral("POST"),
        headers, "c2&a3=2+q", HXStringEncoding::UTF8, authorization);
    const QString rfc = QStringLiteral(
        "POST&http%3A%2F%2Fexample.com%2Frequest&a2%3Dr%2520b%26a3%3D2%2520q%26a3%3Da%26b5%3D%253D%25253D%26c%"
        "2540%3D%26c2%3D%26oauth_consumer_key%3D9djdj82h48djs9d2%26oauth_nonce%3D7d8f3e4a%26oauth_signature_"
        "method%3DHMAC-SHA1%26oauth_timestamp%3D137131201%26oauth_token%3Dkkk9d7dh3k39sjv7");
    QString kea = rfc;
    kea.replace(QStringLiteral("a3%3D2%2520q"), QStringLiteral("a3%3D2%2Bq"));
    kea.replace(QStringLiteral("%26c2%3D%26"), QStringLiteral("%26c2%26"));
    EXPECT_EQ(base, kea);
    EXPECT_NE(base, rfc);

    // The same body with another Content-Type contributes nothing.
    const std::optional<QString> withoutBody = HXOAuth1Signing::OAuthSignatureBaseStringWithURL(
        QUrl(QStringLiteral("http://example.com/request")), QStringLiteral("POST"),
        {{QStringLiteral("content-type"), QStringLiteral("text/plain")}}, "c2&a3=2+q", HXStringEncoding::UTF8,
        QString());
    EXPECT_EQ(withoutBody, QStringLiteral("POST&http%3A%2F%2Fexample.com%2Frequest&"));
}

TEST(HXOAuth1Signing, ParametersFromQueryAndFormBodySortedAsWholeTexts)
{
    // A charset parameter and any case still make a form body.
    const Headers form = {
        {QStringLiteral("CONTENT-TYPE"), QStringLiteral("Application/X-WWW-Form-URLEncoded; charset=utf-8")}};
    EXPECT_EQ(
        HXOAuth1Signing::OAuthParametersInPOSTRequestBodyHTTPHeaders(form, "b=2&&c=%C3%A9", HXStringEncoding::UTF8),
        (QStringList{QStringLiteral("b=2"), QStringLiteral("c=%C3%A9")}));
    // A body that is not valid in its encoding gives nothing.
    EXPECT_TRUE(
        HXOAuth1Signing::OAuthParametersInPOSTRequestBodyHTTPHeaders(form, "b=\xff", HXStringEncoding::UTF8).isEmpty());

    // "a2=1" sorts before "a=1" because "2" comes before "="; RFC 5849
    // sorts by name first and would put "a=1" first.
    const std::optional<QString> base = HXOAuth1Signing::OAuthSignatureBaseStringWithURL(
        QUrl(QStringLiteral("http://h/p?a=1&a2=1")), QStringLiteral("POST"), form, "b=2", HXStringEncoding::UTF8,
        QStringLiteral("oauth_nonce=\"n\""));
    EXPECT_EQ(base, QStringLiteral("POST&http%3A%2F%2Fh%2Fp&a2%3D1%26a%3D1%26b%3D2%26oauth_nonce%3Dn"));

    // Header pairs: lower-case names with quoted values; realm and the
    // signature are left out; values are taken as written.
    EXPECT_EQ(HXOAuth1Signing::OAuthParametersInOAuthAuthorizationHeader(
                  QStringLiteral("OAuth realm=\"r\", oauth_token=\"a%20b\", oauth_signature=\"s\", x=\"\", "
                                 "oauth_nonce=\"1\",oauth_callback=\"oob\"")),
              (QStringList{QStringLiteral("oauth_token=a%20b"), QStringLiteral("x="), QStringLiteral("oauth_nonce=1"),
                           QStringLiteral("oauth_callback=oob")}));
}

// RFC 5849, section 3.4.1.2: the base string URI.
TEST(HXOAuth1Signing, RequestURLDropsDefaultPortsQueryAndFragment)
{
    const auto base = [](const char *url) {
        return HXOAuth1Signing::OAuthRequestURLStringWithURL(QUrl(QString::fromLatin1(url)));
    };
    EXPECT_EQ(base("http://EXAMPLE.COM:80/r%20v/X?id=123"), QStringLiteral("http://example.com/r%20v/X"));
    EXPECT_EQ(base("https://www.example.net:8080/?q=1"), QStringLiteral("https://www.example.net:8080/"));
    EXPECT_EQ(base("http://h:8080/p#frag"), QStringLiteral("http://h:8080/p"));
    EXPECT_EQ(base("https://h:443"), QStringLiteral("https://h/"));
    EXPECT_EQ(base("http://h:443/"), QStringLiteral("http://h:443/"));
    EXPECT_EQ(base("http://[::1]:81/a"), QStringLiteral("http://[::1]:81/a"));
}

TEST(HXOAuth1Signing, HeaderTextKeysAndAlgorithms)
{
    EXPECT_EQ(HXOAuth1Signing::OAuthAuthorizationHeaderWithParameters(
                  {{QStringLiteral("oauth_consumer_key"), QStringLiteral("a b")},
                   {QStringLiteral("oauth_callback"), QStringLiteral("http://x/?a=1~")},
                   {QStringLiteral("oauth_nonce"), QStringLiteral("\u00e9")}}),
              QStringLiteral("OAuth oauth_consumer_key=\"a%20b\", oauth_callback=\"http%3A%2F%2Fx%2F%3Fa%3D1%7E\", "
                             "oauth_nonce=\"%C3%A9\""));

    // RFC 5849, section 3.4.4: PLAINTEXT is the key.
    const auto sign = [](const QString &algorithm) {
        return HXOAuth1Signing::OAuthSignatureForSignatureBaseString(QStringLiteral("base"), QStringLiteral("ja893SD9"),
                                                                     QStringLiteral("xyz4992k83j47x0b"), algorithm);
    };
    EXPECT_EQ(sign(HXOAuth1Signing::plainText()), QStringLiteral("ja893SD9&xyz4992k83j47x0b"));
    EXPECT_EQ(sign(HXOAuth1Signing::RSASHA1()), std::nullopt);
    EXPECT_EQ(sign(QStringLiteral("hmac-sha1")), std::nullopt);

    // The key escapes only what a URL cannot hold, so "&", "=", "+" and "/"
    // in a secret stay as they are (RFC 5849 would escape them); "%", blanks
    // and non-ASCII are escaped.
    EXPECT_EQ(
        HXOAuth1Signing::OAuthSigningKeyWithConsumerSecret(QStringLiteral("a&b=c+d/e"), QStringLiteral("f g%\u00e9\"")),
        QStringLiteral("a&b=c+d/e&f%20g%25%C3%A9%22"));
    EXPECT_EQ(HXOAuth1Signing::OAuthSigningKeyWithConsumerSecret(QString(), QString()), QStringLiteral("&"));
}
