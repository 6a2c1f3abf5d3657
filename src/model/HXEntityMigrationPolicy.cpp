#include "HXEntityMigrationPolicy.h"

#include "HXMigrationManager.h"

HXResult<void> HXEntityMigrationPolicy::createDestinationInstancesForSourceInstance(HXManagedObject *source,
                                                                                    HXEntityMapping &mapping,
                                                                                    HXMigrationManager &manager)
{
    return manager.createDestinationInstance(source, mapping);
}
