#pragma once

#include "HXDynamicResult.h"
#include "HXDynamicString.h"
#include "HXDynamicValue.h"
#include "HXStringEncoding.h"

#include <QByteArray>
#include <QString>

#include <functional>

// Turns dynamic strings into strings or bytes, evaluates single values, and
// converts dynamic strings to and from their stored (archived) form. Class
// operations only; evaluation happens in the current HXDynamicValueContext
// (a short-lived one from the default factory when none is current).
//
// The archived form of a dynamic string is one plain string: "" when empty;
// the text itself when it is one run of text without any of [ ] { } ";
// otherwise a compact JSON array of text runs and token objects
// {"data":"<upper-case hex of the keyed archive>","name":"kestrelworks.Kea.DynamicValue"}.
class HXDynamicValueEngine
{
public:
    // Evaluates one value (cached per context by uniqueIdentifier, guarded
    // against recursion) and converts the result: a string asked as bytes is
    // encoded lossily; bytes asked as a string are decoded strictly (nothing
    // when invalid). Null in, nothing out.
    static HXDynamicResult evaluateDynamicValue(const HXDynamicValuePtr &value, HXDynamicResultClass asClass,
                                                HXStringEncoding stringEncoding);

    // Text runs as they are, each token's string result (nothing for a value
    // that yields nothing or an attachment without a value).
    static QString evaluateAttributedStringAsString(const HXDynamicString &string, HXStringEncoding stringEncoding);
    // Text runs encoded lossily, each token's bytes.
    static QByteArray evaluateAttributedStringAsData(const HXDynamicString &string, HXStringEncoding stringEncoding);
    // The same for an archived dynamic string.
    static QString evaluateStringAsString(const QString &archived, HXStringEncoding stringEncoding);
    static QByteArray evaluateStringAsData(const QString &archived, HXStringEncoding stringEncoding);
    // The same with the current context's encoding (UTF-8 without a context).
    static QString evaluateAttributedStringAsString(const HXDynamicString &string);
    static QByteArray evaluateAttributedStringAsData(const HXDynamicString &string);
    static QString evaluateStringAsString(const QString &archived);
    static QByteArray evaluateStringAsData(const QString &archived);

    // The text with each token's displayString in place; never evaluates.
    static QString displayStringFromAttributedString(const HXDynamicString &string);
    static QString displayStringFromString(const QString &archived);

    // The archived form, and reading it back (never fails: text that is not
    // the JSON form is plain text).
    static QString archiveAttributedString(const HXDynamicString &string);
    static HXDynamicString unarchiveAttributedString(const QString &archived);
    // Shared closures calling the two above (for value transformers).
    static const std::function<QString(const HXDynamicString &)> &archivingBlock();
    static const std::function<HXDynamicString(const QString &)> &unarchivingBlock();

    // Upper-case hexadecimal, two digits per byte, and its lenient reading:
    // pairs of characters, a non-hex character reads as all ones (0xF) for
    // its nibble; an odd number of digits gives nothing.
    static QString hexString(const QByteArray &bytes);
    static std::optional<QByteArray> dataFromHexString(QStringView hex);
};
