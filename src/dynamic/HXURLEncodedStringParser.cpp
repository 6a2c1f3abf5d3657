#include "HXURLEncodedStringParser.h"

#include "HXDynamicValueEngine.h"

#include <QRegularExpression>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

struct Pair
{
    HXDynamicString name;
    HXDynamicString value;
};

HXDynamicString dynamicStringFromVariant(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<HXDynamicString>())
        return value.value<HXDynamicString>();
    if (value.typeId() == QMetaType::QString)
        return HXDynamicString(value.toString());
    return HXDynamicString();
}

HXDynamicString toDynamic(const QVariant &value, const HXURLEncodedStringParser::Options &options)
{
    if (options.valueTransformer && options.valueTransformer->transformedValue)
        return options.valueTransformer->transformedValue(value);
    return dynamicStringFromVariant(value);
}

QVariant fromDynamic(const HXDynamicString &string, const HXURLEncodedStringParser::Options &options)
{
    if (options.valueTransformer && options.valueTransformer->reverseTransformedValue)
        return options.valueTransformer->reverseTransformedValue(string);
    return QVariant::fromValue(string);
}

QList<Pair> parsePairs(const HXDynamicString &input, const HXURLEncodedStringParser::Options &options)
{
    HXDynamicString text = input;
    if (options.withPath) {
        const qsizetype at = options.pathSeparator.isEmpty() ? -1 : text.string().indexOf(options.pathSeparator);
        if (at >= 0 && at + options.pathSeparator.size() < text.length())
            text = text.mid(at + options.pathSeparator.size());
        else
            text = HXDynamicString();
    }
    QList<Pair> pairs;
    if (text.isEmpty())
        return pairs;
    const QList<HXDynamicString> pieces = options.objectsSeparator.isEmpty()
                                              ? QList<HXDynamicString>{text}
                                              : text.componentsSeparatedByString(options.objectsSeparator);
    for (const HXDynamicString &piece : pieces) {
        HXDynamicString name;
        HXDynamicString value;
        const qsizetype at = options.valueSeparator.isEmpty() ? -1 : piece.string().indexOf(options.valueSeparator);
        if (at < 0) {
            name = piece;
        } else {
            name = piece.mid(0, at);
            value = piece.mid(at + options.valueSeparator.size());
        }
        name = name.attributedStringByReplacingPercentEscapesUsingEncoding(HXStringEncoding::UTF8,
                                                                           options.usePlusForSpaces);
        value = value.attributedStringByReplacingPercentEscapesUsingEncoding(HXStringEncoding::UTF8,
                                                                             options.usePlusForSpaces);
        if (name.isEmpty() && value.isEmpty())
            continue;
        pairs.append({name, value});
    }
    return pairs;
}

HXDynamicString writePairs(const QList<Pair> &pairs, const std::optional<HXDynamicString> &url,
                           const HXURLEncodedStringParser::Options &options)
{
    HXDynamicString result;
    if (url) {
        const qsizetype at = options.pathSeparator.isEmpty() ? -1 : url->string().indexOf(options.pathSeparator);
        const HXDynamicString front = at >= 0 ? url->mid(0, at) : *url;
        result.append(front);
        // "http://host" gets its root path so that the query follows a "/".
        const QUrl parsed(front.string(), QUrl::StrictMode);
        if (!front.isEmpty() && parsed.isValid() && parsed.path().isEmpty())
            result.append(u"/"_s);
    }
    bool first = true;
    for (const Pair &pair : pairs) {
        if (pair.name.isEmpty() && pair.value.isEmpty())
            continue;
        if (first) {
            if (url)
                result.append(options.pathSeparator);
            first = false;
        } else {
            result.append(options.objectsSeparator);
        }
        result.append(pair.name.attributedStringByAddingPercentEscapeUsingEncoding(HXStringEncoding::UTF8,
                                                                                   options.usePlusForSpaces));
        result.append(options.valueSeparator);
        result.append(pair.value.attributedStringByAddingPercentEscapeUsingEncoding(HXStringEncoding::UTF8,
                                                                                    options.usePlusForSpaces));
    }
    return result;
}

