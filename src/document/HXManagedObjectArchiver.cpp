#include "HXManagedObjectArchiver.h"

#include "HXKeyedArchiver.h"
#include "HXManagedObject.h"

#include <QCborArray>
#include <QDateTime>

namespace {

QCborValue attributeToCbor(const QVariant &value, HXAttributeType type)
{
    if (!value.isValid() || value.isNull())
        return QCborValue(nullptr);
    switch (type) {
    case HXAttributeType::String:
        return value.toString();
    case HXAttributeType::Integer64:
        return qint64(value.toLongLong());
    case HXAttributeType::UnsignedInteger64:
        return qint64(value.toULongLong());
    case HXAttributeType::Double:
        return value.toDouble();
    case HXAttributeType::Boolean:
        return value.toBool();
    case HXAttributeType::Date:
        return QCborValue(QCborTag(1), double(value.toDateTime().toMSecsSinceEpoch()) / 1000.0);
    case HXAttributeType::Binary:
        return value.toByteArray();
    }
    return QCborValue(nullptr);
}

} // namespace

QCborValue HXManagedObjectArchiver::identifierForObject(const HXManagedObject *object)
{
    return object != nullptr ? QCborValue(object->objectURI()) : QCborValue(nullptr);
}

QCborValue HXManagedObjectArchiver::propertyListForObject(HXManagedObject *object, const RelationshipBlock &block)
{
    if (object == nullptr)
        return QCborValue(nullptr);
    const QCborValue identifier = identifierForObject(object);
    if (m_objects.contains(identifier))
        return identifier;
    const HXEntityDescription *entity = object->entity();
    QCborMap attributes;
    for (int i = 0; i < entity->attributes().size(); ++i) {
        const HXAttributeDescription &attribute = entity->attributes().at(i);
        attributes.insert(attribute.name, attributeToCbor(object->attributeValue(i), attribute.type));
    }
    QCborMap record;
    record.insert(QStringLiteral("entityName"), entity->name());
    record.insert(QStringLiteral("entityVersionHash"), entity->versionHash());
    record.insert(QStringLiteral("identifier"), identifier);
    record.insert(QStringLiteral("attributes"), attributes);
    // Registered before its relationships are followed, so a cycle back to
    // this object ends at its identifier.
    m_objects.insert(identifier, record);
    QCborMap relationships;
    for (const HXRelationshipDescription &relationship : entity->relationships()) {
        if (block && !block(object, relationship.name))
            continue;
        relationships.insert(relationship.name, propertyListForRelationshipWithName(relationship.name, object, block));
    }
    record.insert(QStringLiteral("relationships"), relationships);
    m_objects.insert(identifier, record);
    return identifier;
}

QCborValue HXManagedObjectArchiver::propertyListForRelationshipWithName(const QString &name, HXManagedObject *object,
                                                                        const RelationshipBlock &block)
{
    const HXRelationshipDescription *relationship = object->entity()->relationship(name);
    if (relationship == nullptr)
        return QCborValue(nullptr);
    if (!relationship->toMany)
        return propertyListForObject(object->objectForKey(name), block);
    const QList<HXManagedObject *> members = object->objectsForKey(name);
    if (members.isEmpty())
        return QCborValue(nullptr);
    QCborArray identifiers;
    for (HXManagedObject *member : members)
        identifiers.append(propertyListForObject(member, block));
    return HXKeyedArchiver::setWithArray(identifiers);
}

QByteArray HXManagedObjectArchiver::archivedDataWithRootObject(HXManagedObject *root, const RelationshipBlock &block)
{
    HXManagedObjectArchiver archiver;
    archiver.m_rootObjectIdentifier = archiver.propertyListForObject(root, block);
    QCborMap archive;
    archive.insert(QStringLiteral("rootObjectIdentifier"), archiver.m_rootObjectIdentifier);
    archive.insert(QStringLiteral("objects"), archiver.m_objects);
    return HXKeyedArchiver::archivedDataWithRootObject(archive);
}
