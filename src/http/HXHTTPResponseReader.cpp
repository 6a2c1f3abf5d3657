#include "HXHTTPResponseReader.h"

#include "HXGCDAsyncSocketMiddleware.h"
#include "HXGzipDecoder.h"
#include "HXHTTPRequest.h"

#include <QCoreApplication>

namespace {

QByteArrayView withoutLineEnd(QByteArrayView line)
{
    if (line.endsWith('\n'))
        line.chop(1);
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace

HXHTTPResponseReader::HXHTTPResponseReader(HXGCDAsyncSocketMiddleware *middleware,
                                           HXHTTPResponseReaderDelegate *delegate, const QString &requestMethod)
    : m_middleware(middleware), m_delegate(delegate), m_requestMethod(requestMethod)
{}

std::optional<quint64> HXHTTPResponseReader::parseChunkSize(QByteArrayView line)
{
    const qsizetype semicolon = line.indexOf(';');
    if (semicolon >= 0)
        line = line.first(semicolon);
    qsizetype index = 0;
    while (index < line.size() && (line[index] == ' ' || line[index] == '\t'))
        ++index;
    quint64 size = 0;
    for (; index < line.size(); ++index) {
        const int digit = hexValue(line[index]);
        if (digit < 0)
            break;
        if (size > (quint64(1) << 58))
            return std::nullopt; // beyond any body this client can hold
        size = size * 16 + quint64(digit);
    }
    return size;
}

std::optional<qint64> HXHTTPResponseReader::parseContentLength(const QString &value)
{
    std::optional<qint64> result;
    const QStringList parts = value.split(u',');
    for (const QString &part : parts) {
        const QString digits = part.trimmed();
        if (digits.isEmpty() || digits.size() > 18)
            return std::nullopt;
        qint64 number = 0;
        for (QChar c : digits) {
            if (c < u'0' || c > u'9')
                return std::nullopt;
            number = number * 10 + (c.unicode() - u'0');
        }
        if (result && *result != number)
            return std::nullopt;
        result = number;
    }
    return result;
}

void HXHTTPResponseReader::readResponseHead()
{
    m_headersData.clear();
    m_headersData.reserve(2048);
    m_middleware->readDataToEmptyLine(&m_headersData, TagResponseHead, HXHTTPResponseHead::maximumLength);
}

bool HXHTTPResponseReader::socketMiddlewareDidReadDataToBuffer(QByteArray &buffer, qsizetype rangeStart,
                                                               qsizetype rangeLength, long tag)
{
    Q_UNUSED(rangeStart);
    Q_UNUSED(rangeLength);
    if (m_done)
        return tag >= TagResponseHead && tag <= TagChunkDataEnd;
    switch (tag) {
    case TagResponseHead: {
        m_head = HXHTTPResponseHead::parse(buffer);
        if (!m_head.isComplete() || m_head.length != buffer.size()) {
            fail(HXHTTPRequestInvalidResponseError());
            return true;
        }
        if (m_head.statusCode >= 100 && m_head.statusCode < 200 && m_head.statusCode != 101) {
            readResponseHead(); // an interim response: the final one follows
            return true;
        }
        m_delegate->responseReaderDidReceiveHead();
        if (!m_done)
            readHTTPResponseBody();
        return true;
    }
    case TagBody:
        if (m_responseMode == ResponseModeChunked) {
            m_lineBuffer.clear();
            m_middleware->readDataToData(QByteArrayLiteral("\n"), &m_lineBuffer, TagChunkDataEnd,
                                         maximumChunkLineLength);
        } else if (m_responseMode == ResponseModeContentLength) {
            finishResponseBody();
        }
        // Until close: the body ends with the disconnect.
        return true;
    case TagChunkSizeLine: {
        if (!buffer.endsWith('\n')) {
            fail(HXHTTPRequestInvalidResponseError());
            return true;
        }
        const std::optional<quint64> size = parseChunkSize(withoutLineEnd(buffer));
        if (!size) {
            fail(HXHTTPRequestInvalidResponseError());
        } else if (*size == 0) {
            finishResponseBody(); // trailer fields are not read
        } else {
            m_middleware->readDataToLength(qsizetype(*size), &m_responseData, TagBody);
        }
        return true;
    }
    case TagChunkDataEnd:
        if (!buffer.endsWith('\n') || !withoutLineEnd(buffer).isEmpty()) {
            fail(HXHTTPRequestInvalidResponseError());
            return true;
        }
        readChunkSizeLine();
        return true;
    default:
        return false;
    }
}

void HXHTTPResponseReader::readHTTPResponseBody()
{
    const qint64 status = m_head.statusCode;
    if (m_requestMethod == u"HEAD" || (status >= 100 && status < 200) || status == 204 || status == 304) {
        m_responseMode = ResponseModeNoBody;
        finishResponseBody();
        return;
    }
    const HXHTTPHeaderDictionary &fields = m_head.headerFields;
    if (fields.contains(QStringLiteral("Transfer-Encoding"))) {
        const QStringList codings = fields.value(QStringLiteral("Transfer-Encoding")).split(u',');
        if (codings.last().trimmed().compare(u"chunked", Qt::CaseInsensitive) == 0) {
            m_responseMode = ResponseModeChunked;
            readChunkSizeLine();
            return;
        }
        m_responseMode = ResponseModeUntilClose;
        m_middleware->readDataUntilCloseWithBuffer(&m_responseData, TagBody);
        return;
    }
    if (fields.contains(QStringLiteral("Content-Length"))) {
        m_contentLengthText = fields.value(QStringLiteral("Content-Length"));
        const std::optional<qint64> length = parseContentLength(m_contentLengthText);
        if (!length) {
            fail(HXHTTPRequestInvalidResponseError());
            return;
        }
        if (*length == 0) {
            m_responseMode = ResponseModeNoBody;
            finishResponseBody();
            return;
        }
        m_responseMode = ResponseModeContentLength;
        m_contentLength = *length;
        m_middleware->readDataToLength(qsizetype(*length), &m_responseData, TagBody);
        return;
    }
    m_responseMode = ResponseModeUntilClose;
    m_middleware->readDataUntilCloseWithBuffer(&m_responseData, TagBody);
}

void HXHTTPResponseReader::readChunkSizeLine()
{
    m_lineBuffer.clear();
    m_middleware->readDataToData(QByteArrayLiteral("\n"), &m_lineBuffer, TagChunkSizeLine, maximumChunkLineLength);
}

void HXHTTPResponseReader::socketMiddlewareDidReadPartialDataOfLength(qsizetype length, qsizetype totalBytesRead,
                                                                      long tag)
{
    if (!m_done && tag == TagBody && m_responseMode == ResponseModeContentLength)
        m_delegate->responseReaderDidReceivePartialBody(length, totalBytesRead, m_contentLength);
}

void HXHTTPResponseReader::socketMiddlewareDidDisconnectWithError(const HXError &error)
{
    if (m_done)
        return;
    const bool clean = error.isNull() || HXGCDAsyncSocketMiddleware::isRemoteCloseError(error);
    if (clean && m_responseMode == ResponseModeUntilClose) {
        finishResponseBody();
    } else if (clean && m_responseMode == ResponseModeContentLength) {
        fail(HXError(HXHTTPRequestErrorDomain, 2,
                     QCoreApplication::translate("HXGCDHTTPRequest",
                                                 "Server Closed the Connection too early. We expected a "
                                                 "Content-Length of %1, server closed before.")
                         .arg(m_contentLengthText)));
    } else {
        fail(clean ? HXError() : error);
    }
}

void HXHTTPResponseReader::finishResponseBody()
{
    if (m_done)
        return;
    m_done = true;
    if (!m_responseData.isEmpty() && m_head.headerFields.value(QStringLiteral("Content-Encoding")) == u"gzip") {
        // Broken gzip is delivered as received, without an error.
        if (std::optional<QByteArray> inflated = HXGzipDecoder::inflate(m_responseData))
            m_responseData = std::move(*inflated);
    }
    m_delegate->responseReaderDidFinish();
}

void HXHTTPResponseReader::fail(const HXError &error)
{
    if (m_done)
        return;
    m_done = true;
    m_delegate->responseReaderDidFail(error);
}