bool rowIsDisabled(const QVariantMap &row, const QString &enabledKey)
{
    if (enabledKey.isEmpty())
        return false;
    const auto it = row.constFind(enabledKey);
    return it != row.constEnd() && it->isValid() && !it->toBool();
}

} // namespace

QList<QVariantMap> HXURLEncodedStringParser::arrayForAttributesStringValue(const QVariant &value,
                                                                           const Options &options)
{
    const QList<Pair> pairs = parsePairs(toDynamic(value, options), options);
    QList<QVariantMap> rows;
    rows.reserve(pairs.size() + 1);
    for (const Pair &pair : pairs)
        rows.append({{u"name"_s, fromDynamic(pair.name, options)}, {u"value"_s, fromDynamic(pair.value, options)}});
    if (options.addEmptyRowIfNecessary)
        rows.append({{u"name"_s, fromDynamic(HXDynamicString(), options)},
                     {u"value"_s, fromDynamic(HXDynamicString(), options)}});
    return rows;
}

QVariant HXURLEncodedStringParser::attributesStringValueForArray(const QList<QVariantMap> &rows, const Options &options)
{
    QList<Pair> pairs;
    for (const QVariantMap &row : rows) {
        if (rowIsDisabled(row, options.enabledKey))
            continue;
        pairs.append({toDynamic(row.value(u"name"_s), options), toDynamic(row.value(u"value"_s), options)});
    }
    std::optional<HXDynamicString> url;
    if (options.pathFromURLValue.isValid())
        url = toDynamic(options.pathFromURLValue, options);
    return fromDynamic(writePairs(pairs, url, options), options);
}

QList<HXURLEncodedRow> HXURLEncodedStringParser::rowsForString(const HXDynamicString &string, const Options &options)
{
    QList<HXURLEncodedRow> rows;
    for (const Pair &pair : parsePairs(string, options))
        rows.append({pair.name, pair.value, true});
    if (options.addEmptyRowIfNecessary)
        rows.append(HXURLEncodedRow());
    return rows;
}

HXDynamicString HXURLEncodedStringParser::stringForRows(const QList<HXURLEncodedRow> &rows, const Options &options)
{
    QList<Pair> pairs;
    for (const HXURLEncodedRow &row : rows) {
        if (row.enabled)
            pairs.append({row.name, row.value});
    }
    std::optional<HXDynamicString> url;
    if (options.pathFromURLValue.isValid())
        url = dynamicStringFromVariant(options.pathFromURLValue);
    return writePairs(pairs, url, options);
}

HXURLEncodedValueTransformer HXURLEncodedStringParser::archivedStringTransformer()
{
    return {
        [](const QVariant &value) { return HXDynamicValueEngine::unarchiveAttributedString(value.toString()); },
        [](const HXDynamicString &string) { return QVariant(HXDynamicValueEngine::archiveAttributedString(string)); }};
}

void HXURLEncodedStringParser::applyAttributesInRange(HXTextRange range,
                                                      const std::function<void(int style, HXTextRange range)> &block)
{
    if (!m_stringBlock)
        return;
    const QString text = m_stringBlock().string();
    block(StylePlain, range);
    static const QRegularExpression expression(u"^(https?)(?:(://)(?:([^/]+)(/[^?]*)?)?)?"_s);
    const QRegularExpressionMatch match = expression.match(text);
    if (!match.hasMatch())
        return;
    auto mark = [&](int group, int style) {
        if (match.capturedStart(group) < 0)
            return;
        block(style, {match.capturedStart(group), match.capturedLength(group)});
    };
    const bool secure = match.captured(1).left(5).compare(u"https"_s, Qt::CaseInsensitive) == 0;
    mark(1, secure ? StyleSecureScheme : StyleScheme);
    mark(2, StyleSeparator);
    mark(3, StyleHost);
    mark(4, StylePath);
}
