#pragma once

#include "HXStringEncoding.h"

#include <functional>

class HXDynamicValueContext;
class HXEvaluationDocument;
class HXKeyValue;
class HXRequest;
class HXRequestEvaluationContext;

// The evaluation state that request assembly changes while it works (the
// current context's string encoding and header row), saved when an
// assembly step starts and restored when it ends. Assembly steps nest (a
// signature value evaluates its own request inside the pass that evaluates
// that request, the multipart body evaluates the headers for its boundary),
// and an inner step must not leave the outer one with its encoding or
// header.
class HXRequestAssemblyState
{
public:
    HXRequestAssemblyState();
    ~HXRequestAssemblyState();
    HXRequestAssemblyState(const HXRequestAssemblyState &) = delete;
    HXRequestAssemblyState &operator=(const HXRequestAssemblyState &) = delete;

    // Sets the current context's string encoding (restored at the end).
    void setEncoding(HXStringEncoding encoding);
    // The header row that was current when the step started.
    HXKeyValue *header() const { return m_header; }

    // Runs `work` in the current evaluation context, or, when none is
    // current, in a new request evaluation context for `document` (the
    // document of the request's store when null) with `request` set.
    static void runInRequestContext(HXRequest *request, HXEvaluationDocument *document,
                                    const std::function<void()> &work);

private:
    HXDynamicValueContext *m_context = nullptr;
    HXRequestEvaluationContext *m_requestContext = nullptr;
    HXStringEncoding m_encoding = HXStringEncoding::UTF8;
    HXKeyValue *m_header = nullptr;
};
