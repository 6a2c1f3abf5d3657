#include "HXNotificationCenter.h"

#include "HXThreading.h"

HXNotificationCenter *HXNotificationCenter::defaultCenter()
{
    static HXNotificationCenter center;
    return &center;
}

void HXNotificationCenter::postNotification(const QString &name, HXManagedObject *object, const QVariantMap &userInfo)
{
    HX_ASSERT_MAIN_THREAD();
    Q_EMIT notificationPosted(name, object, userInfo);
}
