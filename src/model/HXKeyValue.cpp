#include "HXKeyValue.h"

#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"

QString HXKeyValue::name() const
{
    return stringForKey(QStringLiteral("name"));
}

void HXKeyValue::setName(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("name"));
}

QString HXKeyValue::value() const
{
    return stringForKey(QStringLiteral("value"));
}

void HXKeyValue::setValue(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("value"));
}

bool HXKeyValue::enabled() const
{
    return valueForKey(QStringLiteral("enabled")).toBool();
}

void HXKeyValue::setEnabled(bool value)
{
    setValueForKey(QVariant(value), QStringLiteral("enabled"));
}

quint64 HXKeyValue::order() const
{
    return valueForKey(QStringLiteral("order")).toULongLong();
}

void HXKeyValue::setOrder(quint64 value)
{
    setValueForKey(QVariant(value), QStringLiteral("order"));
}

HXRequest *HXKeyValue::request() const
{
    return static_cast<HXRequest *>(objectForKey(QStringLiteral("request")));
}

void HXKeyValue::setRequest(HXRequest *value)
{
    setObjectForKey(value, QStringLiteral("request"));
}

HXRequestGroup *HXKeyValue::groupForHeaders() const
{
    return static_cast<HXRequestGroup *>(objectForKey(QStringLiteral("groupForHeaders")));
}

void HXKeyValue::setGroupForHeaders(HXRequestGroup *value)
{
    setObjectForKey(value, QStringLiteral("groupForHeaders"));
}

HXRequestGroup *HXKeyValue::groupForUrlParameters() const
{
    return static_cast<HXRequestGroup *>(objectForKey(QStringLiteral("groupForUrlParameters")));
}

void HXKeyValue::setGroupForUrlParameters(HXRequestGroup *value)
{
    setObjectForKey(value, QStringLiteral("groupForUrlParameters"));
}

HXRequestGroup *HXKeyValue::groupForBodyParameters() const
{
    return static_cast<HXRequestGroup *>(objectForKey(QStringLiteral("groupForBodyParameters")));
}

void HXKeyValue::setGroupForBodyParameters(HXRequestGroup *value)
{
    setObjectForKey(value, QStringLiteral("groupForBodyParameters"));
}

HXFetchRequest HXKeyValue::fetchRequestForRelationship(const QString &relationship, HXManagedObject *owner)
{
    HXFetchRequest fetch(QStringLiteral("HXKeyValue"));
    fetch.where(relationship, HXFetchRequest::Equal, owner).sortBy(QStringLiteral("order"));
    return fetch;
}

QList<HXKeyValue *> HXKeyValue::keyValuesForRelationship(const QString &relationship, HXManagedObject *owner)
{
    QList<HXKeyValue *> rows;
    if (owner == nullptr || owner->managedObjectContext() == nullptr)
        return rows;
    const auto fetched =
        owner->managedObjectContext()->executeFetchRequest(fetchRequestForRelationship(relationship, owner));
    for (HXManagedObject *object : fetched.valueOr({}))
        rows.append(static_cast<HXKeyValue *>(object));
    return rows;
}

HXKeyValue *HXKeyValue::addKeyValueName(const QString &name, const QString &value, const QString &relationship,
                                        HXManagedObject *owner)
{
    if (owner == nullptr || owner->managedObjectContext() == nullptr)
        return nullptr;
    qint64 highest = -1;
    HXKeyValue *last = nullptr;
    for (HXKeyValue *row : keyValuesForRelationship(relationship, owner)) {
        if (qint64(row->order()) > highest) {
            highest = qint64(row->order());
            last = row;
        }
    }
    qint64 order = highest + 1;
    const bool blank = name.isEmpty() && value.isEmpty();
    if (!blank && last != nullptr && last->isBlank()) {
        last->setOrder(quint64(highest + 1));
        order = highest;
    }
    auto *row = owner->managedObjectContext()->insertNewObject<HXKeyValue>(QStringLiteral("HXKeyValue"));
    row->setName(name);
    row->setValue(value);
    row->setOrder(quint64(order));
    row->setObjectForKey(owner, relationship);
    return row;
}

HXKeyValue *HXKeyValue::addEmptyKeyValueAtEndIfNeededForRelationship(const QString &relationship,
                                                                     HXManagedObject *owner)
{
    HXKeyValue *last = nullptr;
    for (HXKeyValue *row : keyValuesForRelationship(relationship, owner)) {
        if (last == nullptr || row->order() >= last->order())
            last = row;
    }
    if (last != nullptr && last->isBlank())
        return nullptr;
    return addKeyValueName(QString(), QString(), relationship, owner);
}
