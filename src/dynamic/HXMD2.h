#pragma once

#include <QByteArray>

// The MD2 message digest (RFC 1319). OpenSSL 3 no longer ships it, so Kea
// carries its own small implementation for the digest dynamic value.
class HXMD2
{
public:
    static constexpr int digestLength = 16;

    // The 16-byte digest of `data`.
    static QByteArray digest(const QByteArray &data);
};
