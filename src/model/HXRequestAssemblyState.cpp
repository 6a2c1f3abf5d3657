#include "HXRequestAssemblyState.h"

#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXDynamicValueContext.h"
#include "HXRequest.h"
#include "HXRequestEvaluationContext.h"

namespace {

// The multipart body takes its boundary from the Content-Type of the request
// being evaluated; give it the full header list (inherited rows included).
void installMultipartHeadersEvaluator()
{
    static const bool installed = [] {
        HXBodyMultipartFormDataDynamicValue::setRequestHeadersEvaluator([](HXRequest *request) {
            QList<std::pair<QString, QString>> pairs;
            if (request == nullptr)
                return pairs;
            for (const HXRequestHeaderEntry &entry : request->evaluatedHeadersArrayRevealedEncoding())
                pairs.append({entry.name, entry.value});
            return pairs;
        });
        return true;
    }();
    Q_UNUSED(installed);
}

} // namespace

HXRequestAssemblyState::HXRequestAssemblyState()
    : m_context(HXDynamicValueContext::currentContext()),
      m_requestContext(HXRequestEvaluationContext::currentRequestEvaluationContext())
{
    if (m_context != nullptr)
        m_encoding = m_context->currentStringEncoding();
    if (m_requestContext != nullptr)
        m_header = m_requestContext->header();
}

HXRequestAssemblyState::~HXRequestAssemblyState()
{
    if (m_context != nullptr)
        m_context->setCurrentStringEncoding(m_encoding);
    if (m_requestContext != nullptr)
        m_requestContext->setHeader(m_header);
}

void HXRequestAssemblyState::setEncoding(HXStringEncoding encoding)
{
    if (m_context != nullptr)
        m_context->setCurrentStringEncoding(encoding);
}

void HXRequestAssemblyState::runInRequestContext(HXRequest *request, HXEvaluationDocument *document,
                                                 const std::function<void()> &work)
{
    installMultipartHeadersEvaluator();
    const auto factory = [request, document]() -> HXDynamicValueContextPtr {
        std::shared_ptr<HXRequestEvaluationContext> context;
        if (document != nullptr)
            context = std::make_shared<HXRequestEvaluationContext>(document);
        else
            context = std::make_shared<HXRequestEvaluationContext>(request->managedObjectContext());
        context->setRequest(request);
        return context;
    };
    HXDynamicValueContext::context(factory, work);
}
