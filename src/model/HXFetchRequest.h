#pragma once

#include <QList>
#include <QString>
#include <QVariant>

#include <functional>

class HXManagedObject;

// What to fetch from an object context: objects of an entity (and, by
// default, its sub-entities) that meet every condition and the optional
// predicate, sorted by the sort keys (object number breaks ties), then
// `fetchOffset` skipped and at most `fetchLimit` (0: no limit) returned.
//
// Conditions compare a key with a value: an attribute value, or for a to-one
// relationship an object (HXManagedObject *, or nullptr for "no object").
// The key "self" compares the object itself. A condition `relationship ==
// object` lets the context walk the object's inverse relationship instead of
// every object of the entity.
class HXFetchRequest
{
public:
    enum Operator { Equal, NotEqual, Less, LessOrEqual, Greater, GreaterOrEqual };
    struct Condition
    {
        QString key;
        Operator op = Equal;
        QVariant value;
    };
    struct SortDescriptor
    {
        QString key;
        bool ascending = true;
    };

    explicit HXFetchRequest(QString entityName = QString()) : m_entityName(std::move(entityName)) {}

    QString entityName() const { return m_entityName; }
    void setEntityName(const QString &name) { m_entityName = name; }
    bool includesSubentities() const { return m_includesSubentities; }
    void setIncludesSubentities(bool value) { m_includesSubentities = value; }

    HXFetchRequest &where(const QString &key, Operator op, const QVariant &value);
    HXFetchRequest &where(const QString &key, Operator op, HXManagedObject *object);
    const QList<Condition> &conditions() const { return m_conditions; }

    void setPredicate(std::function<bool(const HXManagedObject *)> predicate) { m_predicate = std::move(predicate); }
    const std::function<bool(const HXManagedObject *)> &predicate() const { return m_predicate; }

    HXFetchRequest &sortBy(const QString &key, bool ascending = true);
    const QList<SortDescriptor> &sortDescriptors() const { return m_sortDescriptors; }

    int fetchLimit() const { return m_fetchLimit; }
    void setFetchLimit(int limit) { m_fetchLimit = limit; }
    int fetchOffset() const { return m_fetchOffset; }
    void setFetchOffset(int offset) { m_fetchOffset = offset; }

    // Orders attribute values the way fetches sort them: absent values first.
    static int compareValues(const QVariant &a, const QVariant &b);
    // The object a condition value or a to-one value holds, or null.
    static HXManagedObject *objectFromValue(const QVariant &value);

    // Whether `object` meets the conditions and the predicate (entity not checked).
    bool matches(const HXManagedObject *object) const;

private:
    QString m_entityName;
    bool m_includesSubentities = true;
    QList<Condition> m_conditions;
    std::function<bool(const HXManagedObject *)> m_predicate;
    QList<SortDescriptor> m_sortDescriptors;
    int m_fetchLimit = 0;
    int m_fetchOffset = 0;
};
