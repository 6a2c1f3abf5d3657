#pragma once

#include "HXResult.h"
#include "HXXMLEntityNames.h"
#include "HXXMLObjectsById.h"
#include "HXXMLScanner.h"
#include "HXXMLStore.h"

#include <vector>

class HXAttributeDescription;
class HXFileStamp;
class HXEntityDescription;
class HXManagedObject;

// Reads a document that the document writer produced into a context, all or
// nothing: the metadata, each object with its attributes, then the
// relationships once every object exists.
class HXXMLStoreReader : private HXXMLScanner
{
public:
    HXXMLStoreReader(const QByteArray &data, const QString &name, const HXManagedObjectModel *model)
        : HXXMLScanner(data, name), m_model(model)
    {}

    // Set when the file ends with a well-formed <integrity> line.
    bool hasIntegrityLine = false;
    HXStoreMetadata metadata;

    // Reads the whole document into `context` (metadata only when null).
    HXResult<void> read(HXManagedObjectContext *context);

    // Reads the <integrity> line older files end with: `present` tells
    // whether there is one, `matches` whether its digest fits the bytes
    // before it. A damaged line is an error.
    static HXResult<void> checkIntegrity(const QByteArray &data, const QString &name, bool *present, bool *matches);
    // Refuses a file with git's conflict markers, naming the first one's line.
    static HXResult<void> checkMergeMarkers(const QByteArray &data, const QString &name);
    // The bytes of the file; `stamp`, when given, receives what the file
    // was when read.
    static HXResult<QByteArray> readWholeFile(const QString &path, HXFileStamp *stamp = nullptr);

private:
    struct PendingLink
    {
        HXManagedObject *object;
        int relationship;
        QByteArrayView target;
        size_t targetHash; // worked out while the bytes are at hand
        const char *position;
    };

    HXResult<void> readMetadata();
    HXResult<void> checkModel(const char *position) const;
    HXResult<void> readObject(const Tag &tag, HXManagedObjectContext *context);
    HXXMLEntityNames *entityNamed(QByteArrayView name);
    HXResult<QVariant> parseValue(const HXAttributeDescription &attribute, const QByteArray &text,
                                  QByteArrayView encoding, const char *position) const;

    const HXManagedObjectModel *m_model;
    std::vector<HXXMLEntityNames> m_entities;
    size_t m_lastEntity = 0;
    // Ids and link targets point into the bytes being read.
    std::vector<PendingLink> m_links;
    // Objects by the id they have in the file.
    HXXMLObjectsById m_objects;
    qint64 m_lastNumber = 0;
};
