#pragma once

#include "HXCodeGenerator.h"

// A Python 3 program using requests. The request is prepared on its own and
// sent through a session, so that only its own headers go out, in order
// (requests would otherwise put its default headers first). A dictionary
// holds each name once: repeated headers are joined with ", ", as HTTP
// allows, and a comment says so. requests percent-encodes "[" and "]" in
// the query, which Kea sends as they are.
class HXPythonCodeGenerator
{
public:
    static QByteArray generate(const HXCodeRequest &request, const HXCodeOptions &options);
    // A Python literal of `bytes`: '...' (a str) for printable ASCII, b'...'
    // with \xHH escapes when `asBytes` or anything else is in it.
    static QByteArray literal(const QByteArray &bytes, bool asBytes);
};
