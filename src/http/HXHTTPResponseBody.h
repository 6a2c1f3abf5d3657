#pragma once

#include "HXResult.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <memory>

// Where a response body goes while it arrives: memory up to a limit, then a
// temporary file (mode 0600) in a chosen folder; or, from the first byte, a
// file the caller names (`kea-cli -o`).
struct HXHTTPResponseBodyStorage
{
    static constexpr qint64 defaultMemoryLimit = qint64(64) * 1024 * 1024;

    // Bodies longer than this move to a temporary file; negative keeps
    // every body in memory.
    qint64 memoryLimit = defaultMemoryLimit;
    // The folder of the temporary files; empty means the system's.
    QString temporaryDirectory;
    // When set, every byte is written straight to this file (created or
    // emptied, with the user's umask) and nothing is kept in memory.
    QString outputFile;

    bool operator==(const HXHTTPResponseBodyStorage &other) const = default;
};

// A response body, in memory or in a file. Copies share the bytes (like
// QByteArray); a temporary file disappears with the last copy, or at once
// when the process dies (it has no name until keepFileAs() gives it one).
// Written by one thread at a time; a finished body may be read anywhere.
//
//     HXHTTPResponseBody body(storage);
//     if (HXResult<void> written = body.append(piece); !written.ok()) ...
//     QByteArray bytes = body.data(); // reads the file, if there is one
class HXHTTPResponseBody
{
public:
    HXHTTPResponseBody() = default;
    explicit HXHTTPResponseBody(const HXHTTPResponseBodyStorage &storage);
    // A body of these bytes, in memory.
    explicit HXHTTPResponseBody(QByteArray bytes);

    // A body read from an existing file (opened now, read when asked).
    static HXResult<HXHTTPResponseBody> openFile(const QString &path);

    const HXHTTPResponseBodyStorage &storage() const { return m_storage; }

    HXResult<void> append(QByteArrayView bytes);
    // A body announced to be `length` bytes long goes to its file at once
    // when it would not stay in memory anyway.
    HXResult<void> expectLength(qint64 length);
    // The in-memory bytes, for a reader that appends in place (then calls
    // memoryBufferChanged()); null for a body that is (or goes) to a file.
    QByteArray *memoryBuffer() { return isInFile() || !m_storage.outputFile.isEmpty() ? nullptr : &m_memory; }
    HXResult<void> memoryBufferChanged();
    // Cuts the body to its first `length` bytes.
    HXResult<void> truncate(qint64 length);
    // Drops every byte (and the temporary file); the storage stays.
    void clear();

    qint64 size() const;
    bool isEmpty() const { return size() == 0; }
    bool isInFile() const { return m_file != nullptr; }
    // The file's name: the output file, a file kept with keepFileAs(), or
    // empty for an unnamed temporary file and for memory.
    QString fileName() const;

    // The whole body; for a body in a file this reads the file.
    QByteArray data() const;
    // Up to `length` bytes from `offset`.
    HXResult<QByteArray> read(qint64 offset, qint64 length) const;
    // Writes the body to `descriptor` in pieces, never the whole at once.
    HXResult<void> writeTo(int descriptor) const;
    // Gives the bytes a lasting file `path` (a link to the temporary file
    // when the file system allows, else a copy; memory is written out).
    // The body then reads from there.
    HXResult<void> keepFileAs(const QString &path);

private:
    struct File;

    HXResult<void> moveToFile();
    HXResult<void> writeToFile(QByteArrayView bytes);

    HXHTTPResponseBodyStorage m_storage;
    QByteArray m_memory;
    std::shared_ptr<File> m_file;
};
