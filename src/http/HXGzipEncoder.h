#pragma once

#include <QByteArray>
#include <QByteArrayView>

// Compresses bytes into one gzip member (RFC 1952).
class HXGzipEncoder
{
public:
    // The gzip member, or an empty array when zlib refuses. `level` is
    // zlib's: 1 (fastest) to 9 (smallest), -1 for its default.
    static QByteArray compress(QByteArrayView data, int level = -1);
};
