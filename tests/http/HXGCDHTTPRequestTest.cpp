// The own HTTP/1.1 engine against a scripted loopback server: the exact bytes
// the server receives, the callbacks in order, framing, decoding and failures.

#include "HXGCDHTTPRequest.h"
#include "HXTestHTTPDelegate.h"
#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"
#include "HXUserDefaults.h"

#include <QElapsedTimer>
#include <QTcpServer>

#include <gtest/gtest.h>

namespace {

QString userAgentLine()
{
    return QStringLiteral("User-Agent: ") + HXHTTPRequest::defaultUserAgent() + QStringLiteral("\r\n");
}

struct Exchange
{
    std::unique_ptr<HXGCDHTTPRequest> request;
    HXTestHTTPDelegate delegate;
};

class HXGCDHTTPRequestTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HXUserDefaults::standardUserDefaults().setObject(QStringLiteral("NoProxy"),
                                                         QStringLiteral("HXUserDefaultHTTPProxyConfiguration"));
        ASSERT_TRUE(server.listen());
    }
    void TearDown() override
    {
        HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
        defaults.removeObjectForKey(QStringLiteral("HXUserDefaultHTTPProxyConfiguration"));
        defaults.removeObjectForKey(QStringLiteral("HXUserDefaultHTTPAlwaysSendRequestBody"));
    }

    std::unique_ptr<Exchange> send(const QUrl &url, const QString &method = QStringLiteral("GET"),
                                   const HXHTTPHeaderList &headers = {}, const QByteArray &body = {},
                                   double timeout = 5)
    {
        auto exchange = std::make_unique<Exchange>();
        exchange->request = std::make_unique<HXGCDHTTPRequest>(url);
        exchange->request->setMethod(method);
        exchange->request->setRequestHeaders(headers);
        exchange->request->setRequestBodyData(body);
        exchange->request->setTimeoutInterval(timeout);
        exchange->request->setDelegate(&exchange->delegate);
        exchange->request->start();
        return exchange;
    }

    std::unique_ptr<Exchange> sendAndWait(const QUrl &url, const QString &method = QStringLiteral("GET"),
                                          const HXHTTPHeaderList &headers = {}, const QByteArray &body = {})
    {
        std::unique_ptr<Exchange> exchange = send(url, method, headers, body);
        EXPECT_TRUE(exchange->delegate.waitUntilEnded());
        return exchange;
    }

    HXTestHTTPServer server;
};

TEST_F(HXGCDHTTPRequestTest, SendsTheHeadersAsWrittenWithDefaultsAfterThem)
{
    server.addResponse("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    const HXHTTPHeaderList headers = {{QStringLiteral("X-Twice"), QStringLiteral("1")},
                                      {QStringLiteral("accept"), QStringLiteral("*/*")},
                                      {QStringLiteral("X-Empty"), QString()},
                                      {QStringLiteral("X-Twice"), QStringLiteral("2")},
                                      {QStringLiteral("X-Caf\u00e9"), QStringLiteral("cr\u00e8me")}};
    auto exchange = sendAndWait(server.url(QStringLiteral("/a/b?q=1&r=%20")), QStringLiteral("GET"), headers);
    EXPECT_EQ(exchange->delegate.foldedEvents(), "headers finished");
    ASSERT_EQ(server.receivedRequests().size(), 1);
    const QString expected = QStringLiteral("GET /a/b?q=1&r=%20 HTTP/1.1\r\n"
                                            "X-Twice: 1\r\naccept: */*\r\nX-Twice: 2\r\nX-Caf?: cr?me\r\n"
                                            "Host: 127.0.0.1:%1\r\nConnection: close\r\n")
                                 .arg(server.port()) +
                             userAgentLine() + QStringLiteral("\r\n");
    EXPECT_EQ(QString::fromLatin1(server.receivedRequests().first()), expected);
    // The defaults were appended to the request's own list.
    EXPECT_EQ(exchange->request->requestHeaders().size(), headers.size() + 3);
    EXPECT_EQ(exchange->request->responseData(), QByteArray("ok"));
    EXPECT_EQ(exchange->request->responseStatusCode(), 200);
    EXPECT_EQ(exchange->request->responseStatusReasonPhrase(), QStringLiteral("OK"));
}

