#include "HXDynamicValueArchiving.h"

#include "HXDocumentResolver.h"
#include "HXEvaluationDocument.h"
#include "HXFetchRequest.h"
#include "HXManagedObject.h"
#include "HXManagedObjectContext.h"

namespace {

const QString uuidKey = QStringLiteral("uuid");

// The object of `entityName` with that uuid in one object context: the
// entity's objects with "uuid" equal to it, sorted by uuid, the first one.
HXManagedObject *objectWithUUID(const QString &entityName, const QString &uuid, HXManagedObjectContext *context)
{
    if (!context || uuid.isEmpty())
        return nullptr;
    HXFetchRequest request(entityName);
    request.where(uuidKey, HXFetchRequest::Equal, QVariant(uuid));
    request.sortBy(uuidKey);
    request.setFetchLimit(1);
    const HXResult<QList<HXManagedObject *>> result = context->executeFetchRequest(request);
    if (!result || result->isEmpty())
        return nullptr;
    return result->last();
}

} // namespace

bool HXDynamicValueArchiving::conformsToProtocol(const QString &className)
{
    return className == QStringLiteral("HXRequest") || className == QStringLiteral("HXEnvironmentVariable");
}

QString HXDynamicValueArchiving::archivedValueForObject(const QString &className, const HXDynamicValue &,
                                                        HXManagedObject *object)
{
    if (!object || !conformsToProtocol(className))
        return QString();
    return object->stringForKey(uuidKey);
}

HXManagedObject *HXDynamicValueArchiving::objectForArchivedValue(const QString &className, const HXDynamicValue &,
                                                                 const QString &archived)
{
    if (!conformsToProtocol(className))
        return nullptr;
    // Front to back: the first open document that holds the object wins.
    const HXDocumentResolver *resolver = HXDocumentResolver::sharedResolver();
    if (resolver == nullptr)
        return nullptr;
    for (const HXEvaluationDocument *document : resolver->openDocuments()) {
        if (HXManagedObject *object = objectWithUUID(className, archived, document->managedObjectContext()))
            return object;
    }
    return nullptr;
}
