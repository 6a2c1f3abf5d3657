#include "HXHTTPBodyDecoder.h"

#include "HXHexDigit.h"

namespace {

QByteArrayView withoutLineEnd(QByteArrayView line)
{
    if (line.endsWith('\n'))
        line.chop(1);
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

QByteArrayView beforeExtensions(QByteArrayView line)
{
    const qsizetype semicolon = line.indexOf(';');
    return semicolon >= 0 ? line.first(semicolon) : line;
}

} // namespace

HXHTTPBodyDecoder::HXHTTPBodyDecoder(Framing framing) : m_framing(framing)
{
    if (framing == Framing::None)
        m_state = State::Done;
    else if (framing == Framing::Chunked)
        m_state = State::ChunkSizeLine;
}

HXHTTPBodyDecoder HXHTTPBodyDecoder::withContentLength(qint64 length)
{
    HXHTTPBodyDecoder decoder(length > 0 ? Framing::ContentLength : Framing::None);
    decoder.m_remaining = qMax<qint64>(length, 0);
    return decoder;
}

HXHTTPBodyDecoder HXHTTPBodyDecoder::chunked(ChunkSizeSyntax syntax)
{
    HXHTTPBodyDecoder decoder(Framing::Chunked);
    decoder.m_chunkSizeSyntax = syntax;
    return decoder;
}

HXHTTPBodyDecoder HXHTTPBodyDecoder::forRequestHead(QByteArrayView head)
{
    HXHTTPBodyDecoder body = none();
    qsizetype start = 0;
    while (start < head.size()) {
        qsizetype end = head.indexOf('\n', start);
        if (end < 0)
            end = head.size();
        const QByteArrayView line = head.sliced(start, end - start);
        start = end + 1;
        const qsizetype colon = line.indexOf(':');
        if (colon < 0)
            continue;
        const QByteArrayView name = line.first(colon).trimmed();
        const QByteArrayView value = line.sliced(colon + 1).trimmed();
        if (name.compare("Transfer-Encoding", Qt::CaseInsensitive) == 0) {
            if (value.size() >= 7 && value.last(7).compare("chunked", Qt::CaseInsensitive) == 0)
                body = chunked();
        } else if (name.compare("Content-Length", Qt::CaseInsensitive) == 0 && body.framing() != Framing::Chunked) {
            body = withContentLength(parseContentLength(value).value_or(0));
        }
    }
    return body;
}

std::optional<quint64> HXHTTPBodyDecoder::parseChunkSize(QByteArrayView line)
{
    line = beforeExtensions(line);
    qsizetype index = 0;
    while (index < line.size() && (line[index] == ' ' || line[index] == '\t'))
        ++index;
    quint64 size = 0;
    for (; index < line.size(); ++index) {
        const int digit = HXHexDigit::value(char32_t(uchar(line[index])));
        if (digit < 0)
            break;
        if (size > (quint64(1) << 58))
            return std::nullopt; // beyond any body this client can hold
        size = size * 16 + quint64(digit);
    }
    return size;
}

std::optional<quint64> HXHTTPBodyDecoder::parseStrictChunkSize(QByteArrayView line)
{
    line = beforeExtensions(line).trimmed();
    if (line.isEmpty() || line.size() > 15)
        return std::nullopt;
    quint64 size = 0;
    for (const char c : line) {
        const int digit = HXHexDigit::value(char32_t(uchar(c)));
        if (digit < 0)
            return std::nullopt;
        size = size * 16 + quint64(digit);
    }
    return size;
}

std::optional<qint64> HXHTTPBodyDecoder::parseContentLength(QByteArrayView value)
{
    std::optional<qint64> result;
    qsizetype start = 0;
    while (start <= value.size()) {
        qsizetype end = value.indexOf(',', start);
        if (end < 0)
            end = value.size();
        const QByteArrayView digits = value.sliced(start, end - start).trimmed();
        if (digits.isEmpty() || digits.size() > 18)
            return std::nullopt;
        qint64 number = 0;
        for (const char c : digits) {
            if (c < '0' || c > '9')
                return std::nullopt;
            number = number * 10 + (c - '0');
        }
        if (result && *result != number)
            return std::nullopt;
        result = number;
        start = end + 1;
    }
    return result;
}

bool HXHTTPBodyDecoder::isBodyComplete() const
{
    return m_state == State::Done || m_state == State::TrailerLine;
}

HXHTTPBodyDecoder::Result HXHTTPBodyDecoder::fail(Failure failure)
{
    m_state = State::Failed;
    m_failure = failure;
    return Result::Invalid;
}

HXHTTPBodyDecoder::Result HXHTTPBodyDecoder::finish()
{
    if (m_state == State::Failed)
        return Result::Invalid;
    if (m_state == State::Done)
        return Result::Complete;
    if (m_framing == Framing::UntilClose) {
        m_state = State::Done;
        return Result::Complete;
    }
    return fail(Failure::Truncated);
}

bool HXHTTPBodyDecoder::takeLine(QByteArrayView input, qsizetype &index)
{
    const qsizetype lineFeed = input.indexOf('\n', index);
    const qsizetype end = lineFeed >= 0 ? lineFeed + 1 : input.size();
    m_line.append(input.sliced(index, end - index));
    index = end;
    return lineFeed >= 0;
}

HXHTTPBodyDecoder::Result HXHTTPBodyDecoder::decode(QByteArrayView input, qsizetype &consumed, QByteArray *body)
{
    consumed = 0;
    qsizetype index = 0;
    auto takeBody = [&](qint64 wanted) {
        const qsizetype take = qsizetype(qMin<qint64>(wanted, input.size() - index));
        if (body != nullptr)
            body->append(input.sliced(index, take));
        index += take;
        m_bodyLength += take;
        return take;
    };
    while (true) {
        switch (m_state) {
        case State::Done:
            consumed = index;
            return Result::Complete;
        case State::Failed:
            consumed = index;
            return Result::Invalid;
        case State::Body:
            if (m_framing == Framing::UntilClose) {
                takeBody(input.size() - index);
                if (m_maximumBodyLength >= 0 && m_bodyLength > m_maximumBodyLength)
                    return fail(Failure::TooLarge);
                consumed = index;
                return Result::NeedMore;
            }
            m_remaining -= takeBody(m_remaining);
            if (m_remaining > 0) {
                consumed = index;
                return Result::NeedMore;
            }
            m_state = State::Done;
            continue;
        case State::ChunkData:
            m_remaining -= takeBody(m_remaining);
            if (m_remaining > 0) {
                consumed = index;
                return Result::NeedMore;
            }
            m_state = State::ChunkDataEnd;
            continue;
        case State::ChunkSizeLine:
        case State::ChunkDataEnd:
        case State::TrailerLine:
            if (!takeLine(input, index)) {
                consumed = index;
                if (m_line.size() > m_maximumLineLength)
                    return fail(Failure::Malformed);
                return Result::NeedMore;
            }
            if (m_line.size() > m_maximumLineLength)
                return fail(Failure::Malformed);
            if (lineCompleted() == Result::Invalid) {
                consumed = index;
                return Result::Invalid;
            }
            continue;
        }
    }
}

HXHTTPBodyDecoder::Result HXHTTPBodyDecoder::lineCompleted()
{
    const QByteArray line = std::exchange(m_line, QByteArray());
    const QByteArrayView content = withoutLineEnd(line);
    switch (m_state) {
    case State::ChunkSizeLine: {
        const std::optional<quint64> size =
            m_chunkSizeSyntax == ChunkSizeSyntax::Strict ? parseStrictChunkSize(content) : parseChunkSize(content);
        if (!size)
            return fail(Failure::Malformed);
        if (m_maximumBodyLength >= 0 && *size > quint64(m_maximumBodyLength - m_bodyLength))
            return fail(Failure::TooLarge);
        m_remaining = qint64(*size);
        m_state = *size == 0 ? State::TrailerLine : State::ChunkData;
        return Result::NeedMore;
    }
    case State::ChunkDataEnd:
        if (!content.isEmpty())
            return fail(Failure::Malformed);
        m_state = State::ChunkSizeLine;
        return Result::NeedMore;
    case State::TrailerLine:
        if (content.isEmpty()) {
            m_state = State::Done;
            return Result::Complete;
        }
        m_trailer += line;
        if (m_trailer.size() > m_maximumLineLength)
            return fail(Failure::Malformed);
        return Result::NeedMore;
    default:
        return Result::NeedMore;
    }
}
