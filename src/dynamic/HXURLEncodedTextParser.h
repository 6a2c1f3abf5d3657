#pragma once

#include "HXDynamicString.h"

#include <QList>
#include <QString>

#include <functional>

// A range of characters in an editor's text (a token counts as one character).
struct HXTextRange
{
    qsizetype location = 0;
    qsizetype length = 0;

    qsizetype end() const { return location + length; }
    friend bool operator==(const HXTextRange &, const HXTextRange &) = default;
};

// Marks up a plain "a=1&b=2" text for the editor's syntax colouring and tells
// which pair a cursor range is in.
//
// Styles: 0 plain (reset), 19 key, 32 value. The ranges are one flat list:
// per pair its key range, then its value range only when the pair has "=".
// Styles alternate over that flat list, so after a pair without "=" keys and
// values swap colours; editors rely on this exact behaviour.
class HXURLEncodedTextParser
{
public:
    enum Style { StylePlain = 0, StyleKey = 19, StyleValue = 32 };

    // The block that gives the current text.
    void setStringBlock(std::function<HXDynamicString()> block) { m_stringBlock = std::move(block); }
    const std::function<HXDynamicString()> &stringBlock() const { return m_stringBlock; }

    // Parses the current text (done on demand by the two calls below).
    void parse();
    // Forgets the parsed ranges after an edit.
    void invalidateString();
    // Calls `block` with style 0 over `range`, then once per marked range.
    void applyAttributesInRange(HXTextRange range, const std::function<void(int style, HXTextRange range)> &block);
    // The pair holding `range`: its key path ("pairs.<n>", n counting pairs
    // of the flat list) and, through `objectRange`, the pair's full range.
    // An empty string when no pair holds it.
    QString keyPathForObjectAtRange(HXTextRange range, HXTextRange *objectRange);

    // The flat list of the last parse.
    const QList<HXTextRange> &ranges() const { return m_ranges; }

private:
    std::function<HXDynamicString()> m_stringBlock;
    QList<HXTextRange> m_ranges;
    bool m_parsed = false;
};
