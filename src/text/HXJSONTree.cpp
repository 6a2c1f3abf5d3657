#include "HXJSONTree.h"

namespace {
constexpr qint32 kCheckpointShift = 6; // a checkpoint every 64 bytes

// UTF-16 units that the bytes [from, to) of valid UTF-8 decode to: one per
// character, two for the four-byte sequences (surrogate pairs).
qint64 unitsIn(const unsigned char *from, const unsigned char *to)
{
    qint64 units = 0;
    for (; from < to; ++from) {
        const unsigned char byte = *from;
        units += (byte & 0xC0) != 0x80;
        units += byte >= 0xF0;
    }
    return units;
}
} // namespace

HXJSONTree::HXJSONTree(QByteArray utf8, void *nodes, qint32 count, qint32 root, bool complete, qint32 topLevelCount)
    : m_text(std::move(utf8)), m_nodes(static_cast<unsigned char *>(nodes)), m_count(count), m_root(root),
      m_complete(complete), m_topLevelCount(topLevelCount)
{}

HXJSONTree::~HXJSONTree()
{
    std::free(m_nodes);
}

void HXJSONTree::buildOffsetTable() const
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(m_text.constData());
    const qsizetype size = m_text.size();
    qsizetype i = 0;
    while (i < size && bytes[i] < 0x80)
        ++i;
    if (i == size) {
        m_ascii = true;
        return;
    }
    const qsizetype step = qsizetype(1) << kCheckpointShift;
    m_checkpoints.reserve(size_t(size / step + 1));
    qint64 units = 0;
    for (qsizetype at = 0; at < size; at += step) {
        m_checkpoints.push_back(qint32(units));
        units += unitsIn(bytes + at, bytes + qMin(size, at + step));
    }
    m_checkpoints.push_back(qint32(units));
}

qint64 HXJSONTree::utf16Offset(qint32 byteOffset) const
{
    std::call_once(m_offsetsOnce, [this] { buildOffsetTable(); });
    if (m_ascii || byteOffset <= 0)
        return qMax(byteOffset, 0);
    const qint32 clamped = qMin(byteOffset, qint32(m_text.size()));
    const size_t checkpoint = size_t(clamped) >> kCheckpointShift;
    const auto *bytes = reinterpret_cast<const unsigned char *>(m_text.constData());
    const qsizetype from = qsizetype(checkpoint) << kCheckpointShift;
    return m_checkpoints[checkpoint] + unitsIn(bytes + from, bytes + clamped);
}
