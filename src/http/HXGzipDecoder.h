#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

// Inflates a whole gzip-wrapped body (RFC 1952), members one after the
// other, in one call; HXContentInflater does it piece by piece.
class HXGzipDecoder
{
public:
    // Inflated bodies larger than this are refused (a decompression bomb).
    static constexpr qsizetype defaultMaximumSize = qsizetype(2) * 1024 * 1024 * 1024;

    // The inflated bytes, or nothing when the data is not valid gzip, ends
    // before the stream does, or would inflate beyond `maximumSize` (then
    // `limitReached`, when given, is set). Bytes after a complete member
    // that do not start another member are ignored.
    static std::optional<QByteArray> inflate(QByteArrayView compressed, qsizetype maximumSize = defaultMaximumSize,
                                             bool *limitReached = nullptr);
};
