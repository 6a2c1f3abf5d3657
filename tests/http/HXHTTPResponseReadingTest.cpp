// The response head parser, the socket middleware's read operations and the
// response reader (framing, chunks, gzip), fed bytes directly and split at
// every point of their input.

#include "HXGCDAsyncSocketMiddleware.h"
#include "HXGzipDecoder.h"
#include "HXGzipEncoder.h"
#include "HXHTTPRequest.h"
#include "HXHTTPResponseHead.h"
#include "HXHTTPResponseReader.h"

#include <gtest/gtest.h>

namespace {

std::string text(const QByteArray &bytes)
{
    return bytes.toStdString();
}

TEST(HXHTTPResponseHeadTest, ParsesStatusLineAndFields)
{
    const QByteArray input =
        "HTTP/1.0 404 Not  Found\r\nContent-Type: text/html; charset=utf-8\r\nX-Folded: one\r\n  two\r\n"
        "X-Spaces:   padded  \r\nx-spaces: again\r\nEmpty:\r\n\r\nbody";
    const HXHTTPResponseHead head = HXHTTPResponseHead::parse(input);
    ASSERT_TRUE(head.isComplete());
    EXPECT_EQ(head.length, input.indexOf("body"));
    EXPECT_EQ(head.majorVersion, 1);
    EXPECT_EQ(head.minorVersion, 0);
    EXPECT_EQ(head.statusCode, 404);
    EXPECT_EQ(head.statusLine.toStdString(), "HTTP/1.0 404 Not  Found");
    EXPECT_EQ(head.reasonPhrase.toStdString(), "Not  Found");
    EXPECT_EQ(head.headerFields.value(QStringLiteral("content-type")).toStdString(), "text/html; charset=utf-8");
    EXPECT_EQ(head.headerFields.value(QStringLiteral("X-Folded")).toStdString(), "one two");
    EXPECT_EQ(head.headerFields.value(QStringLiteral("X-SPACES")).toStdString(), "padded, again");
    EXPECT_TRUE(head.headerFields.contains(QStringLiteral("Empty")));
    EXPECT_EQ(head.headerFields.size(), 4);

    const HXHTTPResponseHead bare = HXHTTPResponseHead::parse("HTTP/1.1 200\nA: b\n\n");
    ASSERT_TRUE(bare.isComplete());
    EXPECT_EQ(bare.statusCode, 200);
    EXPECT_TRUE(bare.reasonPhrase.isEmpty());

    const HXHTTPResponseHead latin = HXHTTPResponseHead::parse("HTTP/1.1 200 OK\r\nX-Name: caf\xe9\r\n\r\n");
    EXPECT_EQ(latin.headerFields.value(QStringLiteral("X-Name")), QStringLiteral("caf\u00e9"));
}

TEST(HXHTTPResponseHeadTest, IncompleteAndInvalidHeads)
{
    using Status = HXHTTPResponseHead::Status;
    EXPECT_EQ(HXHTTPResponseHead::parse("HTTP/1.1 200 OK\r\nA: b\r\n").status, Status::Incomplete);
    EXPECT_EQ(HXHTTPResponseHead::parse("").status, Status::Incomplete);
    for (const char *invalid : {"HTTP/1.1 20 OK\r\n\r\n", "HTTP/1.1 2000 OK\r\n\r\n", "http/1.1 200 OK\r\n\r\n",
                                "HTTP/1.1 200 OK\r\nNo colon here\r\n\r\n", "HTTP/1.1 200 OK\r\n folded first\r\n\r\n",
                                "HTTP/1.1 200 OK\r\nBad Name: x\r\n\r\n", "ICY 200 OK\r\n\r\n"}) {
        SCOPED_TRACE(invalid);
        EXPECT_EQ(HXHTTPResponseHead::parse(invalid).status, Status::Invalid);
    }
    QByteArray huge = "HTTP/1.1 200 OK\r\nX: " + QByteArray(HXHTTPResponseHead::maximumLength, 'a');
    EXPECT_EQ(HXHTTPResponseHead::parse(huge).status, Status::Invalid);
}

TEST(HXHTTPResponseHeadTest, HeadEndIsFoundWhateverTheSplit)
{
    const QByteArray inputs[] = {"HTTP/1.1 200 OK\r\nA: b\r\n\r\nbody", "HTTP/1.1 200 OK\nA: b\n\nbody",
                                 "HTTP/1.1 200 OK\r\nA: b\n\r\nbody"};
    for (const QByteArray &input : inputs) {
        const qsizetype whole = HXHTTPResponseHead::findHeadEnd(input);
        ASSERT_GT(whole, 0);
        for (qsizetype split = 0; split <= input.size(); ++split) {
            // A search over the first part, resumed over the whole.
            const qsizetype first = HXHTTPResponseHead::findHeadEnd(input.first(split));
            const qsizetype resumed = first >= 0 ? first : HXHTTPResponseHead::findHeadEnd(input, split);
            EXPECT_EQ(resumed, whole) << text(input) << " split at " << split;
        }
    }
}

// Drives a reader through a middleware with no socket, as the engine does.
class ReaderHarness : public HXGCDAsyncSocketMiddlewareDelegate, public HXHTTPResponseReaderDelegate
{
public:
    explicit ReaderHarness(const QString &method = QStringLiteral("GET"), qint64 memoryLimit = -1)
        : reader(&middleware, this, method)
    {
        reader.setBodyStorage(HXHTTPResponseBodyStorage{memoryLimit, {}, {}});
        reader.readResponseHead();
    }

