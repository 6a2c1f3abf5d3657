#include "HXGzipDecoder.h"

#include "HXContentInflater.h"

std::optional<QByteArray> HXGzipDecoder::inflate(QByteArrayView compressed, qsizetype maximumSize, bool *limitReached)
{
    if (limitReached != nullptr)
        *limitReached = false;
    if (compressed.isEmpty())
        return std::nullopt;
    HXHTTPResponseBody body(QByteArray{});
    HXContentInflater inflater(maximumSize);
    HXContentInflater::Result result = inflater.feed(compressed, body);
    if (result == HXContentInflater::Result::Ok)
        result = inflater.finish(body);
    if (result == HXContentInflater::Result::LimitReached && limitReached != nullptr)
        *limitReached = true;
    if (result != HXContentInflater::Result::Ok)
        return std::nullopt;
    return body.data();
}
