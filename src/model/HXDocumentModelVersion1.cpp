#include "HXDocumentModelVersion1.h"

#include "HXDocumentModel.h"
#include "HXManagedObjectModel.h"

namespace {

// The current model's entities as they were: the request's own attributes
// are changed, everything else is taken over as it stands.
std::unique_ptr<HXManagedObjectModel> buildModel()
{
    const HXManagedObjectModel &current = HXDocumentModel::currentModel();
    auto model = std::make_unique<HXManagedObjectModel>();
    model->setVersionIdentifiers({QString::fromLatin1(HXDocumentModelVersion1::versionIdentifier)});
    for (const HXEntityDescription *entity : current.entities()) {
        const HXEntityDescription *super = entity->superentity();
        HXManagedObjectModel::EntityDefinition definition;
        definition.name = entity->name();
        definition.superentity = super != nullptr ? super->name() : QString();
        definition.abstract = entity->isAbstract();
        // Inherited properties come first; the rest are the entity's own.
        definition.attributes = entity->attributes().mid(super != nullptr ? super->attributes().size() : 0);
        definition.relationships = entity->relationships().mid(super != nullptr ? super->relationships().size() : 0);
        if (definition.name == u"HXRequest") {
            QList<HXAttributeDescription> attributes;
            for (const HXAttributeDescription &attribute : std::as_const(definition.attributes)) {
                if (attribute.name == u"body")
                    attributes.append({QStringLiteral("bodyData"), HXAttributeType::Binary, QVariant()});
                else if (attribute.name != u"uuid")
                    attributes.append(attribute);
            }
            definition.attributes = attributes;
        }
        model->addEntity(std::move(definition));
    }
    const QString problem = model->finish();
    if (!problem.isEmpty())
        qFatal("the first document model is inconsistent: %s", qPrintable(problem));
    return model;
}

} // namespace

const HXManagedObjectModel &HXDocumentModelVersion1::model()
{
    static const std::unique_ptr<HXManagedObjectModel> model = buildModel();
    return *model;
}
