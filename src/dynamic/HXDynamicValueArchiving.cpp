#include "HXDynamicValueArchiving.h"

bool HXDynamicValueArchiving::conformsToProtocol(const QString &className)
{
    return className == QStringLiteral("HXRequest") || className == QStringLiteral("HXEnvironmentVariable");
}

QString HXDynamicValueArchiving::archivedValueForObject(const QString &, const HXDynamicValue &, HXManagedObject *)
{
    return QString();
}

HXManagedObject *HXDynamicValueArchiving::objectForArchivedValue(const QString &, const HXDynamicValue &,
                                                                 const QString &)
{
    return nullptr;
}
