#include "HXManagedObjectContext.h"

#include "HXModelLogging.h"
#include "HXUndoManager.h"
#include "HXXMLStoreWriter.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <QUuid>

#include <algorithm>

HXManagedObjectContext::HXManagedObjectContext(const HXManagedObjectModel *model, QObject *parent)
    : QObject(parent), m_model(model), m_ownUndoManager(std::make_unique<HXUndoManager>())
{
    m_undoManager = m_ownUndoManager.get();
    m_storeUUID = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

HXManagedObjectContext::~HXManagedObjectContext()
{
    // Undo actions capture object pointers; drop them before the objects.
    if (m_undoManager != nullptr)
        m_undoManager->removeAllActions();
}

void HXManagedObjectContext::setUndoManager(HXUndoManager *undoManager)
{
    m_undoManager = undoManager;
}

QVariant HXManagedObjectContext::coerceAttributeValue(const QVariant &value, HXAttributeType type)
{
    if (!value.isValid() || value.isNull())
        return {};
    switch (type) {
    case HXAttributeType::String:
        return value.typeId() == QMetaType::QString ? value : QVariant(value.toString());
    case HXAttributeType::Integer64: {
        bool ok = false;
        const qint64 number = value.toLongLong(&ok);
        return ok ? QVariant(number) : QVariant();
    }
    case HXAttributeType::UnsignedInteger64: {
        bool ok = false;
        const quint64 number = value.toULongLong(&ok);
        return ok ? QVariant(number) : QVariant();
    }
    case HXAttributeType::Double: {
        bool ok = false;
        const double number = value.toDouble(&ok);
        return ok ? QVariant(number) : QVariant();
    }
    case HXAttributeType::Boolean:
        return QVariant(value.toBool());
    case HXAttributeType::Date: {
        const QDateTime date = value.toDateTime();
        return date.isValid() ? QVariant(date.toUTC()) : QVariant();
    }
    case HXAttributeType::Binary:
        return QVariant(value.toByteArray());
    }
    return {};
}

void HXManagedObjectContext::_registerUndo(std::function<void()> action)
{
    if (m_trackingSuspended == 0 && m_undoManager != nullptr)
        m_undoManager->registerUndo(std::move(action));
}

void HXManagedObjectContext::_schedulePendingChanges()
{
    if (m_processingScheduled)
        return;
    m_processingScheduled = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_processingScheduled = false;
            processPendingChanges();
        },
        Qt::QueuedConnection);
}

void HXManagedObjectContext::_markUpdated(HXManagedObject *object, const QString &key)
{
    if (m_trackingSuspended > 0)
        return;
    object->m_dirty = true;
    if (object->m_live && !m_pending.inserted.contains(object)) {
        m_pending.updated.insert(object);
        m_pending.changedKeys[object].insert(key);
        _schedulePendingChanges();
    }
}

void HXManagedObjectContext::_setAttribute(HXManagedObject *object, int index, const QVariant &value)
{
    QVariant &slot = object->m_attributes[size_t(index)];
    if (slot.isValid() == value.isValid() && slot == value && slot.typeId() == value.typeId())
        return;
    QVariant old = std::exchange(slot, value);
    _markUpdated(object, object->m_entity->attributes().at(index).name);
    _registerUndo([this, object, index, old] { _setAttribute(object, index, old); });
}

void HXManagedObjectContext::_setToOne(HXManagedObject *object, int index, HXManagedObject *target)
{
    HXManagedObject *old = object->m_toOne[size_t(index)];
    if (old == target)
        return;
    object->m_toOne[size_t(index)] = target;
    _markUpdated(object, object->m_entity->relationships().at(index).name);
    _registerUndo([this, object, index, old] { _setToOne(object, index, old); });
}

void HXManagedObjectContext::_addToMany(HXManagedObject *object, int index, HXManagedObject *target)
{
    QList<HXManagedObject *> &members = object->m_toMany[size_t(index)];
    if (members.contains(target))
        return;
    members.append(target);
    _markUpdated(object, object->m_entity->relationships().at(index).name);
    _registerUndo([this, object, index, target] { _removeToMany(object, index, target); });
}

void HXManagedObjectContext::_removeToMany(HXManagedObject *object, int index, HXManagedObject *target)
{
    QList<HXManagedObject *> &members = object->m_toMany[size_t(index)];
    const qsizetype position = members.indexOf(target);
    if (position < 0)
        return;
    members.removeAt(position);
    _markUpdated(object, object->m_entity->relationships().at(index).name);
    _registerUndo([this, object, index, target, position] {
        // Put it back where it was, so undo restores the exact order.
        QList<HXManagedObject *> &list = object->m_toMany[size_t(index)];
        if (list.contains(target))
            return;
        list.insert(std::min(position, list.size()), target);
        _markUpdated(object, object->m_entity->relationships().at(index).name);
        _registerUndo([this, object, index, target] { _removeToMany(object, index, target); });
    });
}