    void feed(const QByteArray &bytes, qsizetype split = -1)
    {
        if (split < 0) {
            middleware.receiveData(bytes);
        } else {
            middleware.receiveData(bytes.left(split));
            middleware.receiveData(bytes.mid(split));
        }
        middleware.receiveDisconnect(HXError());
    }

    // "<status> <body>" or "failed <code>", with the events before.
    std::string outcome() const { return events.join(u' ').toStdString(); }

    void socketMiddlewareDidConnectToHost(HXGCDAsyncSocketMiddleware *, const QString &, quint16) override {}
    void socketMiddlewareDidSecure(HXGCDAsyncSocketMiddleware *) override {}
    void socketMiddlewareDidWriteDataWithTag(HXGCDAsyncSocketMiddleware *, long) override {}
    void socketMiddlewareDidReadDataToBuffer(HXGCDAsyncSocketMiddleware *, QByteArray &buffer, qsizetype start,
                                             qsizetype length, long tag) override
    {
        reader.socketMiddlewareDidReadDataToBuffer(buffer, start, length, tag);
    }
    void socketMiddlewareDidReadPartialDataOfLength(HXGCDAsyncSocketMiddleware *, qsizetype, qsizetype, long) override
    {}
    void socketMiddlewareDidDisconnectWithError(HXGCDAsyncSocketMiddleware *, const HXError &error) override
    {
        reader.socketMiddlewareDidDisconnectWithError(error);
    }
    void responseReaderDidReceiveHead() override
    {
        events.append(QStringLiteral("head ") + QString::number(reader.head().statusCode));
    }
    void responseReaderDidReceivePartialBody(qint64, qint64 total, qint64 expected) override
    {
        EXPECT_LE(total, expected);
        ++progressReports;
    }
    void responseReaderDidFinish() override
    {
        events.append(QStringLiteral("body ") + QString::fromLatin1(reader.body().data()));
    }
    void responseReaderDidFail(const HXError &error) override
    {
        events.append(QStringLiteral("failed ") + QString::number(error.code));
    }

