#include "HXMD2.h"

#include <array>
#include <cstdint>

namespace {

// The 256-byte permutation derived from the digits of pi that drives both the
// checksum and the compression rounds.
constexpr std::array<uint8_t, 256> piSubstitution = {
    41,  46,  67,  201, 162, 216, 124, 1,   61,  54,  84,  161, 236, 240, 6,   19,  98,  167, 5,   243, 192, 199,
    115, 140, 152, 147, 43,  217, 188, 76,  130, 202, 30,  155, 87,  60,  253, 212, 224, 22,  103, 66,  111, 24,
    138, 23,  229, 18,  190, 78,  196, 214, 218, 158, 222, 73,  160, 251, 245, 142, 187, 47,  238, 122, 169, 104,
    121, 145, 21,  178, 7,   63,  148, 194, 16,  137, 11,  34,  95,  33,  128, 127, 93,  154, 90,  144, 50,  39,
    53,  62,  204, 231, 191, 247, 151, 3,   255, 25,  48,  179, 72,  165, 181, 209, 215, 94,  146, 42,  172, 86,
    170, 198, 79,  184, 56,  210, 150, 164, 125, 182, 118, 252, 107, 226, 156, 116, 4,   241, 69,  157, 112, 89,
    100, 113, 135, 32,  134, 91,  207, 101, 230, 45,  168, 2,   27,  96,  37,  173, 174, 176, 185, 246, 28,  70,
    97,  105, 52,  64,  126, 15,  85,  71,  163, 35,  221, 81,  175, 58,  195, 92,  249, 206, 186, 197, 234, 38,
    44,  83,  13,  110, 133, 40,  132, 9,   211, 223, 205, 244, 65,  129, 77,  82,  106, 220, 55,  200, 108, 193,
    171, 250, 36,  225, 123, 8,   12,  189, 177, 74,  120, 136, 149, 139, 227, 99,  232, 109, 233, 203, 213, 254,
    59,  0,   29,  57,  242, 239, 183, 14,  102, 88,  208, 228, 166, 119, 114, 248, 235, 117, 75,  10,  49,  68,
    80,  180, 143, 237, 31,  26,  219, 153, 141, 51,  159, 17,  131, 20,
};

constexpr int blockLength = 16;

struct MD2State
{
    std::array<uint8_t, 48> x{};
    std::array<uint8_t, blockLength> checksum{};
    uint8_t lastChecksumByte = 0;

    // Folds one 16-byte block into the checksum (when asked) and the state.
    void processBlock(const uint8_t *block, bool updateChecksum)
    {
        if (updateChecksum) {
            for (int j = 0; j < blockLength; ++j) {
                checksum[j] ^= piSubstitution[block[j] ^ lastChecksumByte];
                lastChecksumByte = checksum[j];
            }
        }
        for (int j = 0; j < blockLength; ++j) {
            x[blockLength + j] = block[j];
            x[2 * blockLength + j] = block[j] ^ x[j];
        }
        uint8_t t = 0;
        for (int round = 0; round < 18; ++round) {
            for (uint8_t &byte : x) {
                byte ^= piSubstitution[t];
                t = byte;
            }
            t = static_cast<uint8_t>(t + round);
        }
    }
};

} // namespace

QByteArray HXMD2::digest(const QByteArray &data)
{
    MD2State state;
    const auto *bytes = reinterpret_cast<const uint8_t *>(data.constData());
    const qsizetype fullBlocks = data.size() / blockLength;
    for (qsizetype i = 0; i < fullBlocks; ++i)
        state.processBlock(bytes + i * blockLength, true);

    // Padding is always added: n bytes of value n, 1 <= n <= 16.
    std::array<uint8_t, blockLength> last{};
    const qsizetype rest = data.size() - fullBlocks * blockLength;
    for (qsizetype i = 0; i < rest; ++i)
        last[i] = bytes[fullBlocks * blockLength + i];
    const auto padding = static_cast<uint8_t>(blockLength - rest);
    for (qsizetype i = rest; i < blockLength; ++i)
        last[i] = padding;
    state.processBlock(last.data(), true);

    const std::array<uint8_t, blockLength> checksum = state.checksum;
    state.processBlock(checksum.data(), false);
    return QByteArray(reinterpret_cast<const char *>(state.x.data()), digestLength);
}
