#pragma once

#include "HXDynamicString.h"
#include "HXURLEncodedTextParser.h"

#include <QList>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <functional>
#include <optional>

// Converts between the caller's stored form of a text and the in-memory
// dynamic string: transformedValue turns the stored form into a dynamic
// string, reverseTransformedValue turns a dynamic string back.
struct HXURLEncodedValueTransformer
{
    std::function<HXDynamicString(const QVariant &)> transformedValue;
    std::function<QVariant(const HXDynamicString &)> reverseTransformedValue;
};

// One row of a key/value table in the typed interface.
struct HXURLEncodedRow
{
    HXDynamicString name;
    HXDynamicString value;
    bool enabled = true;
};

// Two-way conversion between a URL-encoded text ("a=1&b=2", or a whole URL
// with its query) and a list of key/value rows, with tokens kept intact (a
// token counts as one character and is never decoded or encoded); and the
// syntax colouring of URLs in the editor.
class HXURLEncodedStringParser
{
public:
    struct Options
    {
        // Converts the caller's values (the text, row names and values, the
        // URL value) to dynamic strings and back. Without one, values are
        // QVariants holding an HXDynamicString (a QString is read as plain
        // text), and results are HXDynamicString QVariants.
        std::optional<HXURLEncodedValueTransformer> valueTransformer;
        // Text to rows: the text is a whole URL; only what follows the first
        // path separator is parsed.
        bool withPath = false;
        // Rows to text: the current URL whose part before the path separator
        // is kept in front of the query. Invalid QVariant: none.
        QVariant pathFromURLValue;
        // Text to rows: append one blank row.
        bool addEmptyRowIfNecessary = false;
        // "+" stands for a space (decoding), a space is written as "+" (encoding).
        bool usePlusForSpaces = false;
        QString pathSeparator = QStringLiteral("?");
        QString objectsSeparator = QStringLiteral("&");
        QString valueSeparator = QStringLiteral("=");
        // Rows to text: the row key whose false value excludes the row.
        QString enabledKey;
    };

    // Text to rows ({"name", "value"} maps).
    static QList<QVariantMap> arrayForAttributesStringValue(const QVariant &value, const Options &options);
    // Rows to text.
    static QVariant attributesStringValueForArray(const QList<QVariantMap> &rows, const Options &options);

    // The same over typed rows and dynamic strings (the transformer and
    // enabledKey options are not used; a row's `enabled` flag excludes it).
    static QList<HXURLEncodedRow> rowsForString(const HXDynamicString &string, const Options &options);
    static HXDynamicString stringForRows(const QList<HXURLEncodedRow> &rows, const Options &options);

    // A transformer between archived dynamic strings (QString, the stored
    // form of the model) and dynamic strings.
    static HXURLEncodedValueTransformer archivedStringTransformer();

    // ---- syntax colouring of a URL ----------------------------------------
    enum Style {
        StylePlain = 0,
        StyleScheme = 16,
        StyleSeparator = 32,
        StyleHost = 48,
        StylePath = 67,
        StyleSecureScheme = 272
    };

    void setStringBlock(std::function<HXDynamicString()> block) { m_stringBlock = std::move(block); }
    const std::function<HXDynamicString()> &stringBlock() const { return m_stringBlock; }
    // Nothing to do: colouring works on the current text directly.
    void parse() {}
    void invalidateString() {}
    // When the block gives a text: style 0 over `range`, then the scheme
    // (272 for https, else 16), "://" (32), host (48) and path (67).
    void applyAttributesInRange(HXTextRange range, const std::function<void(int style, HXTextRange range)> &block);

private:
    std::function<HXDynamicString()> m_stringBlock;
};
