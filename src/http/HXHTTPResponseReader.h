#pragma once

#include "HXError.h"
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
// Content-Length, with chunked decoding and gzip content decoding. The engine
// forwards it the middleware's read callbacks of tags 3 to 6 and the
// disconnect.
class HXHTTPResponseReader
{
public:
    enum ResponseMode {
        ResponseModeNoBody = 0,
        ResponseModeContentLength = 1,
        ResponseModeChunked = 2,
        ResponseModeUntilClose = 3,
    };
    enum Tag : long {
        TagResponseHead = 3,
        TagBody = 4,
        TagChunkSizeLine = 5,
        TagChunkDataEnd = 6,
    };

    // Longest chunk-size line (extensions included) accepted.
    static constexpr qsizetype maximumChunkLineLength = 64 * 1024;

    HXHTTPResponseReader(HXGCDAsyncSocketMiddleware *middleware, HXHTTPResponseReaderDelegate *delegate,
                         const QString &requestMethod);

    // Queues the read of the response head (tag 3).
    void readResponseHead();
    // Middleware callbacks; read callbacks return false for tags not theirs.
    bool socketMiddlewareDidReadDataToBuffer(QByteArray &buffer, qsizetype rangeStart, qsizetype rangeLength, long tag);
    void socketMiddlewareDidReadPartialDataOfLength(qsizetype length, qsizetype totalBytesRead, long tag);
    void socketMiddlewareDidDisconnectWithError(const HXError &error);

    const HXHTTPResponseHead &head() const { return m_head; }
    const QByteArray &headersData() const { return m_headersData; }
    QByteArray &responseData() { return m_responseData; }
    ResponseMode responseMode() const { return m_responseMode; }
    bool isDone() const { return m_done; }

    // Parses a chunk-size line (line end already removed): the hexadecimal
    // number before any ";", leading blanks skipped, scanning up to the first
    // non-hex character. Nothing scannable reads as 0; nullopt on overflow.
    static std::optional<quint64> parseChunkSize(QByteArrayView line);
    // A Content-Length value: digits, or a list of equal digit strings;
    // nullopt when malformed or too large.
    static std::optional<qint64> parseContentLength(const QString &value);

private:
    void readHTTPResponseBody();
    void readChunkSizeLine();
    void finishResponseBody();
    void fail(const HXError &error);

    HXGCDAsyncSocketMiddleware *m_middleware;
    HXHTTPResponseReaderDelegate *m_delegate;
    QString m_requestMethod;
    HXHTTPResponseHead m_head;
    QByteArray m_headersData;
    QByteArray m_responseData;
    QByteArray m_lineBuffer;
    ResponseMode m_responseMode = ResponseModeNoBody;
    qint64 m_contentLength = 0;
    QString m_contentLengthText;
    bool m_done = false;
};
