#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringView>

#include <optional>

// The text encodings Kea can convert to and from. Each one has an IANA
// charset name (what requests, headers and dynamic values store) and is
// converted through glibc iconv.
//
// The numbers are Kea's own and are never stored: stored data names charsets
// by their IANA name. UTF-8 is the default encoding of a request; US-ASCII is
// used when headers are evaluated.
enum class HXStringEncoding : int {
    UTF8 = 0,
    ASCII,
    ISOLatin1, // ISO-8859-1
    ISOLatin2, // ISO-8859-2
    ISOLatin3,
    ISOLatin4,
    ISOLatinCyrillic, // ISO-8859-5
    ISOLatinArabic,   // ISO-8859-6
    ISOLatinGreek,    // ISO-8859-7
    ISOLatinHebrew,   // ISO-8859-8
    ISOLatin5,        // ISO-8859-9
    ISOLatin6,        // ISO-8859-10
    ISOLatinThai,     // ISO-8859-11
    ISOLatin7,        // ISO-8859-13
    ISOLatin8,        // ISO-8859-14
    ISOLatin9,        // ISO-8859-15
    ISOLatin10,       // ISO-8859-16
    WindowsCP1250,
    WindowsCP1251,
    WindowsCP1252,
    WindowsCP1253,
    WindowsCP1254,
    WindowsCP1255,
    WindowsCP1256,
    WindowsCP1257,
    WindowsCP1258,
    WindowsCP874,
    UTF16, // with a byte order mark when encoding; the mark is honoured when decoding
    UTF16BE,
    UTF16LE,
    UTF32,
    UTF32BE,
    UTF32LE,
    ShiftJIS,
    EUCJP,
    ISO2022JP,
    GB18030,
    GBK,
    GB2312, // EUC-CN
    Big5,
    EUCKR,
    KOI8R,
    KOI8U,
    MacRoman,
};

// Conversions between strings and bytes in an HXStringEncoding, and between
// encodings and their IANA names.
namespace HXStringEncodings {

// Every encoding offered to the user, in menu order (UTF-8 first).
QList<HXStringEncoding> availableEncodings();

// The IANA (preferred MIME) name, e.g. "UTF-8", "US-ASCII", "ISO-8859-1",
// "windows-1252", "Shift_JIS".
QString ianaName(HXStringEncoding encoding);

// A readable name for menus ("Western (ISO Latin 1)").
QString localizedName(HXStringEncoding encoding);

// The encoding named by an IANA name or a common alias, compared without
// regard to case ("utf8", "latin1", "cp1252", ...); nothing for an unknown
// name. An empty name is not UTF-8 here: callers that treat a missing name
// as UTF-8 say so themselves (see encodingForIANANameOrUTF8).
std::optional<HXStringEncoding> encodingForIANAName(QStringView name);

// The encoding of a stored charset name, where no name (or a name Kea does
// not know) means UTF-8.
HXStringEncoding encodingForIANANameOrUTF8(QStringView name);

// Encodes `string`. Strict: nothing when a character cannot be represented.
std::optional<QByteArray> encode(const QString &string, HXStringEncoding encoding);

// Encodes `string`, replacing every character that cannot be represented by
// "?" in the target encoding. Never fails.
QByteArray encodeLossy(const QString &string, HXStringEncoding encoding);

// Decodes `bytes`. Strict: nothing when the bytes are not valid in the
// encoding (including a truncated sequence at the end).
std::optional<QString> decode(const QByteArray &bytes, HXStringEncoding encoding);

} // namespace HXStringEncodings
