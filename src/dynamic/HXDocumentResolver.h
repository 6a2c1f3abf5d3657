#pragma once

#include "HXInstalledInstance.h"

#include <QList>

class HXEvaluationDocument;
class HXManagedObjectContext;

// Where values find the open documents (to resolve an archived reference to
// a request or a variable, or the document of an object store): the
// document controller installs itself here when it is created. Without one
// no document is open.
class HXDocumentResolver
{
public:
    virtual ~HXDocumentResolver() = default;
    // Open documents, the frontmost first.
    virtual QList<HXEvaluationDocument *> openDocuments() const = 0;

    static HXDocumentResolver *sharedResolver() { return HXInstalledInstance<HXDocumentResolver>::get(); }
    static void setSharedResolver(HXDocumentResolver *resolver)
    {
        HXInstalledInstance<HXDocumentResolver>::set(resolver);
    }

    // The open document whose store is `context`, or null.
    static HXEvaluationDocument *documentWithManagedObjectContext(const HXManagedObjectContext *context);
};
