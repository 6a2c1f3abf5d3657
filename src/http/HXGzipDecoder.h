#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

// Inflates a gzip-wrapped body (RFC 1952), members one after the other.
class HXGzipDecoder
{
public:
    // The inflated bytes, or nothing when the data is not valid gzip or ends
    // before the stream does.
    static std::optional<QByteArray> inflate(QByteArrayView compressed);
};
