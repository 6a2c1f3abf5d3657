#include "HXStringAdditions.h"

#include "HXHexDigit.h"

namespace {

bool isUnescapedByte(unsigned char byte)
{
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '_' || byte == '.' || byte == '[' || byte == ']';
}

} // namespace

QString HXStringAdditions::stringByAddingPercentExcapeUsingEncoding(const QString &string, HXStringEncoding encoding,
                                                                    bool usePlusForSpaces)
{
    return stringByAddingPercentEscapesToData(HXStringEncodings::encodeLossy(string, encoding), usePlusForSpaces);
}

QString HXStringAdditions::stringByAddingPercentEscapesToData(const QByteArray &bytes, bool usePlusForSpaces)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    QString result;
    result.reserve(bytes.size() * 3);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (isUnescapedByte(byte)) {
            result.append(QLatin1Char(c));
        } else if (byte == ' ' && usePlusForSpaces) {
            // The same as escaping to "%20" and then replacing every "%20".
            result.append(u'+');
        } else {
            result.append(u'%');
            result.append(QLatin1Char(digits[byte >> 4]));
            result.append(QLatin1Char(digits[byte & 0x0F]));
        }
    }
    return result;
}

QString HXStringAdditions::stringByReplacingPercentEscapesUsingEncoding(const QString &string,
                                                                        HXStringEncoding encoding,
                                                                        bool usePlusForSpaces)
{
    QString result;
    result.reserve(string.size());
    QByteArray run; // bytes of the escapes read since the last plain character
    const auto flushRun = [&]() -> bool {
        if (run.isEmpty())
            return true;
        const std::optional<QString> decoded = HXStringEncodings::decode(run, encoding);
        if (!decoded)
            return false;
        result.append(*decoded);
        run.clear();
        return true;
    };

    const qsizetype length = string.size();
    for (qsizetype i = 0; i < length; ++i) {
        const char16_t c = string.at(i).unicode();
        if (c == u'+' && usePlusForSpaces) {
            run.append(' ');
        } else if (c == u'%') {
            const int high = i + 2 < length ? HXHexDigit::value(string.at(i + 1).unicode()) : -1;
            const int low = high >= 0 ? HXHexDigit::value(string.at(i + 2).unicode()) : -1;
            if (low < 0)
                return string;
            run.append(static_cast<char>(high << 4 | low));
            i += 2;
        } else {
            if (!flushRun())
                return string;
            result.append(QChar(c));
        }
    }
    if (!flushRun())
        return string;
    return result;
}

QString HXStringAdditions::stringByAddingDoubleQuoteEscape(const QString &string)
{
    const QByteArray bytes = string.toUtf8();
    QString result;
    result.reserve(bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        switch (byte) {
        case '\\':
            result.append(QLatin1String("\\\\"));
            break;
        case '"':
            result.append(QLatin1String("\\\""));
            break;
        case 7:
            result.append(QLatin1String("\\a"));
            break;
        case 8:
            result.append(QLatin1String("\\b"));
            break;
        case 9:
            result.append(QLatin1String("\\t"));
            break;
        case 10:
            result.append(QLatin1String("\\n"));
            break;
        case 11:
            result.append(QLatin1String("\\v"));
            break;
        case 12:
            result.append(QLatin1String("\\f"));
            break;
        case 13:
            result.append(QLatin1String("\\r"));
            break;
        default:
            if (byte >= 0x20 && byte < 0x7F) {
                result.append(QLatin1Char(c));
            } else {
                result.append(u'\\');
                result.append(QLatin1Char(char('0' + (byte >> 6))));
                result.append(QLatin1Char(char('0' + ((byte >> 3) & 7))));
                result.append(QLatin1Char(char('0' + (byte & 7))));
            }
        }
    }
    return result;
}

QStringList HXStringAdditions::availableCharsetNames()
{
    QStringList names;
    const QList<HXStringEncoding> encodings = HXStringEncodings::availableEncodings();
    for (const HXStringEncoding encoding : encodings)
        names.append(HXStringEncodings::ianaName(encoding));
    return names;
}

HXStringEncoding HXStringAdditions::encodingForCharset(const QString &charset)
{
    return HXStringEncodings::encodingForIANANameOrUTF8(charset);
}

QString HXStringAdditions::charsetForEncoding(HXStringEncoding encoding)
{
    return HXStringEncodings::ianaName(encoding);
}
