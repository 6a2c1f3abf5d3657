#include "HXRequestTreeItem.h"

#include "HXRequestGroup.h"

QString HXRequestTreeItem::name() const
{
    return stringForKey(QStringLiteral("name"));
}

void HXRequestTreeItem::setName(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("name"));
}

qint64 HXRequestTreeItem::order() const
{
    return valueForKey(QStringLiteral("order")).toLongLong();
}

void HXRequestTreeItem::setOrder(qint64 value)
{
    setValueForKey(QVariant(value), QStringLiteral("order"));
}

HXRequestGroup *HXRequestTreeItem::parent() const
{
    return static_cast<HXRequestGroup *>(objectForKey(QStringLiteral("parent")));
}

void HXRequestTreeItem::setParent(HXRequestGroup *value)
{
    setObjectForKey(value, QStringLiteral("parent"));
}

QList<HXRequestTreeItem *> HXRequestTreeItem::children() const
{
    QList<HXRequestTreeItem *> result;
    const QList<HXManagedObject *> objects = objectsForKey(QStringLiteral("children"));
    result.reserve(objects.size());
    for (HXManagedObject *object : objects)
        result.append(static_cast<HXRequestTreeItem *>(object));
    return result;
}
