#include "HXManagedObjectUnarchiver.h"

#include "HXKeyedArchiver.h"
#include "HXManagedObjectContext.h"

#include <QCborArray>
#include <QCoreApplication>
#include <QDateTime>

namespace {

QVariant attributeFromCbor(const QCborValue &value)
{
    if (value.isNull() || value.isUndefined())
        return {};
    if (value.isTag() && value.tag() == QCborTag(1))
        return QDateTime::fromMSecsSinceEpoch(qint64(value.taggedValue().toDouble() * 1000.0), Qt::UTC);
    if (value.isDateTime())
        return value.toDateTime();
    if (value.isByteArray())
        return value.toByteArray();
    if (value.isBool())
        return value.toBool();
    if (value.isInteger())
        return value.toInteger();
    if (value.isDouble())
        return value.toDouble();
    if (value.isString())
        return value.toString();
    return {};
}

} // namespace

HXManagedObjectUnarchiver::HXManagedObjectUnarchiver(HXManagedObjectContext *context, QCborMap archivedObjects)
    : m_context(context), m_archivedObjects(std::move(archivedObjects))
{}

HXManagedObject *HXManagedObjectUnarchiver::objectForIdentifier(const QCborValue &identifier)
{
    if (!identifier.isString() || !m_error.isNull())
        return nullptr;
    const QString key = identifier.toString();
    if (auto found = m_unarchivedObjects.constFind(key); found != m_unarchivedObjects.constEnd())
        return *found;
    const QCborMap record = m_archivedObjects.value(identifier).toMap();
    const QString entityName = record.value(QStringLiteral("entityName")).toString();
    const HXEntityDescription *entity = m_context->managedObjectModel()->entity(entityName);
    const QString invalid = QCoreApplication::translate("HXManagedObjectUnarchiver", "Invalid archived data");
    if (entity == nullptr || entity->isAbstract()) {
        m_error = HXError(QString::fromLatin1(errorDomain), qint64(ErrorCode::UnknownEntity), invalid);
        m_error.userInfo.insert(
            QStringLiteral("reason"),
            QCoreApplication::translate("HXManagedObjectUnarchiver",
                                        "Cannot find custom class with name %1 for managed object with entity name %2")
                .arg(entityName, entityName));
        return nullptr;
    }
    if (record.value(QStringLiteral("entityVersionHash")).toByteArray() != entity->versionHash()) {
        m_error = HXError(QString::fromLatin1(errorDomain), qint64(ErrorCode::EntityVersionMismatch), invalid);
        m_error.userInfo.insert(
            QStringLiteral("reason"),
            QCoreApplication::translate("HXManagedObjectUnarchiver",
                                        "Mismatching version hashes, archived managed object's entity version hash "
                                        "differs from version hash in the provided context."));
        return nullptr;
    }
    HXManagedObject *object = m_context->insertNewObject(entityName);
    m_made.append(object);
    const QCborMap attributes = record.value(QStringLiteral("attributes")).toMap();
    for (const HXAttributeDescription &attribute : entity->attributes()) {
        if (attributes.contains(attribute.name))
            object->setValueForKey(attributeFromCbor(attributes.value(attribute.name)), attribute.name);
    }
    m_unarchivedObjects.insert(key, object);
    const QCborMap relationships = record.value(QStringLiteral("relationships")).toMap();
    for (const HXRelationshipDescription &relationship : entity->relationships()) {
        const QCborValue value = relationships.value(relationship.name);
        if (value.isString()) {
            HXManagedObject *destination = objectForIdentifier(value);
            if (destination == nullptr)
                continue;
            if (relationship.toMany)
                object->addObjectForKey(destination, relationship.name);
            else
                object->setObjectForKey(destination, relationship.name);
        } else if (relationship.toMany && (value.isArray() || HXKeyedArchiver::isSet(value))) {
            for (HXManagedObject *destination : objectsForIdentifiers(value))
                object->addObjectForKey(destination, relationship.name);
        }
    }
    return object;
}

QList<HXManagedObject *> HXManagedObjectUnarchiver::objectsForIdentifiers(const QCborValue &identifiers)
{
    QList<HXManagedObject *> objects;
    for (const QCborValue &identifier : HXKeyedArchiver::arrayFromSet(identifiers)) {
        if (HXManagedObject *object = objectForIdentifier(identifier))
            objects.append(object);
    }
    return objects;
}

HXResult<HXManagedObject *> HXManagedObjectUnarchiver::unarchiveObjectWithData(const QByteArray &data,
                                                                               HXManagedObjectContext *context)
{
    auto archive = HXKeyedArchiver::unarchivedObjectWithData(data);
    if (!archive)
        return archive.error();
    if (!archive->isMap())
        return static_cast<HXManagedObject *>(nullptr);
    const QCborMap root = archive->toMap();
    HXManagedObjectUnarchiver unarchiver(context, root.value(QStringLiteral("objects")).toMap());
    HXManagedObject *object = unarchiver.objectForIdentifier(root.value(QStringLiteral("rootObjectIdentifier")));
    if (!unarchiver.m_error.isNull()) {
        // All or nothing: what was made before the refusal goes again.
        for (HXManagedObject *made : std::as_const(unarchiver.m_made))
            context->deleteObject(made);
        return unarchiver.m_error;
    }
    return object;
}
