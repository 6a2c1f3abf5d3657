#include "HXPasteboardManagement.h"

#include "HXManagedObjectContext.h"
#include "HXManagedObjectUnarchiver.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"

namespace {

const QString requestEntity = QStringLiteral("HXRequest");
const QString folderEntity = QStringLiteral("HXRequestGroup");

} // namespace

QString HXPasteboardManagement::archivePasteboardTypeForEntity(const QString &entityName)
{
    if (entityName == requestEntity)
        return QString::fromLatin1(HXRequest::pasteboardTypeArchive);
    if (entityName == folderEntity)
        return QStringLiteral("kestrelworks.Kea.PasteboardTypeRequestFolderArchive");
    return {};
}

QString HXPasteboardManagement::URIPasteboardTypeForEntity(const QString &entityName)
{
    if (entityName == requestEntity)
        return QString::fromLatin1(HXRequest::pasteboardTypeURI);
    if (entityName == folderEntity)
        return QStringLiteral("kestrelworks.Kea.PasteboardTypeRequestFolderURI");
    return {};
}

QStringList HXPasteboardManagement::readableTypes()
{
    return {archivePasteboardTypeForEntity(requestEntity), URIPasteboardTypeForEntity(requestEntity),
            archivePasteboardTypeForEntity(folderEntity), URIPasteboardTypeForEntity(folderEntity)};
}

bool HXPasteboardManagement::managedObjectShouldArchiveKey(const HXManagedObject *object, const QString &key)
{
    const HXRelationshipDescription *relationship = object->entity()->relationship(key);
    return relationship != nullptr && relationship->toMany && relationship->deleteRule == HXDeleteRule::Cascade;
}

HXManagedObjectArchiver::RelationshipBlock HXPasteboardManagement::archivingBlock()
{
    return [](const HXManagedObject *object, const QString &key) { return managedObjectShouldArchiveKey(object, key); };
}

QByteArray HXPasteboardManagement::pasteboardPropertyListForType(HXManagedObject *object, const QString &type)
{
    if (type == archivePasteboardTypeForEntity(object->entityName()))
        return HXManagedObjectArchiver::archivedDataWithRootObject(object, archivingBlock());
    if (type == URIPasteboardTypeForEntity(object->entityName()))
        return object->objectURI().toUtf8();
    return {};
}

HXPasteboardItem HXPasteboardManagement::pasteboardItemForObject(HXManagedObject *object)
{
    HXPasteboardItem item;
    for (const QString &type :
         {URIPasteboardTypeForEntity(object->entityName()), archivePasteboardTypeForEntity(object->entityName())}) {
        if (!type.isEmpty())
            item.setDataForType(pasteboardPropertyListForType(object, type), type);
    }
    return item;
}

bool HXPasteboardManagement::managedObjectCanReadFromPasteboardItem(const QString &entityName,
                                                                    const HXPasteboardItem &item)
{
    QStringList types{URIPasteboardTypeForEntity(entityName)};
    if (!archivePasteboardTypeForEntity(entityName).isEmpty())
        types.append(URIPasteboardTypeForEntity(entityName));
    return !item.availableTypeFromArray(types).isEmpty();
}

HXResult<HXPasteboardManagement::ReadResult>
HXPasteboardManagement::managedObjectWithPasteboardItem(const QString &entityName, const HXPasteboardItem &item,
                                                        HXManagedObjectContext *context, int options)
{
    ReadResult result;
    const QString uriType = URIPasteboardTypeForEntity(entityName);
    if (!uriType.isEmpty() && item.hasType(uriType)) {
        HXManagedObject *found = context->objectWithURI(QString::fromUtf8(item.dataForType(uriType)));
        if (found != nullptr && found->entityName() != entityName)
            found = nullptr;
        if (found != nullptr && (options & CopyFoundObject) != 0) {
            auto copy = copyIncludingRelationshipsUsingContext(found, context);
            if (!copy)
                return copy.error();
            result.object = *copy;
            result.isNewObject = true;
        } else {
            result.object = found;
        }
    }
    if (result.object != nullptr || (options & ReferenceOnly) != 0)
        return result;
    const QString archiveType = archivePasteboardTypeForEntity(entityName);
    if (archiveType.isEmpty() || !item.hasType(archiveType))
        return result;
    auto unarchived = HXManagedObjectUnarchiver::unarchiveObjectWithData(item.dataForType(archiveType), context);
    if (!unarchived)
        return unarchived.error();
    HXManagedObject *object = *unarchived;
    if (object != nullptr && object->entityName() != entityName) {
        context->deleteObject(object);
        object = nullptr;
    }
    result.object = object;
    result.usedArchive = result.isNewObject = object != nullptr;
    return result;
}

HXManagedObject *HXPasteboardManagement::copyUsingContext(const HXManagedObject *object,
                                                          HXManagedObjectContext *context)
{
    HXManagedObject *copy = context->insertNewObject(object->entityName());
    if (copy == nullptr)
        return nullptr;
    const QList<HXAttributeDescription> &attributes = object->entity()->attributes();
    for (int i = 0; i < attributes.size(); ++i)
        copy->setValueForKey(object->attributeValue(i), attributes.at(i).name);
    return copy;
}

HXResult<HXManagedObject *>
HXPasteboardManagement::copyIncludingRelationshipsUsingContext(HXManagedObject *object, HXManagedObjectContext *context,
                                                               const HXManagedObjectArchiver::RelationshipBlock &block)
{
    return HXManagedObjectUnarchiver::unarchiveObjectWithData(
        HXManagedObjectArchiver::archivedDataWithRootObject(object, block), context);
}
