#include "HXJSONEscaping.h"

#include "HXHexDigit.h"

namespace {

// Bytes that force a string through unescaping and escaping again; anything
// else prints as written. Indexed by [escapeUnicode][escapeSlashes][byte].
struct ReescapeTable
{
    bool needed[2][2][256];
    constexpr ReescapeTable() : needed()
    {
        for (int unicode = 0; unicode < 2; ++unicode) {
            for (int slashes = 0; slashes < 2; ++slashes) {
                for (int byte = 0; byte < 256; ++byte) {
                    needed[unicode][slashes][byte] = byte < 0x20 || byte == '\\' || byte == '"' ||
                                                     (slashes && byte == '/') || (unicode && byte >= 0x80);
                }
            }
        }
    }
};
constexpr ReescapeTable kReescape;

} // namespace

bool HXJSONEscaping::needsReescaping(const unsigned char *p, const unsigned char *end, bool escapeUnicode,
                                     bool escapeSlashes)
{
    const bool *needed = kReescape.needed[escapeUnicode][escapeSlashes];
    for (; p < end; ++p) {
        if (needed[*p])
            return true;
    }
    return false;
}

bool HXJSONEscaping::reescape(const unsigned char *p, const unsigned char *end, bool escapeUnicode, bool escapeSlashes,
                              std::string &out)
{
    static const char hex[] = "0123456789abcdef";
    auto appendUnit = [&](uint unit) {
        const char escaped[] = {
            '\\', 'u', hex[(unit >> 12) & 0xF], hex[(unit >> 8) & 0xF], hex[(unit >> 4) & 0xF], hex[unit & 0xF]};
        out.append(escaped, 6);
    };
    auto appendASCII = [&](uint c) {
        switch (c) {
        case '\b':
            out += "\\b";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\r':
            out += "\\r";
            break;
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '/':
            out += escapeSlashes ? "\\/" : "/";
            break;
        default:
            out += char(c);
            break;
        }
    };
    auto appendCodePoint = [&](uint cp) { // not ASCII, not a surrogate
        if (escapeUnicode && cp >= 129) {
            if (cp >= 0x10000) {
                appendUnit(0xD800 + ((cp - 0x10000) >> 10));
                appendUnit(0xDC00 + ((cp - 0x10000) & 0x3FF));
            } else {
                appendUnit(cp);
            }
            return;
        }
        if (cp < 0x800) {
            out += char(0xC0 | (cp >> 6));
        } else if (cp < 0x10000) {
            out += char(0xE0 | (cp >> 12));
            out += char(0x80 | ((cp >> 6) & 0x3F));
        } else {
            out += char(0xF0 | (cp >> 18));
            out += char(0x80 | ((cp >> 12) & 0x3F));
            out += char(0x80 | ((cp >> 6) & 0x3F));
        }
        out += char(0x80 | (cp & 0x3F));
    };

    while (p < end) {
        const unsigned char c = *p;
        if (c == '\\') {
            if (end - p < 2)
                return false;
            switch (p[1]) {
            case '"':
            case '\\':
            case '/':
                appendASCII(p[1]);
                break;
            case 'b':
                appendASCII('\b');
                break;
            case 'f':
                appendASCII('\f');
                break;
            case 'n':
                appendASCII('\n');
                break;
            case 'r':
                appendASCII('\r');
                break;
            case 't':
                appendASCII('\t');
                break;
            case 'u': {
                if (end - p < 6)
                    return false;
                uint unit = 0;
                for (int i = 2; i < 6; ++i) {
                    const int digit = HXHexDigit::value(p[i]);
                    if (digit < 0)
                        return false;
                    unit = unit * 16 + uint(digit);
                }
                if (unit >= 0xD800 && unit <= 0xDFFF)
                    return false;
                if (unit < 0x80)
                    appendASCII(unit);
                else
                    appendCodePoint(unit);
                p += 6;
                continue;
            }
            default:
                return false;
            }
            p += 2;
            continue;
        }
        if (c < 0x80) {
            appendASCII(c);
            ++p;
            continue;
        }
        // The text is valid UTF-8.
        const int length = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2;
        if (end - p < length)
            return false;
        if (!escapeUnicode) {
            out.append(reinterpret_cast<const char *>(p), size_t(length));
        } else {
            uint cp = c & (length == 2 ? 0x1F : length == 3 ? 0x0F : 0x07);
            for (int i = 1; i < length; ++i)
                cp = (cp << 6) | (p[i] & 0x3F);
            appendCodePoint(cp);
        }
        p += length;
    }
    return true;
}

bool HXJSONEscaping::hasNonASCII(QByteArrayView bytes)
{
    for (char c : bytes) {
        if (static_cast<unsigned char>(c) >= 0x80)
            return true;
    }
    return false;
}
