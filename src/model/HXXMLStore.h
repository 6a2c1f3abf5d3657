#pragma once

#include "HXAtomicFile.h"
#include "HXFileStamp.h"
#include "HXResult.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class HXManagedObjectContext;
class HXManagedObjectModel;

// What a store file says about itself.
struct HXStoreMetadata
{
    QString storeUUID;
    QStringList versionIdentifiers;
    QMap<QString, QByteArray> entityVersionHashes;
};

// Kea's XML document store: the objects of a context written as XML
// (HXXMLStoreWriter), read back (HXXMLStoreReader) and saved through
// HXAtomicFile.
//
// The format and its order are described at HXXMLStoreWriter: ids that do
// not collide, one line per attribute, each object's lines together, so that
// documents diff and merge well under git.
//
// Saving replaces the file atomically: a temporary file in the same folder is
// written, synced and renamed over the original. Loading is strict and all or
// nothing: any problem gives an error naming the file, the line and what is
// wrong, and no objects.
class HXXMLStore
{
public:
    static constexpr const char *errorDomain = "kestrelworks.Kea.DocumentStore";
    // Codes of the domain, scoped by the class so callers compare them with
    // HXError::code directly.
    enum ErrorCode : qint64 {
        ReadError = 1,           // the file cannot be opened or read
        MalformedError = 2,      // not well-formed XML, or truncated
        ForeignFileError = 3,    // well-formed, but not a Kea document
        ModelMismatchError = 4,  // written with a model Kea does not know
        InvalidContentError = 5, // dangling references, duplicate ids, wrong value types
        IntegrityError = 6,      // the integrity line of an older file is damaged
        MergeConflictError = 7,  // the file holds git merge markers
        WriteError = 10,         // the file cannot be written
        ChangedOnDiskError = 11, // another program changed the file since it was read
    };

    static QByteArray serialize(const HXManagedObjectContext &context);
    // The same bytes handed to `sink` in chunks.
    static void serialize(const HXManagedObjectContext &context, const std::function<void(QByteArrayView)> &sink);
    // Writes the context to `path` atomically and marks its objects saved.
    // `attributes` are on the file from the moment it replaces the old one;
    // `written`, when given, receives the stamp of the file written.
    static HXResult<void> save(HXManagedObjectContext *context, const QString &path,
                               const HXAtomicFile::Attributes &attributes = {}, HXFileStamp *written = nullptr);

    // `stamp`, when given, receives the stamp of the file as it was read;
    // `changedOutsideKea`, whether a checksum in the file did not match.
    static HXResult<std::unique_ptr<HXManagedObjectContext>> load(const QString &path,
                                                                  const HXManagedObjectModel &model,
                                                                  HXFileStamp *stamp = nullptr,
                                                                  bool *changedOutsideKea = nullptr);
    // `name` is used in error messages in place of a path.
    static HXResult<std::unique_ptr<HXManagedObjectContext>> loadData(const QByteArray &data, const QString &name,
                                                                      const HXManagedObjectModel &model,
                                                                      bool *changedOutsideKea = nullptr);
    static HXResult<HXStoreMetadata> readMetadata(const QString &path);

    static HXError error(ErrorCode code, const QString &text);
};
