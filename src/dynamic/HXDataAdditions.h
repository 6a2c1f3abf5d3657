#pragma once

#include <QByteArray>
#include <QString>

// Byte operations shared by the encoding, digest and signature values:
// hexadecimal, message digests, HMAC and Base64.
class HXDataAdditions
{
public:
    // The digests offered by the digest value, numbered as it stores them.
    enum Digest : quint32 {
        DigestMD2 = 0,
        DigestMD4 = 1,
        DigestMD5 = 2,
        DigestSHA1 = 3,
        DigestSHA224 = 4,
        DigestSHA256 = 5,
        DigestSHA384 = 6,
        DigestSHA512 = 7,
    };

    // HMAC algorithm codes, numbered like the common platform HMAC interface
    // (so stored codes and values of other signature kinds mean the same).
    enum HMACAlgorithm : int {
        HMACAlgorithmSHA1 = 0,
        HMACAlgorithmMD5 = 1,
        HMACAlgorithmSHA256 = 2,
        HMACAlgorithmSHA384 = 3,
        HMACAlgorithmSHA512 = 4,
        HMACAlgorithmSHA224 = 5,
    };

    // Upper-case hexadecimal, two digits per byte, no separators.
    static QString hexString(const QByteArray &data);

    // The raw digest of `data`; empty for a number outside the enumeration.
    static QByteArray digest(const QByteArray &data, quint32 digest);
    // The digest as upper-case hexadecimal; empty for an unknown number.
    static QString digestHexString(const QByteArray &data, quint32 digest);
    // Digest length in bytes, 0 for an unknown number.
    static int digestLength(quint32 digest);

    static QString MD2HexString(const QByteArray &data) { return digestHexString(data, DigestMD2); }
    static QString MD4HexString(const QByteArray &data) { return digestHexString(data, DigestMD4); }
    static QString MD5HexString(const QByteArray &data) { return digestHexString(data, DigestMD5); }
    static QString SHA1HexString(const QByteArray &data) { return digestHexString(data, DigestSHA1); }
    static QString SHA224HexString(const QByteArray &data) { return digestHexString(data, DigestSHA224); }
    static QString SHA256HexString(const QByteArray &data) { return digestHexString(data, DigestSHA256); }
    static QString SHA384HexString(const QByteArray &data) { return digestHexString(data, DigestSHA384); }
    static QString SHA512HexString(const QByteArray &data) { return digestHexString(data, DigestSHA512); }

    // The HMAC of `data` under `key` with a platform algorithm code; an
    // unknown code gives an empty MAC.
    static QByteArray HMAC(const QByteArray &data, const QByteArray &key, int algorithmCode);
    // MAC length in bytes for an algorithm code, 0 when unknown.
    static int HMACLength(int algorithmCode);

    // Standard Base64 (RFC 4648 alphabet, with padding), no line breaks.
    static QString base64EncodedString(const QByteArray &data);
    // Lenient Base64 decoding: characters outside the alphabet (blanks, line
    // breaks, padding anywhere) are skipped; a final lone sextet is dropped.
    static QByteArray dataByDecodingBase64(const QByteArray &text);
    static QByteArray dataByDecodingBase64(const QString &text);
};
