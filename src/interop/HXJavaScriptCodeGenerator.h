#pragma once

#include "HXCodeGenerator.h"

// A JavaScript program using fetch (browsers, Node 18 and later): the
// headers as a list of pairs in order, the body as a string when it is
// UTF-8 text without control characters (fetch sends strings as UTF-8),
// else as a Uint8Array of its bytes. Fetch itself refuses to set some
// headers (Host, Connection, Content-Length...) and sends headers sorted by
// name.
class HXJavaScriptCodeGenerator
{
public:
    static QByteArray generate(const HXCodeRequest &request, const HXCodeOptions &options);
    // A JavaScript string literal in double quotes.
    static QByteArray literal(const QByteArray &bytes);
};