    HXGCDAsyncSocketMiddleware middleware{this};
    HXHTTPResponseReader reader;
    QStringList events;
    int progressReports = 0;
};

TEST(HXHTTPResponseReaderTest, SameOutcomeAtEverySplitPoint)
{
    struct Case
    {
        QByteArray response;
        std::string outcome;
        const char *method = "GET";
    };
    const QByteArray compressed = HXGzipEncoder::compress("inflated!", 9);
    const QByteArray twoMembers = compressed + compressed;
    const Case cases[] = {
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4;ext=1\r\nWiki\r\n5\r\npedia\r\nE\r\n in\r\n\r\nchunks."
         "\r\n0\r\nExpires: never\r\n\r\n",
         "head 200 body Wikipedia in\r\n\r\nchunks."},
        {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 102 Processing\r\nX: y\r\n\r\nHTTP/1.1 201 Created\r\n"
         "Content-Length: 4\r\n\r\nfour",
         "head 201 body four"},
        {"HTTP/1.1 200 OK\nContent-Length: 3\n\nabc", "head 200 body abc"},
        {"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabcdef", "head 200 body abc"},
        {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", "head 200 body "},
        {"HTTP/1.1 200 OK\r\nContent-Length: 100\r\nTransfer-Encoding: gzip, CHUNKED\r\n\r\n2\r\nok\r\n0\r\n\r\n",
         "head 200 body ok"},
        {"HTTP/1.1 200 OK\r\n\r\nuntil close", "head 200 body until close"},
        {"HTTP/1.1 200 OK\r\n\r\n", "head 200 body "},
        {"HTTP/1.1 204 No Content\r\n\r\n", "head 204 body "},
        {"HTTP/1.1 304 Not Modified\r\nContent-Length: 10\r\n\r\n", "head 304 body "},
        {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc", "head 200 failed 2"},
        {"HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\n", "head 200 body ", "HEAD"},
        {"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n\r\n" +
             QByteArray::number(compressed.size(), 16) + "\r\n" + compressed + "\r\n0\r\n\r\n",
         "head 200 body inflated!"},
        {"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " + QByteArray::number(twoMembers.size()) +
             "\r\n\r\n" + twoMembers,
         "head 200 body inflated!inflated!"},
        {"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\n" + compressed.left(compressed.size() - 4),
         "head 200 body " + QString::fromLatin1(compressed.left(compressed.size() - 4)).toStdString()},
        // Bytes after the last member are dropped; what is not gzip, or a
        // coding other than exactly "gzip", is kept as received.
        {"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\n" + compressed + "trailing junk", "head 200 body inflated!"},
        {"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\nnot gzip at all", "head 200 body not gzip at all"},
        {"HTTP/1.1 200 OK\r\nContent-Encoding: GZIP\r\n\r\n" + compressed,
         "head 200 body " + QString::fromLatin1(compressed).toStdString()},
        {"HTTP/1.1 200 OK\r\nContent-Encoding: deflate\r\n\r\nxyz", "head 200 body xyz"},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabcX\r\n0\r\n\r\n", "head 200 failed 8495"},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n10000000000000000\r\n", "head 200 failed 8495"},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", "head 200 body "},
        {"HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n", "head 200 failed 8495"},
        {"HTTP/1.1 200 OK\r\nContent-Length: 12x\r\n\r\n0123456789ab", "head 200 failed 8495"},
        {"HTTP/1.1 200 OK\r\nContent-Length: 3, 4\r\n\r\nabcd", "head 200 failed 8495"},
        {"garbage\r\n\r\n", "failed 8495"},
        {"SSH-2.0-OpenSSH\r\n\r\n", "failed 8495"},
    };
    for (const Case &testCase : cases) {
        SCOPED_TRACE(text(testCase.response));
        // Bodies kept in memory, and bodies that go to a file from their
        // first byte.
        for (const qint64 memoryLimit : {qint64(-1), qint64(0)}) {
            for (qsizetype split = 0; split <= testCase.response.size(); ++split) {
                ReaderHarness harness(QString::fromLatin1(testCase.method), memoryLimit);
                harness.feed(testCase.response, split);
                ASSERT_EQ(harness.outcome(), testCase.outcome) << "split at " << split << ", limit " << memoryLimit;
            }
        }
        // And one byte at a time.
        ReaderHarness harness(QString::fromLatin1(testCase.method));
        for (char byte : testCase.response)
            harness.middleware.receiveData(QByteArray(1, byte));
        harness.middleware.receiveDisconnect(HXError());
        EXPECT_EQ(harness.outcome(), testCase.outcome);
    }
}

TEST(HXHTTPResponseReaderTest, ChunkAndLengthFields)
{
    EXPECT_EQ(HXHTTPBodyDecoder::parseChunkSize("1a;name=value"), 26u);
    EXPECT_EQ(HXHTTPBodyDecoder::parseChunkSize("  FF  "), 255u);
    EXPECT_EQ(HXHTTPBodyDecoder::parseChunkSize(""), 0u);
    EXPECT_EQ(HXHTTPBodyDecoder::parseChunkSize("0"), 0u);
    EXPECT_EQ(HXHTTPBodyDecoder::parseChunkSize("ffffffffffffffff"), std::nullopt);
    EXPECT_EQ(HXHTTPBodyDecoder::parseContentLength(" 42 "), 42);
    EXPECT_EQ(HXHTTPBodyDecoder::parseContentLength("7, 7"), 7);
    for (const char *bad : {"", "4 2", "+4", "0x10", "3, 4", "99999999999999999999"})
        EXPECT_EQ(HXHTTPBodyDecoder::parseContentLength(bad), std::nullopt) << bad;
}

// Records what the middleware reports, and queues reads on demand.
class MiddlewareRecorder : public HXGCDAsyncSocketMiddlewareDelegate
{
public:
    void socketMiddlewareDidConnectToHost(HXGCDAsyncSocketMiddleware *, const QString &, quint16) override {}
    void socketMiddlewareDidSecure(HXGCDAsyncSocketMiddleware *) override {}
    void socketMiddlewareDidWriteDataWithTag(HXGCDAsyncSocketMiddleware *, long) override {}
    void socketMiddlewareDidReadDataToBuffer(HXGCDAsyncSocketMiddleware *, QByteArray &buffer, qsizetype start,
                                             qsizetype length, long tag) override
    {
        log.append(QStringLiteral("read %1 [%2+%3] %4")
                       .arg(tag)
                       .arg(start)
                       .arg(length)
                       .arg(QString::fromLatin1(buffer.mid(start, length))));
        if (onRead)
            onRead(tag);
    }
    void socketMiddlewareDidReadPartialDataOfLength(HXGCDAsyncSocketMiddleware *, qsizetype length, qsizetype total,
                                                    long tag) override
    {
        log.append(QStringLiteral("partial %1 %2/%3").arg(tag).arg(length).arg(total));
    }
    void socketMiddlewareDidDisconnectWithError(HXGCDAsyncSocketMiddleware *, const HXError &) override
    {
        log.append(QStringLiteral("disconnect"));
    }
    std::string joined() const { return log.join(QStringLiteral(" | ")).toStdString(); }

