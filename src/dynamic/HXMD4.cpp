#include "HXMD4.h"

#include <array>
#include <cstdint>

namespace {

constexpr uint32_t rotateLeft(uint32_t value, int bits)
{
    return (value << bits) | (value >> (32 - bits));
}

constexpr uint32_t f(uint32_t x, uint32_t y, uint32_t z)
{
    return (x & y) | (~x & z);
}
constexpr uint32_t g(uint32_t x, uint32_t y, uint32_t z)
{
    return (x & y) | (x & z) | (y & z);
}
constexpr uint32_t h(uint32_t x, uint32_t y, uint32_t z)
{
    return x ^ y ^ z;
}

void processBlock(std::array<uint32_t, 4> &state, const uint8_t *block)
{
    std::array<uint32_t, 16> x{};
    for (int i = 0; i < 16; ++i) {
        x[i] = uint32_t(block[4 * i]) | (uint32_t(block[4 * i + 1]) << 8) | (uint32_t(block[4 * i + 2]) << 16) |
               (uint32_t(block[4 * i + 3]) << 24);
    }
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

    // Round 1: words in order, shifts 3, 7, 11, 19.
    constexpr int shifts1[4] = {3, 7, 11, 19};
    for (int i = 0; i < 16; ++i) {
        const uint32_t value = rotateLeft(a + f(b, c, d) + x[i], shifts1[i % 4]);
        a = d, d = c, c = b, b = value;
    }
    // Round 2: words by column (0, 4, 8, 12, 1, 5, ...), shifts 3, 5, 9, 13.
    constexpr int shifts2[4] = {3, 5, 9, 13};
    for (int i = 0; i < 16; ++i) {
        const int word = (i % 4) * 4 + i / 4;
        const uint32_t value = rotateLeft(a + g(b, c, d) + x[word] + 0x5A827999u, shifts2[i % 4]);
        a = d, d = c, c = b, b = value;
    }
    // Round 3: words in bit-reversed order, shifts 3, 9, 11, 15.
    constexpr int order3[16] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};
    constexpr int shifts3[4] = {3, 9, 11, 15};
    for (int i = 0; i < 16; ++i) {
        const uint32_t value = rotateLeft(a + h(b, c, d) + x[order3[i]] + 0x6ED9EBA1u, shifts3[i % 4]);
        a = d, d = c, c = b, b = value;
    }

    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

} // namespace

QByteArray HXMD4::digest(const QByteArray &data)
{
    std::array<uint32_t, 4> state = {0x67452301u, 0xEFCDAB89u, 0x98BADCFEu, 0x10325476u};
    const auto *bytes = reinterpret_cast<const uint8_t *>(data.constData());
    const qsizetype fullBlocks = data.size() / 64;
    for (qsizetype i = 0; i < fullBlocks; ++i)
        processBlock(state, bytes + i * 64);

    // The tail, a 0x80 byte, zeros up to 56 mod 64, then the bit length
    // (little-endian, 64 bits): one or two final blocks.
    std::array<uint8_t, 128> tail{};
    const qsizetype rest = data.size() - fullBlocks * 64;
    for (qsizetype i = 0; i < rest; ++i)
        tail[i] = bytes[fullBlocks * 64 + i];
    tail[rest] = 0x80;
    const qsizetype tailLength = rest < 56 ? 64 : 128;
    const uint64_t bitLength = uint64_t(data.size()) * 8u;
    for (int i = 0; i < 8; ++i)
        tail[tailLength - 8 + i] = uint8_t(bitLength >> (8 * i));
    for (qsizetype offset = 0; offset < tailLength; offset += 64)
        processBlock(state, tail.data() + offset);

    QByteArray result(digestLength, Qt::Uninitialized);
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j)
            result[4 * i + j] = char(uint8_t(state[i] >> (8 * j)));
    }
    return result;
}
