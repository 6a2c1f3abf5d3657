#pragma once

#include "HXResult.h"

#include <QCborMap>
#include <QCborValue>
#include <QHash>
#include <QList>

class HXManagedObject;
class HXManagedObjectContext;

// Rebuilds the objects of an HXManagedObjectArchiver archive in an object
// context, every identifier once. The objects are inserted into the context
// (they are new objects there, with the archived attribute values, uuids
// included).
//
// An archive made with another version of an entity, or naming an entity the
// context's model does not have, is refused with "Invalid archived data" and
// nothing of it is left in the context.
class HXManagedObjectUnarchiver
{
public:
    static constexpr const char *errorDomain = "kestrelworks.Kea.ManagedObjectArchive";
    enum class ErrorCode : qint64 {
        // The archive was made with another version of an entity.
        EntityVersionMismatch = 1,
        // The archive names an entity the model does not have, or an
        // abstract one.
        UnknownEntity = 2,
    };

    // The root object of the archive, rebuilt in `context`; null when the
    // archive is not a map or has no root.
    static HXResult<HXManagedObject *> unarchiveObjectWithData(const QByteArray &data, HXManagedObjectContext *context);

    HXManagedObject *objectForIdentifier(const QCborValue &identifier);
    QList<HXManagedObject *> objectsForIdentifiers(const QCborValue &identifiers);

    HXManagedObjectContext *context() const { return m_context; }
    const QCborMap &archivedObjects() const { return m_archivedObjects; }

private:
    HXManagedObjectUnarchiver(HXManagedObjectContext *context, QCborMap archivedObjects);

    HXManagedObjectContext *m_context;
    QCborMap m_archivedObjects;
    QHash<QString, HXManagedObject *> m_unarchivedObjects;
    QList<HXManagedObject *> m_made;
    HXError m_error;
};
