#include "HXShellQuoting.h"

namespace {

bool needsNoQuotes(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return false;
    for (const char c : bytes) {
        const bool safe = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                          c == '_' || c == '.' || c == '/' || c == ':' || c == ',' || c == '+' || c == '@' || c == '%';
        if (!safe)
            return false;
    }
    return true;
}

} // namespace

bool HXShellQuoting::isPrintableASCII(const QByteArray &bytes)
{
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte > 0x7E)
            return false;
    }
    return true;
}

QByteArray HXShellQuoting::quote(const QByteArray &bytes)
{
    if (needsNoQuotes(bytes))
        return bytes;
    if (isPrintableASCII(bytes)) {
        QByteArray quoted = bytes;
        quoted.replace('\'', "'\\''");
        return '\'' + quoted + '\'';
    }
    QByteArray quoted("$'");
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\\' || c == '\'') {
            quoted += '\\';
            quoted += c;
        } else if (byte >= 0x20 && byte <= 0x7E) {
            quoted += c;
        } else {
            quoted += "\\x";
            quoted += "0123456789ABCDEF"[byte >> 4];
            quoted += "0123456789ABCDEF"[byte & 0xF];
        }
    }
    return quoted + '\'';
}

QByteArray HXShellQuoting::printfFormat(const QByteArray &bytes)
{
    QByteArray format;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        // A leading "-" would be read as an option of printf.
        if (c == '-' && format.isEmpty()) {
            format += "\\055";
        } else if (c == '%') {
            format += "%%";
        } else if (c == '\\') {
            format += "\\\\";
        } else if (byte >= 0x20 && byte <= 0x7E) {
            format += c;
        } else {
            format += '\\';
            format += char('0' + ((byte >> 6) & 7));
            format += char('0' + ((byte >> 3) & 7));
            format += char('0' + (byte & 7));
        }
    }
    return quote(format);
}
