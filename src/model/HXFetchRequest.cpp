#include "HXFetchRequest.h"

#include "HXManagedObject.h"

HXManagedObject *HXFetchRequest::objectFromValue(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<HXManagedObject *>())
        return value.value<HXManagedObject *>();
    return nullptr;
}

static bool holdsObject(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<HXManagedObject *>();
}

int HXFetchRequest::compareValues(const QVariant &a, const QVariant &b)
{
    if (!a.isValid() || !b.isValid())
        return int(a.isValid()) - int(b.isValid());
    const QPartialOrdering order = QVariant::compare(a, b);
    if (order == QPartialOrdering::Less)
        return -1;
    if (order == QPartialOrdering::Greater)
        return 1;
    return 0;
}

HXFetchRequest &HXFetchRequest::where(const QString &key, Operator op, const QVariant &value)
{
    m_conditions.append({key, op, value});
    return *this;
}

HXFetchRequest &HXFetchRequest::where(const QString &key, Operator op, HXManagedObject *object)
{
    m_conditions.append({key, op, QVariant::fromValue(object)});
    return *this;
}

HXFetchRequest &HXFetchRequest::sortBy(const QString &key, bool ascending)
{
    m_sortDescriptors.append({key, ascending});
    return *this;
}

bool HXFetchRequest::matches(const HXManagedObject *object) const
{
    for (const Condition &condition : m_conditions) {
        bool result = false;
        if (holdsObject(condition.value) || condition.key == u"self") {
            const HXManagedObject *wanted = objectFromValue(condition.value);
            const HXManagedObject *actual =
                condition.key == u"self" ? object : objectFromValue(object->valueForKey(condition.key));
            if (condition.op == Equal)
                result = actual == wanted;
            else if (condition.op == NotEqual)
                result = actual != wanted;
        } else {
            const QVariant actual = object->valueForKey(condition.key);
            const bool bothPresent = actual.isValid() && condition.value.isValid();
            const int order = compareValues(actual, condition.value);
            switch (condition.op) {
            case Equal:
                result = order == 0;
                break;
            case NotEqual:
                result = order != 0;
                break;
            case Less:
                result = bothPresent && order < 0;
                break;
            case LessOrEqual:
                result = bothPresent && order <= 0;
                break;
            case Greater:
                result = bothPresent && order > 0;
                break;
            case GreaterOrEqual:
                result = bothPresent && order >= 0;
                break;
            }
        }
        if (!result)
            return false;
    }
    return !m_predicate || m_predicate(object);
}
