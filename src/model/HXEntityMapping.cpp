#include "HXEntityMapping.h"

#include "HXManagedObject.h"

std::function<QVariant(const HXManagedObject *)> HXEntityMapping::constantExpression(const QVariant &value)
{
    return [value](const HXManagedObject *) { return value; };
}

std::function<QVariant(const HXManagedObject *)> HXEntityMapping::keyPathExpression(const QString &key)
{
    return [key](const HXManagedObject *source) { return source->valueForKey(key); };
}