    QStringList log;
    std::function<void(long)> onRead;
};

TEST(HXGCDAsyncSocketMiddlewareTest, ReadsCompleteInOrderFromThePrebuffer)
{
    MiddlewareRecorder recorder;
    HXGCDAsyncSocketMiddleware middleware(&recorder);
    QByteArray body = "pre:";
    // The head and the start of the body in one piece: the head read
    // completes, the rest waits for the next read, which completes at once
    // when queued from the callback.
    recorder.onRead = [&](long tag) {
        if (tag == 3)
            middleware.readDataToLength(4, &body, 4);
    };
    middleware.readDataToData(HXGCDAsyncSocketMiddleware::CRLFCRLFData(), nullptr, 3);
    middleware.receiveData("HEAD\r\n\r\nbodyMORE");
    EXPECT_EQ(recorder.joined(), "read 3 [0+8] HEAD\r\n\r\n | read 4 [4+4] body");
    EXPECT_EQ(body, QByteArray("pre:body"));
    EXPECT_EQ(middleware.prebufferLength(), 4);

    // n + 5 buffered: exactly n taken, 5 left.
    recorder.log.clear();
    recorder.onRead = nullptr;
    middleware.receiveData("12345");
    middleware.readDataToLength(4, nullptr, 7);
    EXPECT_EQ(recorder.joined(), "read 7 [0+4] MORE");
    EXPECT_EQ(middleware.prebufferLength(), 5);

    // Partial progress while a read waits, then completion.
    recorder.log.clear();
    middleware.readDataToLength(8, nullptr, 9);
    middleware.receiveData("67");
    middleware.receiveData("89");
    EXPECT_EQ(recorder.joined(), "partial 9 2/7 | read 9 [0+8] 12345678");
}

TEST(HXGCDAsyncSocketMiddlewareTest, UntilCloseAndLimits)
{
    MiddlewareRecorder recorder;
    {
        HXGCDAsyncSocketMiddleware middleware(&recorder);
        middleware.readDataUntilCloseWithBuffer(nullptr, 4);
        middleware.receiveDisconnect(HXError());
        EXPECT_EQ(recorder.joined(), "disconnect"); // nothing read: no read callback
    }
    recorder.log.clear();
    {
        HXGCDAsyncSocketMiddleware middleware(&recorder);
        middleware.readDataUntilCloseWithBuffer(nullptr, 4);
        middleware.receiveData("ab");
        middleware.receiveData("cd");
        middleware.receiveDisconnect(HXError());
        EXPECT_EQ(recorder.joined(), "partial 4 2/2 | partial 4 2/4 | read 4 [0+4] abcd | disconnect");
    }
    recorder.log.clear();
    {
        HXGCDAsyncSocketMiddleware middleware(&recorder);
        middleware.readDataToData("\n", nullptr, 5, 4);
        middleware.receiveData("abcdef\n");
        EXPECT_EQ(recorder.joined(), "read 5 [0+4] abcd"); // the limit hit without a terminator
        middleware.clearDelegateAndDisconnect();
        middleware.receiveData("more\n");
        middleware.receiveDisconnect(HXError());
        EXPECT_EQ(recorder.log.size(), 1);
    }
}

TEST(HXGzipDecoderTest, MembersTruncationAndGarbage)
{
    QByteArray large;
    for (int i = 0; i < 100000; ++i)
        large += QByteArray::number(i);
    EXPECT_EQ(HXGzipDecoder::inflate(HXGzipEncoder::compress(large, 9)), large);
    EXPECT_EQ(
        HXGzipDecoder::inflate(QByteArray(HXGzipEncoder::compress("one ", 9) + HXGzipEncoder::compress("two", 9))),
        QByteArray("one two"));
    EXPECT_EQ(HXGzipDecoder::inflate(QByteArray(HXGzipEncoder::compress("padded", 9) + QByteArray(8, 0))),
              QByteArray("padded"));
    const QByteArray whole = HXGzipEncoder::compress(large, 9);
    EXPECT_EQ(HXGzipDecoder::inflate(whole.left(whole.size() - 10)), std::nullopt);
    EXPECT_EQ(HXGzipDecoder::inflate("plain text"), std::nullopt);
    EXPECT_EQ(HXGzipDecoder::inflate(QByteArray()), std::nullopt);
    // A bomb is refused at the limit, and a body of exactly the limit passes.
    EXPECT_EQ(HXGzipDecoder::inflate(HXGzipEncoder::compress(QByteArray(1000000, 'z'), 9), 999999), std::nullopt);
    EXPECT_EQ(HXGzipDecoder::inflate(HXGzipEncoder::compress(QByteArray(1000000, 'z'), 9), 1000000),
              QByteArray(1000000, 'z'));
}

} // namespace
