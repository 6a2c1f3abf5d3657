#pragma once

#include "HXManagedObjectArchiver.h"
#include "HXPasteboard.h"
#include "HXResult.h"

class HXManagedObject;
class HXManagedObjectContext;

// How requests and folders travel through a pasteboard: each item holds a
// reference (the object's URI, for pasting into the same document) and a
// self-contained archive (for another document, or after the source is
// gone), under the two types of the object's class:
//
//   HXRequest       "kestrelworks.Kea.PasteboardTypeRequestArchive" / "...RequestURI"
//   HXRequestGroup  "kestrelworks.Kea.PasteboardTypeRequestFolderArchive" / "...RequestFolderURI"
//
// Also the deep copy that paste and duplicate use.
class HXPasteboardManagement
{
public:
    // Reading options (bits).
    enum ReadingOption { ReferenceOnly = 1, CopyFoundObject = 2 };

    // The types of an entity ("HXRequest" or "HXRequestGroup"); empty for
    // other entities.
    static QString archivePasteboardTypeForEntity(const QString &entityName);
    static QString URIPasteboardTypeForEntity(const QString &entityName);
    // All four types.
    static QStringList readableTypes();

    // Which relationships an archive follows: the to-many ones that own
    // their members (children, header and parameter rows). Back references
    // (parent, request) are rebuilt from the owners' side.
    static bool managedObjectShouldArchiveKey(const HXManagedObject *object, const QString &key);
    static HXManagedObjectArchiver::RelationshipBlock archivingBlock();

    // The data of one type for the object: its archive, or its URI text.
    static QByteArray pasteboardPropertyListForType(HXManagedObject *object, const QString &type);
    // One item with both forms of the object.
    static HXPasteboardItem pasteboardItemForObject(HXManagedObject *object);

    // Whether the item offers the entity's reference. Only the reference is
    // looked at on purpose: an item with only the archive form is not
    // reported readable here (paste itself reads archives).
    static bool managedObjectCanReadFromPasteboardItem(const QString &entityName, const HXPasteboardItem &item);

    struct ReadResult
    {
        HXManagedObject *object = nullptr;
        bool usedArchive = false;
        bool isNewObject = false;
    };
    // An object of the entity from the item: the referenced object when it
    // is in `context` (a deep copy of it with CopyFoundObject); else, unless
    // ReferenceOnly, a new object built from the archive. An archive of
    // another entity version is an error; an item with neither form gives
    // no object.
    static HXResult<ReadResult> managedObjectWithPasteboardItem(const QString &entityName, const HXPasteboardItem &item,
                                                                HXManagedObjectContext *context, int options);

    // A new object of the same entity with the same attribute values.
    static HXManagedObject *copyUsingContext(const HXManagedObject *object, HXManagedObjectContext *context);
    // A copy of the object and of everything the block lets the archive
    // reach, each object once. Copies keep every attribute, uuid included.
    static HXResult<HXManagedObject *>
    copyIncludingRelationshipsUsingContext(HXManagedObject *object, HXManagedObjectContext *context,
                                           const HXManagedObjectArchiver::RelationshipBlock &block = archivingBlock());
};
