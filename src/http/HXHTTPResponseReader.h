#pragma once

#include "HXContentInflater.h"
#include "HXError.h"
#include "HXGzipDecoder.h"
#include "HXHTTPBodyDecoder.h"
#include "HXHTTPResponseBody.h"
#include "HXHTTPResponseHead.h"

#include <QByteArray>
#include <QString>

#include <memory>

class HXGCDAsyncSocketMiddleware;

class HXHTTPResponseReaderDelegate
{
public:
    virtual ~HXHTTPResponseReaderDelegate() = default;
    // The final response head is parsed (interim 1xx heads are skipped).
    virtual void responseReaderDidReceiveHead() = 0;
    virtual void responseReaderDidReceivePartialBody(qint64 length, qint64 totalBytesReceived,
                                                     qint64 expectedContentLength) = 0;
    // The body is complete (and decoded).
    virtual void responseReaderDidFinish() = 0;
    // `error` may be null: the connection closed cleanly too early.
    virtual void responseReaderDidFail(const HXError &error) = 0;
};

// Reads one HTTP/1.1 response through the socket middleware: the head, then
// the body framed by the method, the status, Transfer-Encoding and
// Content-Length (HXHTTPBodyDecoder), and gzip or deflate content decoding
// as the bytes arrive (HXContentInflater), into a body that moves to a file
// past its memory limit (HXHTTPResponseBody). The engine forwards it the
// middleware's read callbacks of its two tags and the disconnect.
class HXHTTPResponseReader
{
public:
    enum Tag : long {
        TagResponseHead = 3,
        TagBody = 4,
    };

    HXHTTPResponseReader(HXGCDAsyncSocketMiddleware *middleware, HXHTTPResponseReaderDelegate *delegate,
                         const QString &requestMethod);

    // The longest body accepted (decoded); longer fails the request.
    void setMaximumBodyLength(qint64 length) { m_maximumBodyLength = length; }
    // Where the body goes (memory limit, folder of temporary files, output file).
    void setBodyStorage(const HXHTTPResponseBodyStorage &storage) { m_storage = storage; }

    // Queues the read of the response head.
    void readResponseHead();
    // Middleware callbacks; read callbacks return false for tags not theirs.
    bool socketMiddlewareDidReadDataToBuffer(QByteArray &buffer, qsizetype rangeStart, qsizetype rangeLength, long tag);
    void socketMiddlewareDidDisconnectWithError(const HXError &error);

    const HXHTTPResponseHead &head() const { return m_head; }
    const QByteArray &headersData() const { return m_headersData; }
    HXHTTPResponseBody &body() { return m_body; }
    bool isDone() const { return m_done; }

private:
    void readHTTPResponseBody();
    void readBodyPiece();
    void bodyPieceArrived(qsizetype rangeStart, qsizetype rangeLength);
    void finishResponseBody();
    // Hands decoded body bytes on (inflating them when the body is
    // compressed); false when that failed the request.
    bool deliver(QByteArrayView bytes);
    // A compressed body turned out damaged: it is handed over as received,
    // without an error.
    bool deliverAsReceived();
    void fail(const HXError &error);

    HXGCDAsyncSocketMiddleware *m_middleware;
    HXHTTPResponseReaderDelegate *m_delegate;
    QString m_requestMethod;
    HXHTTPResponseHead m_head;
    QByteArray m_headersData;
    HXHTTPResponseBodyStorage m_storage;
    HXHTTPResponseBody m_body;
    // Bytes read from the socket when they cannot go straight into the
    // body's memory: chunked framing, compressed or file-backed bodies.
    QByteArray m_piece;
    QByteArray m_decodedPiece;
    std::unique_ptr<HXContentInflater> m_inflater;
    // The compressed bytes as received, so that a damaged body can still
    // be handed over as it came.
    HXHTTPResponseBody m_received;
    bool m_readingInPlace = false;
    std::optional<HXHTTPBodyDecoder> m_decoder;
    qint64 m_contentLength = 0;
    qint64 m_maximumBodyLength = HXGzipDecoder::defaultMaximumSize;
    QString m_contentLengthText;
    bool m_done = false;
};
