#include "HXMigrationManager.h"

#include "HXEntityMapping.h"
#include "HXEntityMigrationPolicy.h"
#include "HXManagedObject.h"
#include "HXManagedObjectContext.h"
#include "HXManagedObjectModel.h"
#include "HXMappingModel.h"
#include "HXXMLStore.h"

#include <algorithm>

namespace {

HXError migrationError(const QString &text)
{
    return HXError(QString::fromLatin1(HXXMLStore::errorDomain), HXXMLStore::ModelMismatchError, text);
}

} // namespace

HXMigrationManager::HXMigrationManager(const HXManagedObjectModel &sourceModel,
                                       const HXManagedObjectModel &destinationModel)
    : m_sourceModel(sourceModel), m_destinationModel(destinationModel)
{}

HXMigrationManager::~HXMigrationManager() = default;

HXResult<void> HXMigrationManager::migrateStoreFromURL(const QString &sourcePath, const QString &destinationPath,
                                                       HXMappingModel &mapping)
{
    auto loaded = HXXMLStore::load(sourcePath, m_sourceModel);
    if (!loaded)
        return loaded.error();
    m_source = std::move(loaded).value();
    m_destination = std::make_unique<HXManagedObjectContext>(&m_destinationModel);
    m_destination->setUndoManager(nullptr);
    m_destination->setStoreUUID(m_source->storeUUID());
    m_destinationBySource.clear();

    auto finish = [this](HXResult<void> result) {
        m_destinationBySource.clear();
        m_destination.reset();
        m_source.reset();
        return result;
    };

    QList<HXManagedObject *> sources = m_source->registeredObjects();
    std::sort(sources.begin(), sources.end(),
              [](const HXManagedObject *a, const HXManagedObject *b) { return a->objectNumber() < b->objectNumber(); });
    for (HXEntityMapping &entityMapping : mapping.entityMappings()) {
        HXEntityMigrationPolicy standard;
        HXEntityMigrationPolicy &policy = entityMapping.migrationPolicy ? *entityMapping.migrationPolicy : standard;
        for (HXManagedObject *source : std::as_const(sources)) {
            if (!source->isLive() || source->entity()->name() != entityMapping.sourceEntityName)
                continue;
            if (auto created = policy.createDestinationInstancesForSourceInstance(source, entityMapping, *this);
                !created)
                return finish(created);
        }
    }
    if (auto related = _migrateRelationships(); !related)
        return finish(related);
    return finish(HXXMLStore::save(m_destination.get(), destinationPath));
}

HXResult<void> HXMigrationManager::createDestinationInstance(HXManagedObject *source, const HXEntityMapping &mapping)
{
    if (!m_destination)
        return migrationError(QStringLiteral("no migration is under way"));
    const HXEntityDescription *entity = m_destinationModel.entity(mapping.destinationEntityName);
    if (entity == nullptr)
        return migrationError(QStringLiteral("the mapping %1 names an unknown entity %2")
                                  .arg(mapping.name, mapping.destinationEntityName));
    HXManagedObject *destination = m_destination->insertLoadedObject(entity, source->objectNumber());
    if (destination == nullptr)
        return migrationError(QStringLiteral("object %1 of %2 cannot be migrated twice")
                                  .arg(source->objectNumber())
                                  .arg(mapping.sourceEntityName));
    for (const HXEntityMapping::AttributeMapping &attribute : mapping.attributeMappings) {
        const int index = entity->attributeIndex(attribute.name);
        if (index < 0 || !attribute.valueExpression)
            continue;
        const QVariant value = attribute.valueExpression(source);
        if (value.isValid())
            m_destination->setLoadedAttribute(
                destination, index,
                HXManagedObjectContext::coerceAttributeValue(value, entity->attributes().at(index).type));
    }
    m_destinationBySource.insert(source, destination);
    return {};
}

HXManagedObject *HXMigrationManager::destinationInstanceForSourceInstance(const HXManagedObject *source) const
{
    return m_destinationBySource.value(source);
}

HXResult<void> HXMigrationManager::_migrateRelationships()
{
    // In object-number order, so that to-many members are added in the
    // same order on every run.
    QList<const HXManagedObject *> sources = m_destinationBySource.keys();
    std::sort(sources.begin(), sources.end(),
              [](const HXManagedObject *a, const HXManagedObject *b) { return a->objectNumber() < b->objectNumber(); });
    for (const HXManagedObject *source : std::as_const(sources)) {
        HXManagedObject *destination = m_destinationBySource.value(source);
        const HXEntityDescription *entity = destination->entity();
        for (int index = 0; index < entity->relationships().size(); ++index) {
            const HXRelationshipDescription &relationship = entity->relationships().at(index);
            // Each pair is linked from one side; linking sets the inverse.
            const int inverse = entity->inverseIndex(index);
            if (inverse >= 0) {
                const HXRelationshipDescription &other = entity->destinationEntity(index)->relationships().at(inverse);
                const bool thisSide =
                    relationship.toMany == other.toMany ? relationship.name <= other.name : !relationship.toMany;
                if (!thisSide)
                    continue;
            }
            if (source->entity()->relationshipIndex(relationship.name) < 0)
                continue;
            QList<HXManagedObject *> targets;
            if (relationship.toMany)
                targets = source->objectsForKey(relationship.name);
            else if (HXManagedObject *target = source->objectForKey(relationship.name))
                targets.append(target);
            for (HXManagedObject *target : std::as_const(targets)) {
                HXManagedObject *mapped = m_destinationBySource.value(target);
                if (mapped == nullptr)
                    return migrationError(QStringLiteral("%1.%2 refers to an object that was not migrated")
                                              .arg(entity->name(), relationship.name));
                m_destination->linkLoadedObjects(destination, index, mapped);
            }
        }
    }
    return {};
}
