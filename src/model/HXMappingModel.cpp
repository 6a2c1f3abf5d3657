#include "HXMappingModel.h"

#include "HXDocumentModel.h"
#include "HXDocumentModelVersion1.h"
#include "HXManagedObjectModel.h"
#include "HXRequest1To2EntityMigrationPolicy.h"

std::optional<HXMappingModel> HXMappingModel::mappingModelWithName(const QString &name)
{
    if (name != u"HXDocument_1_2")
        return std::nullopt;
    HXMappingModel mapping = inferredMappingModel(HXDocumentModelVersion1::model(), HXDocumentModel::currentModel());
    for (HXEntityMapping &entityMapping : mapping.m_entityMappings) {
        if (entityMapping.name == u"HXRequestToHXRequest")
            entityMapping.migrationPolicy = std::make_shared<HXRequest1To2EntityMigrationPolicy>();
    }
    return mapping;
}

HXMappingModel HXMappingModel::inferredMappingModel(const HXManagedObjectModel &source,
                                                    const HXManagedObjectModel &destination)
{
    HXMappingModel mapping;
    for (const HXEntityDescription *entity : destination.entities()) {
        const HXEntityDescription *from = source.entity(entity->name());
        if (entity->isAbstract() || from == nullptr)
            continue;
        HXEntityMapping entityMapping;
        entityMapping.name = entity->name() + QStringLiteral("To") + entity->name();
        entityMapping.sourceEntityName = from->name();
        entityMapping.destinationEntityName = entity->name();
        entityMapping.sourceEntityVersionHash = from->versionHash();
        entityMapping.destinationEntityVersionHash = entity->versionHash();
        for (const HXAttributeDescription &attribute : entity->attributes()) {
            const bool copied = from->attributeIndex(attribute.name) >= 0;
            entityMapping.attributeMappings.append(
                {attribute.name, copied ? HXEntityMapping::keyPathExpression(attribute.name)
                                        : HXEntityMapping::constantExpression(QVariant())});
        }
        mapping.m_entityMappings.append(std::move(entityMapping));
    }
    return mapping;
}
