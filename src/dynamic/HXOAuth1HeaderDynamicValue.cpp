#include "HXOAuth1HeaderDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXNonceDynamicValue.h"
#include "HXOAuth1Signing.h"
#include "HXRequestEvaluationContext.h"
#include "HXTimestampDynamicValue.h"

void HXOAuth1HeaderDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXOAuth1HeaderDynamicValue>();
}

const QList<HXDynamicProperty> &HXOAuth1HeaderDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("consumerKey"), HXDynamicPropertyType::String},
        {QStringLiteral("consumerSecret"), HXDynamicPropertyType::String},
        {QStringLiteral("token"), HXDynamicPropertyType::String},
        {QStringLiteral("tokenSecret"), HXDynamicPropertyType::String},
        {QStringLiteral("callback"), HXDynamicPropertyType::String},
        {QStringLiteral("additionalParameters"), HXDynamicPropertyType::String},
        {QStringLiteral("nonce"), HXDynamicPropertyType::String},
        {QStringLiteral("timestamp"), HXDynamicPropertyType::String},
        {QStringLiteral("algorithm"), HXDynamicPropertyType::String},
    };
    return keys;
}

void HXOAuth1HeaderDynamicValue::registerDefaultValues()
{
    setConsumerKey(QString());
    setConsumerSecret(QString());
    setToken(QString());
    setTokenSecret(QString());
    setCallback(QString());
    setAdditionalParameters(QString());
    setNonce(HXDynamicValue::make<HXNonceDynamicValue>()->archivedString());
    const auto timestampValue = HXDynamicValue::make<HXTimestampDynamicValue>();
    timestampValue->setFormat(HXTimestampDynamicValue::FormatEpochTime);
    setTimestamp(timestampValue->archivedString());
    setAlgorithm(HXOAuth1Signing::HMACSHA1());
}

HXDynamicResult HXOAuth1HeaderDynamicValue::evaluate()
{
    HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
    // Only a header value carries an Authorization header.
    if (!context || !context->header())
        return {};

    QList<std::pair<QString, QString>> parameters = {
        {QStringLiteral("oauth_consumer_key"), HXDynamicValueEngine::evaluateStringAsString(consumerKey())},
        {QStringLiteral("oauth_signature_method"), algorithm()},
        {QStringLiteral("oauth_timestamp"), HXDynamicValueEngine::evaluateStringAsString(timestamp())},
        {QStringLiteral("oauth_nonce"), HXDynamicValueEngine::evaluateStringAsString(nonce())},
        {QStringLiteral("oauth_version"), QStringLiteral("1.0")},
    };
    const QString tokenText = HXDynamicValueEngine::evaluateStringAsString(token());
    if (!tokenText.isEmpty())
        parameters.append({QStringLiteral("oauth_token"), tokenText});
    const QString callbackText = HXDynamicValueEngine::evaluateStringAsString(callback());
    if (!callbackText.isEmpty())
        parameters.append({QStringLiteral("oauth_callback"), callbackText});
    const QString additional = HXDynamicValueEngine::evaluateStringAsString(additionalParameters());
    const auto headerText = [&additional](const QList<std::pair<QString, QString>> &entries) {
        const QString header = HXOAuth1Signing::OAuthAuthorizationHeaderWithParameters(entries);
        return additional.isEmpty() ? header : header + QLatin1String(", ") + additional;
    };

    // The signature covers the unsigned header (so the additional parameters
    // too) and the rest of the request; this token yields nothing inside it.
    if (!context->request())
        return {};
    const std::optional<QString> signature = signatureWithAuthorization(context->request(), headerText(parameters));
    if (!signature)
        return {};
    parameters.append({QStringLiteral("oauth_signature"), *signature});
    return headerText(parameters);
}
