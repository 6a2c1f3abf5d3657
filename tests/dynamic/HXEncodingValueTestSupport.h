#pragma once

// Helpers for the tests of the encoding, digest, file and body values: build
// stored dynamic strings from text and tokens, and evaluate values through
// the engine as a request would.

#include "HXBase64EncodingDynamicValue.h"
#include "HXDataAdditions.h"
#include "HXDynamicString.h"
#include "HXDynamicValueContext.h"
#include "HXDynamicValueEngine.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <initializer_list>
#include <variant>

namespace HXEncodingValueTest {

using Piece = std::variant<QString, HXDynamicValuePtr>;

// The stored form of a dynamic string made of text runs and tokens.
inline QString archived(std::initializer_list<Piece> pieces)
{
    HXDynamicString string;
    for (const Piece &piece : pieces) {
        if (const auto *text = std::get_if<QString>(&piece))
            string.append(*text);
        else
            string.appendDynamicValue(std::get<HXDynamicValuePtr>(piece));
    }
    return HXDynamicValueEngine::archiveAttributedString(string);
}

// A stored dynamic string that evaluates to exactly `bytes`: one Base64
// decoding token (so binary keys and messages can be written as text).
inline QString archivedBytes(const QByteArray &bytes)
{
    auto decoder = HXDynamicValue::make<HXBase64EncodingDynamicValue>();
    decoder->setMode(1);
    decoder->setInput(HXDataAdditions::base64EncodedString(bytes));
    return decoder->archivedString();
}

// Runs `work` in one evaluation pass (one context, one cache) whose current
// string encoding is `encoding`, as request assembly does.
inline void inPass(HXStringEncoding encoding, const std::function<void()> &work)
{
    auto context = std::make_shared<HXDynamicValueContext>();
    context->setCurrentStringEncoding(encoding);
    context->executeWithBlock(work);
}

// Evaluates a value the way a request does: as a token in a stored string,
// in a pass whose current encoding is `encoding`.
inline QString evaluatedString(const HXDynamicValuePtr &value, HXStringEncoding encoding = HXStringEncoding::UTF8)
{
    QString result;
    inPass(encoding, [&] { result = HXDynamicValueEngine::evaluateStringAsString(value->archivedString()); });
    return result;
}

inline QByteArray evaluatedData(const HXDynamicValuePtr &value, HXStringEncoding encoding = HXStringEncoding::UTF8)
{
    QByteArray result;
    inPass(encoding, [&] { result = HXDynamicValueEngine::evaluateStringAsData(value->archivedString()); });
    return result;
}

} // namespace HXEncodingValueTest
