#include "HXRequestGroup.h"

#include "HXKeyValue.h"

QString HXRequestGroup::baseUrl() const
{
    return stringForKey(QStringLiteral("baseUrl"));
}

void HXRequestGroup::setBaseUrl(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("baseUrl"));
}

QList<HXKeyValue *> HXRequestGroup::headers() const
{
    return objectsForKeyAs<HXKeyValue>(QStringLiteral("headers"));
}

QList<HXKeyValue *> HXRequestGroup::urlParameters() const
{
    return objectsForKeyAs<HXKeyValue>(QStringLiteral("urlParameters"));
}

QList<HXKeyValue *> HXRequestGroup::bodyParameters() const
{
    return objectsForKeyAs<HXKeyValue>(QStringLiteral("bodyParameters"));
}
