#pragma once

#include "HXError.h"
#include "HXGzipDecoder.h"
#include "HXHTTPBodyDecoder.h"
#include "HXHTTPResponseHead.h"

#include <QByteArray>
#include <QString>

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
// Content-Length (HXHTTPBodyDecoder), and gzip content decoding. The engine
// forwards it the middleware's read callbacks of its two tags and the
// disconnect.
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

    // Queues the read of the response head.
    void readResponseHead();
    // Middleware callbacks; read callbacks return false for tags not theirs.
    bool socketMiddlewareDidReadDataToBuffer(QByteArray &buffer, qsizetype rangeStart, qsizetype rangeLength, long tag);
    void socketMiddlewareDidDisconnectWithError(const HXError &error);

    const HXHTTPResponseHead &head() const { return m_head; }
    const QByteArray &headersData() const { return m_headersData; }
    QByteArray &responseData() { return m_responseData; }
    bool isDone() const { return m_done; }

private:
    void readHTTPResponseBody();
    void readBodyPiece();
    void bodyPieceArrived(qsizetype rangeStart, qsizetype rangeLength);
    void finishResponseBody();
    void fail(const HXError &error);

    HXGCDAsyncSocketMiddleware *m_middleware;
    HXHTTPResponseReaderDelegate *m_delegate;
    QString m_requestMethod;
    HXHTTPResponseHead m_head;
    QByteArray m_headersData;
    QByteArray m_responseData;
    // Raw chunked bytes waiting to be decoded into m_responseData; the
    // other framings read straight into m_responseData.
    QByteArray m_chunkedBytes;
    std::optional<HXHTTPBodyDecoder> m_decoder;
    qint64 m_contentLength = 0;
    qint64 m_maximumBodyLength = HXGzipDecoder::defaultMaximumSize;
    QString m_contentLengthText;
    bool m_done = false;
};