TEST_F(HXGCDHTTPRequestTest, BodyAndContentLengthFollowTheMethod)
{
    const QByteArray response = "HTTP/1.1 204 No Content\r\n\r\n";
    server.setDefaultScript(HXTestHTTPScript::respond(response));
    const HXHTTPHeaderList host = {{QStringLiteral("host"), QStringLiteral("example.test")}};

    sendAndWait(server.url(QStringLiteral("/g")), QStringLiteral("GET"), host, "dropped");
    sendAndWait(server.url(QStringLiteral("/p")), QStringLiteral("POST"), host, QByteArray());
    sendAndWait(server.url(QStringLiteral("/d")), QStringLiteral("DELETE"), host, "body");
    HXUserDefaults::standardUserDefaults().setBool(true, QStringLiteral("HXUserDefaultHTTPAlwaysSendRequestBody"));
    sendAndWait(server.url(QStringLiteral("/o")), QStringLiteral("OPTIONS"), host, "sent");

    const QList<QByteArray> requests = server.receivedRequests();
    ASSERT_EQ(requests.size(), 4);
    const QByteArray common = "host: example.test\r\nConnection: close\r\n" + userAgentLine().toLatin1();
    EXPECT_EQ(requests[0], "GET /g HTTP/1.1\r\n" + common + "\r\n");
    EXPECT_EQ(requests[1], "POST /p HTTP/1.1\r\n" + common + "Content-Length: 0\r\n\r\n");
    EXPECT_EQ(requests[2], "DELETE /d HTTP/1.1\r\n" + common + "\r\n");
    EXPECT_EQ(requests[3], "OPTIONS /o HTTP/1.1\r\n" + common + "Content-Length: 4\r\n\r\nsent");
}

// One response, how it is framed and decoded, what the request ends with.
struct FramingCase
{
    const char *name;
    const char *method;
    QByteArray response;
    qint64 status;
    QByteArray body;
    qint64 failureCode = -1; // -1: finishes
};

