#include "HXJSONDict.h"

QVariant HXJSONDict::cfObject() const
{
    return plainValue();
}

void HXJSONDict::appendJSONString(HXJSONOutput &output, const HXJSONParser &parser, int level) const
{
    print(output, parser, level);
}
