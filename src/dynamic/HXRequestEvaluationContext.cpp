#include "HXRequestEvaluationContext.h"

#include "HXDocumentResolver.h"
#include "HXEvaluationDocument.h"

HXRequestEvaluationContext::HXRequestEvaluationContext() = default;

HXRequestEvaluationContext::HXRequestEvaluationContext(HXEvaluationDocument *document)
    : m_managedObjectContext(document ? document->managedObjectContext() : nullptr), m_document(document)
{}

HXRequestEvaluationContext::HXRequestEvaluationContext(HXManagedObjectContext *managedObjectContext)
    : m_managedObjectContext(managedObjectContext),
      m_document(managedObjectContext ? HXDocumentResolver::documentWithManagedObjectContext(managedObjectContext)
                                      : nullptr)
{}

HXRequestEvaluationContext *HXRequestEvaluationContext::currentRequestEvaluationContext()
{
    return dynamic_cast<HXRequestEvaluationContext *>(currentContext());
}

HXEvaluationDocument *HXRequestEvaluationContext::currentDocument()
{
    const HXRequestEvaluationContext *context = currentRequestEvaluationContext();
    return context != nullptr ? context->document() : nullptr;
}

void HXRequestEvaluationContext::installDefaultContextFactory()
{
    setDefaultContextFactory([] { return std::make_shared<HXRequestEvaluationContext>(); });
}
