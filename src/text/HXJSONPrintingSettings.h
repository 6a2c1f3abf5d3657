#pragma once

#include <QString>

class HXJSONPrinter;
class HXUserDefaults;

// How JSON bodies are shown: the "HXUserDefaultJSON..." settings, and how
// they configure a JSON printer.
struct HXJSONPrintingSettings
{
    bool prettyPrint = true;
    bool sortKeys = false;
    bool indentWithSpaces = true;
    int indentSize = 2; // spaces per level, 0 to maximumIndentSize
    bool escapeForwardSlashes = false;
    bool escapeUnicodeCharacters = false;

    static constexpr int maximumIndentSize = 32;

    static HXJSONPrintingSettings fromUserDefaults(const HXUserDefaults &defaults);
    static HXJSONPrintingSettings fromStandardUserDefaults();

    // The indent of one level: indentSize spaces, or a tab.
    QString indentString() const;
    // The printer's stringOptions for the two escaping settings.
    uint stringOptions() const;
    // Pretty printing: newlines, the indent and ": " between key and value;
    // otherwise no whitespace. Strings are re-escaped by the escaping settings.
    void configure(HXJSONPrinter &printer) const;
};
