#include "HXResponse.h"
#include "HXUserDefaults.h"

#include <gtest/gtest.h>

namespace {

HXResponse responseWith(const QByteArray &head, const QByteArray &body = QByteArray())
{
    HXResponse response;
    response.setHeadersData(head);
    response.setBodyData(body);
    return response;
}

TEST(ResponseTest, HeadersKeepOrderAndRepeats)
{
    const HXResponse response = responseWith("HTTP/1.1 200 OK\r\nA: 1\r\nA:2\r\nContent-Type: text/plain\r\n\r\n");
    const QList<std::pair<QString, QString>> expected = {
        {QStringLiteral("A"), QStringLiteral("1")},
        {QStringLiteral("A"), QStringLiteral("2")},
        {QStringLiteral("Content-Type"), QStringLiteral("text/plain")}};
    EXPECT_EQ(response.headers(), expected);
    EXPECT_EQ(response.statusCode(), 200);
    EXPECT_EQ(response.statusLine(), QStringLiteral("HTTP/1.1 200 OK"));
    EXPECT_EQ(response.statusString(), QStringLiteral("OK"));
    EXPECT_EQ(response.httpVersion(), QStringLiteral("HTTP/1.1"));
    EXPECT_EQ(response.headerValueForName(QStringLiteral("content-type")), QStringLiteral("text/plain"));

    // A new head replaces every cached view of the old one.
    HXResponse changed = response;
    changed.setHeadersData("HTTP/1.0 404 Not Found\r\nB: x\r\n\r\n");
    EXPECT_EQ(changed.statusCode(), 404);
    EXPECT_EQ(changed.headers().size(), 1);
    EXPECT_EQ(changed.httpVersion(), QStringLiteral("HTTP/1.0"));
}

TEST(ResponseTest, DownloadTimeIsWrittenInMillisecondsBelowOneSecond)
{
    EXPECT_EQ(HXResponse::downloadTimeString(0.25), QStringLiteral("250 ms"));
    EXPECT_EQ(HXResponse::downloadTimeString(0.9996), QStringLiteral("1000 ms"));
    EXPECT_EQ(HXResponse::downloadTimeString(1.0), QStringLiteral("1.00 s"));
    EXPECT_EQ(HXResponse::downloadTimeString(12.345), QStringLiteral("12.35 s"));
}

TEST(ResponseTest, BodyTextFollowsTheCharset)
{
    const HXResponse latin =
        responseWith("HTTP/1.1 200 OK\r\nContent-Type: text/plain; charset=\"ISO-8859-1\"\r\n\r\n", "caf\xe9");
    EXPECT_EQ(latin.MIMEType(), QStringLiteral("text/plain"));
    EXPECT_EQ(latin.charset(), QStringLiteral("ISO-8859-1"));
    EXPECT_EQ(latin.stringEncoding(), HXStringEncoding::ISOLatin1);
    EXPECT_EQ(latin.bodyString(), QStringLiteral("café"));

    // No charset: UTF-8; bytes that are not UTF-8 give nothing, and ASCII
    // decoding of the same bytes fails too.
    const HXResponse broken = responseWith("HTTP/1.1 200 OK\r\n\r\n", "caf\xe9");
    EXPECT_EQ(broken.bodyStringUnsafe(), std::nullopt);
    EXPECT_EQ(broken.bodyString(), QString());
    EXPECT_EQ(responseWith("HTTP/1.1 204 No Content\r\n\r\n").bodyStringUnsafe(), std::nullopt);

    const HXResponse json = responseWith("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n", "{\"a\":[1,2]}");
    EXPECT_EQ(json.bodyStringAsJSON(), QStringLiteral("{\n  \"a\": [\n    1,\n    2\n  ]\n}"));
    const HXResponse notXML = responseWith("HTTP/1.1 200 OK\r\n\r\n", "plain <text");
    EXPECT_EQ(notXML.bodyStringAsXML(), QStringLiteral("plain <text"));
}

TEST(ResponseTest, BodyTextTypes)
{
    auto typeFor = [](const char *contentType) {
        return responseWith(QByteArray("HTTP/1.1 200 OK\r\nContent-Type: ") + contentType + "\r\n\r\n")
            .defaultBodyTextType();
    };
    EXPECT_EQ(typeFor("application/atom+XML"), HXResponse::BodyTextTypeXML);
    EXPECT_EQ(typeFor("application/vnd.api+json; charset=utf-8"), HXResponse::BodyTextTypeJSON);
    EXPECT_EQ(typeFor("text/javascript"), HXResponse::BodyTextTypeJSON);
    EXPECT_EQ(typeFor("application/x-www-form-urlencoded"), HXResponse::BodyTextTypeFormURLEncoded);
    EXPECT_EQ(typeFor("text/html"), HXResponse::BodyTextTypeText);

    using Type = HXResponse::BodyTextType;
    EXPECT_EQ(HXResponse::userDefaultBodyTextTypeForContentType(QStringLiteral("application/json")), Type(1));
    EXPECT_EQ(HXResponse::userDefaultBodyTextTypeForContentType(QStringLiteral("image/svg+xml")), Type(2));
    EXPECT_EQ(HXResponse::userDefaultBodyTextTypeForContentType(QStringLiteral("application/json; x=1")),
              std::nullopt); // literal entries match exactly
    EXPECT_EQ(HXResponse::userDefaultBodyTextTypeForContentType(QStringLiteral("text/html")), std::nullopt);

    // The user's own list wins, in its order; the pattern must match whole.
    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    defaults.setObject(QVariantList{QVariantMap{{QStringLiteral("format"), QStringLiteral("Text")},
                                                {QStringLiteral("content-type"), QStringLiteral("TEXT/.*")},
                                                {QStringLiteral("regex"), true}}},
                       QStringLiteral("HXUserDefaultResponseTextFormats"));
    EXPECT_EQ(HXResponse::userDefaultBodyTextTypeForContentType(QStringLiteral("text/xml")), Type(0));
    EXPECT_EQ(HXResponse::userDefaultBodyTextTypeForContentType(QStringLiteral("application/text/x")), std::nullopt);
    defaults.removeObjectForKey(QStringLiteral("HXUserDefaultResponseTextFormats"));
}

} // namespace
