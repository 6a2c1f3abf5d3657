#pragma once

#include <QString>

class HXJSONPrinter;

// How JSON bodies are shown, and how these options configure a JSON printer.
// HXJSONPrintingPreferences reads them from the settings.
struct HXJSONPrintingSettings
{
    bool prettyPrint = true;
    bool sortKeys = false;
    bool indentWithSpaces = true;
    int indentSize = 2; // spaces per level, 0 to maximumIndentSize
    bool escapeForwardSlashes = false;
    bool escapeUnicodeCharacters = false;

    static constexpr int maximumIndentSize = 32;

    // The indent of one level: indentSize spaces, or a tab.
    QString indentString() const;
    // The printer's stringOptions for the two escaping settings.
    uint stringOptions() const;
    // Pretty printing: newlines, the indent and ": " between key and value;
    // otherwise no whitespace. Strings are re-escaped by the escaping settings.
    void configure(HXJSONPrinter &printer) const;
};
