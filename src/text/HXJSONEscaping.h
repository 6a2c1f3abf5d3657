#pragma once

#include <QByteArrayView>

#include <string>

// Escaping of JSON string tokens on their UTF-8 bytes, for printing: which
// strings print as written and which are unescaped and escaped again.
class HXJSONEscaping
{
public:
    // Whether the content of a string token (`p` to `end`, without quotes)
    // holds a byte that escaping with these options would change.
    static bool needsReescaping(const unsigned char *p, const unsigned char *end, bool escapeUnicode,
                                bool escapeSlashes);

    // Unescapes a string token's content and escapes it again, as
    // HXJSONString::unescapedJSONStringWithRange and escapeJSONStringWithRange
    // would, but on the UTF-8 bytes. False for the rare strings it leaves to
    // those functions: escaped surrogates (which pair up, or not, in UTF-16)
    // and anything the tokenizer would not have let through.
    static bool reescape(const unsigned char *p, const unsigned char *end, bool escapeUnicode, bool escapeSlashes,
                         std::string &out);

    static bool hasNonASCII(QByteArrayView bytes);
};
