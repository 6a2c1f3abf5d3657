#include "HXDataAdditions.h"

#include "HXMD2.h"
#include "HXMD4.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>

namespace {

const EVP_MD *openSSLDigest(quint32 digest)
{
    switch (digest) {
    case HXDataAdditions::DigestMD5:
        return EVP_md5();
    case HXDataAdditions::DigestSHA1:
        return EVP_sha1();
    case HXDataAdditions::DigestSHA224:
        return EVP_sha224();
    case HXDataAdditions::DigestSHA256:
        return EVP_sha256();
    case HXDataAdditions::DigestSHA384:
        return EVP_sha384();
    case HXDataAdditions::DigestSHA512:
        return EVP_sha512();
    default:
        return nullptr;
    }
}

const EVP_MD *openSSLHMACDigest(int algorithmCode)
{
    switch (algorithmCode) {
    case HXDataAdditions::HMACAlgorithmSHA1:
        return EVP_sha1();
    case HXDataAdditions::HMACAlgorithmMD5:
        return EVP_md5();
    case HXDataAdditions::HMACAlgorithmSHA256:
        return EVP_sha256();
    case HXDataAdditions::HMACAlgorithmSHA384:
        return EVP_sha384();
    case HXDataAdditions::HMACAlgorithmSHA512:
        return EVP_sha512();
    case HXDataAdditions::HMACAlgorithmSHA224:
        return EVP_sha224();
    default:
        return nullptr;
    }
}

// Value of a Base64 character, -1 for anything outside the alphabet.
constexpr std::array<signed char, 256> base64Values = [] {
    std::array<signed char, 256> table{};
    for (auto &value : table)
        value = -1;
    for (int i = 0; i < 26; ++i) {
        table['A' + i] = static_cast<signed char>(i);
        table['a' + i] = static_cast<signed char>(26 + i);
    }
    for (int i = 0; i < 10; ++i)
        table['0' + i] = static_cast<signed char>(52 + i);
    table['+'] = 62;
    table['/'] = 63;
    return table;
}();

} // namespace

QString HXDataAdditions::hexString(const QByteArray &data)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    QString result(data.size() * 2, Qt::Uninitialized);
    QChar *out = result.data();
    for (const char byte : data) {
        const auto value = static_cast<unsigned char>(byte);
        *out++ = QLatin1Char(digits[value >> 4]);
        *out++ = QLatin1Char(digits[value & 0x0F]);
    }
    return result;
}

QByteArray HXDataAdditions::digest(const QByteArray &data, quint32 digest)
{
    if (digest == DigestMD2)
        return HXMD2::digest(data);
    if (digest == DigestMD4)
        return HXMD4::digest(data);
    const EVP_MD *md = openSSLDigest(digest);
    if (!md)
        return {};
    std::array<unsigned char, EVP_MAX_MD_SIZE> buffer{};
    unsigned int length = 0;
    if (EVP_Digest(data.constData(), static_cast<size_t>(data.size()), buffer.data(), &length, md, nullptr) != 1)
        return {};
    return QByteArray(reinterpret_cast<const char *>(buffer.data()), static_cast<qsizetype>(length));
}

QString HXDataAdditions::digestHexString(const QByteArray &data, quint32 digest)
{
    return hexString(HXDataAdditions::digest(data, digest));
}

int HXDataAdditions::digestLength(quint32 digest)
{
    static constexpr int lengths[] = {16, 16, 16, 20, 28, 32, 48, 64};
    return digest < std::size(lengths) ? lengths[digest] : 0;
}

QByteArray HXDataAdditions::HMAC(const QByteArray &data, const QByteArray &key, int algorithmCode)
{
    const EVP_MD *md = openSSLHMACDigest(algorithmCode);
    if (!md)
        return {};
    std::array<unsigned char, EVP_MAX_MD_SIZE> buffer{};
    unsigned int length = 0;
    // OpenSSL wants non-null pointers even for empty buffers.
    static const unsigned char empty = 0;
    const void *keyBytes = key.isEmpty() ? &empty : static_cast<const void *>(key.constData());
    const auto *dataBytes = data.isEmpty() ? &empty : reinterpret_cast<const unsigned char *>(data.constData());
    if (!::HMAC(md, keyBytes, static_cast<int>(key.size()), dataBytes, static_cast<size_t>(data.size()), buffer.data(),
                &length))
        return {};
    return QByteArray(reinterpret_cast<const char *>(buffer.data()), static_cast<qsizetype>(length));
}

int HXDataAdditions::HMACLength(int algorithmCode)
{
    switch (algorithmCode) {
    case HMACAlgorithmMD5:
        return 16;
    case HMACAlgorithmSHA1:
        return 20;
    case HMACAlgorithmSHA224:
        return 28;
    case HMACAlgorithmSHA256:
        return 32;
    case HMACAlgorithmSHA384:
        return 48;
    case HMACAlgorithmSHA512:
        return 64;
    default:
        return 0;
    }
}

QString HXDataAdditions::base64EncodedString(const QByteArray &data)
{
    return QString::fromLatin1(data.toBase64());
}

QByteArray HXDataAdditions::dataByDecodingBase64(const QByteArray &text)
{
    QByteArray result;
    result.reserve(text.size() / 4 * 3 + 3);
    quint32 accumulator = 0;
    int sextets = 0;
    for (const char c : text) {
        const int value = base64Values[static_cast<unsigned char>(c)];
        if (value < 0)
            continue;
        accumulator = (accumulator << 6) | static_cast<quint32>(value);
        if (++sextets == 4) {
            result.append(static_cast<char>(accumulator >> 16));
            result.append(static_cast<char>(accumulator >> 8));
            result.append(static_cast<char>(accumulator));
            accumulator = 0;
            sextets = 0;
        }
    }
    // Two sextets carry one byte, three carry two; a lone one carries none.
    if (sextets == 2) {
        result.append(static_cast<char>(accumulator >> 4));
    } else if (sextets == 3) {
        result.append(static_cast<char>(accumulator >> 10));
        result.append(static_cast<char>(accumulator >> 2));
    }
    return result;
}

QByteArray HXDataAdditions::dataByDecodingBase64(const QString &text)
{
    // Only ASCII characters can belong to the alphabet; others map to '?'
    // and are skipped.
    return dataByDecodingBase64(text.toLatin1());
}
