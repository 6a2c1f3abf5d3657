#include "HXRequestHandler.h"
#include "HXDocument.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXResponse.h"
#include "HXResponseManager.h"
#include "HXScriptedPresenter.h"
#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"
#include "HXUserDefaults.h"

#include <gtest/gtest.h>

namespace {

class RequestHandlerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HXPresenter::setSharedPresenter(&presenter);
        ASSERT_TRUE(server.listen());
    }
    void TearDown() override { HXPresenter::setSharedPresenter(nullptr); }

    HXRequest *request(const QString &name, const QString &path, const QString &method = QStringLiteral("GET"))
    {
        auto *r = document.managedObjectContext()->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        r->setName(name);
        r->setMethod(method);
        r->setUrl(server.url(path).toString());
        return r;
    }
    bool waitIdle(int timeoutMs = 10000)
    {
        return HXTest::waitUntil([&] { return !handler.isBusy(); }, timeoutMs);
    }
    static QByteArray ok(const QByteArray &body = "ok")
    {
        return "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) +
               "\r\nConnection: close\r\n\r\n" + body;
    }
    static QByteArray requestLine(const QByteArray &request) { return request.left(request.indexOf("\r\n")); }

    HXScriptedPresenter presenter;
    HXTestHTTPServer server;
    HXDocument document;
    HXRequestHandler handler{&document};
};

TEST_F(RequestHandlerTest, SendsOneAtATimeAndRecordsResponses)
{
    server.addScript(HXTestHTTPScript().readRequest().delay(300).write(ok("first")).close());
    server.addResponse(ok("third"));
    HXRequest *a = request(QStringLiteral("A"), QStringLiteral("/a"));
    HXRequest *b = request(QStringLiteral("B"), QStringLiteral("/b"));
    HXRequest *c = request(QStringLiteral("C"), QStringLiteral("/c"));
    QList<std::pair<HXRequest *, int>> statuses;
    QObject::connect(&handler, &HXRequestHandler::requestStatusChanged, &handler, [&](HXRequest *r, int status, int) {
        statuses.append({r, status});
    });

    handler.sendRequests({a, b, c});
    EXPECT_EQ(handler.batchRequestsCount(), 3);
    EXPECT_EQ(handler.statusForRequest(a), HXRequestHandler::StatusSending);
    EXPECT_EQ(handler.statusForRequest(b), -1);
    EXPECT_TRUE(handler.hasRequest(b));
    handler.stopRequest(b); // still queued: removed without a send
    EXPECT_FALSE(handler.hasRequest(b));
    ASSERT_TRUE(waitIdle());

    const QList<QByteArray> received = server.receivedRequests();
    ASSERT_EQ(received.size(), 2);
    EXPECT_EQ(requestLine(received.at(0)), QByteArray("GET /a HTTP/1.1"));
    EXPECT_EQ(requestLine(received.at(1)), QByteArray("GET /c HTTP/1.1"));
    const QList<std::pair<HXRequest *, int>> expected = {{a, 1}, {a, 2}, {a, 3}, {c, 1}, {c, 2}, {c, 3}};
    EXPECT_EQ(statuses, expected);

    std::shared_ptr<HXResponse> response = a->lastResponse();
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->statusCode(), 200);
    EXPECT_EQ(response->bodyData(), QByteArray("first"));
    EXPECT_GE(response->downloadTime(), response->responseTime());
    EXPECT_GE(response->downloadTime(), 0.25);
    EXPECT_EQ(b->lastResponse(), nullptr);
    EXPECT_TRUE(presenter.alerts.isEmpty());
}

