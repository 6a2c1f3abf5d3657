#pragma once

#include <QByteArray>
#include <QCborMap>
#include <QCborValue>
#include <QString>

#include <functional>

class HXManagedObject;

// Archives a graph of managed objects into one self-contained archive (the
// keyed archive of HXKeyedArchiver): a map with "rootObjectIdentifier" and
// "objects", the records of every object reached by identifier. An object's
// identifier is its URI; every object is written once, so cycles end.
//
// Record: "entityName", "entityVersionHash" (bytes), "identifier",
// "attributes" (by name; null when absent) and "relationships" (by name: the
// destination's identifier or null for a to-one relationship, a set of
// identifiers or null when empty for a to-many one).
class HXManagedObjectArchiver
{
public:
    // Asked per object and relationship name whether that relationship is
    // followed; without a block every relationship is.
    using RelationshipBlock = std::function<bool(const HXManagedObject *object, const QString &relationship)>;

    static QByteArray archivedDataWithRootObject(HXManagedObject *root, const RelationshipBlock &block = {});

    // The identifier of an object: its URI, or null for none.
    static QCborValue identifierForObject(const HXManagedObject *object);
    QCborValue propertyListForObject(HXManagedObject *object, const RelationshipBlock &block);
    QCborValue propertyListForRelationshipWithName(const QString &name, HXManagedObject *object,
                                                   const RelationshipBlock &block);

    const QCborMap &objects() const { return m_objects; }
    QCborValue rootObjectIdentifier() const { return m_rootObjectIdentifier; }

private:
    QCborMap m_objects;
    QCborValue m_rootObjectIdentifier;
};
