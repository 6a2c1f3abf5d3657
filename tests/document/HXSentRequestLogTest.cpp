#include "HXSentRequestLog.h"
#include "HXDocument.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestHandler.h"
#include "HXResponse.h"
#include "HXScriptedPresenter.h"
#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"
#include "HXUserDefaults.h"

#include <gtest/gtest.h>

namespace {

TEST(SentRequestLogTest, MakesControlCharactersVisible)
{
    const struct
    {
        QString text;
        QString shown;
    } cases[] = {
        {QStringLiteral("GET / HTTP/1.1\r\nHost: a\r\n"), QStringLiteral("GET / HTTP/1.1\nHost: a\n")},
        {QStringLiteral("tab\tand\nline"), QStringLiteral("tab\tand\nline")},
        {QStringLiteral("lone\rreturn"), QStringLiteral("lone\\x0Dreturn")},
        {QStringLiteral("\x1b[31mred"), QStringLiteral("\\x1B[31mred")},
        {QString(QChar(0)) + u"nul", QStringLiteral("\\x00nul")},
        {QStringLiteral("del\x7f and c1 \u0085"), QStringLiteral("del\\x7F and c1 \\x85")},
        {QStringLiteral("evil\u202Etxt.exe"), QStringLiteral("evil\\u202Etxt.exe")},
        {QStringLiteral("caf\u00e9 \u65e5\u672c"), QStringLiteral("caf\u00e9 \u65e5\u672c")},
        {QStringLiteral("ends with\r"), QStringLiteral("ends with\\x0D")},
    };
    for (const auto &c : cases)
        EXPECT_EQ(HXSentRequestLog::visibleText(c.text), c.shown) << c.text.toStdString();
}

HXResponse responseFor(const QString &requestUUID, qint64 msecs, const QByteArray &head = "HTTP/1.1 200 OK\r\n\r\n")
{
    HXResponse response;
    response.setRequestUUID(requestUUID);
    response.setDate(QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC));
    response.setHeadersData(head);
    return response;
}

TEST(SentRequestLogTest, KeepsEachResponseApartAndStaysBounded)
{
    HXSentRequestLog log;
    // Two hops of one request may arrive in the same millisecond: their
    // heads tell them apart.
    const HXResponse first = responseFor(QStringLiteral("R"), 1000, "HTTP/1.1 302 Found\r\nLocation: /b\r\n\r\n");
    const HXResponse second = responseFor(QStringLiteral("R"), 1000);
    log.insertEntry(HXSentRequestLog::keyForResponse(first), {"GET /a HTTP/1.1", {}, 0});
    log.insertEntry(HXSentRequestLog::keyForResponse(second), {"GET /b HTTP/1.1", {}, 0});
    ASSERT_NE(log.entryForResponse(first), nullptr);
    EXPECT_EQ(log.entryForResponse(first)->head, QByteArray("GET /a HTTP/1.1"));
    EXPECT_EQ(log.entryForResponse(second)->head, QByteArray("GET /b HTTP/1.1"));
    EXPECT_EQ(log.entryForResponse(responseFor(QStringLiteral("R"), 1001)), nullptr);

    // A body is cut, and the text says how much is missing.
    const HXResponse large = responseFor(QStringLiteral("L"), 1);
    log.insertEntry(HXSentRequestLog::keyForResponse(large),
                    {"POST / HTTP/1.1", QByteArray(HXSentRequestLog::maximumBodyLength + 10, 'x'), 0});
    const HXSentRequestLog::Entry *kept = log.entryForResponse(large);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->body.size(), HXSentRequestLog::maximumBodyLength);
    EXPECT_EQ(kept->omittedBodyLength, 10);
    EXPECT_TRUE(HXSentRequestLog::displayText(*kept).endsWith(
        QStringLiteral("\n… 10 more bytes of the body were sent and are not shown.")));

    // The oldest go first, by count and by size.
    for (int i = 0; i < HXSentRequestLog::maximumEntries; ++i)
        log.insertEntry(HXSentRequestLog::keyForResponse(responseFor(QStringLiteral("N"), i)),
                        {"GET / HTTP/1.1", {}, 0});
    EXPECT_EQ(log.count(), HXSentRequestLog::maximumEntries);
    EXPECT_EQ(log.entryForResponse(first), nullptr);
    EXPECT_NE(log.entryForResponse(responseFor(QStringLiteral("N"), HXSentRequestLog::maximumEntries - 1)), nullptr);
    const int bodies = int(HXSentRequestLog::maximumTotalLength / HXSentRequestLog::maximumBodyLength) + 3;
    for (int i = 0; i < bodies; ++i)
        log.insertEntry(HXSentRequestLog::keyForResponse(responseFor(QStringLiteral("B"), i)),
                        {"PUT / HTTP/1.1", QByteArray(HXSentRequestLog::maximumBodyLength, 'b'), 0});
    EXPECT_LT(log.count(), bodies);
    EXPECT_EQ(log.entryForResponse(responseFor(QStringLiteral("B"), 0)), nullptr);
    EXPECT_NE(log.entryForResponse(responseFor(QStringLiteral("B"), bodies - 1)), nullptr);
}

