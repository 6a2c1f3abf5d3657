#pragma once

#include "HXJSONItem.h"

// A key of a JSON object. Its value is the key exactly as written between the
// quotes: escapes are kept, not resolved.
class HXJSONDictKey : public HXJSONItem
{
public:
    HXJSONDictKey(std::shared_ptr<const HXJSONTree> tree, qint32 index);

    QString value() const { return m_value; }

    QVariant cfObject() const override { return m_value; }
    using HXJSONItem::appendJSONString;
    void appendJSONString(HXJSONOutput &output, const HXJSONParser &parser, int level) const override;

private:
    QString m_value;
};
