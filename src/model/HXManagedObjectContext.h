#pragma once

#include "HXFetchRequest.h"
#include "HXManagedObject.h"
#include "HXManagedObjectModel.h"
#include "HXResult.h"

#include <QHash>
#include <QObject>
#include <QSet>

#include <map>
#include <memory>
#include <vector>

class HXUndoManager;

// The sets of objects that changed since the last processPendingChanges(),
// and for each updated object the keys (attributes and relationships) that
// changed.
struct HXManagedObjectChanges
{
    QSet<HXManagedObject *> inserted;
    QSet<HXManagedObject *> updated;
    QSet<HXManagedObject *> deleted;
    QHash<HXManagedObject *, QSet<QString>> changedKeys;
    bool isEmpty() const { return inserted.isEmpty() && updated.isEmpty() && deleted.isEmpty(); }
    QSet<QString> keysForObject(HXManagedObject *object) const { return changedKeys.value(object); }
    // An updated object that changed place: its `parent` or `order` changed.
    bool wasMoved(HXManagedObject *object) const
    {
        const QSet<QString> keys = changedKeys.value(object);
        return keys.contains(QStringLiteral("parent")) || keys.contains(QStringLiteral("order"));
    }
};

// An in-memory object graph of one model: creates and owns its objects,
// keeps inverse relationships consistent, applies delete rules, tracks what
// changed (for observers and for saving), registers the inverse of every
// change with its undo manager, and answers fetch requests.
//
// Deleted objects stay owned by the context (undo may bring them back) until
// the context goes away. Main thread only.
class HXManagedObjectContext : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *errorDomain = "kestrelworks.Kea.ObjectStore";
    enum class ErrorCode : qint64 {
        // A fetch request names an entity the model does not have.
        UnknownEntity = 1,
    };

    explicit HXManagedObjectContext(const HXManagedObjectModel *model, QObject *parent = nullptr);
    ~HXManagedObjectContext() override;

    const HXManagedObjectModel *managedObjectModel() const { return m_model; }

    // The context's own undo manager (never null unless set to null).
    HXUndoManager *undoManager() const { return m_undoManager; }
    void setUndoManager(HXUndoManager *undoManager);

    // Identifies the store in object URIs; a fresh UUID by default.
    QString storeUUID() const { return m_storeUUID; }
    void setStoreUUID(const QString &uuid) { m_storeUUID = uuid; }

    // A new object of a concrete entity with its attribute defaults, or null
    // for an unknown or abstract entity.
    HXManagedObject *insertNewObject(const QString &entityName);
    template <typename T>
    T *insertNewObject(const QString &entityName)
    {
        return static_cast<T *>(insertNewObject(entityName));
    }
    // Deletes the object, cascading and nullifying as its relationships say.
    void deleteObject(HXManagedObject *object);

    HXResult<QList<HXManagedObject *>> executeFetchRequest(const HXFetchRequest &request) const;
    int countForFetchRequest(const HXFetchRequest &request) const;

    // Live objects, by entity name then object number.
    QList<HXManagedObject *> registeredObjects() const;
    HXManagedObject *objectWithURI(const QString &uri) const;
    HXManagedObject *objectWithNumber(qint64 number) const;

    // Sends objectsDidChange with what changed since the last call, and closes
    // the undo step gathered since then. Called by commands when they end,
    // and otherwise once per turn of the event loop after a change.
    void processPendingChanges();
    bool hasChanges() const;

    // Loading and saving (used by the document store).
    // A new object with the given number, not tracked as inserted, with no
    // undo registered; attributes start absent. Without `identifier` it gets
    // a fresh store identifier.
    HXManagedObject *insertLoadedObject(const HXEntityDescription *entity, qint64 number,
                                        const QByteArray &identifier = QByteArray());
    // A fresh store identifier: 128 random bits in hexadecimal.
    static QByteArray newStoreIdentifier();
    // Sets a value without tracking or undo, keeping inverses consistent.
    void setLoadedAttribute(HXManagedObject *object, int attributeIndex, const QVariant &value);
    void linkLoadedObjects(HXManagedObject *object, int relationshipIndex, HXManagedObject *destination);
    // Marks every live object as persisted and unchanged.
    void markSaved();

    // Converts a value to the stored form of an attribute type; an invalid
    // QVariant when it cannot be converted.
    static QVariant coerceAttributeValue(const QVariant &value, HXAttributeType type);

Q_SIGNALS:
    void objectsDidChange(const HXManagedObjectChanges &changes);

private:
    friend class HXManagedObject;

    // `storeIdentifier` empty: a fresh one.
    HXManagedObject *_makeObject(const HXEntityDescription *entity, qint64 number,
                                 const QByteArray &storeIdentifier = QByteArray());
    void _setAttribute(HXManagedObject *object, int index, const QVariant &value);
    void _setToOne(HXManagedObject *object, int index, HXManagedObject *target);
    void _addToMany(HXManagedObject *object, int index, HXManagedObject *target);
    void _removeToMany(HXManagedObject *object, int index, HXManagedObject *target);
    void _register(HXManagedObject *object);
    void _unregister(HXManagedObject *object);
    void _markUpdated(HXManagedObject *object, const QString &key);
    void _schedulePendingChanges();
    void _registerUndo(std::function<void()> action);

    // Relationship changes that keep both sides consistent.
    void _relate(HXManagedObject *object, int index, HXManagedObject *target);
    void _unrelate(HXManagedObject *object, int index, HXManagedObject *target);
    void _deleteObject(HXManagedObject *object, QSet<HXManagedObject *> &deleting);

    const HXManagedObjectModel *m_model;
    HXUndoManager *m_undoManager = nullptr;
    std::unique_ptr<HXUndoManager> m_ownUndoManager;
    QString m_storeUUID;
    std::vector<std::unique_ptr<HXManagedObject>> m_objects; // every object ever made here
    std::map<qint64, HXManagedObject *> m_live;
    qint64 m_nextNumber = 1;
    HXManagedObjectChanges m_pending;
    int m_trackingSuspended = 0;
    bool m_processingScheduled = false;
};

Q_DECLARE_METATYPE(HXManagedObjectChanges)
