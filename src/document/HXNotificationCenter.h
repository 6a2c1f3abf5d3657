#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

class HXManagedObject;

// The process-wide place where named notifications are posted: a sender
// posts a name, the object it is about and a map of details; observers
// connect to notificationPosted and filter by name.
//
// Names used: "HXRequestDidChangeStatusNotification" (keys "status",
// "oldStatus"), "HXRequestDidRecieveNewResponseNotification" (key
// "HXRequestNotificationNewResponseKey": the response as
// std::shared_ptr<HXResponse>).
class HXNotificationCenter : public QObject
{
    Q_OBJECT
public:
    static HXNotificationCenter *defaultCenter();
    void postNotification(const QString &name, HXManagedObject *object, const QVariantMap &userInfo = {});

Q_SIGNALS:
    void notificationPosted(const QString &name, HXManagedObject *object, const QVariantMap &userInfo);
};
