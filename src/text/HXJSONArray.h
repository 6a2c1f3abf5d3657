#pragma once

#include "HXJSONItem.h"

// A JSON array: its child items, in order.
class HXJSONArray : public HXJSONItem
{
public:
    HXJSONArray(std::shared_ptr<const HXJSONTree> tree, qint32 index) : HXJSONItem(std::move(tree), index) {}

    QList<std::shared_ptr<HXJSONItem>> items() const { return childItems(); }

    QVariant cfObject() const override;
    using HXJSONItem::appendJSONString;
    void appendJSONString(HXJSONOutput &output, const HXJSONParser &parser, int level) const override;
};
