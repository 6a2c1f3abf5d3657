#include "HXOAuth1SignatureDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXKeyValue.h"
#include "HXOAuth1Signing.h"
#include "HXRequestEvaluationContext.h"
#include "HXStringAdditions.h"

void HXOAuth1SignatureDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXOAuth1SignatureDynamicValue>();
}

const QList<HXDynamicProperty> &HXOAuth1SignatureDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("consumerSecret"), HXDynamicPropertyType::String},
        {QStringLiteral("tokenSecret"), HXDynamicPropertyType::String},
        {QStringLiteral("algorithm"), HXDynamicPropertyType::String},
        {QStringLiteral("URLEncoded"), HXDynamicPropertyType::Boolean},
    };
    return keys;
}

void HXOAuth1SignatureDynamicValue::registerDefaultValues()
{
    setConsumerSecret(QString());
    setTokenSecret(QString());
    setAlgorithm(HXOAuth1Signing::HMACSHA1());
    setURLEncoded(true);
}

HXDynamicResult HXOAuth1SignatureDynamicValue::evaluate()
{
    HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
    if (!context || !context->header() || !context->request())
        return {};
    // The header this token stands in, evaluated again: the token itself
    // contributes nothing there, the parameters written around it remain.
    const QString authorization = HXDynamicValueEngine::evaluateStringAsString(context->header()->value());
    const std::optional<QString> signature = signatureWithAuthorization(context->request(), authorization);
    if (!signature)
        return {};
    if (!URLEncoded())
        return *signature;
    return HXStringAdditions::stringByAddingPercentExcapeUsingEncoding(*signature, HXStringEncoding::UTF8, false);
}
