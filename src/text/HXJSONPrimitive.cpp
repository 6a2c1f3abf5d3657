#include "HXJSONPrimitive.h"

#include "HXJSONString.h"
#include "HXJSONTree.h"

#include <charconv>
#include <cmath>

HXJSONPrimitive::HXJSONPrimitive(std::shared_ptr<const HXJSONTree> tree, qint32 index)
    : HXJSONItem(std::move(tree), index)
{
    const HXJSONTree &t = *this->tree();
    const HXJSONNode node = t.node(index);
    const QByteArrayView text(t.text().constData() + node.start, t.endOffset(node) - node.start);
    switch (node.kind) {
    case HXJSONNodeString: {
        const QString raw = QString::fromUtf8(text);
        if (const std::optional<QString> value = HXJSONString::unescapedJSONStringWithRange(raw, {0, raw.size()}))
            m_value = *value;
        break;
    }
    case HXJSONNodeNumber:
        m_type = Number;
        m_value = numberFromText(text);
        break;
    case HXJSONNodeTrue:
        m_type = True;
        m_value = true;
        break;
    case HXJSONNodeFalse:
        m_type = False;
        m_value = false;
        break;
    case HXJSONNodeNull:
        m_type = Null;
        m_value = QVariant::fromValue(nullptr);
        break;
    default:
        break; // an unquoted word: a string type without a value
    }
}

QVariant HXJSONPrimitive::numberFromText(QByteArrayView text)
{
    const char *begin = text.data();
    const char *end = begin + text.size();
    qlonglong integer = 0;
    auto parsed = std::from_chars(begin, end, integer);
    if (parsed.ec == std::errc() && parsed.ptr == end)
        return integer;
    double number = 0;
    auto parsedDouble = std::from_chars(begin, end, number);
    if (parsedDouble.ptr != end)
        return QVariant();
    if (parsedDouble.ec == std::errc::result_out_of_range) {
        // Too small to represent is zero; too large has no value.
        const qsizetype exponent = qMax(text.indexOf('e'), text.indexOf('E'));
        if (exponent < 0 || exponent + 1 >= text.size() || text.at(exponent + 1) != '-')
            return QVariant();
        return text.startsWith('-') ? -0.0 : 0.0;
    }
    if (parsedDouble.ec != std::errc() || !std::isfinite(number))
        return QVariant();
    return number;
}

void HXJSONPrimitive::appendJSONString(HXJSONOutput &output, const HXJSONParser &parser, int level) const
{
    print(output, parser, level);
}
