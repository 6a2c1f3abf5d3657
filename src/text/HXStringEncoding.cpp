#include "HXStringEncoding.h"

#include <QCoreApplication>
#include <QStringDecoder>
#include <QStringEncoder>

#include <array>
#include <cerrno>
#include <iconv.h>

namespace {

struct EncodingInfo
{
    HXStringEncoding encoding;
    const char *ianaName;
    const char *iconvName;
    const char *localizedName;
    const char *aliases; // further accepted names, separated by blanks
};

// In menu order.
constexpr std::array<EncodingInfo, 44> encodingTable = {{
    {HXStringEncoding::UTF8, "UTF-8", "UTF-8", QT_TRANSLATE_NOOP("HXStringEncoding", "Unicode (UTF-8)"), "utf8"},
    {HXStringEncoding::ASCII, "US-ASCII", "ASCII", QT_TRANSLATE_NOOP("HXStringEncoding", "Western (ASCII)"),
     "ascii us iso646-us ansi_x3.4-1968 iso-ir-6 cp367 ibm367"},
    {HXStringEncoding::ISOLatin1, "ISO-8859-1", "ISO-8859-1",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Western (ISO Latin 1)"), "iso8859-1 iso_8859-1 latin1 l1 cp819 ibm819"},
    {HXStringEncoding::ISOLatin2, "ISO-8859-2", "ISO-8859-2",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Central European (ISO Latin 2)"), "iso8859-2 iso_8859-2 latin2 l2"},
    {HXStringEncoding::ISOLatin3, "ISO-8859-3", "ISO-8859-3",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Western (ISO Latin 3)"), "iso8859-3 iso_8859-3 latin3 l3"},
    {HXStringEncoding::ISOLatin4, "ISO-8859-4", "ISO-8859-4",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Central European (ISO Latin 4)"), "iso8859-4 iso_8859-4 latin4 l4"},
    {HXStringEncoding::ISOLatinCyrillic, "ISO-8859-5", "ISO-8859-5",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Cyrillic (ISO 8859-5)"), "iso8859-5 iso_8859-5 cyrillic"},
    {HXStringEncoding::ISOLatinArabic, "ISO-8859-6", "ISO-8859-6",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Arabic (ISO 8859-6)"), "iso8859-6 iso_8859-6 arabic"},
    {HXStringEncoding::ISOLatinGreek, "ISO-8859-7", "ISO-8859-7",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Greek (ISO 8859-7)"), "iso8859-7 iso_8859-7 greek"},
    {HXStringEncoding::ISOLatinHebrew, "ISO-8859-8", "ISO-8859-8",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Hebrew (ISO 8859-8)"), "iso8859-8 iso_8859-8 hebrew"},
    {HXStringEncoding::ISOLatin5, "ISO-8859-9", "ISO-8859-9",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Turkish (ISO Latin 5)"), "iso8859-9 iso_8859-9 latin5 l5"},
    {HXStringEncoding::ISOLatin6, "ISO-8859-10", "ISO-8859-10",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Nordic (ISO Latin 6)"), "iso8859-10 iso_8859-10 latin6 l6"},
    {HXStringEncoding::ISOLatinThai, "ISO-8859-11", "ISO-8859-11",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Thai (ISO 8859-11)"), "iso8859-11 iso_8859-11"},
    {HXStringEncoding::ISOLatin7, "ISO-8859-13", "ISO-8859-13",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Baltic (ISO Latin 7)"), "iso8859-13 iso_8859-13 latin7 l7"},
    {HXStringEncoding::ISOLatin8, "ISO-8859-14", "ISO-8859-14",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Celtic (ISO Latin 8)"), "iso8859-14 iso_8859-14 latin8 l8"},
    {HXStringEncoding::ISOLatin9, "ISO-8859-15", "ISO-8859-15",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Western (ISO Latin 9)"), "iso8859-15 iso_8859-15 latin9 latin-9"},
    {HXStringEncoding::ISOLatin10, "ISO-8859-16", "ISO-8859-16",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Romanian (ISO Latin 10)"), "iso8859-16 iso_8859-16 latin10 l10"},
    {HXStringEncoding::WindowsCP1250, "windows-1250", "CP1250",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Central European (Windows Latin 2)"), "cp1250"},
    {HXStringEncoding::WindowsCP1251, "windows-1251", "CP1251",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Cyrillic (Windows)"), "cp1251"},
    {HXStringEncoding::WindowsCP1252, "windows-1252", "CP1252",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Western (Windows Latin 1)"), "cp1252"},
    {HXStringEncoding::WindowsCP1253, "windows-1253", "CP1253",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Greek (Windows)"), "cp1253"},
    {HXStringEncoding::WindowsCP1254, "windows-1254", "CP1254",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Turkish (Windows Latin 5)"), "cp1254"},
    {HXStringEncoding::WindowsCP1255, "windows-1255", "CP1255",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Hebrew (Windows)"), "cp1255"},
    {HXStringEncoding::WindowsCP1256, "windows-1256", "CP1256",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Arabic (Windows)"), "cp1256"},
    {HXStringEncoding::WindowsCP1257, "windows-1257", "CP1257",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Baltic (Windows)"), "cp1257"},
    {HXStringEncoding::WindowsCP1258, "windows-1258", "CP1258",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Vietnamese (Windows)"), "cp1258"},
    {HXStringEncoding::WindowsCP874, "windows-874", "CP874", QT_TRANSLATE_NOOP("HXStringEncoding", "Thai (Windows)"),
     "cp874"},
    {HXStringEncoding::UTF16, "UTF-16", "UTF-16", QT_TRANSLATE_NOOP("HXStringEncoding", "Unicode (UTF-16)"), "utf16"},
    {HXStringEncoding::UTF16BE, "UTF-16BE", "UTF-16BE",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Unicode (UTF-16 Big-Endian)"), "utf16be"},
    {HXStringEncoding::UTF16LE, "UTF-16LE", "UTF-16LE",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Unicode (UTF-16 Little-Endian)"), "utf16le"},
    {HXStringEncoding::UTF32, "UTF-32", "UTF-32", QT_TRANSLATE_NOOP("HXStringEncoding", "Unicode (UTF-32)"), "utf32"},
    {HXStringEncoding::UTF32BE, "UTF-32BE", "UTF-32BE",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Unicode (UTF-32 Big-Endian)"), "utf32be"},
    {HXStringEncoding::UTF32LE, "UTF-32LE", "UTF-32LE",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Unicode (UTF-32 Little-Endian)"), "utf32le"},
    {HXStringEncoding::ShiftJIS, "Shift_JIS", "SHIFT_JIS",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Japanese (Shift JIS)"), "shift-jis sjis ms_kanji csshiftjis"},
    {HXStringEncoding::EUCJP, "EUC-JP", "EUC-JP", QT_TRANSLATE_NOOP("HXStringEncoding", "Japanese (EUC)"), "eucjp"},
    {HXStringEncoding::ISO2022JP, "ISO-2022-JP", "ISO-2022-JP",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Japanese (ISO 2022-JP)"), "csiso2022jp"},
    {HXStringEncoding::GB18030, "GB18030", "GB18030", QT_TRANSLATE_NOOP("HXStringEncoding", "Chinese (GB 18030)"),
     "gb-18030"},
    {HXStringEncoding::GBK, "GBK", "GBK", QT_TRANSLATE_NOOP("HXStringEncoding", "Simplified Chinese (GBK)"),
     "cp936 ms936 windows-936"},
    {HXStringEncoding::GB2312, "GB2312", "EUC-CN",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Simplified Chinese (GB 2312)"), "euc-cn euccn csgb2312"},
    {HXStringEncoding::Big5, "Big5", "BIG5", QT_TRANSLATE_NOOP("HXStringEncoding", "Traditional Chinese (Big 5)"),
     "big-5 csbig5 cn-big5"},
    {HXStringEncoding::EUCKR, "EUC-KR", "EUC-KR", QT_TRANSLATE_NOOP("HXStringEncoding", "Korean (EUC)"),
     "euckr cseuckr"},
    {HXStringEncoding::KOI8R, "KOI8-R", "KOI8-R", QT_TRANSLATE_NOOP("HXStringEncoding", "Cyrillic (KOI8-R)"),
     "koi8r cskoi8r"},
    {HXStringEncoding::KOI8U, "KOI8-U", "KOI8-U", QT_TRANSLATE_NOOP("HXStringEncoding", "Ukrainian (KOI8-U)"), "koi8u"},
    {HXStringEncoding::MacRoman, "macintosh", "MACINTOSH",
     QT_TRANSLATE_NOOP("HXStringEncoding", "Western (Mac OS Roman)"), "mac macroman x-mac-roman csmacintosh"},
}};

const EncodingInfo &infoFor(HXStringEncoding encoding)
{
    for (const EncodingInfo &info : encodingTable) {
        if (info.encoding == encoding)
            return info;
    }
    return encodingTable[0];
}

// An iconv conversion descriptor, closed on scope exit.
class IconvHandle
{
public:
    IconvHandle(const char *to, const char *from) : m_cd(iconv_open(to, from)) {}
    ~IconvHandle()
    {
        if (valid())
            iconv_close(m_cd);
    }
    IconvHandle(const IconvHandle &) = delete;
    IconvHandle &operator=(const IconvHandle &) = delete;
    bool valid() const { return m_cd != reinterpret_cast<iconv_t>(-1); }
    iconv_t get() const { return m_cd; }

private:
    iconv_t m_cd;
};

// Appends to `out` whatever iconv produces for the remaining input;
// returns false on a conversion error and leaves errno set.
bool convertChunk(iconv_t cd, char *&in, size_t &inLeft, QByteArray &out)
{
    char buffer[4096];
    while (true) {
        char *outPtr = buffer;
        size_t outLeft = sizeof buffer;
        const size_t rc = iconv(cd, in ? &in : nullptr, in ? &inLeft : nullptr, &outPtr, &outLeft);
        out.append(buffer, qsizetype(sizeof buffer - outLeft));
        if (rc != size_t(-1))
            return true;
        if (errno == E2BIG)
            continue;
        return false;
    }
}

// Length of the UTF-8 sequence that starts with `lead` (1 for a stray byte).
int utf8SequenceLength(unsigned char lead)
{
    if (lead >= 0xF0)
        return 4;
    if (lead >= 0xE0)
        return 3;
    if (lead >= 0xC0)
        return 2;
    return 1;
}

std::optional<QByteArray> encodeThroughIconv(const QString &string, HXStringEncoding encoding, bool lossy)
{
    // The text goes to iconv as UTF-8. Lone surrogates cannot be encoded in
    // any encoding: strict conversion fails on them, lossy conversion turns
    // them into "?" here already.
    QStringEncoder utf8(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    QByteArray source = utf8.encode(string);
    if (utf8.hasError()) {
        if (!lossy)
            return std::nullopt;
        source.clear();
        for (qsizetype i = 0; i < string.size(); ++i) {
            const QChar c = string.at(i);
            if (c.isHighSurrogate() && i + 1 < string.size() && string.at(i + 1).isLowSurrogate()) {
                source.append(QStringView(string).mid(i, 2).toUtf8());
                ++i;
            } else if (c.isSurrogate()) {
                source.append('?');
            } else {
                source.append(QStringView(&c, 1).toUtf8());
            }
        }
    }
    if (encoding == HXStringEncoding::UTF8)
        return source;

    IconvHandle cd(infoFor(encoding).iconvName, "UTF-8");
    if (!cd.valid())
        return std::nullopt;

    QByteArray out;
    out.reserve(source.size());
    char *in = source.data();
    size_t inLeft = size_t(source.size());
    while (inLeft > 0) {
        if (convertChunk(cd.get(), in, inLeft, out))
            break;
        if (!lossy || errno != EILSEQ)
            return std::nullopt;
        // Skip the character the target cannot hold and write "?" in its place,
        // after returning a stateful encoding to its initial state.
        const size_t skip = std::min<size_t>(inLeft, size_t(utf8SequenceLength(static_cast<unsigned char>(*in))));
        in += skip;
        inLeft -= skip;
        char *resetIn = nullptr;
        size_t resetLeft = 0;
        convertChunk(cd.get(), resetIn, resetLeft, out);
        char question[] = "?";
        char *qIn = question;
        size_t qLeft = 1;
        convertChunk(cd.get(), qIn, qLeft, out);
    }
    char *flushIn = nullptr;
    size_t flushLeft = 0;
    if (!convertChunk(cd.get(), flushIn, flushLeft, out))
        return std::nullopt;
    return out;
}

} // namespace

namespace HXStringEncodings {

QList<HXStringEncoding> availableEncodings()
{
    QList<HXStringEncoding> result;
    result.reserve(qsizetype(encodingTable.size()));
    for (const EncodingInfo &info : encodingTable)
        result.append(info.encoding);
    return result;
}

QString ianaName(HXStringEncoding encoding)
{
    return QString::fromLatin1(infoFor(encoding).ianaName);
}

QString localizedName(HXStringEncoding encoding)
{
    return QCoreApplication::translate("HXStringEncoding", infoFor(encoding).localizedName);
}

std::optional<HXStringEncoding> encodingForIANAName(QStringView name)
{
    const QString wanted = name.trimmed().toString().toLower();
    if (wanted.isEmpty())
        return std::nullopt;
    for (const EncodingInfo &info : encodingTable) {
        if (wanted == QString::fromLatin1(info.ianaName).toLower() ||
            wanted == QString::fromLatin1(info.iconvName).toLower())
            return info.encoding;
        const QStringList aliases = QString::fromLatin1(info.aliases).split(u' ', Qt::SkipEmptyParts);
        if (aliases.contains(wanted))
            return info.encoding;
    }
    return std::nullopt;
}

HXStringEncoding encodingForIANANameOrUTF8(QStringView name)
{
    return encodingForIANAName(name).value_or(HXStringEncoding::UTF8);
}

std::optional<QByteArray> encode(const QString &string, HXStringEncoding encoding)
{
    return encodeThroughIconv(string, encoding, false);
}

QByteArray encodeLossy(const QString &string, HXStringEncoding encoding)
{
    return encodeThroughIconv(string, encoding, true).value_or(QByteArray());
}

std::optional<QString> decode(const QByteArray &bytes, HXStringEncoding encoding)
{
    if (bytes.isEmpty())
        return QStringLiteral("");
    if (encoding == HXStringEncoding::UTF8) {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        QString result = decoder.decode(bytes);
        if (decoder.hasError())
            return std::nullopt;
        return result;
    }
    IconvHandle cd("UTF-8", infoFor(encoding).iconvName);
    if (!cd.valid())
        return std::nullopt;
    QByteArray copy = bytes;
    char *in = copy.data();
    size_t inLeft = size_t(copy.size());
    QByteArray out;
    out.reserve(copy.size() * 2);
    if (!convertChunk(cd.get(), in, inLeft, out) || inLeft != 0)
        return std::nullopt;
    // Encodings with combining sequences (windows-1258) hold the last
    // character back until the end of the input is announced.
    char *flushIn = nullptr;
    size_t flushLeft = 0;
    if (!convertChunk(cd.get(), flushIn, flushLeft, out))
        return std::nullopt;
    return QString::fromUtf8(out);
}

} // namespace HXStringEncodings
