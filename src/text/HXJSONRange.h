#pragma once

#include <QtGlobal>

#include <limits>

// A location and a length. In the JSON item tree, text ranges count UTF-16
// units of the parsed text, and token ranges count tokens.
struct HXJSONRange
{
    qint64 location = 0;
    qint64 length = 0;

    // The length of a container's token range: containers span a variable
    // number of tokens, which the tree does not record.
    static constexpr qint64 NotFound = std::numeric_limits<qint64>::max();

    qint64 end() const { return location + length; }
    friend bool operator==(const HXJSONRange &, const HXJSONRange &) = default;
};
