#pragma once

#include "HXDynamicString.h"
#include "HXResult.h"

class HXManagedObject;
class HXManagedObjectContext;

// A readable text form of dynamic strings, for people typing on the command
// line and reading in listings and exports. The stored form stays as it is;
// this is only a front-end spelling with one parser and one printer.
//
//   text      plain text with tokens: https://{{env host}}/users
//   token     {{KIND ARGUMENT...}}; see HXDynamicStringTextKind for the
//             kinds, e.g. {{timestamp iso8601}}, {{nonce 16}},
//             {{response "Log in" body token}}, {{hmac sha256 key="k" input="x"}}
//   argument  VALUE (fills the kind's next positional property),
//             NAME=VALUE (a stored property by name), or for form, multipart
//             and cookie rows ROWNAME=VALUE, with ! in front for a disabled row
//   value     a bare word (no blanks, quotes, =, !, braces or backslashes),
//             null (the property is unset), or "quoted text", in which \x
//             stands for x and {{...}} is a nested token, written as at the
//             top level with its own quotes: "Bearer {{header "Log in" X}}"
//   escapes   outside tokens \{{ is a literal {{ (and 2n backslashes before
//             {{ stand for n backslashes)
//
// Requests are named by their name when it is unique in the document, else by
// uuid; environment variables by name. Enumerations take names (sha256,
// iso8601, decode) or numbers. Printing gives the canonical text, which
// parses back to the same stored form.
struct HXDynamicStringTextContext
{
    // Where requests and variables named in tokens are looked up.
    HXManagedObjectContext *managedObjectContext = nullptr;
    // Relative file paths are taken from here (else the working folder).
    QString documentFolder;
};

class HXDynamicStringTextFormat
{
public:
    using Context = HXDynamicStringTextContext;

    static constexpr const char *errorDomain = "kestrelworks.Kea.DynamicStringText";
    enum class ErrorCode : qint64 {
        // The text does not follow the readable form; the description names
        // the column and what was expected there.
        Syntax = 1,
    };

    // A parse error is "column N: expected ..." (columns count from 1).
    static HXResult<HXDynamicString> parse(const QString &text, const Context &context = {});
    static HXResult<QString> archivedStringFromText(const QString &text, const Context &context = {});

    static QString stringFromDynamicString(const HXDynamicString &string, const Context &context = {});
    static QString stringFromArchivedString(const QString &archived, const Context &context = {});
    // One token, "{{...}}".
    static QString stringForDynamicValue(const HXDynamicValue &value, const Context &context = {});

    // The syntax and every kind with an example, for help texts.
    static QString syntaxHelp();
};
