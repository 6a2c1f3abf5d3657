#include "HXPersistentStoreNotifier.h"

HXPersistentStoreNotifier *HXPersistentStoreNotifier::sharedNotifier()
{
    static HXPersistentStoreNotifier *notifier = new HXPersistentStoreNotifier;
    return notifier;
}