void HXManagedObjectContext::_unrelate(HXManagedObject *object, int index, HXManagedObject *target)
{
    const HXRelationshipDescription &relationship = object->m_entity->relationships().at(index);
    if (relationship.toMany) {
        if (!object->m_toMany[size_t(index)].contains(target))
            return;
        _removeToMany(object, index, target);
    } else {
        if (object->m_toOne[size_t(index)] != target)
            return;
        _setToOne(object, index, nullptr);
    }
    const int inverse = object->m_entity->inverseIndex(index);
    if (inverse < 0)
        return;
    if (target->m_entity->relationships().at(inverse).toMany)
        _removeToMany(target, inverse, object);
    else if (target->m_toOne[size_t(inverse)] == object)
        _setToOne(target, inverse, nullptr);
}

void HXManagedObjectContext::_relate(HXManagedObject *object, int index, HXManagedObject *target)
{
    const HXRelationshipDescription &relationship = object->m_entity->relationships().at(index);
    if (target->m_context != this || !target->m_live ||
        !target->m_entity->isKindOfEntity(object->m_entity->destinationEntity(index))) {
        qCWarning(lcKeaModel) << "cannot relate" << object->description() << relationship.name << "to"
                              << target->description();
        return;
    }
    if (relationship.toMany ? object->m_toMany[size_t(index)].contains(target)
                            : object->m_toOne[size_t(index)] == target)
        return;
    if (!relationship.toMany && object->m_toOne[size_t(index)] != nullptr)
        _unrelate(object, index, object->m_toOne[size_t(index)]);
    const int inverse = object->m_entity->inverseIndex(index);
    if (inverse >= 0) {
        const bool inverseToMany = target->m_entity->relationships().at(inverse).toMany;
        if (!inverseToMany && target->m_toOne[size_t(inverse)] != nullptr)
            _unrelate(target, inverse, target->m_toOne[size_t(inverse)]);
        if (inverseToMany)
            _addToMany(target, inverse, object);
        else
            _setToOne(target, inverse, object);
    }
    if (relationship.toMany)
        _addToMany(object, index, target);
    else
        _setToOne(object, index, target);
}

void HXManagedObjectContext::_register(HXManagedObject *object)
{
    if (object->m_live)
        return;
    object->m_live = true;
    m_live.emplace(object->m_number, object);
    if (m_trackingSuspended == 0) {
        if (!m_pending.deleted.remove(object))
            m_pending.inserted.insert(object);
        else
            m_pending.updated.insert(object);
        _schedulePendingChanges();
    }
    _registerUndo([this, object] { _unregister(object); });
}

void HXManagedObjectContext::_unregister(HXManagedObject *object)
{
    if (!object->m_live)
        return;
    object->m_live = false;
    m_live.erase(object->m_number);
    if (m_trackingSuspended == 0) {
        m_pending.updated.remove(object);
        m_pending.changedKeys.remove(object);
        if (!m_pending.inserted.remove(object))
            m_pending.deleted.insert(object);
        _schedulePendingChanges();
    }
    _registerUndo([this, object] { _register(object); });
}

HXManagedObject *HXManagedObjectContext::_makeObject(const HXEntityDescription *entity, qint64 number,
                                                     const QByteArray &storeIdentifier)
{
    std::unique_ptr<HXManagedObject> owned(entity->newObject());
    HXManagedObject *object = owned.get();
    object->m_entity = entity;
    object->m_context = this;
    object->m_number = number;
    object->m_storeIdentifier = storeIdentifier.isEmpty() ? newStoreIdentifier() : storeIdentifier;
    object->m_attributes.resize(size_t(entity->attributes().size()));
    object->m_toOne.assign(size_t(entity->relationships().size()), nullptr);
    // Slots for to-many members only where the entity has such relationships.
    const auto &relationships = entity->relationships();
    if (std::any_of(relationships.begin(), relationships.end(), [](const auto &r) { return r.toMany; }))
        object->m_toMany.resize(size_t(relationships.size()));
    m_objects.push_back(std::move(owned));
    return object;
}

HXManagedObject *HXManagedObjectContext::insertNewObject(const QString &entityName)
{
    const HXEntityDescription *entity = m_model->entity(entityName);
    if (entity == nullptr || entity->isAbstract()) {
        qCWarning(lcKeaModel) << "cannot insert an object of entity" << entityName;
        return nullptr;
    }
    HXManagedObject *object = _makeObject(entity, m_nextNumber++);
    for (int i = 0; i < entity->attributes().size(); ++i) {
        const HXAttributeDescription &attribute = entity->attributes().at(i);
        object->m_attributes[size_t(i)] = coerceAttributeValue(attribute.defaultValue, attribute.type);
    }
    _register(object);
    object->awakeFromInsert();
    return object;
}

