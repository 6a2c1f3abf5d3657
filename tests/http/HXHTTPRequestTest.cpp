// The engine interface: fixed errors, the engine registry, the two utilities,
// header-list operations, and the one place that guards the callbacks.

#include "HXHTTPRequest.h"
#include "HXGCDHTTPRequest.h"
#include "HXTestHTTPDelegate.h"
#include "HXTestSupport.h"

#include <gtest/gtest.h>

namespace {

// The fixed errors are shared objects; wrapping one keeps its identity and
// adds the cause.
TEST(HXHTTPRequestTest, FixedErrorsAreSharedAndWrapTheirCause)
{
    EXPECT_EQ(&HXHTTPRequestTimedOutError(), &HXHTTPRequestTimedOutError());
    EXPECT_FALSE(HXHTTPRequestHostNotFoundError().sameKindAs(HXHTTPRequestPACFileError()));

    const HXError cause(QStringLiteral("QAbstractSocket"), 2, QStringLiteral("Host not found"));
    const HXError wrapped = errorWithUnderlyingError(HXHTTPRequestHostNotFoundError(), cause);
    EXPECT_EQ(wrapped.code, 0);
    EXPECT_EQ(wrapped.description, HXHTTPRequestHostNotFoundError().description);
    ASSERT_TRUE(wrapped.underlying);
    EXPECT_EQ(wrapped.underlying->description, cause.description);
    EXPECT_FALSE(HXHTTPRequestHostNotFoundError().underlying);
}

TEST(HXHTTPRequestTest, EngineRegistry)
{
    EXPECT_EQ(HXHTTPRequest::HTTPLibrary(QStringLiteral("ASIHTTPRequest")).identifier,
              QStringLiteral("ASIHTTPRequest"));
    EXPECT_EQ(HXHTTPRequest::HTTPLibrary(QStringLiteral("URLConnection")).identifier, QStringLiteral("URLConnection"));
    for (const QString &other : {QString(), QStringLiteral("urlconnection"), QStringLiteral("curl")})
        EXPECT_EQ(HXHTTPRequest::HTTPLibrary(other).identifier, QStringLiteral("GCDHTTPRequest"));

    QStringList order;
    for (const HXHTTPRequestLibrary *library : HXHTTPRequest::libraries())
        order.append(library->libraryIdentifier() + u'=' + library->localizedName());
    EXPECT_EQ(order.join(u',').toStdString(),
              "GCDHTTPRequest=Kea HTTP/1.1,ASIHTTPRequest=libcurl,URLConnection=Qt Network");
    EXPECT_EQ(HXGCDHTTPRequest::localizedName(), QStringLiteral("Kea HTTP/1.1"));

    // Every engine is part of the build and makes requests of its own kind.
    const QUrl url(QStringLiteral("http://example.test/"));
    for (const HXHTTPRequestLibrary *library : HXHTTPRequest::libraries()) {
        std::unique_ptr<HXHTTPRequest> request = library->createRequest(url);
        ASSERT_TRUE(request);
        EXPECT_EQ(request->libraryIdentifier(), library->identifier);
        EXPECT_EQ(request->URL(), url);
    }
}

TEST(HXHTTPRequestTest, ReasonPhraseAndRebuiltHead)
{
    EXPECT_EQ(HXHTTPRequest::reasonPhraseWithStatusLine(QStringLiteral("HTTP/1.1 404 Not Found")),
              QStringLiteral("Not Found"));
    EXPECT_EQ(HXHTTPRequest::reasonPhraseWithStatusLine(QStringLiteral("HTTP/1.1 500 Very  Bad Thing ")),
              QStringLiteral("Very  Bad Thing "));
    EXPECT_TRUE(HXHTTPRequest::reasonPhraseWithStatusLine(QStringLiteral("HTTP/1.1 200")).isNull());
    const QString empty = HXHTTPRequest::reasonPhraseWithStatusLine(QStringLiteral("HTTP/1.1 200 "));
    EXPECT_FALSE(empty.isNull());
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_TRUE(HXHTTPRequest::reasonPhraseWithStatusLine(QString()).isNull());

    const QByteArray head =
        HXHTTPRequest::responseHeadersDataWithStatusCode(201, QStringLiteral("Created"),
                                                         {{QStringLiteral("Location"), QStringLiteral("/n/1")},
                                                          {QStringLiteral("X-Na\u00efve"), QStringLiteral("\u00e9")}});
    EXPECT_EQ(head, QByteArray("HTTP/1.1 201 Created\r\nLocation: /n/1\r\nX-Na\xc3\xafve: \xc3\xa9\r\n\r\n"));
}

TEST(HXHTTPRequestTest, HeaderListOperations)
{
    const HXHTTPHeaderList headers = {{QStringLiteral("Content-Type"), QStringLiteral("text/plain")},
                                      {QStringLiteral("X-Empty"), QString()},
                                      {QStringLiteral("x-dup"), QStringLiteral("1")},
                                      {QStringLiteral("X-Dup"), QStringLiteral("2")}};
    EXPECT_TRUE(HXHTTPHeaders::hasHTTPHeaderName(headers, QStringLiteral("content-type")));
    EXPECT_TRUE(HXHTTPHeaders::hasHTTPHeaderName(headers, QStringLiteral("content-*")));
    EXPECT_TRUE(HXHTTPHeaders::hasHTTPHeaderName(headers, QStringLiteral("X-Du?")));
    EXPECT_FALSE(HXHTTPHeaders::hasHTTPHeaderName(headers, QStringLiteral("Content")));
    EXPECT_EQ(HXHTTPHeaders::valueForHTTPHeaderName(headers, QStringLiteral("X-DUP")), QStringLiteral("1"));
    EXPECT_TRUE(HXHTTPHeaders::valueForHTTPHeaderName(headers, QStringLiteral("Accept")).isNull());
    const QMap<QString, QString> dictionary = HXHTTPHeaders::headersDictionaryFromArray(headers);
    EXPECT_FALSE(dictionary.contains(QStringLiteral("X-Empty")));
    EXPECT_EQ(dictionary.size(), 3); // names differing in case stay apart, as keys of a dictionary do
    EXPECT_EQ(HXHTTPHeaders::fromVariantList(HXHTTPHeaders::toVariantList(headers)), headers);

    HXHTTPHeaderDictionary response;
    response.insert(QStringLiteral("Set-Cookie"), QStringLiteral("a=1"));
    response.insert(QStringLiteral("set-cookie"), QStringLiteral("b=2"));
    response.insert(QStringLiteral("Content-Length"), QStringLiteral("3"));
    EXPECT_EQ(response.value(QStringLiteral("SET-COOKIE")), QStringLiteral("a=1, b=2"));
    EXPECT_EQ(response.value(QStringLiteral("content-length")), QStringLiteral("3"));
    EXPECT_EQ(response.fields().first().name, QStringLiteral("Set-Cookie"));
}

// An engine that reports whatever the test tells it to.
class ScriptedEngine : public HXHTTPRequest
{
public:
    ScriptedEngine() : HXHTTPRequest(QUrl(QStringLiteral("http://example.test/"))) {}
    QString libraryIdentifier() const override { return QStringLiteral("Scripted"); }
    void _start() override { ++starts; }
    void _cancel() override { ++cancels; }
    using HXHTTPRequest::notifyFailure;
    using HXHTTPRequest::notifyFinished;
    using HXHTTPRequest::notifyPartialBody;
    using HXHTTPRequest::notifyResponseHeaders;
    int starts = 0;
    int cancels = 0;
};

TEST(HXHTTPRequestTest, ExactlyOneTerminalCallbackAndNoneAfterCancel)
{
    HXTestHTTPDelegate delegate;
    ScriptedEngine engine;
    engine.setDelegate(&delegate);
    engine.start();
    engine.start();
    EXPECT_EQ(engine.starts, 1);
    engine.notifyResponseHeaders();
    engine.notifyFinished();
    engine.notifyFailure(HXHTTPRequestTimedOutError());
    engine.notifyPartialBody(1, 1, 1);
    engine.notifyFinished();
    EXPECT_EQ(delegate.foldedEvents(), "headers finished");
    EXPECT_TRUE(engine.error().isNull());

    HXTestHTTPDelegate second;
    ScriptedEngine cancelled;
    cancelled.setDelegate(&second);
    cancelled.start();
    cancelled.notifyResponseHeaders();
    cancelled.clearDelegateAndCancel();
    cancelled.clearDelegateAndCancel();
    EXPECT_EQ(cancelled.cancels, 1);
    EXPECT_EQ(cancelled.delegate(), nullptr);
    cancelled.notifyFailure(HXHTTPRequestTimedOutError());
    cancelled.notifyFinished();
    EXPECT_EQ(second.foldedEvents(), "headers");
}

} // namespace
