#include "HXAmazonS3HeaderDynamicValue.h"

#include "HXAmazonS3Signing.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXRequestEvaluationContext.h"

void HXAmazonS3HeaderDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXAmazonS3HeaderDynamicValue>();
}

const QList<HXDynamicProperty> &HXAmazonS3HeaderDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("accessKeyId"), HXDynamicPropertyType::String},
        {QStringLiteral("secretAccessKeyId"), HXDynamicPropertyType::String},
    };
    return keys;
}

void HXAmazonS3HeaderDynamicValue::registerDefaultValues()
{
    setAccessKeyId(QString());
    setSecretAccessKeyId(QString());
}

HXDynamicResult HXAmazonS3HeaderDynamicValue::evaluate()
{
    const HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
    if (!context || !context->request())
        return {};
    const std::optional<QString> result = HXAmazonS3Signing::amazonS3AuthorizationHeaderWithAccessKeyId(
        context->request(), HXDynamicValueEngine::evaluateStringAsString(accessKeyId()),
        HXDynamicValueEngine::evaluateStringAsString(secretAccessKeyId()));
    if (!result)
        return {};
    return *result;
}

QString HXAmazonS3HeaderDynamicValue::displayString() const
{
    return localizedName();
}
