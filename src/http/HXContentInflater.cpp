#include "HXContentInflater.h"

#include <zlib.h>

#include <limits>

namespace {

constexpr qsizetype outputPieceLength = 256 * 1024;

} // namespace

struct HXContentInflater::Stream
{
    z_stream z{};
    bool initialized = false;

    ~Stream()
    {
        if (initialized)
            inflateEnd(&z);
    }
};

HXContentInflater::HXContentInflater(qint64 maximumLength)
    : m_maximumLength(maximumLength), m_stream(std::make_unique<Stream>())
{}

HXContentInflater::~HXContentInflater() = default;

HXContentInflater::Result HXContentInflater::feed(QByteArrayView input, HXHTTPResponseBody &body)
{
    if (m_failure != Result::Ok)
        return m_failure;
    if (m_ignoringRest || input.isEmpty())
        return Result::Ok;
    if (!m_started) {
        if (inflateInit2(&m_stream->z, 16 + MAX_WBITS) != Z_OK)
            return fail(Result::Damaged);
        m_stream->initialized = true;
        m_started = true;
        m_output.resize(outputPieceLength);
    }
    return inflatePiece(input, body);
}

HXContentInflater::Result HXContentInflater::inflatePiece(QByteArrayView input, HXHTTPResponseBody &body)
{
    z_stream &z = m_stream->z;
    qsizetype position = 0;
    bool outputFull = false;
    while (position < input.size() || outputFull) {
        if (m_betweenMembers) {
            while (position < input.size() && input[position] == '\0')
                ++position;
            if (position == input.size())
                return Result::Ok;
            if (inflateReset(&z) != Z_OK)
                return fail(Result::Damaged);
            m_betweenMembers = false;
        }
        const qsizetype inputLeft = input.size() - position;
        z.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(input.data() + position));
        z.avail_in = uInt(qMin<qsizetype>(inputLeft, std::numeric_limits<uInt>::max()));
        z.next_out = reinterpret_cast<Bytef *>(m_output.data());
        z.avail_out = uInt(m_output.size());
        const uInt inputBefore = z.avail_in;
        const int status = ::inflate(&z, Z_NO_FLUSH);
        position += inputBefore - z.avail_in;
        const qsizetype produced = m_output.size() - qsizetype(z.avail_out);
        outputFull = z.avail_out == 0;
        if (produced > 0) {
            if (m_maximumLength >= 0 && m_produced + produced > m_maximumLength)
                return fail(Result::LimitReached);
            if (HXResult<void> appended = body.append(QByteArrayView(m_output).first(produced)); !appended.ok()) {
                m_storageError = appended.error();
                return fail(Result::StorageFailed);
            }
            m_produced += produced;
        }
        if (status == Z_STREAM_END) {
            m_completeMembersEnd = m_produced;
            m_betweenMembers = true;
            outputFull = false;
            continue;
        }
        if (status == Z_BUF_ERROR && z.avail_in == 0)
            return Result::Ok; // the input ended inside the stream; more may follow
        if (status != Z_OK && status != Z_BUF_ERROR) {
            if (m_completeMembersEnd < 0)
                return fail(Result::Damaged);
            // Not another member: what follows the complete ones is ignored.
            m_ignoringRest = true;
            if (HXResult<void> cut = body.truncate(body.size() - (m_produced - m_completeMembersEnd)); !cut.ok()) {
                m_storageError = cut.error();
                return fail(Result::StorageFailed);
            }
            m_produced = m_completeMembersEnd;
            return Result::Ok;
        }
    }
    return Result::Ok;
}

HXContentInflater::Result HXContentInflater::finish(HXHTTPResponseBody &body)
{
    if (m_failure != Result::Ok)
        return m_failure;
    if (m_ignoringRest || m_betweenMembers)
        return Result::Ok;
    if (m_completeMembersEnd < 0)
        return fail(Result::Damaged);
    // A member cut short after complete ones is dropped.
    if (HXResult<void> cut = body.truncate(body.size() - (m_produced - m_completeMembersEnd)); !cut.ok()) {
        m_storageError = cut.error();
        return fail(Result::StorageFailed);
    }
    m_produced = m_completeMembersEnd;
    return Result::Ok;
}

HXContentInflater::Result HXContentInflater::fail(Result result)
{
    m_failure = result;
    return result;
}
