#include "HXJSONItem.h"

#include "HXJSONArray.h"
#include "HXJSONDict.h"
#include "HXJSONDictKey.h"
#include "HXJSONOutput.h"
#include "HXJSONParser.h"
#include "HXJSONPrimitive.h"
#include "HXJSONTree.h"

#include <QVariantList>
#include <QVariantMap>

#include <stdexcept>

namespace {

// The tree is at most HXJSONParser::maximumNestingDepth levels deep, which
// bounds the recursion; the depth check is a second line of defence.
QVariant nodeValue(const std::shared_ptr<const HXJSONTree> &tree, qint32 index, int depth = 0)
{
    if (depth > 4 * HXJSONParser::maximumNestingDepth)
        return QVariant();
    const HXJSONNode node = tree->node(index);
    switch (node.kind) {
    case HXJSONNodeArray: {
        QVariantList list;
        for (qint32 child = tree->firstChild(index); child >= 0; child = tree->node(child).next)
            list.append(nodeValue(tree, child, depth + 1));
        return list;
    }
    case HXJSONNodeDict: {
        QVariantMap map;
        for (qint32 key = tree->firstChild(index); key >= 0;) {
            const qint32 value = tree->node(key).next;
            if (value < 0)
                break; // a key without a value
            map.insert(nodeValue(tree, key, depth + 1).toString(), nodeValue(tree, value, depth + 1));
            key = tree->node(value).next;
        }
        return map;
    }
    case HXJSONNodeKey:
        return HXJSONDictKey(tree, index).value();
    case HXJSONNodeNone:
        return QVariant();
    default:
        return HXJSONPrimitive(tree, index).value();
    }
}

} // namespace

HXJSONItem::HXJSONItem(std::shared_ptr<const HXJSONTree> tree, qint32 index) : m_tree(std::move(tree)), m_index(index)
{}

HXJSONItem::~HXJSONItem() = default;

std::shared_ptr<HXJSONItem> HXJSONItem::make(std::shared_ptr<const HXJSONTree> tree, qint32 index)
{
    if (!tree || index < 0 || index >= tree->count())
        return nullptr;
    switch (tree->node(index).kind) {
    case HXJSONNodeArray:
        return std::make_shared<HXJSONArray>(std::move(tree), index);
    case HXJSONNodeDict:
        return std::make_shared<HXJSONDict>(std::move(tree), index);
    case HXJSONNodeKey:
        return std::make_shared<HXJSONDictKey>(std::move(tree), index);
    case HXJSONNodeNone:
        return nullptr;
    default:
        return std::make_shared<HXJSONPrimitive>(std::move(tree), index);
    }
}

HXJSONRange HXJSONItem::range() const
{
    const HXJSONNode node = m_tree->node(m_index);
    const qint64 start = m_tree->utf16Offset(node.start);
    return {start, m_tree->utf16Offset(m_tree->endOffset(node)) - start};
}

HXJSONRange HXJSONItem::tokenRange() const
{
    const qint32 kind = m_tree->node(m_index).kind;
    const bool container = kind == HXJSONNodeArray || kind == HXJSONNodeDict;
    return {m_index, container ? HXJSONRange::NotFound : 1};
}

QVariant HXJSONItem::cfObject() const
{
    throw std::logic_error("Abstract Class: Not Implemented");
}

QString HXJSONItem::jsonStringWithParser(const HXJSONParser &parser, int level) const
{
    QString string;
    appendJSONString(string, parser, level);
    return string;
}

void HXJSONItem::appendJSONString(QString &string, const HXJSONParser &parser, int level) const
{
    HXJSONOutput output;
    appendJSONString(output, parser, level);
    string += QString::fromUtf8(output.takeBytes());
}

void HXJSONItem::appendJSONString(HXJSONOutput &, const HXJSONParser &, int) const
{
    throw std::logic_error("Abstract Class: Not Implemented");
}

QList<std::shared_ptr<HXJSONItem>> HXJSONItem::childItems() const
{
    QList<std::shared_ptr<HXJSONItem>> items;
    for (qint32 child = m_tree->firstChild(m_index); child >= 0; child = m_tree->node(child).next) {
        if (std::shared_ptr<HXJSONItem> item = make(m_tree, child))
            items.append(std::move(item));
    }
    return items;
}

QVariant HXJSONItem::plainValue() const
{
    return nodeValue(m_tree, m_index);
}

void HXJSONItem::print(HXJSONOutput &output, const HXJSONParser &parser, int level) const
{
    parser.printNode(output, *m_tree, m_index, level);
}
