#pragma once

#include "HXFileStamp.h"
#include "HXResult.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <functional>
#include <utility>

// Replaces a file atomically: the bytes go to a temporary file in the same
// folder, which is synced and renamed over the original, so a reader sees
// either the old file or the new one, never a part.
//
// A path that is a symbolic link writes the file the link points to and
// leaves the link alone. A replaced file keeps its permissions; a new one
// gets the permissions the user's umask allows. The temporary file is named
// ".NAME.XXXXXX" and holds an advisory lock while it is written, so that a
// later open can tell the leftovers of a killed save from a save in progress.
class HXAtomicFile
{
public:
    // Extended attributes set on the temporary file before the rename, so
    // that the new file never exists without them.
    using Attributes = QList<std::pair<QByteArray, QByteArray>>;

    using Producer = std::function<void(const std::function<void(QByteArrayView)> &sink)>;
    // Writes the bytes produced in chunks through the sink to `path`; the
    // stamp describes the file written.
    static HXResult<HXFileStamp> write(const QString &path, const Producer &produce, const Attributes &attributes = {});
    static HXResult<HXFileStamp> write(const QString &path, const QByteArray &bytes);

    // The file a save to `path` writes: `path` with symbolic links followed.
    static QString resolvedPath(const QString &path);

    // Removes the temporary files that killed saves of `path` left behind;
    // one that a running save still holds is kept. Returns how many went.
    static int removeStaleTemporaryFiles(const QString &path);
};
