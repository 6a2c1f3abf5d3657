#pragma once

#include <QObject>

// Announcements of the side stores, on one process-wide object so that
// listeners stay connected while store instances come and go.
class HXPersistentStoreNotifier : public QObject
{
    Q_OBJECT
public:
    static HXPersistentStoreNotifier *sharedNotifier();

Q_SIGNALS:
    // Around the reset of the response store: objects read from the old store
    // must be dropped between the two.
    void responsesManagedObjectContextWillChange();
    void responsesManagedObjectContextDidChange();
    // After every stored response was deleted or moved to the trash.
    void responseManagerDidResetAllResponses();

private:
    HXPersistentStoreNotifier() = default;
};
