#pragma once

#include <QByteArray>

// The MD4 message digest (RFC 1320). OpenSSL 3 keeps MD4 only in its legacy
// provider, which is not loaded by default and may be missing, so Kea
// computes it itself.
class HXMD4
{
public:
    static constexpr int digestLength = 16;

    // The 16-byte digest of `data`.
    static QByteArray digest(const QByteArray &data);
};
