#pragma once

#include <QByteArray>
#include <QString>

#include <cstring>
#include <functional>

// Where printed JSON goes: UTF-8 bytes either collected in memory, or handed
// to a writer in chunks as they fill (so printing a large document to a file
// or a pipe keeps only one chunk in memory).
class HXJSONOutput
{
public:
    using Writer = std::function<void(const char *bytes, qsizetype size)>;

    HXJSONOutput();
    explicit HXJSONOutput(Writer writer, qsizetype chunkSize = qsizetype(1) << 20);
    ~HXJSONOutput();
    HXJSONOutput(const HXJSONOutput &) = delete;
    HXJSONOutput &operator=(const HXJSONOutput &) = delete;

    void append(const char *bytes, qsizetype size)
    {
        if (size > m_capacity - m_size)
            makeRoom(size);
        if (size > 0) {
            std::memcpy(m_data + m_size, bytes, size_t(size));
            m_size += size;
        }
    }
    void append(char byte) { append(&byte, 1); }
    void append(const QByteArray &bytes) { append(bytes.constData(), bytes.size()); }
    void append(const QString &text) { append(text.toUtf8()); }

    // Passes what is buffered to the writer.
    void flush();
    // The collected bytes (in-memory output only); the output is empty after.
    QByteArray takeBytes();

private:
    void makeRoom(qsizetype size);

    Writer m_writer;
    QByteArray m_buffer;
    char *m_data = nullptr;
    qsizetype m_size = 0;
    qsizetype m_capacity = 0;
};
