#include "HXJSONArray.h"

QVariant HXJSONArray::cfObject() const
{
    return plainValue();
}

void HXJSONArray::appendJSONString(HXJSONOutput &output, const HXJSONParser &parser, int level) const
{
    print(output, parser, level);
}
