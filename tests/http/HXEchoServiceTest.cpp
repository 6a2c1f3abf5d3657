#include "HXEchoService.h"
#include "HXGzipDecoder.h"
#include "HXHTTPBodyDecoder.h"
#include "HXHTTPResponseHead.h"
#include "HXTestSupport.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpSocket>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct Answer
{
    HXHTTPResponseHead head;
    QByteArray body;
    bool complete = false;

    QString header(const QString &name) const { return head.headerFields.value(name); }
    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
};

// A raw client: writes exactly the bytes given and frames answers itself.
class Client
{
public:
    explicit Client(const HXEchoService &service)
    {
        socket.connectToHost(QHostAddress::LocalHost, service.serverPort());
        EXPECT_TRUE(HXTest::waitUntil([&] { return socket.state() == QAbstractSocket::ConnectedState; }));
    }

    void send(const QByteArray &bytes)
    {
        socket.write(bytes);
        socket.flush();
    }

    // The next answer; for HEAD requests pass `headOnly`.
    Answer read(bool headOnly = false, int timeoutMs = 5000)
    {
        Answer answer;
        auto fill = [&] {
            buffer += socket.readAll();
            return socket.state() != QAbstractSocket::ConnectedState;
        };
        HXTest::waitUntil(
            [&] {
                const bool closed = fill();
                answer.head = HXHTTPResponseHead::parse(buffer);
                return answer.head.isComplete() || closed;
            },
            timeoutMs);
        if (!answer.head.isComplete())
            return answer;
        buffer.remove(0, answer.head.length);
        const bool noBody = headOnly || answer.head.statusCode == 204 || answer.head.statusCode == 304;
        const QString length = answer.header(u"Content-Length"_s);
        if (noBody) {
            answer.complete = true;
        } else {
            HXHTTPBodyDecoder decoder = answer.header(u"Transfer-Encoding"_s).contains(u"chunked"_s)
                                            ? HXHTTPBodyDecoder::chunked()
                                        : length.isEmpty() ? HXHTTPBodyDecoder::untilClose()
                                                           : HXHTTPBodyDecoder::withContentLength(length.toLongLong());
            HXHTTPBodyDecoder::Result result = HXHTTPBodyDecoder::Result::NeedMore;
            answer.body = QByteArray("");
            HXTest::waitUntil(
                [&] {
                    const bool closed = fill();
                    qsizetype consumed = 0;
                    result = decoder.decode(buffer, consumed, &answer.body);
                    buffer.remove(0, consumed);
                    if (closed && result == HXHTTPBodyDecoder::Result::NeedMore)
                        result = decoder.finish();
                    return result != HXHTTPBodyDecoder::Result::NeedMore;
                },
                timeoutMs);
            answer.complete = result == HXHTTPBodyDecoder::Result::Complete;
        }
        return answer;
    }

    bool waitForClose(int timeoutMs = 5000)
    {
        return HXTest::waitUntil(
            [&] {
                buffer += socket.readAll();
                return socket.state() == QAbstractSocket::UnconnectedState;
            },
            timeoutMs);
    }

    QTcpSocket socket;
    QByteArray buffer;
};

class EchoServiceTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(service.listen(QHostAddress::LocalHost, 0)); }
    Answer get(const QByteArray &target, const QByteArray &extraHeaders = {})
    {
        Client client(service);
        client.send("GET " + target + " HTTP/1.1\r\nHost: echo.test\r\n" + extraHeaders + "\r\n");
        return client.read();
    }

    HXEchoService service;
};

TEST_F(EchoServiceTest, DescribesTheRequestExactly)
{
    Client client(service);
    const QByteArray binary("\x00\xff\xfe text", 8);
    client.send("PUT /items/%C3%BC?a=1&b=x%20y&a=2 HTTP/1.1\r\nHost: echo.test\r\nX-Twice: one\r\n"
                "x-twice: two\r\nContent-Length: 8\r\n\r\n" +
                binary);
    const Answer answer = client.read();
    ASSERT_TRUE(answer.complete);
    EXPECT_EQ(answer.head.statusCode, 200);
    EXPECT_EQ(answer.header(u"Content-Type"_s), u"application/json"_s);
    const QJsonObject echo = answer.json();
    EXPECT_EQ(echo[u"method"].toString(), u"PUT"_s);
    EXPECT_EQ(echo[u"target"].toString(), u"/items/%C3%BC?a=1&b=x%20y&a=2"_s);
    EXPECT_EQ(echo[u"path"].toString(), u"/items/ü"_s);
    EXPECT_EQ(echo[u"query"].toArray(),
              (QJsonArray{QJsonArray{u"a"_s, u"1"_s}, QJsonArray{u"b"_s, u"x y"_s}, QJsonArray{u"a"_s, u"2"_s}}));
    EXPECT_EQ(echo[u"httpVersion"].toString(), u"HTTP/1.1"_s);
    QStringList headers;
    for (const QJsonValue &header : echo[u"headers"].toArray())
        headers.append(header[u"name"].toString() + u": " + header[u"value"].toString());
    EXPECT_EQ(headers,
              (QStringList{u"Host: echo.test"_s, u"X-Twice: one"_s, u"x-twice: two"_s, u"Content-Length: 8"_s}));
    EXPECT_EQ(echo[u"bodyEncoding"].toString(), u"base64"_s);
    EXPECT_EQ(QByteArray::fromBase64(echo[u"body"].toString().toLatin1()), binary);
    EXPECT_EQ(echo[u"length"].toInt(), 8);
}

