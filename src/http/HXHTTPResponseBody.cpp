#include "HXHTTPResponseBody.h"

#include "HXHTTPRequestError.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 copyPieceLength = 1024 * 1024;

HXResult<void> writeAll(int descriptor, QByteArrayView bytes, const QString &path)
{
    const char *next = bytes.data();
    qint64 left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(descriptor, next, size_t(qMin(left, qint64(1) << 30)));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return HXHTTPRequestResponseStorageError(QStringLiteral("write"), path, errno);
        }
        next += written;
        left -= written;
    }
    return {};
}

QByteArray encoded(const QString &path)
{
    return QFile::encodeName(path);
}

} // namespace

struct HXHTTPResponseBody::File
{
    int descriptor = -1;
    // Empty while the file has no name (an O_TMPFILE file).
    QString path;
    // A named temporary file, removed with the last copy of the body.
    bool temporaryName = false;
    qint64 size = 0;

    ~File()
    {
        if (descriptor >= 0)
            ::close(descriptor);
        if (temporaryName)
            ::unlink(encoded(path).constData());
    }

    QString describedPath() const { return path.isEmpty() ? QStringLiteral("(temporary file)") : path; }
};

HXHTTPResponseBody::HXHTTPResponseBody(const HXHTTPResponseBodyStorage &storage) : m_storage(storage) {}

HXHTTPResponseBody::HXHTTPResponseBody(QByteArray bytes) : m_memory(std::move(bytes))
{
    m_storage.memoryLimit = -1;
}

