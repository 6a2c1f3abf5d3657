#include "HXManagedObjectModel.h"

#include "HXManagedObject.h"

#include <QCryptographicHash>

#include <algorithm>

namespace {
const char *const kTypeNames[] = {"string", "int64", "uint64", "double", "bool", "date", "binary"};
}

QString HXAttributeTypeName(HXAttributeType type)
{
    return QString::fromLatin1(kTypeNames[int(type)]);
}

bool HXAttributeTypeFromName(const QString &name, HXAttributeType *type)
{
    for (int i = 0; i < int(std::size(kTypeNames)); ++i) {
        if (name == QLatin1String(kTypeNames[i])) {
            *type = HXAttributeType(i);
            return true;
        }
    }
    return false;
}

bool HXEntityDescription::isKindOfEntity(const HXEntityDescription *other) const
{
    for (const HXEntityDescription *entity = this; entity != nullptr; entity = entity->m_superentity) {
        if (entity == other)
            return true;
    }
    return false;
}

const HXAttributeDescription *HXEntityDescription::attribute(const QString &name) const
{
    const int index = attributeIndex(name);
    return index < 0 ? nullptr : &m_attributes.at(index);
}

const HXRelationshipDescription *HXEntityDescription::relationship(const QString &name) const
{
    const int index = relationshipIndex(name);
    return index < 0 ? nullptr : &m_relationships.at(index);
}

HXManagedObject *HXEntityDescription::newObject() const
{
    return m_factory ? m_factory() : new HXManagedObject();
}

void HXManagedObjectModel::addEntity(EntityDefinition definition)
{
    auto entity = std::make_unique<HXEntityDescription>();
    entity->m_name = definition.name;
    entity->m_abstract = definition.abstract;
    entity->m_superentityName = definition.superentity;
    entity->m_ownAttributes = definition.attributes;
    entity->m_ownRelationships = definition.relationships;
    entity->m_factory = std::move(definition.factory);
    m_byName.insert(definition.name, entity.get());
    m_entities.push_back(std::move(entity));
}

QString HXManagedObjectModel::finish()
{
    for (auto &entity : m_entities) {
        if (entity->m_superentityName.isEmpty())
            continue;
        HXEntityDescription *super = m_byName.value(entity->m_superentityName);
        if (super == nullptr)
            return QStringLiteral("entity %1 names an unknown super-entity %2")
                .arg(entity->m_name, entity->m_superentityName);
        entity->m_superentity = super;
        super->m_subentities.append(entity.get());
    }
    // Inherited properties come first, in the order of the hierarchy.
    for (auto &entity : m_entities) {
        QList<const HXEntityDescription *> chain;
        for (const HXEntityDescription *e = entity.get(); e != nullptr; e = e->m_superentity)
            chain.prepend(e);
        entity->m_attributes.clear();
        entity->m_relationships.clear();
        for (const HXEntityDescription *e : chain) {
            entity->m_attributes += e->m_ownAttributes;
            entity->m_relationships += e->m_ownRelationships;
        }
        for (int i = 0; i < entity->m_attributes.size(); ++i)
            entity->m_attributeIndex.insert(entity->m_attributes.at(i).name, i);
        for (int i = 0; i < entity->m_relationships.size(); ++i)
            entity->m_relationshipIndex.insert(entity->m_relationships.at(i).name, i);
    }
    for (auto &entity : m_entities) {
        entity->m_destinations.clear();
        entity->m_inverseIndexes.clear();
        for (const HXRelationshipDescription &relationship : std::as_const(entity->m_relationships)) {
            const HXEntityDescription *destination = m_byName.value(relationship.destinationEntityName);
            if (destination == nullptr)
                return QStringLiteral("relationship %1.%2 names an unknown entity %3")
                    .arg(entity->m_name, relationship.name, relationship.destinationEntityName);
            int inverse = -1;
            if (!relationship.inverseName.isEmpty()) {
                inverse = destination->relationshipIndex(relationship.inverseName);
                if (inverse < 0)
                    return QStringLiteral("relationship %1.%2 names an unknown inverse %3.%4")
                        .arg(entity->m_name, relationship.name, destination->m_name, relationship.inverseName);
            }
            entity->m_destinations.append(destination);
            entity->m_inverseIndexes.append(inverse);
        }
    }
    for (auto &entity : m_entities) {
        QByteArray canonical = "entity " + entity->m_name.toUtf8();
        canonical += entity->m_abstract ? " abstract" : "";
        canonical += " super " + entity->m_superentityName.toUtf8() + '\n';
        QList<HXAttributeDescription> attributes = entity->m_attributes;
        std::sort(attributes.begin(), attributes.end(), [](const auto &a, const auto &b) { return a.name < b.name; });
        for (const HXAttributeDescription &attribute : attributes)
            canonical +=
                "attribute " + attribute.name.toUtf8() + ' ' + HXAttributeTypeName(attribute.type).toUtf8() + '\n';
        QList<HXRelationshipDescription> relationships = entity->m_relationships;
        std::sort(relationships.begin(), relationships.end(),
                  [](const auto &a, const auto &b) { return a.name < b.name; });
        for (const HXRelationshipDescription &relationship : relationships)
            canonical += "relationship " + relationship.name.toUtf8() + ' ' +
                         relationship.destinationEntityName.toUtf8() + (relationship.toMany ? " many " : " one ") +
                         relationship.inverseName.toUtf8() + '\n';
        entity->m_versionHash = QCryptographicHash::hash(canonical, QCryptographicHash::Sha256).toBase64();
    }
    return QString();
}

QList<const HXEntityDescription *> HXManagedObjectModel::entities() const
{
    QList<const HXEntityDescription *> result;
    for (const HXEntityDescription *entity : m_byName)
        result.append(entity);
    return result;
}

const HXEntityDescription *HXManagedObjectModel::entity(const QString &name) const
{
    return m_byName.value(name);
}

QMap<QString, QByteArray> HXManagedObjectModel::entityVersionHashes() const
{
    QMap<QString, QByteArray> hashes;
    for (const HXEntityDescription *entity : m_byName)
        hashes.insert(entity->name(), entity->versionHash());
    return hashes;
}
