#pragma once

#include "HXStringEncoding.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

// String operations shared by the encoding values, the body builders and the
// signature values: percent escapes, double-quote escapes and charset names.
class HXStringAdditions
{
public:
    // Percent-encodes `string` converted to bytes in `encoding` (characters
    // the encoding cannot hold become "?"): every byte is written as "%XX"
    // with upper-case digits except ASCII letters, digits and "-", "_", ".",
    // "[", "]". With `usePlusForSpaces` every "%20" then becomes "+".
    // (The "Excape" spelling is the operation's historical name.)
    static QString stringByAddingPercentExcapeUsingEncoding(const QString &string, HXStringEncoding encoding,
                                                            bool usePlusForSpaces);
    // The same escaping over bytes that are already encoded.
    static QString stringByAddingPercentEscapesToData(const QByteArray &bytes, bool usePlusForSpaces);

    // Decodes "%XX" escapes: with `usePlusForSpaces` every "+" is first read
    // as "%20"; each run of escapes is decoded as bytes in `encoding`, other
    // characters stay as they are. When an escape is malformed or the bytes
    // are not valid in the encoding, `string` is returned unchanged.
    static QString stringByReplacingPercentEscapesUsingEncoding(const QString &string, HXStringEncoding encoding,
                                                                bool usePlusForSpaces);

    // Escapes text for use inside a double-quoted header parameter (the
    // multipart name and filename): the UTF-8 bytes are written with "\\",
    // "\a" ... "\r", "\"" escapes, printable ASCII as it is, and every other
    // byte as a backslash and three octal digits.
    static QString stringByAddingDoubleQuoteEscape(const QString &string);

    // The IANA charset names offered for charset properties, in menu order.
    static QStringList availableCharsetNames();
    // The encoding of a stored charset name; no name (or an unknown one)
    // means UTF-8.
    static HXStringEncoding encodingForCharset(const QString &charset);
    // The IANA name of an encoding.
    static QString charsetForEncoding(HXStringEncoding encoding);
};