TEST_F(EchoServiceTest, ReadsChunkedBodiesAtEverySplitPointAndPipelinedRequests)
{
    const QByteArray request = "POST /a HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n"
                               "3;ext=1\r\nabc\r\nA\r\n0123456789\r\n0\r\nTrailer: x\r\n\r\n";
    for (qsizetype split = 1; split < request.size(); split += 7) {
        Client client(service);
        client.send(request.left(split));
        QCoreApplication::processEvents();
        client.send(request.mid(split));
        const QJsonObject echo = client.read().json();
        EXPECT_EQ(echo[u"body"].toString(), u"abc0123456789"_s) << split;
        EXPECT_EQ(echo[u"length"].toInt(), 13);
    }
    // Three requests in one write, answered in order on the same connection;
    // HTTP/1.0 without keep-alive closes after its answer.
    Client client(service);
    client.send("GET /status/201 HTTP/1.1\r\nHost: h\r\n\r\nHEAD /one HTTP/1.1\r\nHost: h\r\n\r\n"
                "POST /two HTTP/1.0\r\nContent-Length: 3\r\n\r\nxyz");
    EXPECT_EQ(client.read().head.statusCode, 201);
    const Answer head = client.read(true);
    EXPECT_EQ(head.head.statusCode, 200);
    EXPECT_GT(head.header(u"Content-Length"_s).toInt(), 0);
    const Answer last = client.read();
    EXPECT_EQ(last.json()[u"body"].toString(), u"xyz"_s);
    EXPECT_EQ(last.json()[u"httpVersion"].toString(), u"HTTP/1.0"_s);
    EXPECT_EQ(last.header(u"Connection"_s), u"close"_s);
    EXPECT_TRUE(client.waitForClose());
}

TEST_F(EchoServiceTest, StatusesAndRedirects)
{
    EXPECT_EQ(get("/status/418").head.statusCode, 418);
    const Answer noContent = get("/status/204");
    EXPECT_EQ(noContent.head.statusCode, 204);
    EXPECT_TRUE(noContent.header(u"Content-Length"_s).isEmpty());
    EXPECT_EQ(get("/status/99").head.statusCode, 400);
    EXPECT_EQ(get("/status/abc").head.statusCode, 400);

    const Answer relative = get("/redirect/3");
    EXPECT_EQ(relative.head.statusCode, 302);
    EXPECT_EQ(relative.header(u"Location"_s), u"/redirect/2"_s);
    EXPECT_EQ(get("/redirect/1").header(u"Location"_s), u"/get"_s);
    EXPECT_EQ(get("/absolute-redirect/2").header(u"Location"_s), u"http://echo.test/absolute-redirect/1"_s);
    const Answer chosen = get("/redirect-to?url=http%3A%2F%2Fother.test%2Fx%3Fy%3D1&status=307");
    EXPECT_EQ(chosen.head.statusCode, 307);
    EXPECT_EQ(chosen.header(u"Location"_s), u"http://other.test/x?y=1"_s);
    EXPECT_EQ(get("/redirect-to?url=/x&status=200").head.statusCode, 400);
    EXPECT_EQ(get("/redirect/0").head.statusCode, 400);
}

TEST_F(EchoServiceTest, EncodedBodies)
{
    const Answer compressed = get("/gzip");
    EXPECT_EQ(compressed.header(u"Content-Encoding"_s), u"gzip"_s);
    const std::optional<QByteArray> inflated = HXGzipDecoder::inflate(compressed.body);
    ASSERT_TRUE(inflated);
    EXPECT_EQ(QJsonDocument::fromJson(*inflated).object()[u"path"].toString(), u"/gzip"_s);

    const Answer chunked = get("/chunked?size=5");
    ASSERT_TRUE(chunked.complete);
    EXPECT_EQ(chunked.header(u"Transfer-Encoding"_s), u"chunked"_s);
    EXPECT_EQ(chunked.json()[u"path"].toString(), u"/chunked"_s);

    for (const QByteArray &path : {QByteArray("/bytes/"), QByteArray("/stream-bytes/")}) {
        const qint64 length = 3 * 1024 * 1024 + 17;
        const Answer bytes = get(path + QByteArray::number(length));
        ASSERT_TRUE(bytes.complete) << path.constData();
        ASSERT_EQ(bytes.body.size(), length);
        qint64 wrong = 0;
        for (qint64 i = 0; i < length; ++i)
            wrong += bytes.body.at(i) != HXEchoService::byteAt(i) ? 1 : 0;
        EXPECT_EQ(wrong, 0) << path.constData();
    }
    EXPECT_EQ(get("/bytes/0").body, QByteArray(""));
    EXPECT_EQ(get("/bytes/1073741825").head.statusCode, 400);
}

