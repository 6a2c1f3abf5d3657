// Fuzzes the body decoder: the first byte picks the framing and a split point,
// the rest is fed whole and in two pieces. Both ways must agree on the result,
// the bytes taken and the body, and never take more than they were given.

#include "HXHTTPBodyDecoder.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

struct Outcome
{
    HXHTTPBodyDecoder::Result result;
    qsizetype consumed;
    QByteArray body;
};

HXHTTPBodyDecoder decoderFor(uint8_t selector)
{
    switch (selector % 4) {
    case 0:
        return HXHTTPBodyDecoder::chunked();
    case 1:
        return HXHTTPBodyDecoder::chunked(HXHTTPBodyDecoder::ChunkSizeSyntax::Strict);
    case 2:
        return HXHTTPBodyDecoder::withContentLength(selector);
    default:
        return HXHTTPBodyDecoder::untilClose();
    }
}

Outcome run(uint8_t selector, QByteArrayView input, qsizetype split)
{
    HXHTTPBodyDecoder decoder = decoderFor(selector);
    decoder.setMaximumBodyLength(1 << 16);
    Outcome outcome{HXHTTPBodyDecoder::Result::NeedMore, 0, QByteArray()};
    qsizetype consumed = 0;
    outcome.result = decoder.decode(input.first(split), consumed, &outcome.body);
    if (consumed > split)
        std::abort();
    outcome.consumed = consumed;
    if (outcome.result == HXHTTPBodyDecoder::Result::NeedMore) {
        if (consumed != split)
            std::abort();
        outcome.result = decoder.decode(input.sliced(split), consumed, &outcome.body);
        if (consumed > input.size() - split)
            std::abort();
        outcome.consumed += consumed;
    }
    if (decoder.bodyLength() != outcome.body.size())
        std::abort();
    return outcome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArrayView input(reinterpret_cast<const char *>(data) + 1, qsizetype(size - 1));
    const Outcome whole = run(data[0], input, input.size());
    const Outcome split = run(data[0], input, qsizetype(data[0]) * input.size() / 256);
    if (whole.result != split.result || whole.body != split.body)
        std::abort();
    if (whole.result == HXHTTPBodyDecoder::Result::Complete && whole.consumed != split.consumed)
        std::abort();
    return 0;
}
