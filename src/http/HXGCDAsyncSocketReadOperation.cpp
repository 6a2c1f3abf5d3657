#include "HXGCDAsyncSocketReadOperation.h"

#include "HXHTTPResponseHead.h"

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace {

// Bodies declared larger than this grow as they arrive instead of being
// reserved up front, so a lying Content-Length cannot exhaust memory.
constexpr qsizetype maximumReservation = qsizetype(512) * 1024 * 1024;

void moveFront(QByteArray &prebuffer, QByteArray &destination, qsizetype count)
{
    if (count <= 0)
        return;
    if (destination.isEmpty() && count == prebuffer.size() && destination.capacity() < count) {
        destination.swap(prebuffer); // nothing to keep on either side: no copy
        prebuffer.clear();
        return;
    }
    destination.append(prebuffer.constData(), count);
    prebuffer.remove(0, count);
}

// A large body buffer is touched page by page as it fills; asking for huge
// pages cuts the number of page faults by a factor of 512.
void preferHugePages(QByteArray &buffer)
{
#ifdef __linux__
    constexpr quintptr hugePage = 2 * 1024 * 1024;
    if (buffer.capacity() < qsizetype(8 * hugePage))
        return;
    const auto begin = reinterpret_cast<quintptr>(buffer.constData());
    const quintptr end = begin + quintptr(buffer.capacity());
    const quintptr alignedBegin = (begin + hugePage - 1) & ~(hugePage - 1);
    const quintptr alignedEnd = end & ~(hugePage - 1);
    if (alignedEnd > alignedBegin)
        madvise(reinterpret_cast<void *>(alignedBegin), alignedEnd - alignedBegin, MADV_HUGEPAGE);
#else
    Q_UNUSED(buffer);
#endif
}

} // namespace

HXGCDAsyncSocketReadOperation::HXGCDAsyncSocketReadOperation(QByteArray *buffer, long tag) : m_tag(tag)
{
    if (buffer == nullptr) {
        m_ownBuffer = std::make_unique<QByteArray>();
        buffer = m_ownBuffer.get();
    }
    m_buffer = buffer;
    m_initialBufferLength = buffer->size();
}

HXGCDAsyncSocketReadOperation::~HXGCDAsyncSocketReadOperation() = default;

QString HXGCDAsyncSocketReadOperation::description() const
{
    return QStringLiteral("%1 (0x%2)")
        .arg(QLatin1String(className()))
        .arg(quintptr(this), QT_POINTER_SIZE * 2, 16, QLatin1Char('0'));
}

HXGCDAsyncSocketToDataReadOperation::HXGCDAsyncSocketToDataReadOperation(const QByteArray &toData, QByteArray *buffer,
                                                                         long tag, qsizetype maxLength)
    : HXGCDAsyncSocketReadOperation(buffer, tag), m_toData(toData), m_maxLength(maxLength)
{}

qsizetype HXGCDAsyncSocketToDataReadOperation::findEnd(const QByteArray &prebuffer)
{
    // Resume where the last search stopped, backing up by the terminator so
    // that one split across two arrivals is found.
    const qsizetype from = qMax<qsizetype>(0, m_searchedUpTo - m_toData.size() + 1);
    const qsizetype index = prebuffer.indexOf(m_toData, from);
    m_searchedUpTo = prebuffer.size();
    return index < 0 ? -1 : index + m_toData.size();
}

bool HXGCDAsyncSocketToDataReadOperation::completeOperationWithPrebuffer(QByteArray &prebuffer,
                                                                         CompletionType completionType)
{
    Q_UNUSED(completionType);
    if (prebuffer.isEmpty())
        return false;
    qsizetype end = findEnd(prebuffer);
    if (end < 0 || (m_maxLength > 0 && end > m_maxLength)) {
        if (m_maxLength <= 0 || prebuffer.size() < m_maxLength)
            return false;
        end = m_maxLength;
    }
    moveFront(prebuffer, *m_buffer, end);
    m_searchedUpTo = 0;
    return true;
}

HXGCDAsyncSocketToEmptyLineReadOperation::HXGCDAsyncSocketToEmptyLineReadOperation(QByteArray *buffer, long tag,
                                                                                   qsizetype maxLength)
    : HXGCDAsyncSocketToDataReadOperation(QByteArrayLiteral("\r\n\r\n"), buffer, tag, maxLength)
{}

qsizetype HXGCDAsyncSocketToEmptyLineReadOperation::findEnd(const QByteArray &prebuffer)
{
    const qsizetype end = HXHTTPResponseHead::findHeadEnd(prebuffer, m_searchedUpTo);
    m_searchedUpTo = prebuffer.size();
    return end;
}

HXGCDAsyncSocketToLengthReadOperation::HXGCDAsyncSocketToLengthReadOperation(qsizetype toLength, QByteArray *buffer,
                                                                             long tag)
    : HXGCDAsyncSocketReadOperation(buffer, tag), m_toLength(toLength)
{
    m_buffer->reserve(m_initialBufferLength + qMin(toLength, maximumReservation));
    preferHugePages(*m_buffer);
}

bool HXGCDAsyncSocketToLengthReadOperation::completeOperationWithPrebuffer(QByteArray &prebuffer,
                                                                           CompletionType completionType)
{
    Q_UNUSED(completionType);
    const qsizetype wanted = m_toLength - bytesTaken();
    const qsizetype count = qMin(wanted, prebuffer.size());
    if (count > 0) {
        m_buffer->append(prebuffer.constData(), count);
        prebuffer.remove(0, count);
    }
    return bytesTaken() == m_toLength;
}

HXGCDAsyncSocketToEOFReadOperation::HXGCDAsyncSocketToEOFReadOperation(QByteArray *buffer, long tag)
    : HXGCDAsyncSocketReadOperation(buffer, tag)
{}

bool HXGCDAsyncSocketToEOFReadOperation::completeOperationWithPrebuffer(QByteArray &prebuffer,
                                                                        CompletionType completionType)
{
    moveFront(prebuffer, *m_buffer, prebuffer.size());
    return completionType == CompletionTypeClosed && bytesTaken() > 0;
}

HXGCDAsyncSocketAvailableReadOperation::HXGCDAsyncSocketAvailableReadOperation(QByteArray *buffer, long tag,
                                                                               qsizetype lengthHint)
    : HXGCDAsyncSocketReadOperation(buffer, tag), m_lengthHint(lengthHint)
{
    if (lengthHint > 0 && m_initialBufferLength == 0) {
        m_buffer->reserve(m_initialBufferLength + qMin(lengthHint, maximumReservation));
        preferHugePages(*m_buffer);
    }
}

bool HXGCDAsyncSocketAvailableReadOperation::completeOperationWithPrebuffer(QByteArray &prebuffer,
                                                                            CompletionType completionType)
{
    Q_UNUSED(completionType);
    moveFront(prebuffer, *m_buffer, m_lengthHint > 0 ? qMin(m_lengthHint, prebuffer.size()) : prebuffer.size());
    return bytesTaken() > 0;
}
