#pragma once

#include "HXJSONRange.h"

#include <QString>

#include <optional>

struct HXJSONPrintingSettings;

// The string functions of the JSON printer.
class HXJSONString
{
public:
    // Escapes the range of `string` for the inside of a JSON string:
    // backspace, tab, newline, form feed and carriage return become \b \t \n
    // \f \r; a quote and a backslash get a backslash; a forward slash gets
    // one only with `escapeForwardSlashes`; with `escapeUnicode` every UTF-16
    // unit of 129 or more becomes \u followed by four lower-case hex digits
    // (the unit 128 stays as it is). Other control characters are copied.
    static QString escapeJSONStringWithRange(const QString &string, HXJSONRange range, bool escapeUnicode,
                                             bool escapeForwardSlashes);
    // Resolves the escapes in the range of `string`: \" \/ \\ \b \f \n \r \t,
    // and \u with the next four characters read as a hexadecimal UTF-16 unit
    // (leniently: the leading hex digits among them). Any other escape, or a
    // backslash at the end, gives none.
    static std::optional<QString> unescapedJSONStringWithRange(const QString &string, HXJSONRange range);

    // JSON text pretty-printed with the given settings; a null string when
    // the text holds no JSON value.
    static QString stringByPrettyPrintingJSON(const QString &text, const HXJSONPrintingSettings &settings);
};
