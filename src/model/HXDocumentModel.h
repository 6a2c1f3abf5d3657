#pragma once

class HXManagedObjectModel;

// The data model of Kea documents ("HXDocumentVersion2"): the request tree,
// key/value rows, environments and their variables. Built once per process.
class HXDocumentModel
{
public:
    static const HXManagedObjectModel &currentModel();
    static constexpr const char *currentVersionIdentifier = "HXDocumentVersion2";
};
