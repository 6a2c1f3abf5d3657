#pragma once

#include "HXEntityDescription.h"

#include <QMap>
#include <QStringList>

#include <memory>
#include <vector>

// A set of entity descriptions with the version identifiers of the model.
// Built once with addEntity() calls followed by finish(), then read-only.
class HXManagedObjectModel
{
public:
    HXManagedObjectModel() = default;
    HXManagedObjectModel(const HXManagedObjectModel &) = delete;
    HXManagedObjectModel &operator=(const HXManagedObjectModel &) = delete;

    struct EntityDefinition
    {
        QString name;
        QString superentity;
        bool abstract = false;
        QList<HXAttributeDescription> attributes;
        QList<HXRelationshipDescription> relationships;
        HXEntityDescription::Factory factory;
    };
    void addEntity(EntityDefinition definition);
    void setVersionIdentifiers(const QStringList &identifiers) { m_versionIdentifiers = identifiers; }
    // Resolves super-entities, inheritance, destinations and inverses and
    // computes the version hashes. Returns a description of the first
    // inconsistency, or an empty string.
    QString finish();

    QStringList versionIdentifiers() const { return m_versionIdentifiers; }
    // Entities sorted by name.
    QList<const HXEntityDescription *> entities() const;
    const HXEntityDescription *entity(const QString &name) const;
    // Entity name -> version hash.
    QMap<QString, QByteArray> entityVersionHashes() const;

private:
    std::vector<std::unique_ptr<HXEntityDescription>> m_entities;
    QMap<QString, HXEntityDescription *> m_byName;
    QStringList m_versionIdentifiers;
};
