#pragma once

#include "HXJSONItem.h"

// A JSON object. `items` is the flat list of its members as written:
// key0, value0, key1, value1 ... Its plain value maps each key's plain value
// to the plain value of the item after it; a later duplicate key wins.
class HXJSONDict : public HXJSONItem
{
public:
    HXJSONDict(std::shared_ptr<const HXJSONTree> tree, qint32 index) : HXJSONItem(std::move(tree), index) {}

    QList<std::shared_ptr<HXJSONItem>> items() const { return childItems(); }

    QVariant cfObject() const override;
    using HXJSONItem::appendJSONString;
    void appendJSONString(HXJSONOutput &output, const HXJSONParser &parser, int level) const override;
};
