#include "HXAtomicFile.h"

#include "HXXMLStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <openssl/evp.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

// The permissions a new file gets: what the process's umask leaves of 0666.
mode_t newFileMode()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("Umask:")) {
                bool ok = false;
                const uint mask = line.mid(6).trimmed().toUInt(&ok, 8);
                if (ok)
                    return mode_t(0666 & ~mask);
            }
        }
    }
    const mode_t mask = ::umask(022);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

QString HXAtomicFile::resolvedPath(const QString &path)
{
    QString current = QFileInfo(path).absoluteFilePath();
    // As many links as the kernel follows before it gives up.
    for (int depth = 0; depth < 40; ++depth) {
        const QFileInfo info(current);
        if (!info.isSymLink())
            break;
        const QString target = info.symLinkTarget();
        if (target.isEmpty())
            break;
        current = target;
    }
    return current;
}

HXResult<HXFileStamp> HXAtomicFile::write(const QString &path, const QByteArray &bytes)
{
    return write(path, [&bytes](const std::function<void(QByteArrayView)> &sink) { sink(bytes); });
}

HXResult<HXFileStamp> HXAtomicFile::write(const QString &path, const Producer &produce, const Attributes &attributes)
{
    const QString target = resolvedPath(path);
    const QFileInfo info(target);
    const QString folder = info.absolutePath();
    QByteArray temporary = QFile::encodeName(QDir(folder).filePath(QStringLiteral(".%1.XXXXXX").arg(info.fileName())));
    auto failure = [&](const QString &step) {
        return HXXMLStore::error(HXXMLStore::WriteError,
                                 QStringLiteral("%1: cannot save the document (%2: %3); the previous version "
                                                "is unchanged")
                                     .arg(path, step, QString::fromLocal8Bit(std::strerror(errno))));
    };
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return failure(QStringLiteral("creating a temporary file"));
    ::flock(fd, LOCK_EX | LOCK_NB);
    auto abandon = [&](const QString &step) {
        const HXError error = failure(step);
        ::close(fd);
        ::unlink(temporary.constData());
        return error;
    };
    const QByteArray targetName = QFile::encodeName(target);
    struct stat existing
    {};
    if (::stat(targetName.constData(), &existing) == 0)
        ::fchmod(fd, existing.st_mode & 07777);
    else
        ::fchmod(fd, newFileMode());
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> digest(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr);
    int writeError = 0;
    produce([&](QByteArrayView bytes) {
        EVP_DigestUpdate(digest.get(), bytes.data(), size_t(bytes.size()));
        qsizetype done = 0;
        while (writeError == 0 && done < bytes.size()) {
            const ssize_t count = ::write(fd, bytes.data() + done, size_t(bytes.size() - done));
            if (count < 0 && errno != EINTR)
                writeError = errno;
            else if (count > 0)
                done += count;
        }
    });
    if (writeError != 0) {
        errno = writeError;
        return abandon(QStringLiteral("writing"));
    }
    for (const auto &[name, value] : attributes)
        ::fsetxattr(fd, name.constData(), value.constData(), size_t(value.size()), 0);
    if (::fsync(fd) != 0)
        return abandon(QStringLiteral("syncing"));
    struct stat written
    {};
    if (::fstat(fd, &written) != 0)
        return abandon(QStringLiteral("reading back the temporary file"));
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(digest.get(), hash, &length);
    if (::rename(temporary.constData(), targetName.constData()) != 0)
        return abandon(QStringLiteral("replacing the file"));
    ::close(fd);
    // Make the rename itself durable.
    const int directory = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        ::fsync(directory);
        ::close(directory);
    }
    return HXFileStamp(written, QByteArray(reinterpret_cast<const char *>(hash), int(length)));
}

int HXAtomicFile::removeStaleTemporaryFiles(const QString &path)
{
    const QFileInfo info(resolvedPath(path));
    const QDir folder = info.absoluteDir();
    const QRegularExpression temporaryName(
        QStringLiteral("^\\.%1\\.[A-Za-z0-9]{6}$").arg(QRegularExpression::escape(info.fileName())));
    int removed = 0;
    const QStringList candidates =
        folder.entryList({QStringLiteral(".%1.*").arg(info.fileName())}, QDir::Files | QDir::Hidden | QDir::System);
    for (const QString &name : candidates) {
        if (!temporaryName.match(name).hasMatch())
            continue;
        const QByteArray file = QFile::encodeName(folder.absoluteFilePath(name));
        const int fd = ::open(file.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0)
            continue;
        // A save in progress holds the lock; a killed one left it free.
        struct stat opened
        {
        }, current{};
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0 && ::fstat(fd, &opened) == 0 &&
            ::lstat(file.constData(), &current) == 0 && opened.st_ino == current.st_ino && S_ISREG(current.st_mode) &&
            ::unlink(file.constData()) == 0)
            ++removed;
        ::close(fd);
    }
    return removed;
}
