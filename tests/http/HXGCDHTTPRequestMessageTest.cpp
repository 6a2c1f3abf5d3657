// The request bytes of the own engine, built without a network. (The bytes
// sent to a proxy, in absolute form and in a CONNECT, are in
// HXGCDHTTPRequestProxyTest.)

#include "HXGCDHTTPRequest.h"
#include "HXHTTPRequestMessage.h"
#include "HXUserDefaults.h"

#include <gtest/gtest.h>

namespace {

std::string message(const QString &url, const QString &method, HXHTTPHeaderList headers = {},
                    const QByteArray &body = {}, int mode = 0)
{
    return HXGCDHTTPRequest::HTTPMessageWith(QUrl(url), method, headers, body, mode).toStdString();
}

std::string hostOf(const QString &url)
{
    HXHTTPHeaderList headers;
    HXGCDHTTPRequest::HTTPMessageWith(QUrl(url), QStringLiteral("GET"), headers, {}, 0);
    return headers.first().value.toStdString();
}

const std::string userAgent = "User-Agent: " + HXHTTPRequest::defaultUserAgent().toStdString() + "\r\n";

TEST(HXGCDHTTPRequestMessageTest, HostHeaderLeavesOutOnlyTheSchemesDefaultPort)
{
    EXPECT_EQ(hostOf(QStringLiteral("http://example.test:80/")), "example.test");
    EXPECT_EQ(hostOf(QStringLiteral("http://example.test:8080/")), "example.test:8080");
    EXPECT_EQ(hostOf(QStringLiteral("https://example.test:80/")), "example.test:80");
    EXPECT_EQ(hostOf(QStringLiteral("https://example.test:443/")), "example.test");
    EXPECT_EQ(hostOf(QStringLiteral("http://[::1]:8000/")), "[::1]:8000");
    EXPECT_EQ(hostOf(QStringLiteral("http://b\u00fccher.test/")), "xn--bcher-kva.test");
}

TEST(HXGCDHTTPRequestMessageTest, RequestTargetPerProxyMode)
{
    const QUrl query(QStringLiteral("http://example.test?a=b"));
    EXPECT_EQ(HXGCDHTTPRequest::requestTargetWith(query, 0), QByteArray("/?a=b"));
    EXPECT_EQ(HXGCDHTTPRequest::requestTargetWith(QUrl(QStringLiteral("http://example.test")), 0), QByteArray("/"));
    EXPECT_EQ(HXGCDHTTPRequest::requestTargetWith(QUrl(QStringLiteral("http://u:p@example.test:81/x/y?z#f")), 0),
              QByteArray("/x/y?z#f"));
    EXPECT_EQ(HXGCDHTTPRequest::requestTargetWith(QUrl(QStringLiteral("http://example.test/a b")), 0),
              QByteArray("/a%20b"));
    EXPECT_EQ(HXGCDHTTPRequest::requestTargetWith(query, 1), QByteArray("http://example.test?a=b"));
    EXPECT_EQ(HXGCDHTTPRequest::requestTargetWith(QUrl(QStringLiteral("https://example.test/p")), 2),
              QByteArray("example.test:443"));
    EXPECT_EQ(HXGCDHTTPRequest::requestTargetWith(QUrl(QStringLiteral("https://example.test:8443/p")), 2),
              QByteArray("example.test:8443"));
}

TEST(HXGCDHTTPRequestMessageTest, TheWrittenTargetGoesOutAsWritten)
{
    struct Case
    {
        const char *written;
        int proxyMode;
        const char *target;
    };
    const Case cases[] = {
        {"http://e.test/caf%c3%a9/%7euser?q=%c3#f", 0, "/caf%c3%a9/%7euser?q=%c3#f"},
        {"http://e.test/a b/\u00fc?x=\u00e9", 0, "/a%20b/%C3%BC?x=%C3%A9"},
        {"http://e.test", 0, "/"},
        {"http://e.test/%7e", 1, "http://e.test/%7e"},
        // A text for another URL is not used.
        {"http://other.test/%7e", 0, "/~"},
    };
    const QUrl url(QStringLiteral("http://e.test/%7e"));
    for (const Case &testCase : cases) {
        const QString written = QString::fromUtf8(testCase.written);
        const QUrl parsed(written);
        const QUrl &target = QString::fromUtf8(testCase.written).contains(u"other") ? url : parsed;
        EXPECT_EQ(HXHTTPRequestMessage::requestTarget(target, testCase.proxyMode, written).toStdString(),
                  testCase.target)
            << testCase.written;
    }
}

TEST(HXGCDHTTPRequestMessageTest, DefaultsAreAppendedInOrderAndOnlyWhenMissing)
{
    HXHTTPHeaderList headers = {{QStringLiteral("user-agent"), QStringLiteral("mine")},
                                {QStringLiteral("X-Blank"), QString()},
                                {QString(), QStringLiteral("nameless")}};
    const QByteArray bytes = HXGCDHTTPRequest::HTTPMessageWith(QUrl(QStringLiteral("http://example.test/put")),
                                                               QStringLiteral("PUT"), headers, "abc", 0);
    EXPECT_EQ(bytes.toStdString(), "PUT /put HTTP/1.1\r\nuser-agent: mine\r\nHost: example.test\r\n"
                                   "Connection: close\r\nContent-Length: 3\r\n\r\nabc");
    ASSERT_EQ(headers.size(), 6);
    EXPECT_EQ(headers.at(3).name, QStringLiteral("Host"));
    EXPECT_EQ(headers.at(5).name, QStringLiteral("Content-Length"));

    // A PATCH without body still declares its (zero) length; a method in
    // lower case is not a known body-less one.
    EXPECT_EQ(message(QStringLiteral("http://e.test/"), QStringLiteral("PATCH")),
              "PATCH / HTTP/1.1\r\nHost: e.test\r\nConnection: close\r\n" + userAgent + "Content-Length: 0\r\n\r\n");
    EXPECT_EQ(message(QStringLiteral("http://e.test/"), QStringLiteral("get"), {}, "x"),
              "get / HTTP/1.1\r\nHost: e.test\r\nConnection: close\r\n" + userAgent + "Content-Length: 1\r\n\r\nx");
}

TEST(HXGCDHTTPRequestMessageTest, NonASCIITextIsReplacedNotRefused)
{
    EXPECT_EQ(message(QStringLiteral("http://e.test/"), QStringLiteral("GET"),
                      {{QStringLiteral("X-\u2603"), QStringLiteral("\u00fcber \U0001F600")},
                       {QStringLiteral("Host"), QStringLiteral("h")},
                       {QStringLiteral("User-Agent"), QStringLiteral("u")}}),
              "GET / HTTP/1.1\r\nX-?: ?ber ??\r\nHost: h\r\nUser-Agent: u\r\nConnection: close\r\n\r\n");
}

} // namespace
