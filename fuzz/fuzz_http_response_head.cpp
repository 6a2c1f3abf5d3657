// Fuzzes the response head parser: any bytes, whole and resumed at a split
// chosen by the input; the head end must agree and never exceed the input.

#include "HXHTTPResponseHead.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArrayView input(reinterpret_cast<const char *>(data) + 1, qsizetype(size - 1));
    const qsizetype split = qsizetype(data[0]) * input.size() / 256;
    const qsizetype whole = HXHTTPResponseHead::findHeadEnd(input);
    const qsizetype first = HXHTTPResponseHead::findHeadEnd(input.first(split));
    const qsizetype resumed = first >= 0 ? first : HXHTTPResponseHead::findHeadEnd(input, split);
    if (whole != resumed || whole > input.size())
        std::abort();
    const HXHTTPResponseHead head = HXHTTPResponseHead::parse(input);
    if (head.isComplete() && (head.length != whole || head.statusCode < 0 || head.statusCode > 999))
        std::abort();
    return 0;
}
