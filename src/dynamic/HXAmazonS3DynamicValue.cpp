#include "HXAmazonS3DynamicValue.h"

#include "HXDynamicValueEngine.h"
#include "HXRequestEvaluationContext.h"

const QList<HXDynamicProperty> &HXAmazonS3DynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("accessKeyId"), HXDynamicPropertyType::String},
        {QStringLiteral("secretAccessKeyId"), HXDynamicPropertyType::String},
    };
    return keys;
}

void HXAmazonS3DynamicValue::registerDefaultValues()
{
    setAccessKeyId(QString());
    setSecretAccessKeyId(QString());
}

HXDynamicResult HXAmazonS3DynamicValue::evaluate()
{
    const HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
    if (!context || !context->request())
        return {};
    const std::optional<QString> result =
        signedText(context->request(), HXDynamicValueEngine::evaluateStringAsString(accessKeyId()),
                   HXDynamicValueEngine::evaluateStringAsString(secretAccessKeyId()));
    if (!result)
        return {};
    return *result;
}

QString HXAmazonS3DynamicValue::displayString() const
{
    return localizedName();
}
