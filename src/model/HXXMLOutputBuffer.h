#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <algorithm>
#include <cstring>
#include <string_view>

// The bytes the document writer has produced and not yet handed on. Appends
// copy straight to the end of the storage; QByteArray's own append checks for
// sharing and for overlapping sources on every call, which shows in a save of
// many small pieces.
class HXXMLOutputBuffer
{
public:
    explicit HXXMLOutputBuffer(qsizetype capacity) : m_storage(capacity, Qt::Uninitialized)
    {
        m_data = m_storage.data();
    }

    qsizetype size() const { return m_size; }
    QByteArrayView bytes() const { return QByteArrayView(m_data, m_size); }
    void clear() { m_size = 0; }
    // Drops the last `count` bytes.
    void chop(qsizetype count) { m_size -= count; }

    // Room for `count` more bytes: write them at the pointer returned, then
    // commit the end of what was written.
    char *reserve(qsizetype count)
    {
        if (m_storage.size() - m_size < count) {
            m_storage.resize(std::max(2 * m_storage.size(), m_size + count));
            m_data = m_storage.data();
        }
        return m_data + m_size;
    }
    void commit(const char *end) { m_size = end - m_data; }

    HXXMLOutputBuffer &operator+=(std::string_view text)
    {
        char *at = reserve(qsizetype(text.size()));
        std::memcpy(at, text.data(), text.size());
        m_size += qsizetype(text.size());
        return *this;
    }
    HXXMLOutputBuffer &operator+=(QByteArrayView bytes)
    {
        return *this += std::string_view(bytes.data(), size_t(bytes.size()));
    }
    HXXMLOutputBuffer &operator+=(const char *text) { return *this += std::string_view(text); }
    HXXMLOutputBuffer &operator+=(const QByteArray &bytes)
    {
        return *this += std::string_view(bytes.constData(), size_t(bytes.size()));
    }
    HXXMLOutputBuffer &operator+=(char c)
    {
        *reserve(1) = c;
        ++m_size;
        return *this;
    }

private:
    QByteArray m_storage;
    char *m_data = nullptr;
    qsizetype m_size = 0;
};
