#include "HXGzipDecoder.h"

#include <zlib.h>

#include <limits>

std::optional<QByteArray> HXGzipDecoder::inflate(QByteArrayView compressed, qsizetype maximumSize, bool *limitReached)
{
    if (limitReached != nullptr)
        *limitReached = false;
    if (compressed.isEmpty())
        return std::nullopt;
    z_stream stream{};
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK)
        return std::nullopt;

    // Start from a guess of four times the input and grow geometrically, so
    // the output is copied only a few times whatever the ratio.
    QByteArray output;
    qsizetype produced = 0;
    const qsizetype initial = qMax<qsizetype>(64 * 1024, qMin<qsizetype>(compressed.size() * 4, qsizetype(1) << 30));
    output.resize(qMin(initial, maximumSize + 1));

    const auto *input = reinterpret_cast<const Bytef *>(compressed.data());
    qsizetype consumed = 0;
    // Where the last complete member ended in the output, if one did.
    qsizetype completeMembersEnd = -1;
    int result = Z_OK;
    while (true) {
        if (produced == output.size()) {
            if (produced > maximumSize) {
                result = Z_MEM_ERROR;
                break;
            }
            output.resize(qMin(output.size() + qMax<qsizetype>(output.size() / 2, 64 * 1024), maximumSize + 1));
        }
        const qsizetype inputLeft = compressed.size() - consumed;
        const qsizetype outputLeft = output.size() - produced;
        stream.next_in = const_cast<Bytef *>(input + consumed);
        stream.avail_in = uInt(qMin<qsizetype>(inputLeft, std::numeric_limits<uInt>::max()));
        stream.next_out = reinterpret_cast<Bytef *>(output.data() + produced);
        stream.avail_out = uInt(qMin<qsizetype>(outputLeft, std::numeric_limits<uInt>::max()));
        const uInt inputBefore = stream.avail_in;
        const uInt outputBefore = stream.avail_out;
        result = ::inflate(&stream, Z_NO_FLUSH);
        consumed += inputBefore - stream.avail_in;
        produced += outputBefore - stream.avail_out;
        if (result == Z_STREAM_END) {
            completeMembersEnd = produced;
            // Another member may follow; trailing zero padding is tolerated.
            const qsizetype rest = compressed.size() - consumed;
            if (rest == 0)
                break;
            bool onlyPadding = true;
            for (qsizetype i = consumed; i < compressed.size() && onlyPadding; ++i)
                onlyPadding = compressed[i] == '\0';
            if (onlyPadding)
                break;
            if (inflateReset(&stream) != Z_OK) {
                result = Z_DATA_ERROR;
                break;
            }
            continue;
        }
        if (result == Z_BUF_ERROR && consumed == compressed.size())
            break; // the input ended inside the stream
        if (result != Z_OK && result != Z_BUF_ERROR)
            break;
    }
    inflateEnd(&stream);
    if (produced > maximumSize) {
        if (limitReached != nullptr)
            *limitReached = true;
        return std::nullopt;
    }
    if (result != Z_STREAM_END) {
        // Bytes after a complete member that are not a member of their own
        // are ignored, as zlib's own tools do.
        if (completeMembersEnd < 0)
            return std::nullopt;
        produced = completeMembersEnd;
    }
    output.truncate(produced);
    return output;
}
