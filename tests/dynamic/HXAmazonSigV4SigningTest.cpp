#include "HXAmazonSigV4Signing.h"

#include <gtest/gtest.h>

// AWS's published Signature Version 4 test-suite cases (credential scope
// AKIDEXAMPLE/20150830/us-east-1/service/aws4_request), inputs and expected
// signatures transcribed by hand.

namespace {

struct SuiteCase
{
    const char *name;
    const char *method;
    const char *url;
    HXAmazonSigV4Signing::HeaderRows headers; // besides X-Amz-Date
    QByteArray body;
    const char *sessionToken;
    const char *signedHeaders;
    const char *signature;
};

HXAmazonSigV4Signing::HeaderRows rows(std::initializer_list<std::pair<const char *, const char *>> list)
{
    HXAmazonSigV4Signing::HeaderRows result;
    for (const auto &[name, value] : list)
        result.append({QString::fromUtf8(name), QString::fromUtf8(value)});
    return result;
}

const std::pair<const char *, const char *> host{"Host", "example.amazonaws.com"};

} // namespace

TEST(HXAmazonSigV4Signing, PublishedSuiteCases)
{
    const QList<SuiteCase> cases = {
        {"get-vanilla",
         "GET",
         "https://example.amazonaws.com/",
         rows({host}),
         {},
         "",
         "host;x-amz-date",
         "5fa00fa31553b73ebf1942676e86291e8372ff2a2260956d9b8aae1d763fbf31"},
        {"get-vanilla-query-order-key-case",
         "GET",
         "https://example.amazonaws.com/?Param2=value2&Param1=value1",
         rows({host}),
         {},
         "",
         "host;x-amz-date",
         "b97d918cfa904a5beff61c982a1b6f458b799221646efd99d3219ec94cdf2500"},
        {"get-vanilla-utf8-query",
         "GET",
         "https://example.amazonaws.com/?\u1234=bar",
         rows({host}),
         {},
         "",
         "host;x-amz-date",
         "2cdec8eed098649ff3a119c94853b13c643bcf08f8b0a1d91e12c9027818dd04"},
        {"get-vanilla-query-unreserved",
         "GET",
         "https://example.amazonaws.com/?-._~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz="
         "-._~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz",
         rows({host}),
         {},
         "",
         "host;x-amz-date",
         "9c3e54bfcdf0b19771a7f523ee5669cdf59bc7cc0884027167c21bb143a40197"},
        {"get-unreserved",
         "GET",
         "https://example.amazonaws.com/-._~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz",
         rows({host}),
         {},
         "",
         "host;x-amz-date",
         "07ef7494c76fa4850883e2b006601f940f8a34d404d0cfa977f52a65bbf5f24f"},
        {"get-utf8",
         "GET",
         "https://example.amazonaws.com/\u1234",
         rows({host}),
         {},
         "",
         "host;x-amz-date",
         "8318018e0b0f223aa2bbf98705b62bb787dc9c0e678f255a891fd03141be5d85"},
        {"get-space",
         "GET",
         "https://example.amazonaws.com/example space/",
         rows({host}),
         {},
         "",
         "host;x-amz-date",
         "652487583200325589f1fba4c7e578f72c47cb61beeca81406b39ddec1366741"},
        {"get-header-key-duplicate",
         "GET",
         "https://example.amazonaws.com/",
         rows({host, {"My-Header1", "value2"}, {"My-Header1", "value2"}, {"My-Header1", "value1"}}),
         {},
         "",
         "host;my-header1;x-amz-date",
         "c9d5ea9f3f72853aea855b47ea873832890dbdd183b4468f858259531a5138ea"},
        {"get-header-value-trim",
         "GET",
         "https://example.amazonaws.com/",
         rows({host, {"My-Header1", " value1"}, {"My-Header2", " \"a   b   c\""}}),
         {},
         "",
         "host;my-header1;my-header2;x-amz-date",
         "acc3ed3afb60bb290fc8d2dd0098b9911fcaa05412b367055dee359757a9c736"},
        {"post-x-www-form-urlencoded", "POST", "https://example.amazonaws.com/",
         rows({{"Content-Type", "application/x-www-form-urlencoded"},
               host,
               {"Content-Length", "13"},
               {"X-Amz-Content-Sha256", "9095672bbd1f56dfc5b65f3e153adc8731a4a654192329106275f4c7b24d0b6e"}}),
         "Param1=value1", "", "content-length;content-type;host;x-amz-content-sha256;x-amz-date",
         "d3875051da38690788ef43de4db0d8f280229d82040bfac253562e56c3f20e0b"},
        // The session token is signed as a header the request carries.
        {"get-vanilla-with-session-token",
         "GET",
         "https://example.amazonaws.com/",
         rows({host}),
         {},
         "6e86291e8372ff2a2260956d9b8aae1d763fbf315fa00fa31553b73ebf194267",
         "host;x-amz-date;x-amz-security-token",
         "07ec1639c89043aa0e3e2de82b96708f198cceab042d4a97044c66dd9f74e7f8"},
        // Without a Host row the host is taken from the URL.
        {"get-vanilla (host from the URL)",
         "GET",
         "https://example.amazonaws.com/",
         {},
         {},
         "",
         "host;x-amz-date",
         "5fa00fa31553b73ebf1942676e86291e8372ff2a2260956d9b8aae1d763fbf31"},
    };
    for (const SuiteCase &suiteCase : cases) {
        SCOPED_TRACE(suiteCase.name);
        HXAmazonSigV4Signing::HeaderRows headers = suiteCase.headers;
        headers.append({QStringLiteral("X-Amz-Date"), QStringLiteral("20150830T123600Z")});
        const HXAmazonSigV4Signing::Credentials credentials{
            QStringLiteral("AKIDEXAMPLE"), QStringLiteral("wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY"),
            QStringLiteral("us-east-1"), QStringLiteral("service"), QString::fromUtf8(suiteCase.sessionToken)};
        const std::optional<QString> header = HXAmazonSigV4Signing::authorizationHeader(
            credentials, QString::fromLatin1(suiteCase.method), QUrl(QString::fromUtf8(suiteCase.url)), headers,
            suiteCase.body, QDateTime::currentDateTimeUtc());
        ASSERT_TRUE(header);
        EXPECT_EQ(*header,
                  QStringLiteral("AWS4-HMAC-SHA256 Credential=AKIDEXAMPLE/20150830/us-east-1/service/aws4_request, "
                                 "SignedHeaders=%1, Signature=%2")
                      .arg(QLatin1String(suiteCase.signedHeaders), QLatin1String(suiteCase.signature)));
    }
}

