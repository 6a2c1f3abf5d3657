#pragma once

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

// Kea's XML document store: the objects of a context written as XML.
//
// The output is deterministic — objects by entity name then object number,
// attributes by name, relationship targets by number — so saving an
// unchanged graph gives the same bytes and a one-field change is a one-line
// diff. Each relationship pair is written on one side only (the to-one side
// where there is one); the other side is rebuilt on load. The file ends with
// an <integrity> line holding the SHA-256 of every byte before it, so damage
// is noticed; a file without that line (edited by hand) is still read.
//
// Saving replaces the file atomically: a temporary file in the same folder is
// written, synced and renamed over the original. Loading is strict and all or
// nothing: any problem gives an error naming the file, the line and what is
// wrong, and no objects.
class HXXMLStore
{
public:
    static constexpr const char *errorDomain = "kestrelworks.Kea.DocumentStore";
    enum ErrorCode {
        ReadError = 1,
        MalformedError = 2,
        ForeignFileError = 3,
        ModelMismatchError = 4,
        InvalidContentError = 5,
        IntegrityError = 6,
        WriteError = 10,
    };

    static QByteArray serialize(const HXManagedObjectContext &context);
    // The same bytes handed to `sink` in chunks.
    static void serialize(const HXManagedObjectContext &context, const std::function<void(QByteArrayView)> &sink);
    // Writes the context to `path` atomically and marks its objects saved.
    static HXResult<void> save(HXManagedObjectContext *context, const QString &path);

    static HXResult<std::unique_ptr<HXManagedObjectContext>> load(const QString &path,
                                                                  const HXManagedObjectModel &model);
    // `name` is used in error messages in place of a path.
    static HXResult<std::unique_ptr<HXManagedObjectContext>> loadData(const QByteArray &data, const QString &name,
                                                                      const HXManagedObjectModel &model);
    static HXResult<HXStoreMetadata> readMetadata(const QString &path);

    // Writes `bytes` to `path` through a synced temporary file in the same
    // folder and a rename; keeps the permissions of a file it replaces.
    static HXResult<void> writeFileAtomically(const QString &path, const QByteArray &bytes);
    // The same, with the bytes produced in chunks through the given sink.
    using Producer = std::function<void(const std::function<void(QByteArrayView)> &sink)>;
    static HXResult<void> writeFileAtomically(const QString &path, const Producer &produce);
};
