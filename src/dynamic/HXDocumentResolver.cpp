#include "HXDocumentResolver.h"

#include "HXEvaluationDocument.h"

HXEvaluationDocument *HXDocumentResolver::documentWithManagedObjectContext(const HXManagedObjectContext *context)
{
    const HXDocumentResolver *resolver = sharedResolver();
    if (resolver == nullptr || context == nullptr)
        return nullptr;
    for (HXEvaluationDocument *document : resolver->openDocuments()) {
        if (document->managedObjectContext() == context)
            return document;
    }
    return nullptr;
}
