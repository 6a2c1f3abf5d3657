#pragma once

#include "HXEntityMapping.h"

#include <QList>
#include <QString>

#include <optional>

class HXManagedObjectModel;

// The entity mappings that migrate stores of one model version to another.
class HXMappingModel
{
public:
    QList<HXEntityMapping> &entityMappings() { return m_entityMappings; }
    const QList<HXEntityMapping> &entityMappings() const { return m_entityMappings; }

    // The mapping model of that name, or nothing when Kea has none:
    // "HXDocument_1_2" migrates documents of the first model to the current
    // one, copying every attribute of the same name, with the request
    // entity's own policy for its body and uuid.
    static std::optional<HXMappingModel> mappingModelWithName(const QString &name);

    // A mapping for every concrete entity of `destination` that `source` has
    // too, copying the attributes of the same name.
    static HXMappingModel inferredMappingModel(const HXManagedObjectModel &source,
                                               const HXManagedObjectModel &destination);

private:
    QList<HXEntityMapping> m_entityMappings;
};
