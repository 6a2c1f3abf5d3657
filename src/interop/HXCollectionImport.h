#pragma once

#include "HXInteropCollection.h"

#include <QString>
#include <QStringList>

class HXDocument;
class HXRequestGroup;

// What an import did, for the user: counts, and every part of the source
// that was not carried over.
struct HXImportReport
{
    int requests = 0;
    int folders = 0;
    int environments = 0; // added
    int variables = 0;    // added
    QStringList skipped;

    // "Imported 3 requests in 1 folder, 2 variables, 1 environment." and
    // then "Not imported:" with one indented line per skipped part.
    QString text() const;
};

// Adds a collection to a document as one undo step ("Import"): folders and
// requests in their order after the items already in `parent` (null: the
// top level); environments by name (added when missing); every variable the
// texts refer to (added when missing, in every environment, with the
// collection's value or empty; imported environments set their own values).
// "{{name}}" in texts becomes an environment variable token through the
// readable token form. Basic credentials become a {{basic}} Authorization
// header, a bearer token "Bearer ...", url-encoded and multipart fields
// {{form}} and {{multipart}} bodies (file fields {{file}} tokens, paths
// relative to `documentFolder`). Main thread only.
class HXCollectionImport
{
public:
    static HXImportReport importCollection(const HXInteropCollection &collection, HXDocument *document,
                                           HXRequestGroup *parent, const QString &documentFolder);
};
