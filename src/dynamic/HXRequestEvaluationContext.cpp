#include "HXRequestEvaluationContext.h"

#include "HXDocument.h"

HXRequestEvaluationContext::HXRequestEvaluationContext() = default;

HXRequestEvaluationContext::HXRequestEvaluationContext(HXDocument *document)
    : m_managedObjectContext(document ? document->managedObjectContext() : nullptr), m_document(document)
{}

HXRequestEvaluationContext::HXRequestEvaluationContext(HXManagedObjectContext *managedObjectContext)
    : m_managedObjectContext(managedObjectContext),
      m_document(managedObjectContext ? HXDocument::documentWithManagedObjectContext(managedObjectContext) : nullptr)
{}

HXRequestEvaluationContext *HXRequestEvaluationContext::currentRequestEvaluationContext()
{
    return dynamic_cast<HXRequestEvaluationContext *>(currentContext());
}

void HXRequestEvaluationContext::installDefaultContextFactory()
{
    setDefaultContextFactory([] { return std::make_shared<HXRequestEvaluationContext>(); });
}