TEST(HXAmazonSigV4Signing, CanonicalForms)
{
    // Path normalization of the suite's get-slash*, get-relative* cases; S3
    // keeps its path as it stands.
    const struct
    {
        const char *path;
        const char *normalized;
        const char *asS3;
    } paths[] = {
        {"", "/", "/"},
        {"//", "/", "//"},
        {"//example//", "/example/", "//example//"},
        {"/./", "/", "/./"},
        {"/./example", "/example", "/./example"},
        {"/example/..", "/", "/example/.."},
        {"/example1/example2/../..", "/", "/example1/example2/../.."},
        {"/a%2Fb/c%20d", "/a%2Fb/c%20d", "/a%2Fb/c%20d"},
        {"/%e1%88%b4", "/%E1%88%B4", "/%E1%88%B4"},
    };
    for (const auto &path : paths) {
        QUrl url(QStringLiteral("https://example.amazonaws.com"));
        url.setPath(QString::fromLatin1(path.path), QUrl::TolerantMode);
        EXPECT_EQ(HXAmazonSigV4Signing::canonicalURI(url, true), QLatin1String(path.normalized)) << path.path;
        EXPECT_EQ(HXAmazonSigV4Signing::canonicalURI(url, false), QLatin1String(path.asS3)) << path.path;
    }
    // Queries: sorted by name then value, '+' and reserved characters encoded,
    // a name without '=' gets an empty value.
    const QUrl query(QStringLiteral("https://h/?b=2&a=z&a=y&flag&x=a+b%2Fc&&"));
    EXPECT_EQ(HXAmazonSigV4Signing::canonicalQueryString(query), QStringLiteral("a=y&a=z&b=2&flag=&x=a%2Bb%2Fc"));

    // The documented derivation example (20120215, us-east-1, iam).
    EXPECT_EQ(HXAmazonSigV4Signing::signingKey(QStringLiteral("wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY"),
                                               QStringLiteral("20120215"), QStringLiteral("us-east-1"),
                                               QStringLiteral("iam"))
                  .toHex(),
              QByteArray("f4780e2d9f65fa895f9c67b32ce1baf0b0d8a43505a000a1a9e090d414db404d"));

    // Request time: X-Amz-Date, else Date, else now.
    const QDateTime now(QDate(2024, 1, 2), QTime(3, 4, 5), Qt::UTC);
    EXPECT_EQ(HXAmazonSigV4Signing::requestTime({}, now), QStringLiteral("20240102T030405Z"));
    EXPECT_EQ(HXAmazonSigV4Signing::requestTime(
                  {{QStringLiteral("Date"), QStringLiteral("Sun, 30 Aug 2015 12:36:00 GMT")}}, now),
              QStringLiteral("20150830T123600Z"));

    // Nothing to sign without a host or a credential.
    const HXAmazonSigV4Signing::Credentials noSecret{QStringLiteral("AK"), QString(), QStringLiteral("r"),
                                                     QStringLiteral("s"), QString()};
    EXPECT_FALSE(HXAmazonSigV4Signing::authorizationHeader(noSecret, QStringLiteral("GET"),
                                                           QUrl(QStringLiteral("https://h/")), {}, {}, now));
}
