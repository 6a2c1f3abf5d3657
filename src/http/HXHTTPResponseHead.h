#pragma once

#include "HXHTTPHeaderDictionary.h"

#include <QByteArrayView>
#include <QString>

// Kea's parser of an HTTP/1.x response head: the status line, the header
// fields, and the empty line that ends them. Lines may end with CR LF or a
// bare LF; folded continuation lines are joined with a space.
struct HXHTTPResponseHead
{
    enum class Status { Complete, Incomplete, Invalid };

    // A head longer than this is refused.
    static constexpr qsizetype maximumLength = 1024 * 1024;

    Status status = Status::Incomplete;
    qsizetype length = 0; // bytes of the head, empty line included (when complete)
    int majorVersion = 1;
    int minorVersion = 1;
    qint64 statusCode = 0;
    QString statusLine;   // without its line end
    QString reasonPhrase; // may be empty
    HXHTTPHeaderDictionary headerFields;

    bool isComplete() const { return status == Status::Complete; }

    // Parses the head at the start of `bytes` (bytes after it are ignored).
    static HXHTTPResponseHead parse(QByteArrayView bytes);

    // The offset just past the empty line that ends a head in `bytes`,
    // searching from `from` on (a resume point: earlier bytes hold no end), or
    // -1 when there is none yet.
    static qsizetype findHeadEnd(QByteArrayView bytes, qsizetype from = 0);
};
