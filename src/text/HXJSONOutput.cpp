#include "HXJSONOutput.h"

HXJSONOutput::HXJSONOutput() = default;

HXJSONOutput::HXJSONOutput(Writer writer, qsizetype chunkSize) : m_writer(std::move(writer))
{
    m_capacity = qMax<qsizetype>(chunkSize, 64);
    m_buffer.resize(m_capacity);
    m_data = m_buffer.data();
}

HXJSONOutput::~HXJSONOutput()
{
    flush();
}

void HXJSONOutput::flush()
{
    if (m_writer && m_size > 0)
        m_writer(m_buffer.constData(), m_size);
    if (m_writer)
        m_size = 0;
}

QByteArray HXJSONOutput::takeBytes()
{
    m_buffer.resize(m_size);
    QByteArray result = std::move(m_buffer);
    m_buffer = QByteArray();
    m_size = 0;
    m_capacity = 0;
    m_data = nullptr;
    return result;
}

void HXJSONOutput::makeRoom(qsizetype size)
{
    if (m_writer) {
        flush();
        if (size <= m_capacity)
            return;
        // A single piece larger than a chunk: hand it over in the next
        // append's place by growing the chunk once.
    }
    qsizetype capacity = qMax<qsizetype>(m_capacity, 256);
    while (capacity - m_size < size)
        capacity *= 2;
    m_buffer.resize(capacity);
    m_data = m_buffer.data();
    m_capacity = capacity;
}
