// The own HTTP/1.1 engine against a scripted loopback server: the exact bytes
// the server receives, the callbacks in order, limits and failures. (Framing
// and decoding are checked at every split point in HXHTTPResponseReadingTest,
// and over sockets for every engine in HXEngineScenarioTest.)

#include "HXGCDHTTPRequest.h"
#include "HXGzipEncoder.h"
#include "HXHTTPSettings.h"
#include "HXTestHTTPDelegate.h"
#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"
#include "HXUserDefaults.h"

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
        exchange->request->setSettings(HXHTTPSettings::fromUserDefaults(HXUserDefaults::standardUserDefaults()));
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

TEST_F(HXGCDHTTPRequestTest, LineBreaksAreRefusedBeforeConnecting)
{
    struct Case
    {
        const char *name;
        QString method;
        HXHTTPHeaderList headers;
        const char *named; // what the error names
    };
    const HXHTTPHeaderField plain{QStringLiteral("Accept"), QStringLiteral("*/*")};
    const Case cases[] = {
        {"value",
         QStringLiteral("GET"),
         {plain, {QStringLiteral("X-Token"), QStringLiteral("t\r\nX-Injected: 1")}},
         "The header \"X-Token\""},
        {"bare LF",
         QStringLiteral("GET"),
         {{QStringLiteral("X-Token"), QStringLiteral("t\nX-Injected: 1")}},
         "The header \"X-Token\""},
        {"name",
         QStringLiteral("GET"),
         {{QStringLiteral("X-A\r\nX-Injected"), QStringLiteral("1")}},
         "The header \"X-A\\r\\nX-Injected\""},
        {"method", QStringLiteral("GET / HTTP/1.1\r\nHost: x\r\n\r\nGET"), {plain}, "The method"},
    };
    for (const Case &testCase : cases) {
        SCOPED_TRACE(testCase.name);
        auto exchange = sendAndWait(server.url(QStringLiteral("/x")), testCase.method, testCase.headers);
        EXPECT_EQ(exchange->delegate.foldedEvents(), "failed");
        EXPECT_EQ(exchange->delegate.error.code, qint64(HXHTTPRequestErrorCode::UnsafeRequest));
        EXPECT_TRUE(exchange->delegate.error.description.startsWith(QString::fromUtf8(testCase.named)))
            << exchange->delegate.error.description.toStdString();
    }
    EXPECT_EQ(server.connectionCount(), 0);
}

TEST_F(HXGCDHTTPRequestTest, BodiesOverTheMaximumFailAndSaySo)
{
    const QByteArray big(2000, 'b');
    const QByteArray bomb = HXGzipEncoder::compress(QByteArray(100000, 'z'));
    const QByteArray responses[] = {
        "HTTP/1.1 200 OK\r\nContent-Length: 2000\r\n\r\n" + big,
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n7d0\r\n" + big + "\r\n0\r\n\r\n",
        "HTTP/1.1 200 OK\r\n\r\n" + big,
        "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\n" + bomb,
    };
    for (const QByteArray &response : responses) {
        SCOPED_TRACE(response.left(60).toStdString());
        server.addResponse(response);
        Exchange exchange;
        exchange.request = std::make_unique<HXGCDHTTPRequest>(server.url(QStringLiteral("/big")));
        exchange.request->setMaximumResponseLength(1000);
        exchange.request->setSettings(HXHTTPSettings::fromUserDefaults(HXUserDefaults::standardUserDefaults()));
        exchange.request->setDelegate(&exchange.delegate);
        exchange.request->start();
        ASSERT_TRUE(exchange.delegate.waitUntilEnded());
        EXPECT_EQ(exchange.delegate.eventsWithoutProgress(), "headers failed");
        EXPECT_EQ(exchange.delegate.error.code, qint64(HXHTTPRequestErrorCode::ResponseTooLarge));
        EXPECT_TRUE(exchange.delegate.error.description.contains(u"1000"));
    }
}

TEST_F(HXGCDHTTPRequestTest, AResetIsAFailureNotTheEndOfTheBody)
{
    server.addScript(HXTestHTTPScript().readRequest().write("HTTP/1.1 200 OK\r\n\r\ncut sh").delay(200).reset());
    auto exchange = sendAndWait(server.url(QStringLiteral("/reset")));
    EXPECT_EQ(exchange->delegate.eventsWithoutProgress(), "headers failed");
    EXPECT_EQ(exchange->delegate.error.domain, QStringLiteral("QAbstractSocket"));
    EXPECT_NE(exchange->delegate.error.code, qint64(QAbstractSocket::RemoteHostClosedError));
    EXPECT_FALSE(exchange->delegate.error.description.isEmpty());
    EXPECT_EQ(exchange->request->responseData(), QByteArray("cut sh"));
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

TEST_F(HXGCDHTTPRequestTest, ZeroTimeoutMeansNoLimit)
{
    server.addScript(
        HXTestHTTPScript().readRequest().delay(400).write("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\n!").close());
    auto exchange = send(server.url(), QStringLiteral("GET"), {}, {}, 0);
    ASSERT_TRUE(exchange->delegate.waitUntilEnded(5000));
    EXPECT_EQ(exchange->delegate.events.last(), QStringLiteral("finished"));
}

} // namespace