void HXManagedObjectContext::deleteObject(HXManagedObject *object)
{
    if (object == nullptr || object->m_context != this)
        return;
    QSet<HXManagedObject *> deleting;
    _deleteObject(object, deleting);
}

void HXManagedObjectContext::_deleteObject(HXManagedObject *object, QSet<HXManagedObject *> &deleting)
{
    if (!object->m_live || deleting.contains(object))
        return;
    deleting.insert(object);
    const QList<HXRelationshipDescription> &relationships = object->m_entity->relationships();
    for (int index = 0; index < relationships.size(); ++index) {
        const HXRelationshipDescription &relationship = relationships.at(index);
        if (relationship.deleteRule == HXDeleteRule::Cascade) {
            const QList<HXManagedObject *> targets = relationship.toMany
                                                         ? object->m_toMany[size_t(index)]
                                                         : QList<HXManagedObject *>{object->m_toOne[size_t(index)]};
            for (HXManagedObject *target : targets) {
                if (target != nullptr)
                    _deleteObject(target, deleting);
            }
        }
        // Whatever is still linked (nullify rule, or a cascade target that
        // was already being deleted) is unlinked on both sides.
        const QList<HXManagedObject *> remaining = relationship.toMany
                                                       ? object->m_toMany[size_t(index)]
                                                       : QList<HXManagedObject *>{object->m_toOne[size_t(index)]};
        for (HXManagedObject *target : remaining) {
            if (target != nullptr)
                _unrelate(object, index, target);
        }
    }
    _unregister(object);
}

HXResult<QList<HXManagedObject *>> HXManagedObjectContext::executeFetchRequest(const HXFetchRequest &request) const
{
    const HXEntityDescription *entity = m_model->entity(request.entityName());
    if (entity == nullptr)
        return HXError(QString::fromLatin1(errorDomain), qint64(ErrorCode::UnknownEntity),
                       QStringLiteral("The fetch names an unknown entity \"%1\".").arg(request.entityName()));

    auto fits = [&](const HXManagedObject *object) {
        const bool kind =
            request.includesSubentities() ? object->m_entity->isKindOfEntity(entity) : object->m_entity == entity;
        return kind && object->m_live && request.matches(object);
    };

    QList<HXManagedObject *> result;
    // A condition "relationship == object" lets us walk the object's inverse
    // set instead of every object.
    bool walked = false;
    for (const HXFetchRequest::Condition &condition : request.conditions()) {
        const int index = entity->relationshipIndex(condition.key);
        HXManagedObject *owner = HXFetchRequest::objectFromValue(condition.value);
        if (condition.op != HXFetchRequest::Equal || index < 0 || owner == nullptr ||
            entity->relationships().at(index).toMany)
            continue;
        const int inverse = entity->inverseIndex(index);
        if (inverse < 0 || owner->m_context != this || !owner->m_entity->relationships().at(inverse).toMany)
            continue;
        for (HXManagedObject *candidate : owner->m_toMany[size_t(inverse)]) {
            if (fits(candidate))
                result.append(candidate);
        }
        std::sort(result.begin(), result.end(),
                  [](const HXManagedObject *a, const HXManagedObject *b) { return a->m_number < b->m_number; });
        walked = true;
        break;
    }
    if (!walked) {
        for (const auto &[number, object] : m_live) {
            if (fits(object))
                result.append(object);
        }
    }

    if (!request.sortDescriptors().isEmpty()) {
        const QList<HXFetchRequest::SortDescriptor> &descriptors = request.sortDescriptors();
        std::stable_sort(result.begin(), result.end(), [&](const HXManagedObject *a, const HXManagedObject *b) {
            for (const HXFetchRequest::SortDescriptor &descriptor : descriptors) {
                const int order =
                    HXFetchRequest::compareValues(a->valueForKey(descriptor.key), b->valueForKey(descriptor.key));
                if (order != 0)
                    return descriptor.ascending ? order < 0 : order > 0;
            }
            return false;
        });
    }
    const qsizetype offset = std::clamp<qsizetype>(request.fetchOffset(), 0, result.size());
    if (offset > 0)
        result.remove(0, offset);
    if (request.fetchLimit() > 0 && result.size() > request.fetchLimit())
        result.resize(request.fetchLimit());
    return result;
}