// What the log keeps for a request sent by the own engine is, byte for byte,
// what the server read.
TEST(SentRequestLogTest, RecordsTheBytesTheServerReceived)
{
    HXScriptedPresenter presenter;
    HXPresenter::setSharedPresenter(&presenter);
    HXTestHTTPServer server;
    ASSERT_TRUE(server.listen());
    HXDocument document;
    HXRequestHandler handler(&document);

    const struct
    {
        QString method;
        QString path;
        QString header;
        QString body;
    } cases[] = {
        {QStringLiteral("POST"), QStringLiteral("/form?a=%7e"), QStringLiteral("X-Kea"), QStringLiteral("a=1&b=2")},
        // The own engine leaves the body of a GET out.
        {QStringLiteral("GET"), QStringLiteral("/get"), QStringLiteral("Accept"), QStringLiteral("dropped")},
        {QStringLiteral("PUT"), QStringLiteral("/empty"), QString(), QString()},
    };
    QList<HXRequest *> requests;
    for (const auto &c : cases) {
        auto *request = document.managedObjectContext()->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        request->setMethod(c.method);
        request->setUrl(server.url(c.path).toString());
        if (!c.header.isEmpty())
            request->setHeaderName(c.header, QStringLiteral("value"));
        request->setBody(c.body);
        requests.append(request);
        server.addResponse("HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    }
    handler.sendRequests(requests);
    ASSERT_TRUE(HXTest::waitUntil([&] { return !handler.isBusy(); }, 10000));

    const QList<QByteArray> received = server.receivedRequests();
    ASSERT_EQ(received.size(), requests.size());
    HXSentRequestLog *log = HXSentRequestLog::logForDocument(&document);
    EXPECT_EQ(log, HXSentRequestLog::logForDocument(&document)) << "one log per document";
    for (qsizetype i = 0; i < requests.size(); ++i) {
        const std::shared_ptr<HXResponse> response = requests.at(i)->lastResponse();
        ASSERT_NE(response, nullptr);
        const HXSentRequestLog::Entry *entry = log->entryForResponse(*response);
        ASSERT_NE(entry, nullptr) << i;
        EXPECT_EQ(entry->head + "\r\n\r\n" + entry->body, received.at(i)) << i;
        EXPECT_EQ(entry->omittedBodyLength, 0);
    }
    EXPECT_TRUE(presenter.alerts.isEmpty());

    // The other engines add headers they do not report: their request line,
    // the headers they were given and the body are still what was sent.
    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    for (const char *engine : {"ASIHTTPRequest", "URLConnection"}) {
        SCOPED_TRACE(engine);
        defaults.setObject(QString::fromLatin1(engine), QStringLiteral("HXUserDefaultHTTPLibrary"));
        server.addResponse("HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        HXRequest *request = requests.first();
        handler.sendRequests({request});
        ASSERT_TRUE(HXTest::waitUntil([&] { return !handler.isBusy(); }, 10000));
        const QByteArray wire = server.receivedRequests().last();
        const HXSentRequestLog::Entry *entry = log->entryForResponse(*request->lastResponse());
        ASSERT_NE(entry, nullptr);
        const QList<QByteArray> lines = entry->head.split('\n');
        EXPECT_EQ(lines.first().trimmed(), wire.left(wire.indexOf("\r\n")));
        for (const QByteArray &line : lines)
            EXPECT_TRUE(wire.contains(QByteArray(line.trimmed() + "\r\n"))) << line.toStdString();
        EXPECT_TRUE(wire.endsWith(QByteArray("\r\n\r\n" + entry->body)));
        EXPECT_EQ(entry->body, QByteArray("a=1&b=2"));
    }
    defaults.removeObjectForKey(QStringLiteral("HXUserDefaultHTTPLibrary"));
    HXPresenter::setSharedPresenter(nullptr);
}

} // namespace
