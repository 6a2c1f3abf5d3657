#pragma once

#include "HXHTTPResponseBody.h"

#include <QByteArray>
#include <QByteArrayView>

#include <memory>
#include <optional>

// Inflates a gzip body (RFC 1952, members one after the other) piece by
// piece as it arrives, into a response body. Bytes after a complete member
// that do not start another member are ignored, as zlib's own tools do; so
// is zero padding.
//
//     HXContentInflater inflater(maximum);
//     inflater.feed(piece, body); ... inflater.finish(body);
class HXContentInflater
{
public:
    enum class Result {
        Ok,           // every byte given was taken
        Damaged,      // the data is not valid, or (at finish) ends inside the stream
        LimitReached, // the inflated body would grow beyond the maximum
        StorageFailed // the body could not take the bytes (see storageError())
    };

    // `maximumLength` bounds the inflated body; negative means no bound.
    explicit HXContentInflater(qint64 maximumLength);
    ~HXContentInflater();
    HXContentInflater(const HXContentInflater &) = delete;
    HXContentInflater &operator=(const HXContentInflater &) = delete;

    Result feed(QByteArrayView input, HXHTTPResponseBody &body);
    // The input ended: Ok when at least a complete stream was read (a
    // truncated gzip member after complete ones is dropped).
    Result finish(HXHTTPResponseBody &body);

    // Whether a body of this Content-Encoding is inflated: exactly "gzip";
    // every other coding ("deflate" too) stays as received.
    static bool decodesContentEncoding(QStringView value) { return value == u"gzip"; }
    const HXError &storageError() const { return m_storageError; }
    // Whether any inflated byte was handed to the body.
    bool hasOutput() const { return m_produced > 0; }

private:
    struct Stream;

    Result inflatePiece(QByteArrayView input, HXHTTPResponseBody &body);
    Result fail(Result result);

    qint64 m_maximumLength;
    std::unique_ptr<Stream> m_stream;
    QByteArray m_output;
    qint64 m_produced = 0;
    qint64 m_completeMembersEnd = -1;
    bool m_betweenMembers = false;
    bool m_ignoringRest = false;
    bool m_started = false;
    Result m_failure = Result::Ok;
    HXError m_storageError;
};
