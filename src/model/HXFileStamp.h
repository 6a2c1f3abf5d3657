#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

struct stat;

// What a file was when Kea last read or wrote it: its device and inode, its
// size, its modification time and the SHA-256 of its bytes. A later save
// compares it with the file on disk to tell whether another program changed
// the file in the meantime.
class HXFileStamp
{
public:
    HXFileStamp() = default;
    // The stamp of a file with the given status holding bytes of `digest`.
    HXFileStamp(const struct stat &status, QByteArray digest);

    bool isValid() const { return m_valid; }

    // Whether the file at `path` still holds what the stamp describes. The
    // same inode, size and modification time are taken as unchanged;
    // otherwise the bytes are compared by digest. A file that no longer
    // exists has nothing to lose and counts as unchanged.
    bool matchesFile(const QString &path) const;

    static QByteArray digestOf(QByteArrayView bytes);

private:
    bool m_valid = false;
    quint64 m_device = 0;
    quint64 m_inode = 0;
    qint64 m_size = 0;
    qint64 m_modifiedSeconds = 0;
    qint64 m_modifiedNanoseconds = 0;
    QByteArray m_digest;
};