int HXManagedObjectContext::countForFetchRequest(const HXFetchRequest &request) const
{
    HXFetchRequest unlimited = request;
    unlimited.setFetchLimit(0);
    unlimited.setFetchOffset(0);
    const auto result = executeFetchRequest(unlimited);
    if (!result.ok())
        return -1;
    const int total = int(result->size());
    const int afterOffset = std::max(0, total - std::max(0, request.fetchOffset()));
    return request.fetchLimit() > 0 ? std::min(afterOffset, request.fetchLimit()) : afterOffset;
}

QList<HXManagedObject *> HXManagedObjectContext::registeredObjects() const
{
    // One pass over the objects in number order puts each in its entity's
    // group (a model has few entities, and neighbours are mostly of one);
    // the groups are then joined by entity name.
    std::vector<std::pair<const HXEntityDescription *, QList<HXManagedObject *>>> groups;
    qsizetype group = -1;
    for (const auto &[number, object] : m_live) {
        if (group < 0 || groups[size_t(group)].first != object->m_entity) {
            const auto found = std::find_if(groups.begin(), groups.end(),
                                            [object](const auto &entry) { return entry.first == object->m_entity; });
            group = found - groups.begin();
            if (found == groups.end())
                groups.push_back({object->m_entity, {}});
        }
        groups[size_t(group)].second.append(object);
    }
    std::stable_sort(groups.begin(), groups.end(),
                     [](const auto &a, const auto &b) { return a.first->name() < b.first->name(); });
    QList<HXManagedObject *> objects;
    objects.reserve(qsizetype(m_live.size()));
    for (const auto &entry : groups)
        objects.append(entry.second);
    return objects;
}

HXManagedObject *HXManagedObjectContext::objectWithNumber(qint64 number) const
{
    const auto it = m_live.find(number);
    return it == m_live.end() ? nullptr : it->second;
}

HXManagedObject *HXManagedObjectContext::objectWithURI(const QString &uri) const
{
    const QString prefix = QStringLiteral("x-coredata://");
    if (!uri.startsWith(prefix))
        return nullptr;
    const QStringList parts = uri.mid(prefix.size()).split(u'/');
    if (parts.size() != 3 || parts.at(0) != m_storeUUID || !parts.at(2).startsWith(u'p'))
        return nullptr;
    const QByteArray identifier = parts.at(2).mid(1).toLatin1();
    HXManagedObject *object = nullptr;
    for (const auto &[number, live] : m_live) {
        if (live->m_storeIdentifier == identifier || HXXMLStoreWriter::preferredIdentifier(*live) == identifier) {
            object = live;
            break;
        }
    }
    // URIs remembered from files with counter ids name the object's number.
    bool ok = false;
    const qint64 number = identifier.toLongLong(&ok);
    if (object == nullptr && ok)
        object = objectWithNumber(number);
    return object != nullptr && object->entityName() == parts.at(1) ? object : nullptr;
}

void HXManagedObjectContext::processPendingChanges()
{
    if (m_undoManager != nullptr && m_undoManager->groupingLevel() == 0)
        m_undoManager->closeImplicitGroup();
    if (m_pending.isEmpty())
        return;
    const HXManagedObjectChanges changes = std::exchange(m_pending, HXManagedObjectChanges());
    Q_EMIT objectsDidChange(changes);
}

bool HXManagedObjectContext::hasChanges() const
{
    for (const auto &object : m_objects) {
        if (object->isInserted() || object->isUpdated() || object->isDeleted())
            return true;
    }
    return false;
}

QByteArray HXManagedObjectContext::newStoreIdentifier()
{
    quint32 words[4];
    QRandomGenerator::system()->fillRange(words);
    return QByteArray(reinterpret_cast<const char *>(words), sizeof words).toHex();
}

HXManagedObject *HXManagedObjectContext::insertLoadedObject(const HXEntityDescription *entity, qint64 number,
                                                            const QByteArray &identifier)
{
    if (entity == nullptr || entity->isAbstract() || number <= 0 || m_live.count(number) != 0)
        return nullptr;
    HXManagedObject *object = _makeObject(entity, number, identifier);
    object->m_live = true;
    object->m_persisted = true;
    m_live.emplace(number, object);
    m_nextNumber = std::max(m_nextNumber, number + 1);
    return object;
}

void HXManagedObjectContext::setLoadedAttribute(HXManagedObject *object, int attributeIndex, const QVariant &value)
{
    object->m_attributes[size_t(attributeIndex)] = value;
}

void HXManagedObjectContext::linkLoadedObjects(HXManagedObject *object, int relationshipIndex,
                                               HXManagedObject *destination)
{
    ++m_trackingSuspended;
    _relate(object, relationshipIndex, destination);
    --m_trackingSuspended;
}

void HXManagedObjectContext::markSaved()
{
    for (const auto &object : m_objects) {
        object->m_persisted = object->m_live;
        object->m_dirty = false;
    }
}
