#include "HXHTTPResponseReader.h"

#include "HXGCDAsyncSocketMiddleware.h"
#include "HXGzipDecoder.h"
#include "HXHTTPRequest.h"

#include <QCoreApplication>

HXHTTPResponseReader::HXHTTPResponseReader(HXGCDAsyncSocketMiddleware *middleware,
                                           HXHTTPResponseReaderDelegate *delegate, const QString &requestMethod)
    : m_middleware(middleware), m_delegate(delegate), m_requestMethod(requestMethod)
{}

void HXHTTPResponseReader::readResponseHead()
{
    m_headersData.clear();
    m_headersData.reserve(2048);
    m_middleware->readDataToEmptyLine(&m_headersData, TagResponseHead, HXHTTPResponseHead::maximumLength);
}

bool HXHTTPResponseReader::socketMiddlewareDidReadDataToBuffer(QByteArray &buffer, qsizetype rangeStart,
                                                               qsizetype rangeLength, long tag)
{
    if (tag != TagResponseHead && tag != TagBody)
        return false;
    if (m_done)
        return true;
    if (tag == TagBody) {
        bodyPieceArrived(rangeStart, rangeLength);
        return true;
    }
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

void HXHTTPResponseReader::readHTTPResponseBody()
{
    const qint64 status = m_head.statusCode;
    const HXHTTPHeaderDictionary &fields = m_head.headerFields;
    if (m_requestMethod == u"HEAD" || (status >= 100 && status < 200) || status == 204 || status == 304) {
        m_decoder = HXHTTPBodyDecoder::none();
    } else if (fields.contains(QStringLiteral("Transfer-Encoding"))) {
        const QStringList codings = fields.value(QStringLiteral("Transfer-Encoding")).split(u',');
        if (codings.last().trimmed().compare(u"chunked", Qt::CaseInsensitive) == 0)
            m_decoder = HXHTTPBodyDecoder::chunked();
        else
            m_decoder = HXHTTPBodyDecoder::untilClose();
    } else if (fields.contains(QStringLiteral("Content-Length"))) {
        m_contentLengthText = fields.value(QStringLiteral("Content-Length"));
        const std::optional<qint64> length = HXHTTPBodyDecoder::parseContentLength(m_contentLengthText.toLatin1());
        if (!length) {
            fail(HXHTTPRequestInvalidResponseError());
            return;
        }
        if (*length > m_maximumBodyLength) {
            fail(HXHTTPRequestResponseTooLargeError(m_maximumBodyLength));
            return;
        }
        m_contentLength = *length;
        m_decoder = HXHTTPBodyDecoder::withContentLength(*length);
    } else {
        m_decoder = HXHTTPBodyDecoder::untilClose();
    }
    m_decoder->setMaximumBodyLength(m_maximumBodyLength);
    if (m_decoder->isBodyComplete())
        finishResponseBody();
    else
        readBodyPiece();
}

void HXHTTPResponseReader::readBodyPiece()
{
    QByteArray *destination =
        m_decoder->framing() == HXHTTPBodyDecoder::Framing::Chunked ? &m_chunkedBytes : &m_responseData;
    const qint64 remaining = m_decoder->framing() == HXHTTPBodyDecoder::Framing::ContentLength
                                 ? m_contentLength - m_decoder->bodyLength()
                                 : 0;
    m_middleware->readAvailableData(destination, TagBody, qsizetype(remaining));
}

void HXHTTPResponseReader::bodyPieceArrived(qsizetype rangeStart, qsizetype rangeLength)
{
    const bool chunked = m_decoder->framing() == HXHTTPBodyDecoder::Framing::Chunked;
    qsizetype consumed = 0;
    HXHTTPBodyDecoder::Result result = HXHTTPBodyDecoder::Result::NeedMore;
    if (chunked) {
        result = m_decoder->decode(m_chunkedBytes, consumed, &m_responseData);
        m_chunkedBytes.clear();
    } else {
        // The bytes are already in place; whatever follows the body is not
        // part of it.
        result = m_decoder->decode(QByteArrayView(m_responseData).sliced(rangeStart, rangeLength), consumed, nullptr);
        m_responseData.truncate(rangeStart + consumed);
    }
    if (result == HXHTTPBodyDecoder::Result::Invalid) {
        fail(m_decoder->failure() == HXHTTPBodyDecoder::Failure::TooLarge
                 ? HXHTTPRequestResponseTooLargeError(m_maximumBodyLength)
                 : HXHTTPRequestInvalidResponseError());
    } else if (m_decoder->isBodyComplete()) {
        finishResponseBody(); // a chunked body's trailer fields are not waited for
    } else {
        if (m_decoder->framing() == HXHTTPBodyDecoder::Framing::ContentLength)
            m_delegate->responseReaderDidReceivePartialBody(rangeLength, m_decoder->bodyLength(), m_contentLength);
        readBodyPiece();
    }
}

void HXHTTPResponseReader::socketMiddlewareDidDisconnectWithError(const HXError &error)
{
    if (m_done)
        return;
    const bool clean = error.isNull() || HXGCDAsyncSocketMiddleware::isRemoteCloseError(error);
    if (!clean || !m_decoder) {
        fail(clean ? HXError() : error);
    } else if (m_decoder->finish() == HXHTTPBodyDecoder::Result::Complete) {
        finishResponseBody();
    } else if (m_decoder->framing() == HXHTTPBodyDecoder::Framing::ContentLength) {
        fail(HXHTTPRequestError(HXHTTPRequestErrorCode::ClosedTooEarly,
                                QCoreApplication::translate("HXGCDHTTPRequest",
                                                            "Server Closed the Connection too early. We expected a "
                                                            "Content-Length of %1, server closed before.")
                                    .arg(m_contentLengthText)));
    } else {
        fail(HXError());
    }
}
void HXHTTPResponseReader::finishResponseBody()
{
    if (m_done)
        return;
    if (!m_responseData.isEmpty() && m_head.headerFields.value(QStringLiteral("Content-Encoding")) == u"gzip") {
        // Broken gzip is delivered as received, without an error; gzip
        // that inflates beyond the maximum fails.
        bool limitReached = false;
        if (std::optional<QByteArray> inflated =
                HXGzipDecoder::inflate(m_responseData, m_maximumBodyLength, &limitReached))
            m_responseData = std::move(*inflated);
        else if (limitReached) {
            fail(HXHTTPRequestResponseTooLargeError(m_maximumBodyLength));
            return;
        }
    }
    m_done = true;
    m_delegate->responseReaderDidFinish();
}

void HXHTTPResponseReader::fail(const HXError &error)
{
    if (m_done)
        return;
    m_done = true;
    m_delegate->responseReaderDidFail(error);
}
