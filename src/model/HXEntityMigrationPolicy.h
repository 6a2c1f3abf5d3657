#pragma once

#include "HXResult.h"

class HXEntityMapping;
class HXManagedObject;
class HXMigrationManager;

// The steps of a migration for one entity mapping. The standard behaviour
// creates one destination object per source object, numbered like it, and
// fills its attributes from the mapping's value expressions; subclasses
// change the mapping or the objects around it.
class HXEntityMigrationPolicy
{
public:
    virtual ~HXEntityMigrationPolicy() = default;

    // Called once for each source object of the mapping's source entity.
    virtual HXResult<void> createDestinationInstancesForSourceInstance(HXManagedObject *source,
                                                                       HXEntityMapping &mapping,
                                                                       HXMigrationManager &manager);
};
