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
    m_body = HXHTTPResponseBody(m_storage);
    if (HXContentInflater::decodesContentEncoding(fields.value(QStringLiteral("Content-Encoding")))) {
        m_inflater = std::make_unique<HXContentInflater>(m_maximumBodyLength);
        // The compressed bytes are kept beside (in memory, then a file of
        // their own) in case they turn out damaged.
        HXHTTPResponseBodyStorage receivedStorage = m_storage;
        receivedStorage.outputFile.clear();
        m_received = HXHTTPResponseBody(receivedStorage);
    } else if (m_decoder->framing() == HXHTTPBodyDecoder::Framing::ContentLength) {
        if (HXResult<void> expected = m_body.expectLength(m_contentLength); !expected.ok()) {
            fail(expected.error());
            return;
        }
    }
    if (m_decoder->isBodyComplete())
        finishResponseBody();
    else
        readBodyPiece();
}

void HXHTTPResponseReader::readBodyPiece()
{
    // Plain bodies in memory are read in place; everything else goes
    // through a piece buffer of bounded size.
    constexpr qint64 pieceLength = 1024 * 1024;
    const bool chunked = m_decoder->framing() == HXHTTPBodyDecoder::Framing::Chunked;
    QByteArray *destination = chunked || m_inflater ? nullptr : m_body.memoryBuffer();
    qint64 remaining = m_decoder->framing() == HXHTTPBodyDecoder::Framing::ContentLength
                           ? m_contentLength - m_decoder->bodyLength()
                           : 0;
    m_readingInPlace = destination != nullptr;
    if (destination == nullptr) {
        m_piece.truncate(0);
        destination = &m_piece;
        remaining = remaining > 0 ? qMin(remaining, pieceLength) : (chunked ? 0 : pieceLength);
    }
    m_middleware->readAvailableData(destination, TagBody, qsizetype(remaining));
}

void HXHTTPResponseReader::bodyPieceArrived(qsizetype rangeStart, qsizetype rangeLength)
{
    const bool chunked = m_decoder->framing() == HXHTTPBodyDecoder::Framing::Chunked;
    qsizetype consumed = 0;
    HXHTTPBodyDecoder::Result result = HXHTTPBodyDecoder::Result::NeedMore;
    if (chunked) {
        m_decodedPiece.truncate(0);
        result = m_decoder->decode(QByteArrayView(m_piece).sliced(rangeStart, rangeLength), consumed, &m_decodedPiece);
        if (!deliver(m_decodedPiece))
            return;
    } else if (m_readingInPlace) {
        // The bytes are already in place; whatever follows the body is not
        // part of it.
        QByteArray &memory = *m_body.memoryBuffer();
        result = m_decoder->decode(QByteArrayView(memory).sliced(rangeStart, rangeLength), consumed, nullptr);
        memory.truncate(rangeStart + consumed);
        if (HXResult<void> kept = m_body.memoryBufferChanged(); !kept.ok()) {
            fail(kept.error());
            return;
        }
    } else {
        const QByteArrayView piece = QByteArrayView(m_piece).sliced(rangeStart, rangeLength);
        result = m_decoder->decode(piece, consumed, nullptr);
        if (!deliver(piece.first(consumed)))
            return;
    }
    m_piece.truncate(0);
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

bool HXHTTPResponseReader::deliver(QByteArrayView bytes)
{
    if (m_done)
        return false;
    if (!m_inflater) {
        HXResult<void> appended = m_body.append(bytes);
        if (!appended.ok())
            fail(appended.error());
        return appended.ok();
    }
    if (HXResult<void> kept = m_received.append(bytes); !kept.ok()) {
        fail(kept.error());
        return false;
    }
    switch (m_inflater->feed(bytes, m_body)) {
    case HXContentInflater::Result::Ok:
        return true;
    case HXContentInflater::Result::Damaged:
        return deliverAsReceived();
    case HXContentInflater::Result::LimitReached:
        fail(HXHTTPRequestResponseTooLargeError(m_maximumBodyLength));
        return false;
    case HXContentInflater::Result::StorageFailed:
        fail(m_inflater->storageError());
        return false;
    }
    return false;
}

bool HXHTTPResponseReader::deliverAsReceived()
{
    m_inflater.reset();
    const HXHTTPResponseBody received = std::exchange(m_received, HXHTTPResponseBody());
    if (m_storage.outputFile.isEmpty()) {
        m_body = received;
        return true;
    }
    // The output file is written over with the received bytes, in pieces.
    m_body.clear();
    constexpr qint64 pieceLength = 1024 * 1024;
    for (qint64 at = 0; at < received.size(); at += pieceLength) {
        HXResult<QByteArray> piece = received.read(at, pieceLength);
        HXResult<void> appended = piece.ok() ? m_body.append(*piece) : HXResult<void>(piece.error());
        if (!appended.ok()) {
            fail(appended.error());
            return false;
        }
    }
    return true;
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
    // An empty compressed body stays empty; a damaged one is handed over
    // as received while it is at hand; one that inflates beyond the
    // maximum fails.
    if (m_inflater && m_decoder->bodyLength() > 0) {
        switch (m_inflater->finish(m_body)) {
        case HXContentInflater::Result::Ok:
            break;
        case HXContentInflater::Result::Damaged:
            if (!deliverAsReceived())
                return;
            break;
        case HXContentInflater::Result::LimitReached:
            fail(HXHTTPRequestResponseTooLargeError(m_maximumBodyLength));
            return;
        case HXContentInflater::Result::StorageFailed:
            fail(m_inflater->storageError());
            return;
        }
    }
    m_received = HXHTTPResponseBody();
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
