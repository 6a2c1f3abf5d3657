#include "HXEnvironment.h"

#include "HXEnvironmentVariableValue.h"

QString HXEnvironment::name() const
{
    return stringForKey(QStringLiteral("name"));
}

void HXEnvironment::setName(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("name"));
}

QList<HXEnvironmentVariableValue *> HXEnvironment::variablesValues() const
{
    QList<HXEnvironmentVariableValue *> result;
    const QList<HXManagedObject *> objects = objectsForKey(QStringLiteral("variablesValues"));
    result.reserve(objects.size());
    for (HXManagedObject *object : objects)
        result.append(static_cast<HXEnvironmentVariableValue *>(object));
    return result;
}
