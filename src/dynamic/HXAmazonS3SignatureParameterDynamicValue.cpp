#include "HXAmazonS3SignatureParameterDynamicValue.h"

#include "HXAmazonS3Signing.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXRequestEvaluationContext.h"

void HXAmazonS3SignatureParameterDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXAmazonS3SignatureParameterDynamicValue>();
}

const QList<HXDynamicProperty> &HXAmazonS3SignatureParameterDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("accessKeyId"), HXDynamicPropertyType::String},
        {QStringLiteral("secretAccessKeyId"), HXDynamicPropertyType::String},
    };
    return keys;
}

void HXAmazonS3SignatureParameterDynamicValue::registerDefaultValues()
{
    setAccessKeyId(QString());
    setSecretAccessKeyId(QString());
}

HXDynamicResult HXAmazonS3SignatureParameterDynamicValue::evaluate()
{
    const HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
    if (!context || !context->request())
        return {};
    const std::optional<QString> result = HXAmazonS3Signing::amazonS3SignatureParameterWithAccessKeyId(
        context->request(), HXDynamicValueEngine::evaluateStringAsString(accessKeyId()),
        HXDynamicValueEngine::evaluateStringAsString(secretAccessKeyId()));
    if (!result)
        return {};
    return *result;
}

QString HXAmazonS3SignatureParameterDynamicValue::displayString() const
{
    return localizedName();
}
