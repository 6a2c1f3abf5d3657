#include "HXAmazonSigV4HeaderDynamicValue.h"

#include "HXAmazonSigV4Signing.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXRequestEvaluationContext.h"

void HXAmazonSigV4HeaderDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXAmazonSigV4HeaderDynamicValue>();
}

const QList<HXDynamicProperty> &HXAmazonSigV4HeaderDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("accessKeyId"), HXDynamicPropertyType::String},
        {QStringLiteral("secretAccessKey"), HXDynamicPropertyType::String},
        {QStringLiteral("region"), HXDynamicPropertyType::String},
        {QStringLiteral("service"), HXDynamicPropertyType::String},
        {QStringLiteral("sessionToken"), HXDynamicPropertyType::String},
    };
    return keys;
}

void HXAmazonSigV4HeaderDynamicValue::registerDefaultValues()
{
    setAccessKeyId(QString());
    setSecretAccessKey(QString());
    setRegion(QStringLiteral("us-east-1"));
    setService(QString());
    setSessionToken(QString());
}

HXDynamicResult HXAmazonSigV4HeaderDynamicValue::evaluate()
{
    const HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
    if (!context || !context->request())
        return {};
    const HXAmazonSigV4Signing::Credentials credentials{
        HXDynamicValueEngine::evaluateStringAsString(accessKeyId()),
        HXDynamicValueEngine::evaluateStringAsString(secretAccessKey()),
        HXDynamicValueEngine::evaluateStringAsString(region()).trimmed(),
        HXDynamicValueEngine::evaluateStringAsString(service()).trimmed(),
        HXDynamicValueEngine::evaluateStringAsString(sessionToken()),
    };
    const std::optional<QString> header = HXAmazonSigV4Signing::authorizationHeader(context->request(), credentials);
    if (!header)
        return {};
    return *header;
}

QString HXAmazonSigV4HeaderDynamicValue::displayString() const
{
    const QString shownService = HXDynamicValueEngine::displayStringFromString(service());
    const QString shownRegion = HXDynamicValueEngine::displayStringFromString(region());
    if (shownService.isEmpty())
        return localizedName();
    return localizedName() + QLatin1String(": ") + shownService +
           (shownRegion.isEmpty() ? QString() : QLatin1String(" (") + shownRegion + u')');
}
