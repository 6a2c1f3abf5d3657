// libFuzzer target for the JSON parser and printer: any bytes must parse,
// print under every printing setting, give their plain value and ranges that
// lie inside the text, without crashing, hanging or reading out of bounds.
// Printed with the parser's defaults, a text that Qt's strict reader accepts
// must come back as it was written, less the whitespace between tokens.

#include "HXJSONItem.h"
#include "HXJSONOutput.h"
#include "HXJSONParser.h"
#include "HXJSONPrimitive.h"
#include "HXJSONString.h"
#include "HXJSONTestText.h"

#include <QJsonDocument>
#include <QJsonParseError>

#include <cstdint>
#include <cstdlib>

namespace {

void checkItems(const std::shared_ptr<HXJSONItem> &item, qint64 textSize)
{
    const HXJSONRange range = item->range();
    if (range.location < 0 || range.length < 0 || range.end() > textSize)
        std::abort();
    (void)item->cfObject();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), qsizetype(size));
    const uint8_t flags = size > 0 ? data[0] : 0;

    auto parser = HXJSONParser::fromUtf8(text);
    const std::shared_ptr<HXJSONItem> root = parser->parseWithError();
    if (!root)
        return 0;
    const qint64 textSize = parser->string().size();
    checkItems(root, textSize);

    HXJSONOutput plain;
    if (!parser->printRoot(plain))
        std::abort();
    const QByteArray printed = plain.takeBytes();
    if (parser->isWellFormed() && QByteArrayView(text).isValidUtf8() && !text.contains('\0')) {
        QJsonParseError error;
        (void)QJsonDocument::fromJson("[" + text + "]", &error);
        // Containers nested past the depth limit print verbatim, whitespace
        // included: compare without whitespace on both sides.
        if (error.error == QJsonParseError::NoError &&
            HXJSONWithoutWhitespace(printed) != HXJSONWithoutWhitespace(text))
            std::abort();
    }

    // Re-escaped strings match the string functions.
    const auto primitive = std::dynamic_pointer_cast<HXJSONPrimitive>(root);
    if (primitive && primitive->primitiveType() == HXJSONPrimitive::String && primitive->value().isValid()) {
        const QString value = primitive->value().toString();
        const uint options = (flags & 0x33) != 0 ? (flags & 0x33) : 0x22u;
        parser->printer().setStringOptions(options);
        const QString expected = u'"' +
                                 HXJSONString::escapeJSONStringWithRange(value, {0, value.size()}, (options & 0xF) != 2,
                                                                         (options >> 4) != 2) +
                                 u'"';
        HXJSONOutput reescaped;
        (void)parser->printRoot(reescaped);
        if (reescaped.takeBytes() != expected.toUtf8())
            std::abort();
    }

    // Every other setting, chosen by the first byte.
    parser->printer().setNewlines(flags & 1);
    parser->printer().setIndentString(flags & 2 ? QStringLiteral("\t") : QString());
    parser->printer().setSortDictKeys(flags & 4);
    parser->printer().setStringOptions(flags >> 3);
    HXJSONOutput pretty;
    (void)parser->printRoot(pretty);

    const QString string = parser->string();
    if (const std::optional<QString> unescaped = HXJSONString::unescapedJSONStringWithRange(string, {1, textSize}))
        (void)HXJSONString::escapeJSONStringWithRange(*unescaped, {0, unescaped->size()}, flags & 1, flags & 2);
    return 0;
}
