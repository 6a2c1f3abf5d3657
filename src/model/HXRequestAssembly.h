#pragma once

#include "HXRequestHeaderList.h"
#include "HXStringEncoding.h"

#include <QByteArray>
#include <QUrl>

#include <optional>

// A request turned into what will be sent: the URL, the ordered header list,
// the body bytes and the text encoding in force (UTF-8 unless the
// Content-Type header names a charset). Made by
// HXRequest::evaluateWithDocument.
struct HXRequestAssembly
{
    // None when the URL text does not parse: the request cannot be sent (the
    // "Invalid URL" warning says so).
    std::optional<QUrl> URL;
    // The evaluated URL text `URL` was read from. Its path and query go on
    // the wire as written (Qt's parsing would rewrite "%7e" and "%c3").
    QString URLText;
    HXRequestHeaderList headers;
    QByteArray bodyData;
    HXStringEncoding bodyEncoding = HXStringEncoding::UTF8;
};
