#include "HXFileStamp.h"

#include <QFile>

#include <openssl/evp.h>

#include <cerrno>
#include <sys/stat.h>

HXFileStamp::HXFileStamp(const struct stat &status, QByteArray digest)
    : m_valid(true), m_device(status.st_dev), m_inode(status.st_ino), m_size(status.st_size),
      m_modifiedSeconds(status.st_mtim.tv_sec), m_modifiedNanoseconds(status.st_mtim.tv_nsec),
      m_digest(std::move(digest))
{}

QByteArray HXFileStamp::digestOf(QByteArrayView bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), size_t(bytes.size()), digest, &length, EVP_sha256(), nullptr);
    return QByteArray(reinterpret_cast<const char *>(digest), int(length));
}

bool HXFileStamp::matchesFile(const QString &path) const
{
    if (!m_valid)
        return true;
    struct stat status
    {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return errno == ENOENT;
    if (status.st_size != m_size)
        return false;
    if (status.st_dev == m_device && status.st_ino == m_inode && status.st_mtim.tv_sec == m_modifiedSeconds &&
        status.st_mtim.tv_nsec == m_modifiedNanoseconds)
        return true;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    return file.error() == QFileDevice::NoError && digestOf(bytes) == m_digest;
}
