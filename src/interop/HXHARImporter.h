#pragma once

#include "HXInteropCollection.h"
#include "HXResult.h"

#include <QJsonObject>

// The requests of a HAR file (versions 1.1 and 1.2), one per entry in order:
// method, URL, headers and the posted text (or its url-encoded or multipart
// parameters). HTTP/2 pseudo-headers (":authority") and Content-Length,
// which Kea works out itself, are left out and said so once; responses are
// not imported.
class HXHARImporter
{
public:
    static bool isHAR(const QJsonObject &root);
    static HXResult<HXInteropCollection> import(const QJsonObject &root);
};
