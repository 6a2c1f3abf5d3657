#pragma once

#include "HXDynamicValueContext.h"

class HXEvaluationDocument;
class HXKeyValue;
class HXManagedObjectContext;
class HXRequest;

// The context of a request evaluation: besides cache, guard and encoding it
// tells values which document, request and header they are evaluated for.
// None of the objects is owned; they outlive the evaluation pass.
class HXRequestEvaluationContext : public HXDynamicValueContext
{
public:
    // No document, no request (the default factory's context).
    HXRequestEvaluationContext();
    // The document and its object context.
    explicit HXRequestEvaluationContext(HXEvaluationDocument *document);
    // The object context and the document that owns it, if any.
    explicit HXRequestEvaluationContext(HXManagedObjectContext *managedObjectContext);

    // Installs the default context factory: a plain request evaluation
    // context (no document, no request) for every evaluation started outside
    // a context. Application start-up calls it once.
    static void installDefaultContextFactory();

    // The current context when it is a request evaluation context, else null.
    static HXRequestEvaluationContext *currentRequestEvaluationContext();
    // The document of the current request evaluation context, or null.
    static HXEvaluationDocument *currentDocument();

    HXManagedObjectContext *managedObjectContext() const { return m_managedObjectContext; }
    HXEvaluationDocument *document() const { return m_document; }
    // The request being evaluated (null outside request evaluation).
    HXRequest *request() const { return m_request; }
    void setRequest(HXRequest *request) { m_request = request; }
    // The header row whose value is being evaluated; set by request assembly
    // around each header, null otherwise.
    HXKeyValue *header() const { return m_header; }
    void setHeader(HXKeyValue *header) { m_header = header; }

private:
    HXManagedObjectContext *m_managedObjectContext = nullptr;
    HXEvaluationDocument *m_document = nullptr;
    HXRequest *m_request = nullptr;
    HXKeyValue *m_header = nullptr;
};
