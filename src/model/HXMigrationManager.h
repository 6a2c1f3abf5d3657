#pragma once

#include "HXResult.h"

#include <QHash>
#include <QString>

#include <memory>

class HXEntityMapping;
class HXManagedObject;
class HXManagedObjectContext;
class HXManagedObjectModel;
class HXMappingModel;

// Migrates a document store from one model version to another: reads the
// source store, creates the destination objects entity mapping by entity
// mapping (through each mapping's policy), carries the relationships over
// by name, and writes the destination store. Objects keep their numbers and
// the store keeps its UUID, so object URIs stay valid.
class HXMigrationManager
{
public:
    HXMigrationManager(const HXManagedObjectModel &sourceModel, const HXManagedObjectModel &destinationModel);
    ~HXMigrationManager();

    const HXManagedObjectModel &sourceModel() const { return m_sourceModel; }
    const HXManagedObjectModel &destinationModel() const { return m_destinationModel; }

    // Reads the store at `sourcePath` and writes the migrated store at
    // `destinationPath`; the source file is never changed.
    HXResult<void> migrateStoreFromURL(const QString &sourcePath, const QString &destinationPath,
                                       HXMappingModel &mapping);

    // The standard creation step: one destination object numbered like the
    // source object, its attributes from the mapping's value expressions.
    HXResult<void> createDestinationInstance(HXManagedObject *source, const HXEntityMapping &mapping);

    // The objects of the migration under way (null outside one).
    HXManagedObjectContext *destinationContext() const { return m_destination.get(); }
    HXManagedObject *destinationInstanceForSourceInstance(const HXManagedObject *source) const;

private:
    HXResult<void> _migrateRelationships();

    const HXManagedObjectModel &m_sourceModel;
    const HXManagedObjectModel &m_destinationModel;
    std::unique_ptr<HXManagedObjectContext> m_source;
    std::unique_ptr<HXManagedObjectContext> m_destination;
    QHash<const HXManagedObject *, HXManagedObject *> m_destinationBySource;
};