QList<FramingCase> framingCases()
{
    const QByteArray text = "The quick brown fox jumps over the lazy dog. 0123456789";
    const QByteArray compressed = HXTest::gzip(text);
    return {
        {"content-length", "GET", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello", 200, "hello"},
        {"content-length then extra bytes", "GET", "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabcdef", 200, "abc"},
        {"chunked with extension", "GET",
         "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1a;name=value\r\nabcdefghijklmnopqrstuvwxyz\r\n"
         "3\r\n123\r\n0\r\nTrailer: ignored\r\n\r\n",
         200, "abcdefghijklmnopqrstuvwxyz123"},
        {"chunked wins over content-length", "GET",
         "HTTP/1.1 200 OK\r\nContent-Length: 100\r\nTransfer-Encoding: gzip, CHUNKED\r\n\r\n2\r\nok\r\n0\r\n\r\n", 200,
         "ok"},
        {"until close", "GET", "HTTP/1.1 200 OK\r\nServer: x\r\n\r\nread until the end", 200, "read until the end"},
        {"empty until close", "GET", "HTTP/1.1 200 OK\r\n\r\n", 200, ""},
        {"head ignores content-length", "HEAD", "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n", 200, ""},
        {"204 has no body", "GET", "HTTP/1.1 204 No Content\r\n\r\n", 204, ""},
        {"304 has no body", "GET", "HTTP/1.1 304 Not Modified\r\nContent-Length: 10\r\n\r\n", 304, ""},
        {"interim responses are skipped", "GET",
         "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 102 Processing\r\nX: y\r\n\r\nHTTP/1.1 201 Created\r\n"
         "Content-Length: 2\r\n\r\nhi",
         201, "hi"},
        {"bare line feeds", "GET", "HTTP/1.1 200 OK\nTransfer-Encoding: chunked\n\n5\nhello\r\n5;x\nworld\r\n0\n\n",
         200, "helloworld"},
        {"gzip", "GET",
         "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " + QByteArray::number(compressed.size()) +
             "\r\n\r\n" + compressed,
         200, text},
        {"broken gzip stays raw", "GET", "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\nnot gzip at all", 200,
         "not gzip at all"},
        {"GZIP in capitals is not decoded", "GET", "HTTP/1.1 200 OK\r\nContent-Encoding: GZIP\r\n\r\n" + compressed,
         200, compressed},
        {"deflate is left as received", "GET", "HTTP/1.1 200 OK\r\nContent-Encoding: deflate\r\n\r\nxyz", 200, "xyz"},
        {"zero content-length", "GET", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", 200, ""},
        {"malformed content-length", "GET", "HTTP/1.1 200 OK\r\nContent-Length: 12x\r\n\r\n0123456789ab", 200, "",
         8495},
        {"conflicting content-lengths", "GET", "HTTP/1.1 200 OK\r\nContent-Length: 3, 4\r\n\r\nabcd", 200, "", 8495},
        {"chunk size overflow", "GET",
         "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nfffffffffffffffffff\r\nx\r\n0\r\n\r\n", 200, "", 8495},
        {"chunk data longer than its size", "GET",
         "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nabc\r\n0\r\n\r\n", 200, "ab", 8495},
        {"not http", "GET", "SSH-2.0-OpenSSH\r\n\r\n", 0, "", 8495},
        {"closed before content-length", "GET", "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nshort", 200, "short", 2},
    };
}

TEST_F(HXGCDHTTPRequestTest, FramesAndDecodesResponsesWholeAndSplit)
{
    for (const FramingCase &testCase : framingCases()) {
        for (const int pieceSize : {0, 7, 1}) {
            if (pieceSize == 1 && testCase.response.size() > 160)
                continue;
            SCOPED_TRACE(std::string(testCase.name) + " in pieces of " + std::to_string(pieceSize));
            server.addScript(HXTestHTTPScript().readRequest().write(testCase.response, pieceSize).close());
            auto exchange = sendAndWait(server.url(QStringLiteral("/")), QString::fromLatin1(testCase.method));
            const HXTestHTTPDelegate &delegate = exchange->delegate;
            EXPECT_EQ(delegate.terminalCount(), 1);
            if (testCase.failureCode < 0) {
                EXPECT_EQ(delegate.eventsWithoutProgress(), "headers finished");
                EXPECT_EQ(exchange->request->responseStatusCode(), testCase.status);
                EXPECT_EQ(exchange->request->responseData(), testCase.body);
            } else {
                EXPECT_EQ(delegate.events.last(), QStringLiteral("failed"));
                EXPECT_EQ(delegate.error.code, testCase.failureCode);
                EXPECT_EQ(delegate.error.domain, QStringLiteral("kestrelworks.Kea.HTTPRequestErrorDomain"));
                EXPECT_EQ(exchange->request->responseData(), testCase.body);
            }
        }
    }
}

TEST_F(HXGCDHTTPRequestTest, EarlyCloseNamesTheDeclaredLength)
{
    server.addResponse("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nshort");
    auto exchange = sendAndWait(server.url());
    EXPECT_EQ(exchange->delegate.error.description,
              QStringLiteral("Server Closed the Connection too early. We expected a Content-Length of 10, server "
                             "closed before."));
    EXPECT_EQ(exchange->request->error().code, 2);
}

TEST_F(HXGCDHTTPRequestTest, HeadOfMoreThanOneMebibyteIsRefused)
{
    QByteArray response = "HTTP/1.1 200 OK\r\n";
    while (response.size() <= 1024 * 1024)
        response += "X-Filler: " + QByteArray(1000, 'a') + "\r\n";
    response += "\r\n";
    server.addResponse(response);
    auto exchange = sendAndWait(server.url());
    EXPECT_EQ(exchange->delegate.foldedEvents(), "failed");
    EXPECT_TRUE(exchange->delegate.error.sameKindAs(HXHTTPRequestInvalidResponseError()));
}

TEST_F(HXGCDHTTPRequestTest, ReportsProgressOfDeclaredLengthBodies)
{
    QByteArray body;
    for (int i = 0; i < 2000; ++i)
        body += QByteArray::number(i) + ',';
    server.addScript(HXTestHTTPScript()
                         .readRequest()
                         .write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n")
                         .delay(30)
                         .write(body.left(3000))
                         .delay(200) // long enough for a partial read even on a busy machine
                         .write(body.mid(3000), 1500, 2)
                         .close());
    auto exchange = sendAndWait(server.url());
    const HXTestHTTPDelegate &delegate = exchange->delegate;
    EXPECT_EQ(delegate.foldedEvents(), "headers progress finished");
    ASSERT_FALSE(delegate.progress.isEmpty());
    qint64 previous = 0;
    for (const HXTestHTTPDelegate::Progress &step : delegate.progress) {
        EXPECT_EQ(step.expected, body.size());
        EXPECT_GT(step.total, previous);
        EXPECT_GT(step.length, 0);
        previous = step.total;
    }
    EXPECT_LT(previous, body.size()); // the completing piece is not a partial one
    EXPECT_EQ(exchange->request->responseData(), body);
}

TEST_F(HXGCDHTTPRequestTest, TimesOutWhenTheServerNeverAnswers)
{
    server.addScript(HXTestHTTPScript().readRequest().hang());
    QElapsedTimer clock;
    clock.start();
    auto exchange = send(server.url(), QStringLiteral("GET"), {}, {}, 0.3);
    ASSERT_TRUE(exchange->delegate.waitUntilEnded(5000));
    EXPECT_GE(clock.elapsed(), 250);
    EXPECT_EQ(exchange->delegate.foldedEvents(), "failed");
    EXPECT_EQ(exchange->delegate.error.code, 3095);
    EXPECT_EQ(exchange->delegate.error.description, QStringLiteral("The request timed out"));
    // Nothing else follows.
    HXTest::waitUntil([] { return false; }, 100);
    EXPECT_EQ(exchange->delegate.events.size(), 1);
}

TEST_F(HXGCDHTTPRequestTest, ZeroTimeoutMeansNoLimit)
{
    server.addScript(
        HXTestHTTPScript().readRequest().delay(400).write("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\n!").close());
    auto exchange = send(server.url(), QStringLiteral("GET"), {}, {}, 0);
    ASSERT_TRUE(exchange->delegate.waitUntilEnded(5000));
    EXPECT_EQ(exchange->delegate.events.last(), QStringLiteral("finished"));
}

TEST_F(HXGCDHTTPRequestTest, ConnectionFailuresAndUnsupportedURLs)
{
    quint16 closedPort = 0;
    {
        QTcpServer probe;
        ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
        closedPort = probe.serverPort();
    }
    auto refused = sendAndWait(QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(closedPort)));
    EXPECT_EQ(refused->delegate.foldedEvents(), "failed");
    EXPECT_EQ(refused->delegate.error.code, QAbstractSocket::ConnectionRefusedError);

    for (const char *url : {"ftp://127.0.0.1/file", "http:///nohost", "http://127.0.0.1:0/"}) {
        SCOPED_TRACE(url);
        auto exchange = sendAndWait(QUrl(QString::fromLatin1(url)));
        EXPECT_EQ(exchange->delegate.foldedEvents(), "failed");
        EXPECT_EQ(exchange->delegate.error.code, 3094);
    }

    // A server that closes without answering: a clean close, a null error.
    server.addScript(HXTestHTTPScript().readRequest().close());
    auto closed = sendAndWait(server.url());
    EXPECT_EQ(closed->delegate.foldedEvents(), "failed");
    EXPECT_TRUE(closed->delegate.error.isNull());
}

TEST_F(HXGCDHTTPRequestTest, UnknownHostIsReportedWithItsCause)
{
    // ".invalid" never resolves; a resolver that cannot be reached at all
    // shows up as a time-out instead, and then there is nothing to check.
    auto exchange = send(QUrl(QStringLiteral("http://kea-test.invalid/")), QStringLiteral("GET"), {}, {}, 5);
    ASSERT_TRUE(exchange->delegate.waitUntilEnded(8000));
    if (exchange->delegate.error.sameKindAs(HXHTTPRequestTimedOutError()))
        GTEST_SKIP() << "the name resolver did not answer";
    EXPECT_EQ(exchange->delegate.foldedEvents(), "failed");
    EXPECT_EQ(exchange->delegate.error.description.toStdString(), "Kea can't find the server");
    EXPECT_EQ(exchange->delegate.error.code, 0);
    ASSERT_TRUE(exchange->delegate.error.underlying);
    EXPECT_EQ(exchange->delegate.error.underlying->code, QAbstractSocket::HostNotFoundError);
}

} // namespace
