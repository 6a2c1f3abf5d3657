#include "HXEnvironmentVariable.h"

#include "HXEnvironmentVariableValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"

QString HXEnvironmentVariable::name() const
{
    return stringForKey(QStringLiteral("name"));
}

void HXEnvironmentVariable::setName(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("name"));
}

QString HXEnvironmentVariable::uuid() const
{
    return stringForKey(QStringLiteral("uuid"));
}

void HXEnvironmentVariable::setUuid(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("uuid"));
}

QList<HXEnvironmentVariableValue *> HXEnvironmentVariable::values() const
{
    return objectsForKeyAs<HXEnvironmentVariableValue>(QStringLiteral("values"));
}

void HXEnvironmentVariable::awakeFromInsert()
{
    HXManagedObject::awakeFromInsert();
    setUuid(HXRequest::generateUUID());
}

HXEnvironmentVariable *HXEnvironmentVariable::environmentVariableWithUUID(const QString &uuid,
                                                                          HXManagedObjectContext *context)
{
    if (context == nullptr)
        return nullptr;
    HXFetchRequest fetch(QStringLiteral("HXEnvironmentVariable"));
    fetch.where(QStringLiteral("uuid"), HXFetchRequest::Equal, uuid).sortBy(QStringLiteral("uuid"));
    const QList<HXManagedObject *> found = context->executeFetchRequest(fetch).valueOr({});
    return found.isEmpty() ? nullptr : static_cast<HXEnvironmentVariable *>(found.last());
}
