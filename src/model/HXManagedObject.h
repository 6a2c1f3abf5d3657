#pragma once

#include "HXEntityDescription.h"

#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include <vector>

class HXManagedObjectContext;

// An object of the object graph: attribute values and relationships by key,
// as the entity describes them. Objects are created and owned by their
// HXManagedObjectContext (insertNewObject); every change goes through the
// context so that inverses stay consistent, changes are tracked and undo is
// registered.
//
// Entity classes (HXRequest, HXKeyValue, ...) derive from this and add typed
// accessors over the same keyed values.
class HXManagedObject
{
public:
    HXManagedObject();
    virtual ~HXManagedObject();
    HXManagedObject(const HXManagedObject &) = delete;
    HXManagedObject &operator=(const HXManagedObject &) = delete;

    const HXEntityDescription *entity() const { return m_entity; }
    HXManagedObjectContext *managedObjectContext() const { return m_context; }

    // The object's number in its context ("p<n>" in its URI).
    qint64 objectNumber() const { return m_number; }
    // "x-coredata://<store UUID>/<Entity>/p<store identifier>": the same for
    // the object in every run that opens the document.
    QString objectURI() const;
    // The object's id in a document file: 32 random hexadecimal digits given
    // when the object is created (or read from the file), kept across saves,
    // loads and undo, so that objects made on two copies of one document
    // never share an id.
    QByteArray storeIdentifier() const { return m_storeIdentifier; }

    // Relative to the last save or load.
    bool isInserted() const { return m_live && !m_persisted; }
    bool isUpdated() const { return m_live && m_persisted && m_dirty; }
    bool isDeleted() const { return !m_live && m_persisted; }
    // False once the object has been deleted from its context (it may come
    // back through undo).
    bool isLive() const { return m_live; }

    // Attributes give their value (an invalid QVariant when absent);
    // a to-one relationship gives QVariant::fromValue<HXManagedObject *>, a
    // to-many one QVariant::fromValue<QList<HXManagedObject *>>. An unknown key
    // gives an invalid QVariant.
    QVariant valueForKey(const QString &key) const;
    // Sets an attribute (converted to its type) or a relationship (the same
    // forms valueForKey returns). Unknown keys are ignored with a warning.
    void setValueForKey(const QVariant &value, const QString &key);

    HXManagedObject *objectForKey(const QString &key) const;
    template <typename T>
    T *objectForKey(const QString &key) const
    {
        return static_cast<T *>(objectForKey(key));
    }
    void setObjectForKey(HXManagedObject *object, const QString &key);
    // The members of a to-many relationship, in the order they were added.
    QList<HXManagedObject *> objectsForKey(const QString &key) const;
    // The same members as the entity class they are known to be.
    template <typename T>
    QList<T *> objectsForKeyAs(const QString &key) const
    {
        QList<T *> result;
        const QList<HXManagedObject *> objects = objectsForKey(key);
        result.reserve(objects.size());
        for (HXManagedObject *object : objects)
            result.append(static_cast<T *>(object));
        return result;
    }
    void addObjectForKey(HXManagedObject *object, const QString &key);
    void removeObjectForKey(HXManagedObject *object, const QString &key);

    // Direct access by index into entity()->attributes() / relationships(),
    // for code that walks every property (saving, copying).
    const QVariant &attributeValue(int index) const { return m_attributes[size_t(index)]; }
    HXManagedObject *toOneObject(int index) const { return m_toOne[size_t(index)]; }
    const QList<HXManagedObject *> &toManyObjects(int index) const { return m_toMany[size_t(index)]; }

    // Typed helpers for entity classes.
    QString stringForKey(const QString &key) const { return valueForKey(key).toString(); }
    qint64 integerForKey(const QString &key) const { return valueForKey(key).toLongLong(); }
    bool boolForKey(const QString &key) const { return valueForKey(key).toBool(); }
    double doubleForKey(const QString &key) const { return valueForKey(key).toDouble(); }

    QString entityName() const { return m_entity ? m_entity->name() : QString(); }
    // "<Entity p3> name=... " — for logs and test failures.
    virtual QString description() const;

protected:
    // Called once when the object is first inserted into a context (not when
    // loaded from a store), after the attribute defaults are set.
    virtual void awakeFromInsert() {}

private:
    friend class HXManagedObjectContext;

    const HXEntityDescription *m_entity = nullptr;
    HXManagedObjectContext *m_context = nullptr;
    qint64 m_number = 0;
    QByteArray m_storeIdentifier;
    bool m_live = false;
    bool m_persisted = false;
    bool m_dirty = false;
    std::vector<QVariant> m_attributes;
    std::vector<HXManagedObject *> m_toOne;
    std::vector<QList<HXManagedObject *>> m_toMany;
};

Q_DECLARE_METATYPE(HXManagedObject *)
Q_DECLARE_METATYPE(QList<HXManagedObject *>)
