#include "HXJSONString.h"

#include "HXHexDigit.h"
#include "HXJSONParser.h"
#include "HXJSONPrintingSettings.h"

namespace {

// The part of `string` that `range` covers, clamped to the string.
QStringView clampedRange(const QString &string, HXJSONRange range)
{
    const qint64 size = string.size();
    const qint64 location = qBound<qint64>(0, range.location, size);
    const qint64 length = qBound<qint64>(0, range.length, size - location);
    return QStringView(string).mid(qsizetype(location), qsizetype(length));
}

// Reads four characters as a hexadecimal number the lenient way: leading
// spaces skipped, an optional 0x, then as many hex digits as there are.
char16_t scanHexUnit(QStringView digits)
{
    qsizetype at = 0;
    while (at < digits.size() && digits.at(at).isSpace())
        ++at;
    if (at + 1 < digits.size() && digits.at(at) == u'0' && (digits.at(at + 1) == u'x' || digits.at(at + 1) == u'X') &&
        at + 2 < digits.size() && HXHexDigit::value(digits.at(at + 2).unicode()) >= 0)
        at += 2;
    uint value = 0;
    for (; at < digits.size(); ++at) {
        const int digit = HXHexDigit::value(digits.at(at).unicode());
        if (digit < 0)
            break;
        value = value * 16 + uint(digit);
    }
    return char16_t(value);
}

} // namespace

QString HXJSONString::escapeJSONStringWithRange(const QString &string, HXJSONRange range, bool escapeUnicode,
                                                bool escapeForwardSlashes)
{
    static const char16_t hex[] = u"0123456789abcdef";
    const QStringView text = clampedRange(string, range);
    QString result;
    result.reserve(text.size() + text.size() / 8 + 2);
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        switch (u) {
        case u'\b':
            result += u"\\b";
            continue;
        case u'\t':
            result += u"\\t";
            continue;
        case u'\n':
            result += u"\\n";
            continue;
        case u'\f':
            result += u"\\f";
            continue;
        case u'\r':
            result += u"\\r";
            continue;
        case u'"':
            result += u"\\\"";
            continue;
        case u'\\':
            result += u"\\\\";
            continue;
        case u'/':
            result += escapeForwardSlashes ? QStringView(u"\\/") : QStringView(u"/");
            continue;
        default:
            break;
        }
        if (escapeUnicode && u >= 129) {
            const char16_t escaped[] = {
                u'\\', u'u', hex[(u >> 12) & 0xF], hex[(u >> 8) & 0xF], hex[(u >> 4) & 0xF], hex[u & 0xF]};
            result.append(reinterpret_cast<const QChar *>(escaped), 6);
            continue;
        }
        result += c;
    }
    return result;
}

std::optional<QString> HXJSONString::unescapedJSONStringWithRange(const QString &string, HXJSONRange range)
{
    const QStringView text = clampedRange(string, range);
    const qsizetype firstEscape = text.indexOf(u'\\');
    if (firstEscape < 0)
        return text.toString();
    QString result;
    result.reserve(text.size());
    result += text.left(firstEscape);
    for (qsizetype at = firstEscape; at < text.size(); ++at) {
        const QChar c = text.at(at);
        if (c != u'\\') {
            result += c;
            continue;
        }
        if (++at >= text.size())
            return std::nullopt;
        switch (text.at(at).unicode()) {
        case u'"':
        case u'/':
        case u'\\':
            result += text.at(at);
            break;
        case u'b':
            result += u'\b';
            break;
        case u'f':
            result += u'\f';
            break;
        case u'n':
            result += u'\n';
            break;
        case u'r':
            result += u'\r';
            break;
        case u't':
            result += u'\t';
            break;
        case u'u':
            result += QChar(scanHexUnit(text.mid(at + 1, 4)));
            at += qMin<qsizetype>(4, text.size() - at - 1);
            break;
        default:
            return std::nullopt;
        }
    }
    return result;
}

QString HXJSONString::stringByPrettyPrintingJSON(const QString &text, const HXJSONPrintingSettings &settings)
{
    return HXJSONParser::prettyPrintJSONString(text,
                                               [&](HXJSONParser &parser) { settings.configure(parser.printer()); });
}