TEST_F(EchoServiceTest, NeverBlocksOtherConnections)
{
    // A client that asks for the largest body and never reads it, and one
    // waiting for a delayed answer: others are still answered meanwhile.
    Client greedy(service);
    greedy.socket.setReadBufferSize(64 * 1024);
    greedy.send("GET /bytes/1073741824 HTTP/1.1\r\nHost: h\r\n\r\n");
    Client patient(service);
    QElapsedTimer clock;
    clock.start();
    patient.send("GET /delay/0.3 HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(get("/status/202").head.statusCode, 202);
    const Answer delayed = patient.read();
    EXPECT_EQ(delayed.json()[u"path"].toString(), u"/delay/0.3"_s);
    EXPECT_GE(clock.elapsed(), 250);
    EXPECT_EQ(get("/delay/11").head.statusCode, 400);
    // The greedy client got a head announcing the whole length, and the
    // rest waits in the server as the client reads, not all at once.
    const Answer head = greedy.read(true);
    EXPECT_EQ(head.header(u"Content-Length"_s), u"1073741824"_s);
    qint64 received = greedy.buffer.size();
    HXTest::waitUntil([&] {
        received += greedy.socket.readAll().size();
        return received > 8 * 1024 * 1024;
    });
    EXPECT_GT(received, 8 * 1024 * 1024);
    greedy.socket.abort();
    EXPECT_TRUE(HXTest::waitUntil([&] { return service.connectionCount() <= 1; })); // the patient one is left
}

TEST_F(EchoServiceTest, CookiesAuthorizationAndLogin)
{
    const Answer set = get("/cookies/set?session=abc&theme=dark", "Cookie: old=1\r\n");
    EXPECT_EQ(set.json()[u"cookies"].toObject(),
              (QJsonObject{{u"old"_s, u"1"_s}, {u"session"_s, u"abc"_s}, {u"theme"_s, u"dark"_s}}));
    EXPECT_TRUE(set.header(u"Set-Cookie"_s).contains(u"session=abc; Path=/"_s));
    EXPECT_EQ(get("/cookies", "Cookie: a=1; b=2\r\nCookie: c=3\r\n").json()[u"cookies"].toObject(),
              (QJsonObject{{u"a"_s, u"1"_s}, {u"b"_s, u"2"_s}, {u"c"_s, u"3"_s}}));

    EXPECT_EQ(get("/basic-auth/kea/secret", "Authorization: Basic " + QByteArray("kea:secret").toBase64() + "\r\n")
                  .head.statusCode,
              200);
    const Answer denied =
        get("/basic-auth/kea/secret", "Authorization: Basic " + QByteArray("kea:x").toBase64() + "\r\n");
    EXPECT_EQ(denied.head.statusCode, 401);
    EXPECT_TRUE(denied.header(u"WWW-Authenticate"_s).startsWith(u"Basic"_s));

    Client client(service);
    client.send("POST /login HTTP/1.1\r\nHost: h\r\nContent-Type: application/json\r\nContent-Length: 16\r\n\r\n"
                "{\"user\": \"ann\"}\n");
    const QJsonObject login = client.read().json();
    EXPECT_EQ(login[u"user"].toString(), u"ann"_s);
    const QString token = login[u"token"].toString();
    EXPECT_TRUE(token.startsWith(u"kea-"_s));
    EXPECT_EQ(get("/bearer", "Authorization: Bearer " + token.toLatin1() + "\r\n").json()[u"token"].toString(), token);
    EXPECT_EQ(get("/bearer").head.statusCode, 401);
    EXPECT_EQ(get("/response-headers?X-Custom=1").header(u"X-Custom"_s), u"1"_s);
}

TEST_F(EchoServiceTest, BadRequestsAreRefusedAndClosed)
{
    const QList<QPair<QByteArray, int>> cases = {
        {"NONSENSE\r\n\r\n", 400},
        {"GET / HTTP/2.0\r\n\r\n", 400},
        {"GET / HTTP/1.1\r\nno colon\r\n\r\n", 400},
        {"POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n", 400},
        {"POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n", 400},
        {"POST / HTTP/1.1\r\nContent-Length: 99999999999\r\n\r\n", 413},
        {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", 400},
        {"GET / HTTP/1.1\r\nX-Big: " + QByteArray(70 * 1024, 'a'), 431},
    };
    for (const auto &[bytes, status] : cases) {
        Client client(service);
        client.send(bytes);
        EXPECT_EQ(client.read().head.statusCode, status) << bytes.left(60).constData();
        EXPECT_TRUE(client.waitForClose());
    }
    Client dropped(service);
    dropped.send("GET /drop HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(dropped.waitForClose());
    EXPECT_TRUE(dropped.buffer.isEmpty());

    // 100-continue is sent before the body is.
    Client expecting(service);
    expecting.send("PUT /x HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n");
    EXPECT_EQ(expecting.read(true).head.statusCode, 100);
    expecting.send("ok");
    EXPECT_EQ(expecting.read().json()[u"body"].toString(), u"ok"_s);
    EXPECT_TRUE(HXTest::waitUntil([&] { return service.connectionCount() <= 1; }));
}

} // namespace
