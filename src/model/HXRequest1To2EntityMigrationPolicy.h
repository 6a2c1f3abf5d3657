#pragma once

#include "HXEntityMigrationPolicy.h"

// Migrates requests of the first document model: the body stored as bytes
// under "bodyData" becomes the plain-text body (no bytes, or bytes that are
// not UTF-8, give no body), and every request gets a uuid of its own.
//
// The values are written into the mapping's shared attribute mappings just
// before each request is created, so requests must be migrated one at a
// time.
class HXRequest1To2EntityMigrationPolicy : public HXEntityMigrationPolicy
{
public:
    HXResult<void> createDestinationInstancesForSourceInstance(HXManagedObject *source, HXEntityMapping &mapping,
                                                               HXMigrationManager &manager) override;
};
