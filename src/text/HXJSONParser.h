#pragma once

#include "HXError.h"
#include "HXJSONItem.h"
#include "HXJSONPrinter.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

class HXJSONOutput;
class HXJSONTree;

// Turns JSON text into a tree of items (HXJSONArray, HXJSONDict,
// HXJSONPrimitive, HXJSONDictKey) that remember where in the text they came
// from. The tree prints back through the parser's printer.
//
// The text is tokenized by jsmn, which is lenient: unquoted words are
// primitives and separators are not checked. A malformed text gives the tree
// of its well-formed prefix rather than an error.
//
// Containers nested deeper than maximumNestingDepth levels are not tokenized:
// each becomes one item that prints its text verbatim (an HXJSONPrimitive of
// type string without a value). This bounds the tree's depth, so building,
// printing and plain values never run deep, and it keeps the tokenizer linear
// (its search for the container a closing bracket ends walks up through the
// levels). Printing does not recurse at all.
class HXJSONParser
{
public:
    // The parser of a text. A null string is a missing text: parsing it
    // throws std::invalid_argument("string cannot be nil").
    explicit HXJSONParser(const QString &string);
    // The same from UTF-8 bytes (invalid sequences are replaced as
    // QString::fromUtf8 replaces them). Avoids a UTF-16 copy of large texts.
    static std::unique_ptr<HXJSONParser> fromUtf8(QByteArray utf8);
    ~HXJSONParser();
    HXJSONParser(const HXJSONParser &) = delete;
    HXJSONParser &operator=(const HXJSONParser &) = delete;

    static constexpr int maximumNestingDepth = 64;
    // Texts longer than this (the tokenizer's offsets are 32-bit) give no tree.
    static constexpr qsizetype maximumTextSize = 0x7ffffff0;

    QString string() const;

    // The printing options, kept by the printer (see HXJSONPrinter).
    const HXJSONPrinter &printer() const { return m_printer; }
    QString printingIndentString() const { return m_printer.indentString(); }
    void setPrintingIndentString(const QString &indent) { m_printer.setIndentString(indent); }
    bool printingNewlines() const { return m_printer.newlines(); }
    void setPrintingNewlines(bool newlines) { m_printer.setNewlines(newlines); }
    uint printingStringOptions() const { return m_printer.stringOptions(); }
    void setPrintingStringOptions(uint options) { m_printer.setStringOptions(options); }
    QString printingKeyValueSeparator() const { return m_printer.keyValueSeparator(); }
    void setPrintingKeyValueSeparator(const QString &separator) { m_printer.setKeyValueSeparator(separator); }
    QString printingObjectSeparator() const { return m_printer.objectSeparator(); }
    void setPrintingObjectSeparator(const QString &separator) { m_printer.setObjectSeparator(separator); }
    bool printingSortDictKeys() const { return m_printer.sortDictKeys(); }
    void setPrintingSortDictKeys(bool sort) { m_printer.setSortDictKeys(sort); }

    // Tokenizes the text and builds the tree; the root item, or none when the
    // text holds no item. Tokenizer errors are not reported: `error`, when
    // given, is cleared.
    std::shared_ptr<HXJSONItem> parseWithError(HXError *error = nullptr);
    // The root of the last parse.
    std::shared_ptr<HXJSONItem> root() const { return m_root; }
    // After parsing: the tokenizer read the whole text without an error and
    // found exactly one top-level value.
    bool isWellFormed() const;

    struct ParseResult
    {
        std::shared_ptr<HXJSONParser> parser;
        std::shared_ptr<HXJSONItem> root;
    };
    static ParseResult parseJSONString(const QString &string, HXError *error = nullptr);

    // Makes a parser for the text, lets `configureParser` set its printing
    // settings, parses and prints the root at level 0. A null string when
    // parsing gave no root.
    static QString prettyPrintJSONString(const QString &string,
                                         const std::function<void(HXJSONParser &)> &configureParser,
                                         HXError *error = nullptr);

    // The text of one item as printed with this parser's settings.
    QString stringForItem(const HXJSONItem &item) const;
    QString jsonStringForItem(const HXJSONItem &item, int level) const;

    // Parses (if not done yet) and prints the root at level 0 into `output`;
    // false when there is no root.
    bool printRoot(HXJSONOutput &output);

    // The printer behind every item's appendJSONString: node `index` of
    // `tree` at nesting `level`, without recursion.
    void printNode(HXJSONOutput &output, const HXJSONTree &tree, qint32 index, int level) const;

private:
    HXJSONParser() = default;

    bool m_hasText = false;
    QString m_string;  // the text as given, when given as UTF-16
    QByteArray m_utf8; // the text as UTF-8, until the tree takes it
    std::shared_ptr<const HXJSONTree> m_tree;
    std::shared_ptr<HXJSONItem> m_root;

    HXJSONPrinter m_printer;
};
