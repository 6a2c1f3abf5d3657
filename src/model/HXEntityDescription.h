#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QVariant>

#include <functional>

class HXManagedObject;

// The stored types an attribute can have.
enum class HXAttributeType { String, Integer64, UnsignedInteger64, Double, Boolean, Date, Binary };

QString HXAttributeTypeName(HXAttributeType type);
bool HXAttributeTypeFromName(const QString &name, HXAttributeType *type);

struct HXAttributeDescription
{
    QString name;
    HXAttributeType type = HXAttributeType::String;
    QVariant defaultValue; // invalid: the attribute starts absent
};

enum class HXDeleteRule { Nullify, Cascade };

struct HXRelationshipDescription
{
    QString name;
    QString destinationEntityName;
    QString inverseName; // empty: no inverse
    bool toMany = false;
    HXDeleteRule deleteRule = HXDeleteRule::Nullify;
};

// One entity of a managed object model: its attributes and relationships
// (inherited ones first, then its own), its place in the entity hierarchy,
// and the class that represents its objects.
class HXEntityDescription
{
public:
    using Factory = std::function<HXManagedObject *()>;

    QString name() const { return m_name; }
    bool isAbstract() const { return m_abstract; }
    const HXEntityDescription *superentity() const { return m_superentity; }
    const QList<const HXEntityDescription *> &subentities() const { return m_subentities; }
    // True when this entity is `other` or one of its sub-entities.
    bool isKindOfEntity(const HXEntityDescription *other) const;

    const QList<HXAttributeDescription> &attributes() const { return m_attributes; }
    const QList<HXRelationshipDescription> &relationships() const { return m_relationships; }
    // Index into attributes()/relationships(), or -1.
    int attributeIndex(const QString &name) const { return m_attributeIndex.value(name, -1); }
    int relationshipIndex(const QString &name) const { return m_relationshipIndex.value(name, -1); }
    const HXAttributeDescription *attribute(const QString &name) const;
    const HXRelationshipDescription *relationship(const QString &name) const;
    // The destination entity and the inverse relationship of relationship `index`.
    const HXEntityDescription *destinationEntity(int index) const { return m_destinations.value(index); }
    int inverseIndex(int index) const { return m_inverseIndexes.value(index, -1); }

    // A digest of what the stored form depends on: the entity's name, its
    // super-entity, its attributes (name and type) and relationships (name,
    // destination, cardinality, inverse). Stable across runs and builds;
    // Base64 of SHA-256.
    QByteArray versionHash() const { return m_versionHash; }

    HXManagedObject *newObject() const;

private:
    friend class HXManagedObjectModel;

    QString m_name;
    bool m_abstract = false;
    QString m_superentityName;
    const HXEntityDescription *m_superentity = nullptr;
    QList<const HXEntityDescription *> m_subentities;
    QList<HXAttributeDescription> m_ownAttributes;
    QList<HXRelationshipDescription> m_ownRelationships;
    QList<HXAttributeDescription> m_attributes;
    QList<HXRelationshipDescription> m_relationships;
    QHash<QString, int> m_attributeIndex;
    QHash<QString, int> m_relationshipIndex;
    QList<const HXEntityDescription *> m_destinations;
    QList<int> m_inverseIndexes;
    QByteArray m_versionHash;
    Factory m_factory;
};
