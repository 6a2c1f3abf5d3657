#include "HXSentRequestLog.h"
#include "HXDocument.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestHandler.h"
#include "HXResponse.h"
#include "HXScriptedPresenter.h"
#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"

#include <gtest/gtest.h>

namespace {

TEST(SentRequestLogTest, MakesControlCharactersVisible)
{
    const std::pair<QString, QString> cases[] = {
        {QStringLiteral("GET / HTTP/1.1\r\nHost: a\r\n"), QStringLiteral("GET / HTTP/1.1\nHost: a\n")},
        {QStringLiteral("tab\tline\n\u00e9\u65e5"), QStringLiteral("tab\tline\n\u00e9\u65e5")},
        {QStringLiteral("lone\rreturn\r"), QStringLiteral("lone\\x0Dreturn\\x0D")},
        {QStringLiteral("\x1b[31m \x7f \u0085"), QStringLiteral("\\x1B[31m \\x7F \\x85")},
        {QStringLiteral("evil\u202Etxt.exe"), QStringLiteral("evil\\u202Etxt.exe")},
    };
    for (const auto &[text, shown] : cases)
        EXPECT_EQ(HXSentRequestLog::visibleText(text), shown) << text.toStdString();
}

HXResponse responseFor(qint64 msecs, const QByteArray &head = "HTTP/1.1 200 OK\r\n\r\n")
{
    HXResponse response;
    response.setRequestUUID(QStringLiteral("R"));
    response.setDate(QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC));
    response.setHeadersData(head);
    return response;
}

TEST(SentRequestLogTest, KeepsEachResponseApartAndStaysBounded)
{
    HXSentRequestLog log;
    // Two hops of one request may arrive in the same millisecond.
    const HXResponse hop = responseFor(1000, "HTTP/1.1 302 Found\r\nLocation: /b\r\n\r\n");
    const HXResponse last = responseFor(1000);
    log.insertEntry(HXSentRequestLog::keyForResponse(hop), {"GET /a HTTP/1.1", {}, 0});
    log.insertEntry(HXSentRequestLog::keyForResponse(last),
                    {"POST /b HTTP/1.1", QByteArray(HXSentRequestLog::maximumBodyLength + 10, 'x'), 0});
    ASSERT_NE(log.entryForResponse(hop), nullptr);
    EXPECT_EQ(log.entryForResponse(hop)->head, QByteArray("GET /a HTTP/1.1"));
    const HXSentRequestLog::Entry *cut = log.entryForResponse(last);
    ASSERT_NE(cut, nullptr);
    EXPECT_EQ(cut->body.size(), HXSentRequestLog::maximumBodyLength);
    EXPECT_TRUE(HXSentRequestLog::displayText(*cut).endsWith(
        QStringLiteral("\n… 10 more bytes of the body were sent and are not shown.")));

    // The oldest go first.
    for (int i = 0; i < HXSentRequestLog::maximumEntries; ++i)
        log.insertEntry(HXSentRequestLog::keyForResponse(responseFor(i)), {"GET / HTTP/1.1", {}, 0});
    EXPECT_EQ(log.count(), HXSentRequestLog::maximumEntries);
    EXPECT_EQ(log.entryForResponse(hop), nullptr);
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
    // The own engine leaves the body of a GET out.
    const QStringList methods = {QStringLiteral("POST"), QStringLiteral("GET")};
    QList<HXRequest *> requests;
    for (const QString &method : methods) {
        auto *request = document.managedObjectContext()->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        request->setMethod(method);
        request->setUrl(server.url(QStringLiteral("/form?a=%7e")).toString());
        request->setHeaderName(QStringLiteral("X-Kea"), QStringLiteral("value"));
        request->setBody(QStringLiteral("a=1&b=2"));
        requests.append(request);
        server.addResponse("HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    }
    handler.sendRequests(requests);
    ASSERT_TRUE(HXTest::waitUntil([&] { return !handler.isBusy(); }, 10000));

    const QList<QByteArray> received = server.receivedRequests();
    ASSERT_EQ(received.size(), requests.size());
    for (qsizetype i = 0; i < requests.size(); ++i) {
        const HXSentRequestLog::Entry *entry =
            HXSentRequestLog::logForDocument(&document)->entryForResponse(*requests.at(i)->lastResponse());
        ASSERT_NE(entry, nullptr) << i;
        EXPECT_EQ(entry->head + "\r\n\r\n" + entry->body, received.at(i)) << i;
    }
    HXPresenter::setSharedPresenter(nullptr);
}

} // namespace
