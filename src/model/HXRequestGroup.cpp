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
    QList<HXKeyValue *> result;
    const QList<HXManagedObject *> objects = objectsForKey(QStringLiteral("headers"));
    result.reserve(objects.size());
    for (HXManagedObject *object : objects)
        result.append(static_cast<HXKeyValue *>(object));
    return result;
}

QList<HXKeyValue *> HXRequestGroup::urlParameters() const
{
    QList<HXKeyValue *> result;
    const QList<HXManagedObject *> objects = objectsForKey(QStringLiteral("urlParameters"));
    result.reserve(objects.size());
    for (HXManagedObject *object : objects)
        result.append(static_cast<HXKeyValue *>(object));
    return result;
}

QList<HXKeyValue *> HXRequestGroup::bodyParameters() const
{
    QList<HXKeyValue *> result;
    const QList<HXManagedObject *> objects = objectsForKey(QStringLiteral("bodyParameters"));
    result.reserve(objects.size());
    for (HXManagedObject *object : objects)
        result.append(static_cast<HXKeyValue *>(object));
    return result;
}
