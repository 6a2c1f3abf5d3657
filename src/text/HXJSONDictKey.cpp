#include "HXJSONDictKey.h"

#include "HXJSONTree.h"

HXJSONDictKey::HXJSONDictKey(std::shared_ptr<const HXJSONTree> tree, qint32 index) : HXJSONItem(std::move(tree), index)
{
    const HXJSONTree &t = *this->tree();
    const HXJSONNode node = t.node(index);
    m_value = QString::fromUtf8(t.text().constData() + node.start, node.end - node.start);
}

void HXJSONDictKey::appendJSONString(HXJSONOutput &output, const HXJSONParser &parser, int level) const
{
    print(output, parser, level);
}
