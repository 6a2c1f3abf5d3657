#include "HXManagedObject.h"

#include "HXManagedObjectContext.h"
#include "HXModelLogging.h"
#include "HXXMLStoreWriter.h"

HXManagedObject::HXManagedObject() = default;

HXManagedObject::~HXManagedObject() = default;

QString HXManagedObject::objectURI() const
{
    // The id the object has in the file, not its number, which follows the
    // order objects are read in and so differs between the run that made an
    // object and later runs.
    return QStringLiteral("x-coredata://%1/%2/p%3")
        .arg(m_context ? m_context->storeUUID() : QString(), entityName(),
             QString::fromLatin1(HXXMLStoreWriter::preferredIdentifier(*this)));
}

QVariant HXManagedObject::valueForKey(const QString &key) const
{
    if (m_entity == nullptr)
        return {};
    const int attribute = m_entity->attributeIndex(key);
    if (attribute >= 0)
        return m_attributes[size_t(attribute)];
    const int relationship = m_entity->relationshipIndex(key);
    if (relationship < 0)
        return {};
    if (m_entity->relationships().at(relationship).toMany)
        return QVariant::fromValue(m_toMany[size_t(relationship)]);
    return QVariant::fromValue(m_toOne[size_t(relationship)]);
}

void HXManagedObject::setValueForKey(const QVariant &value, const QString &key)
{
    if (m_entity == nullptr || m_context == nullptr)
        return;
    const int attribute = m_entity->attributeIndex(key);
    if (attribute >= 0) {
        const HXAttributeType type = m_entity->attributes().at(attribute).type;
        m_context->_setAttribute(this, attribute, HXManagedObjectContext::coerceAttributeValue(value, type));
        return;
    }
    const int relationship = m_entity->relationshipIndex(key);
    if (relationship < 0) {
        qCWarning(lcKeaModel) << "setValueForKey: entity" << entityName() << "has no key" << key;
        return;
    }
    if (!m_entity->relationships().at(relationship).toMany) {
        setObjectForKey(value.value<HXManagedObject *>(), key);
        return;
    }
    const QList<HXManagedObject *> wanted = value.value<QList<HXManagedObject *>>();
    const QList<HXManagedObject *> current = m_toMany[size_t(relationship)];
    for (HXManagedObject *object : current) {
        if (!wanted.contains(object))
            removeObjectForKey(object, key);
    }
    for (HXManagedObject *object : wanted)
        addObjectForKey(object, key);
}

HXManagedObject *HXManagedObject::objectForKey(const QString &key) const
{
    const int relationship = m_entity ? m_entity->relationshipIndex(key) : -1;
    if (relationship < 0 || m_entity->relationships().at(relationship).toMany)
        return nullptr;
    return m_toOne[size_t(relationship)];
}

void HXManagedObject::setObjectForKey(HXManagedObject *object, const QString &key)
{
    const int relationship = m_entity ? m_entity->relationshipIndex(key) : -1;
    if (relationship < 0 || m_entity->relationships().at(relationship).toMany || m_context == nullptr) {
        qCWarning(lcKeaModel) << "setObjectForKey: entity" << entityName() << "has no to-one relationship" << key;
        return;
    }
    HXManagedObject *current = m_toOne[size_t(relationship)];
    if (object == nullptr) {
        if (current != nullptr)
            m_context->_unrelate(this, relationship, current);
        return;
    }
    m_context->_relate(this, relationship, object);
}

QList<HXManagedObject *> HXManagedObject::objectsForKey(const QString &key) const
{
    const int relationship = m_entity ? m_entity->relationshipIndex(key) : -1;
    if (relationship < 0 || !m_entity->relationships().at(relationship).toMany)
        return {};
    return m_toMany[size_t(relationship)];
}

void HXManagedObject::addObjectForKey(HXManagedObject *object, const QString &key)
{
    const int relationship = m_entity ? m_entity->relationshipIndex(key) : -1;
    if (relationship < 0 || !m_entity->relationships().at(relationship).toMany || object == nullptr ||
        m_context == nullptr) {
        qCWarning(lcKeaModel) << "addObjectForKey: entity" << entityName() << "has no to-many relationship" << key;
        return;
    }
    m_context->_relate(this, relationship, object);
}

void HXManagedObject::removeObjectForKey(HXManagedObject *object, const QString &key)
{
    const int relationship = m_entity ? m_entity->relationshipIndex(key) : -1;
    if (relationship < 0 || !m_entity->relationships().at(relationship).toMany || object == nullptr ||
        m_context == nullptr)
        return;
    m_context->_unrelate(this, relationship, object);
}

QString HXManagedObject::description() const
{
    QString text = QStringLiteral("<%1 p%2>").arg(entityName()).arg(m_number);
    if (m_entity == nullptr)
        return text;
    for (int i = 0; i < m_entity->attributes().size(); ++i) {
        const QVariant &value = m_attributes[size_t(i)];
        if (value.isValid())
            text += QStringLiteral(" %1=%2").arg(m_entity->attributes().at(i).name, value.toString());
    }
    return text;
}