TEST_F(RequestHandlerTest, ResponsesAreWrittenWhenTheirRequestEnds)
{
    server.addResponse(ok("whole"));
    server.addScript(
        HXTestHTTPScript().readRequest().write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc").close());
    server.addScript(HXTestHTTPScript().readRequest().delay(1500).write(ok("slow")).close());
    HXRequest *whole = request(QStringLiteral("Whole"), QStringLiteral("/whole"));
    HXRequest *cut = request(QStringLiteral("Cut"), QStringLiteral("/cut"));
    HXRequest *slow = request(QStringLiteral("Slow"), QStringLiteral("/slow"));
    HXResponseManager *store = HXResponseManager::sharedManager();
    const qint64 before = store->countOfResponses();
    handler.sendRequests({whole, cut, slow});

    // Responses of a run are written together soon after they come, not
    // only when the run ends.
    EXPECT_TRUE(HXTest::waitUntil([&] { return store->countOfResponses() == before + 2; }, 1200));
    EXPECT_TRUE(handler.isBusy());
    ASSERT_TRUE(waitIdle());
    EXPECT_EQ(store->countOfResponses(), before + 3);

    // Read back from the file: what was not written is gone.
    HXResponseManager::resetSharedManager();
    const auto wholeSaved = HXResponseManager::sharedManager()->responsesForRequestUUID(whole->uuid());
    ASSERT_EQ(wholeSaved.size(), 1);
    EXPECT_EQ(wholeSaved.first()->bodyData(), QByteArray("whole"));
    // A body cut short fails the request; the head that came is kept.
    const auto cutSaved = HXResponseManager::sharedManager()->responsesForRequestUUID(cut->uuid());
    ASSERT_EQ(cutSaved.size(), 1);
    EXPECT_EQ(cutSaved.first()->statusCode(), 200);
    EXPECT_EQ(presenter.alerts.size(), 1);
}

TEST_F(RequestHandlerTest, RedirectsFollowTheMethodAndAuthorizationRules)
{
    for (bool keep : {false, true}) {
        server.addResponse("HTTP/1.1 302 Found\r\nLocation: next?x=1\r\nContent-Length: 0\r\n\r\n");
        server.addResponse(ok());
        const int before = int(server.receivedRequests().size());
        HXRequest *r = request(QStringLiteral("R"), QStringLiteral("/dir/start"), QStringLiteral("POST"));
        r->setBody(QStringLiteral("payload"));
        r->setRedirectMethod(keep);
        r->setRedirectAuthorization(keep);
        HXKeyValue::addKeyValueName(QStringLiteral("Authorization"), QStringLiteral("Basic a2VhOmtlYQ=="),
                                    QStringLiteral("request"), r);
        handler.sendRequests({r});
        ASSERT_TRUE(waitIdle());
        const QList<QByteArray> received = server.receivedRequests().mid(before);
        ASSERT_EQ(received.size(), 2);
        EXPECT_TRUE(received.at(0).startsWith("POST /dir/start "));
        // A relative Location is resolved against the URL that answered.
        EXPECT_EQ(requestLine(received.at(1)),
                  keep ? QByteArray("POST /dir/next?x=1 HTTP/1.1") : QByteArray("GET /dir/next?x=1 HTTP/1.1"));
        EXPECT_EQ(received.at(1).contains("Authorization: Basic a2VhOmtlYQ=="), keep);
        EXPECT_EQ(HXResponseManager::sharedManager()->responsesForRequestUUID(r->uuid()).size(), 2);
    }
}

TEST_F(RequestHandlerTest, CookiesStayWithTheirOriginAcrossRedirects)
{
    HXTestHTTPServer other; // another port: another origin
    ASSERT_TRUE(other.listen());
    other.addResponse(ok());
    server.addResponse("HTTP/1.1 302 Found\r\nLocation: /same\r\nContent-Length: 0\r\n\r\n");
    server.addResponse("HTTP/1.1 302 Found\r\nLocation: " + other.url(QStringLiteral("/away")).toEncoded() +
                       "\r\nContent-Length: 0\r\n\r\n");
    HXRequest *r = request(QStringLiteral("C"), QStringLiteral("/start"));
    HXKeyValue::addKeyValueName(QStringLiteral("Cookie"), QStringLiteral("session=secret"), QStringLiteral("request"),
                                r);
    handler.sendRequests({r});
    ASSERT_TRUE(waitIdle());
    const QList<QByteArray> received = server.receivedRequests();
    ASSERT_EQ(received.size(), 2);
    EXPECT_TRUE(received.at(1).contains("Cookie: session=secret"));
    ASSERT_EQ(other.receivedRequests().size(), 1);
    EXPECT_FALSE(other.receivedRequests().first().contains("session=secret"));
}

TEST_F(RequestHandlerTest, TheTargetGoesOnTheWireAsWrittenThroughEachEngine)
{
    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    for (const char *engine : {"GCDHTTPRequest", "ASIHTTPRequest"}) {
        SCOPED_TRACE(engine);
        defaults.setObject(QString::fromLatin1(engine), QStringLiteral("HXUserDefaultHTTPLibrary"));
        server.addResponse(ok());
        HXRequest *r = request(QStringLiteral("T"), QStringLiteral("/"));
        r->setUrl(server.url(QStringLiteral("/")).toString() + QStringLiteral("caf%c3%a9/%7euser?q=%c3"));
        handler.sendRequests({r});
        ASSERT_TRUE(waitIdle());
        EXPECT_EQ(requestLine(server.receivedRequests().last()), "GET /caf%c3%a9/%7euser?q=%c3 HTTP/1.1");
    }
    defaults.removeObjectForKey(QStringLiteral("HXUserDefaultHTTPLibrary"));
}

TEST_F(RequestHandlerTest, EndlessRedirectsStopAfterTwenty)
{
    server.setDefaultScript(
        HXTestHTTPScript::respond("HTTP/1.1 301 Moved\r\nLocation: /again\r\nContent-Length: 0\r\n\r\n"));
    HXRequest *r = request(QStringLiteral("Loop"), QStringLiteral("/again"));
    QList<HXError> failures;
    QObject::connect(&handler, &HXRequestHandler::requestDidFail, &handler,
                     [&](HXRequest *, const HXError &error, const QString &) { failures.append(error); });
    handler.sendRequests({r});
    ASSERT_TRUE(waitIdle(20000));
    EXPECT_EQ(server.receivedRequests().size(), HXRequestHandler::maximumRedirects + 1);
    ASSERT_EQ(failures.size(), 1);
    EXPECT_EQ(failures.first().description, QStringLiteral("Too many redirects"));
    EXPECT_EQ(HXResponseManager::sharedManager()->responsesForRequestUUID(r->uuid()).size(),
              HXRequestHandler::maximumRedirects + 1);
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_EQ(presenter.alerts.first().message, QStringLiteral("Kea can't get a response"));
}

TEST_F(RequestHandlerTest, TimeOutsAndTheirHint)
{
    server.addScript(HXTestHTTPScript().readRequest().hang());
    HXRequest *r = request(QStringLiteral("Slow"), QStringLiteral("/slow"));
    r->setTimeoutInterval(0.3);
    handler.sendRequests({r});
    ASSERT_TRUE(waitIdle());
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_TRUE(presenter.alerts.first().informativeText.contains(
        QStringLiteral("\n\nYou have probably set a too short timeout: 0.3 second(s).\n\nGET http://127.0.0.1:")))
        << presenter.alerts.first().informativeText.toStdString();

    EXPECT_EQ(HXRequestHandler::timeoutHint(HXHTTPRequestTimedOutError(), 3),
              QStringLiteral("You have probably set a too short timeout: 3 second(s)."));
    EXPECT_EQ(HXRequestHandler::timeoutHint(HXHTTPRequestTimedOutError(), 10), QString());
    EXPECT_EQ(HXRequestHandler::timeoutHint(HXHTTPRequestHostNotFoundError(), 1), QString());

    // A negative time-out is sent as 30 seconds.
    server.addScript(HXTestHTTPScript().readRequest().hang());
    HXRequest *negative = request(QStringLiteral("Negative"), QStringLiteral("/n"));
    negative->setTimeoutInterval(-1);
    handler.sendRequests({negative});
    ASSERT_NE(handler.HTTPRequestForRequest(negative), nullptr);
    EXPECT_EQ(handler.HTTPRequestForRequest(negative)->timeoutInterval(), 30.0);
    handler.stopAllRequests();
    EXPECT_FALSE(handler.isBusy());
}

TEST_F(RequestHandlerTest, StopAllInTheMiddleOfABatch)
{
    server.addScript(HXTestHTTPScript().readRequest().hang());
    HXRequest *a = request(QStringLiteral("A"), QStringLiteral("/a"));
    HXRequest *b = request(QStringLiteral("B"), QStringLiteral("/b"));
    handler.sendRequests({a, b});
    ASSERT_TRUE(server.waitForRequests(1));
    QList<int> statuses;
    QObject::connect(&handler, &HXRequestHandler::requestStatusChanged, &handler,
                     [&](HXRequest *, int status, int) { statuses.append(status); });
    handler.stopAllRequests();
    EXPECT_FALSE(handler.isBusy());
    EXPECT_EQ(statuses, QList<int>{HXRequestHandler::StatusNone});
    HXTest::waitUntil([] { return false; }, 200);
    EXPECT_EQ(server.receivedRequests().size(), 1);
    EXPECT_TRUE(presenter.alerts.isEmpty()); // a stopped request is not a failure
}

} // namespace
