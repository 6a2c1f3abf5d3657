#include "HXRequestTreeItem.h"

#include "HXManagedObjectContext.h"
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
    return objectsForKeyAs<HXRequestTreeItem>(QStringLiteral("children"));
}

namespace {

QList<HXRequestTreeItem *> fetchItems(HXManagedObjectContext *context, const HXFetchRequest &fetch)
{
    QList<HXRequestTreeItem *> items;
    for (HXManagedObject *object : context->executeFetchRequest(fetch).valueOr({}))
        items.append(static_cast<HXRequestTreeItem *>(object));
    return items;
}

} // namespace

void HXRequestTreeItem::setOrderAndParent(HXRequestGroup *parent, HXRequestTreeItem *afterSibling)
{
    HXManagedObjectContext *context = managedObjectContext();
    if (context == nullptr)
        return;
    const QString entity = QStringLiteral("HXRequestTreeItem");
    if (afterSibling != nullptr && afterSibling->parent() == parent) {
        const qint64 siblingOrder = afterSibling->order();
        HXFetchRequest fetch(entity);
        fetch.where(QStringLiteral("parent"), HXFetchRequest::Equal, parent)
            .where(QStringLiteral("order"), HXFetchRequest::Greater, siblingOrder)
            .where(QStringLiteral("self"), HXFetchRequest::NotEqual, this)
            .sortBy(QStringLiteral("order"));
        qint64 next = siblingOrder + 2;
        for (HXRequestTreeItem *item : fetchItems(context, fetch))
            item->setOrder(next++);
        setOrder(siblingOrder + 1);
        setParent(parent);
    } else if (parent != nullptr) {
        HXFetchRequest fetch(entity);
        fetch.where(QStringLiteral("parent"), HXFetchRequest::Equal, parent)
            .where(QStringLiteral("self"), HXFetchRequest::NotEqual, this)
            .sortBy(QStringLiteral("order"));
        qint64 next = 1;
        for (HXRequestTreeItem *item : fetchItems(context, fetch))
            item->setOrder(next++);
        setOrder(0);
        setParent(parent);
    } else {
        HXFetchRequest fetch(entity);
        fetch.where(QStringLiteral("parent"), HXFetchRequest::Equal, static_cast<HXManagedObject *>(nullptr))
            .where(QStringLiteral("self"), HXFetchRequest::NotEqual, this)
            .sortBy(QStringLiteral("order"), false);
        fetch.setFetchLimit(1);
        const QList<HXRequestTreeItem *> last = fetchItems(context, fetch);
        setOrder(last.isEmpty() ? 0 : last.first()->order() + 1);
        setParent(nullptr);
    }
}

void HXRequestTreeItem::setOrderAndParentWithSelectedItem(HXRequestTreeItem *selectedItem)
{
    if (auto *folder = dynamic_cast<HXRequestGroup *>(selectedItem))
        setOrderAndParent(folder, nullptr);
    else
        setOrderAndParent(selectedItem != nullptr ? selectedItem->parent() : nullptr, selectedItem);
}
