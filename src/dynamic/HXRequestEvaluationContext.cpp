#include "HXRequestEvaluationContext.h"

HXRequestEvaluationContext::HXRequestEvaluationContext() = default;

HXRequestEvaluationContext *HXRequestEvaluationContext::currentRequestEvaluationContext()
{
    return dynamic_cast<HXRequestEvaluationContext *>(currentContext());
}