HXResult<HXHTTPResponseBody> HXHTTPResponseBody::openFile(const QString &path)
{
    auto file = std::make_shared<File>();
    file->path = path;
    file->descriptor = ::open(encoded(path).constData(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (file->descriptor < 0 || ::fstat(file->descriptor, &status) != 0)
        return HXHTTPRequestResponseStorageError(QStringLiteral("open"), path, errno);
    file->size = status.st_size;
    HXHTTPResponseBody body;
    body.m_file = std::move(file);
    return body;
}

HXResult<void> HXHTTPResponseBody::append(QByteArrayView bytes)
{
    if (bytes.isEmpty())
        return {};
    if (isInFile())
        return writeToFile(bytes);
    m_memory.append(bytes);
    return memoryBufferChanged();
}

HXResult<void> HXHTTPResponseBody::expectLength(qint64 length)
{
    if (isInFile() || !m_storage.outputFile.isEmpty() || m_storage.memoryLimit < 0 ||
        m_memory.size() + length <= m_storage.memoryLimit)
        return {};
    return moveToFile();
}

HXResult<void> HXHTTPResponseBody::memoryBufferChanged()
{
    const bool overLimit = m_storage.memoryLimit >= 0 && m_memory.size() > m_storage.memoryLimit;
    if (!isInFile() && (overLimit || !m_storage.outputFile.isEmpty()))
        return moveToFile();
    return {};
}

HXResult<void> HXHTTPResponseBody::truncate(qint64 length)
{
    if (length >= size())
        return {};
    if (!isInFile()) {
        m_memory.truncate(qsizetype(length));
        return {};
    }
    if (::ftruncate(m_file->descriptor, off_t(length)) != 0)
        return HXHTTPRequestResponseStorageError(QStringLiteral("truncate"), m_file->describedPath(), errno);
    if (::lseek(m_file->descriptor, off_t(length), SEEK_SET) < 0)
        return HXHTTPRequestResponseStorageError(QStringLiteral("seek in"), m_file->describedPath(), errno);
    m_file->size = length;
    return {};
}

void HXHTTPResponseBody::clear()
{
    m_memory.clear();
    if (isInFile() && !m_storage.outputFile.isEmpty())
        (void)truncate(0); // the caller's file stays, empty
    else
        m_file.reset();
}

qint64 HXHTTPResponseBody::size() const
{
    return isInFile() ? m_file->size : m_memory.size();
}

QString HXHTTPResponseBody::fileName() const
{
    return isInFile() ? m_file->path : QString();
}

QByteArray HXHTTPResponseBody::data() const
{
    if (!isInFile())
        return m_memory;
    HXResult<QByteArray> bytes = read(0, m_file->size);
    return bytes.ok() ? std::move(bytes).value() : QByteArray();
}

HXResult<QByteArray> HXHTTPResponseBody::read(qint64 offset, qint64 length) const
{
    offset = qBound<qint64>(0, offset, size());
    length = qBound<qint64>(0, length, size() - offset);
    if (!isInFile())
        return m_memory.mid(qsizetype(offset), qsizetype(length));
    QByteArray bytes(qsizetype(length), Qt::Uninitialized);
    qint64 done = 0;
    while (done < length) {
        const ssize_t got =
            ::pread(m_file->descriptor, bytes.data() + done, size_t(length - done), off_t(offset + done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return HXHTTPRequestResponseStorageError(QStringLiteral("read"), m_file->describedPath(), errno);
        if (got == 0)
            break;
        done += got;
    }
    bytes.truncate(qsizetype(done));
    return bytes;
}

HXResult<void> HXHTTPResponseBody::writeTo(int descriptor) const
{
    for (qint64 offset = 0; offset < size(); offset += copyPieceLength) {
        if (!isInFile()) {
            HXResult<void> written = writeAll(
                descriptor, QByteArrayView(m_memory).sliced(qsizetype(offset), qMin(copyPieceLength, size() - offset)),
                QStringLiteral("(output)"));
            if (!written.ok())
                return written;
            continue;
        }
        HXResult<QByteArray> piece = read(offset, copyPieceLength);
        if (!piece.ok())
            return piece.error();
        if (HXResult<void> written = writeAll(descriptor, *piece, QStringLiteral("(output)")); !written.ok())
            return written;
    }
    return {};
}

HXResult<void> HXHTTPResponseBody::keepFileAs(const QString &path)
{
    const QByteArray target = encoded(path);
    if (isInFile() && m_file->temporaryName && ::rename(encoded(m_file->path).constData(), target.constData()) == 0) {
        m_file->temporaryName = false;
        m_file->path = path;
        return {};
    }
    if (isInFile() && m_file->path.isEmpty()) {
        // An unnamed file gets its name through the descriptor's link.
        const QByteArray link = "/proc/self/fd/" + QByteArray::number(m_file->descriptor);
        if (::linkat(AT_FDCWD, link.constData(), AT_FDCWD, target.constData(), AT_SYMLINK_FOLLOW) == 0) {
            m_file->path = path;
            return {};
        }
    }
    // Otherwise a copy, read back from there from now on.
    auto copy = std::make_shared<File>();
    copy->descriptor = ::open(target.constData(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (copy->descriptor < 0)
        return HXHTTPRequestResponseStorageError(QStringLiteral("create"), path, errno);
    copy->path = path;
    if (HXResult<void> written = writeTo(copy->descriptor); !written.ok()) {
        ::unlink(target.constData());
        return written;
    }
    copy->size = size();
    m_file = std::move(copy);
    m_memory = QByteArray();
    return {};
}

HXResult<void> HXHTTPResponseBody::moveToFile()
{
    auto file = std::make_shared<File>();
    if (!m_storage.outputFile.isEmpty()) {
        file->path = m_storage.outputFile;
        file->descriptor = ::open(encoded(file->path).constData(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (file->descriptor < 0)
            return HXHTTPRequestResponseStorageError(QStringLiteral("create"), file->path, errno);
    } else {
        const QString directory =
            m_storage.temporaryDirectory.isEmpty() ? QDir::tempPath() : m_storage.temporaryDirectory;
        QDir().mkpath(directory);
        // An unnamed file cannot outlive the process, however it ends.
        file->descriptor = ::open(encoded(directory).constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
        if (file->descriptor < 0) {
            QByteArray pattern = encoded(directory + QStringLiteral("/kea-response-XXXXXX"));
            file->descriptor = ::mkostemp(pattern.data(), O_CLOEXEC);
            if (file->descriptor < 0)
                return HXHTTPRequestResponseStorageError(QStringLiteral("create a temporary file in"), directory,
                                                         errno);
            file->path = QFile::decodeName(pattern);
            file->temporaryName = true;
        }
    }
    std::swap(m_file, file);
    HXResult<void> written = writeToFile(m_memory);
    if (!written.ok()) {
        m_file = std::move(file);
        return written;
    }
    m_memory = QByteArray();
    return {};
}

HXResult<void> HXHTTPResponseBody::writeToFile(QByteArrayView bytes)
{
    HXResult<void> written = writeAll(m_file->descriptor, bytes, m_file->describedPath());
    if (written.ok())
        m_file->size += bytes.size();
    return written;
}
