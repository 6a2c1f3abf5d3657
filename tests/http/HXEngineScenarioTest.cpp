// The same scenarios against all three engines and the same loopback servers.
// Where the engines may differ (headers folded, redirects followed, time
// limits of inactivity, who judges a certificate, which proxy settings apply)
// the table says what each engine must do.

#include "HXEngineScenario.h"
#include "HXGzipEncoder.h"
#include "HXTestSupport.h"

#include <QTcpServer>

#include <gtest/gtest.h>

namespace {

using namespace HXEngineScenario;
using HXEngineScenarioTest = HXEngineScenarioFixture;

struct ResponseCase
{
    const char *name;
    const char *method;
    QByteArray response;
    PerEngine<std::string> outcome;
};

TEST_P(HXEngineScenarioTest, StatusesBodiesAndFraming)
{
    const QByteArray text = "The quick brown fox jumps over the lazy dog. 0123456789";
    const QByteArray compressed = HXGzipEncoder::compress(text);
    const QList<ResponseCase> cases = {
        {"content-length", "GET", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello", same<std::string>("200 hello")},
        {"chunked", "GET", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n3;x=y\r\n123\r\n0\r\n\r\n",
         same<std::string>("200 abc123")},
        {"until close", "GET", "HTTP/1.1 200 OK\r\n\r\nread until the end",
         same<std::string>("200 read until the end")},
        {"gzip", "GET",
         "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " + QByteArray::number(compressed.size()) +
             "\r\n\r\n" + compressed,
         same("200 " + text.toStdString())},
        {"head", "HEAD", "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n", same<std::string>("200 ")},
        {"no content", "GET", "HTTP/1.1 204 No Content\r\n\r\n", same<std::string>("204 ")},
        {"interim response", "GET", "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 201 Created\r\nContent-Length: 2\r\n\r\nhi",
         same<std::string>("201 hi")},
        {"not found", "GET", "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\nnope", same<std::string>("404 nope")},
        // Authentication is needed: the 401 is the result, not a failure.
        {"unauthorized", "GET",
         "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"k\"\r\nContent-Length: 2\r\n\r\nno",
         same<std::string>("401 no")},
        {"server error", "POST", "HTTP/1.1 503 Busy\r\nContent-Length: 4\r\n\r\nbusy", same<std::string>("503 busy")},
        {"closed before content-length",
         "GET",
         "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nshort",
         {"failed kea:2", "failed libcurl:18", "failed QNetworkReply:2"}},
        {"closed without answer", "GET", "", {"failed null", "failed libcurl:52", "failed QNetworkReply:2"}},
    };
    for (const ResponseCase &testCase : cases) {
        SCOPED_TRACE(testCase.name);
        server.addScript(HXTestHTTPScript().readRequest().write(testCase.response, 7).close());
        Options options;
        options.method = QString::fromLatin1(testCase.method);
        auto exchange = sendAndWait(server.url(QStringLiteral("/framing")), options);
        EXPECT_EQ(exchange->outcome(), testCase.outcome[engine()]);
        EXPECT_EQ(exchange->delegate.terminalCount(), 1);
    }
}

TEST_P(HXEngineScenarioTest, StatusLineReasonAndHead)
{
    server.addResponse("HTTP/1.1 404 Gone Fishing\r\nX-Seen: 1\r\nX-Seen: 2\r\nContent-Length: 0\r\n\r\n");
    auto exchange = sendAndWait(server.url());
    const HXHTTPRequest &request = *exchange->request;
    // The Qt engine has no access to the reason sent and rebuilds it.
    const PerEngine<std::string> line = {"HTTP/1.1 404 Gone Fishing", "HTTP/1.1 404 Gone Fishing",
                                         "HTTP/1.1 404 NOT FOUND"};
    EXPECT_EQ(request.responseStatusLine().toStdString(), line[engine()]);
    EXPECT_EQ(request.responseStatusReasonPhrase(),
              HXHTTPRequest::reasonPhraseWithStatusLine(QString::fromStdString(line[engine()])));
    EXPECT_EQ(request.responseHeaders().value(QStringLiteral("x-seen")), QStringLiteral("1, 2"));
    EXPECT_TRUE(request.headersData().startsWith(QByteArray(QByteArray::fromStdString(line[engine()]) + "\r\n")));
    EXPECT_TRUE(request.headersData().endsWith("\r\n\r\n"));
    // The own engine keeps the head as received; the others rebuild it.
    const PerEngine<QByteArray> fields = {"X-Seen: 1\r\nX-Seen: 2\r\n", "X-Seen: 1, 2\r\n", "X-Seen: 1, 2\r\n"};
    EXPECT_TRUE(request.headersData().contains(fields[engine()]));
}

TEST_P(HXEngineScenarioTest, RepeatedAndEmptyRequestHeaders)
{
    server.addResponse("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    Options options;
    options.headers = {{QStringLiteral("X-Twice"), QStringLiteral("first")},
                       {QStringLiteral("X-Empty"), QString()},
                       {QStringLiteral("X-Twice"), QStringLiteral("second")}};
    auto exchange = sendAndWait(server.url(), options);
    ASSERT_EQ(server.receivedRequests().size(), 1);
    const QByteArray sent = server.receivedRequests().first();
    const PerEngine<int> firstCount = {1, 0, 0};
    EXPECT_EQ(sent.count("X-Twice: first\r\n"), firstCount[engine()]);
    EXPECT_EQ(sent.count("X-Twice: second\r\n"), 1);
    EXPECT_FALSE(sent.contains("X-Empty"));
}

TEST_P(HXEngineScenarioTest, RedirectsFollowedOnlyWhereAsked)
{
    const QByteArray redirect = "HTTP/1.1 302 Found\r\nLocation: /next\r\nContent-Length: 5\r\n\r\nmoved";
    const QByteArray target = "HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\narrived";
    server.addResponse(redirect);
    auto refused = sendAndWait(server.url(QStringLiteral("/start")));
    EXPECT_EQ(refused->outcome(), "302 moved");
    EXPECT_EQ(refused->request->responseHeaders().value(QStringLiteral("location")), QStringLiteral("/next"));

    // The own engine leaves redirects to its caller in any case.
    server.addResponse(redirect);
    server.addResponse(target);
    Options follow;
    follow.followRedirects = true;
    auto followed = sendAndWait(server.url(QStringLiteral("/start")), follow);
    const PerEngine<std::string> outcome = {"302 moved", "200 arrived", "200 arrived"};
    EXPECT_EQ(followed->outcome(), outcome[engine()]);
    EXPECT_EQ(followed->delegate.eventsWithoutProgress(), "headers finished");
}

TEST_P(HXEngineScenarioTest, TimeLimits)
{
    server.addScript(HXTestHTTPScript().readRequest().hang());
    Options shortLimit;
    shortLimit.timeout = 0.3;
    auto silent = sendAndWait(server.url(), shortLimit);
    EXPECT_EQ(silent->outcome(), "failed kea:3095");
    EXPECT_EQ(silent->delegate.foldedEvents(), "failed");
    EXPECT_EQ(silent->delegate.error.description, QStringLiteral("The request timed out"));

    // A body that keeps trickling in: only libcurl measures inactivity.
    server.addScript(HXTestHTTPScript()
                         .readRequest()
                         .write("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\n")
                         .write("abcdef", 1, 150)
                         .close());
    Options trickle;
    trickle.timeout = 0.5;
    auto slow = sendAndWait(server.url(), trickle);
    const PerEngine<std::string> outcome = {"failed kea:3095", "200 abcdef", "failed kea:3095"};
    EXPECT_EQ(slow->outcome(), outcome[engine()]);
}

TEST_P(HXEngineScenarioTest, ProgressIsReportedExceptByLibcurl)
{
    const QByteArray body(60000, 'p');
    server.addScript(HXTestHTTPScript()
                         .readRequest()
                         .write("HTTP/1.1 200 OK\r\nContent-Length: 60000\r\n\r\n")
                         .write(body, 20000, 150)
                         .close());
    auto exchange = sendAndWait(server.url());
    EXPECT_EQ(exchange->request->responseData(), body);
    EXPECT_EQ(exchange->delegate.progress.isEmpty(), engine() == EngineCurl);
    for (const HXTestHTTPDelegate::Progress &step : exchange->delegate.progress)
        EXPECT_EQ(step.expected, body.size());
}

TEST_P(HXEngineScenarioTest, ConnectionsAreReusedByTheLibraries)
{
    const QByteArray response = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
    server.setDefaultScript(
        HXTestHTTPScript().readRequest().write(response).readRequest().write(response).readRequest().close());
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(sendAndWait(server.url())->outcome(), "200 ok");
    const PerEngine<int> connections = {2, 1, 1};
    EXPECT_EQ(server.connectionCount(), connections[engine()]);
}

TEST_P(HXEngineScenarioTest, RefusedSchemesAndUnreachableServers)
{
    for (const char *url : {"ftp://127.0.0.1/file", "file:///etc/hostname", "kea://open"}) {
        SCOPED_TRACE(url);
        auto exchange = send(QUrl(QString::fromLatin1(url)));
        // The library engines refuse inside start(); the own engine a moment later.
        EXPECT_EQ(exchange->delegate.hasEnded(), engine() != EngineOwn);
        ASSERT_TRUE(exchange->delegate.waitUntilEnded());
        EXPECT_EQ(exchange->outcome(), "failed kea:3094");
    }

    // A URL without a host or with port 0: the own engine refuses it as
    // unsupported, the libraries try and fail.
    const std::pair<const char *, PerEngine<std::string>> unusable[] = {
        {"http:///nohost", {"failed kea:3094", "failed kea:0", "failed kea:0"}},
        {"http://127.0.0.1:0/", {"failed kea:3094", "failed libcurl:7", "failed QNetworkReply:1"}},
    };
    for (const auto &[url, outcome] : unusable)
        EXPECT_EQ(sendAndWait(QUrl(QString::fromLatin1(url)))->outcome(), outcome[engine()]) << url;

    quint16 closedPort = 0;
    {
        QTcpServer probe;
        ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
        closedPort = probe.serverPort();
    }
    auto refused = sendAndWait(QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(closedPort)));
    EXPECT_EQ(refused->outcome(), (PerEngine<std::string>{"failed QAbstractSocket:0", "failed libcurl:7",
                                                          "failed QNetworkReply:1"}[engine()]));

    Options limit;
    limit.timeout = 5;
    auto unknown = sendAndWait(QUrl(QStringLiteral("http://kea-test.invalid/")), limit);
    if (unknown->delegate.error.sameKindAs(HXHTTPRequestTimedOutError()))
        GTEST_SKIP() << "the name resolver did not answer";
    EXPECT_EQ(unknown->delegate.error.description, QStringLiteral("Kea can't find the server"));
    ASSERT_TRUE(unknown->delegate.error.underlying);
    if (engine() == EngineOwn) {
        EXPECT_EQ(unknown->delegate.error.underlying->code, QAbstractSocket::HostNotFoundError);
    }
}

TEST_P(HXEngineScenarioTest, CancelSilencesEveryCallback)
{
    server.addScript(HXTestHTTPScript()
                         .readRequest()
                         .write("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n")
                         .delay(100)
                         .write(QByteArray(100, 'x'), 10, 10)
                         .close());
    auto exchange = send(server.url());
    ASSERT_TRUE(server.waitForRequests(1));
    exchange->request->clearDelegateAndCancel();
    const qsizetype seen = exchange->delegate.events.size();
    HXTest::waitUntil([] { return false; }, 400);
    EXPECT_EQ(exchange->delegate.events.size(), seen);
    EXPECT_EQ(exchange->delegate.terminalCount(), 0);

    server.addScript(HXTestHTTPScript().readRequest().hang());
    auto destroyed = send(server.url());
    ASSERT_TRUE(server.waitForRequests(2));
    destroyed->request.reset();
    HXTest::waitUntil([] { return false; }, 100);
    EXPECT_TRUE(destroyed->delegate.events.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Engines, HXEngineScenarioTest, ::testing::Values(EngineOwn, EngineCurl, EngineQt), engineName);

} // namespace
