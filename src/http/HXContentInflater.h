#pragma once

#include "HXHTTPResponseBody.h"

#include <QByteArray>
#include <QByteArrayView>

#include <memory>
#include <optional>

// Inflates a gzip (RFC 1952, members one after the other) or deflate body
// (zlib-wrapped, or raw as some servers send it) piece by piece as it
// arrives, into a response body. Bytes after a complete gzip member that do
// not start another member are ignored, as zlib's own tools do; so is zero
// padding.
//
//     HXContentInflater inflater(HXContentInflater::Coding::Gzip, maximum);
//     inflater.feed(piece, body); ... inflater.finish(body);
class HXContentInflater
{
public:
    enum class Coding { Gzip, Deflate };
    enum class Result {
        Ok,           // every byte given was taken
        Damaged,      // the data is not valid, or (at finish) ends inside the stream
        LimitReached, // the inflated body would grow beyond the maximum
        StorageFailed // the body could not take the bytes (see storageError())
    };

    // `maximumLength` bounds the inflated body; negative means no bound.
    HXContentInflater(Coding coding, qint64 maximumLength);
    ~HXContentInflater();
    HXContentInflater(const HXContentInflater &) = delete;
    HXContentInflater &operator=(const HXContentInflater &) = delete;

    Result feed(QByteArrayView input, HXHTTPResponseBody &body);
    // The input ended: Ok when at least a complete stream was read (a
    // truncated gzip member after complete ones is dropped).
    Result finish(HXHTTPResponseBody &body);

    // The coding of a Content-Encoding value this class decodes.
    static std::optional<Coding> codingForContentEncoding(QStringView value);
    const HXError &storageError() const { return m_storageError; }
    // Whether any inflated byte was handed to the body.
    bool hasOutput() const { return m_produced > 0; }

private:
    struct Stream;

    Result inflatePiece(QByteArrayView input, HXHTTPResponseBody &body);
    Result fail(Result result);

    Coding m_coding;
    qint64 m_maximumLength;
    std::unique_ptr<Stream> m_stream;
    QByteArray m_output;
    // The first byte of a deflate body, held until the second tells raw
    // from zlib-wrapped.
    QByteArray m_header;
    qint64 m_produced = 0;
    qint64 m_completeMembersEnd = -1;
    bool m_betweenMembers = false;
    bool m_ignoringRest = false;
    bool m_started = false;
    Result m_failure = Result::Ok;
    HXError m_storageError;
};
