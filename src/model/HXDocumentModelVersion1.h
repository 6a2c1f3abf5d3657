#pragma once

class HXManagedObjectModel;

// The first version of the document model ("HXDocumentVersion1"), kept so
// that documents written with it can be read and migrated. It differs from
// the current model only in its requests: the body is stored as bytes under
// "bodyData", and requests have no uuid. Its objects are plain managed
// objects (no entity classes). Built once per process.
class HXDocumentModelVersion1
{
public:
    static const HXManagedObjectModel &model();
    static constexpr const char *versionIdentifier = "HXDocumentVersion1";
};
