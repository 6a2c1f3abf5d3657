#include "HXOAuth2ClientCredentialsDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXOAuth2TokenFetcher.h"
#include "HXRequest.h"
#include "HXRequestEvaluationContext.h"

void HXOAuth2ClientCredentialsDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXOAuth2ClientCredentialsDynamicValue>();
}

const QList<HXDynamicProperty> &HXOAuth2ClientCredentialsDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("tokenURL"), HXDynamicPropertyType::String},
        {QStringLiteral("clientId"), HXDynamicPropertyType::String},
        {QStringLiteral("clientSecret"), HXDynamicPropertyType::String},
        {QStringLiteral("scope"), HXDynamicPropertyType::String},
        {QStringLiteral("credentialsInBody"), HXDynamicPropertyType::Boolean},
    };
    return keys;
}

void HXOAuth2ClientCredentialsDynamicValue::registerDefaultValues()
{
    setTokenURL(QString());
    setClientId(QString());
    setClientSecret(QString());
    setScope(QString());
    setCredentialsInBody(false);
}

HXDynamicResult HXOAuth2ClientCredentialsDynamicValue::evaluate()
{
    HXOAuth2TokenFetcher::Parameters parameters;
    parameters.tokenURL = QUrl(HXDynamicValueEngine::evaluateStringAsString(tokenURL()).trimmed(), QUrl::StrictMode);
    parameters.clientId = HXDynamicValueEngine::evaluateStringAsString(clientId());
    parameters.clientSecret = HXDynamicValueEngine::evaluateStringAsString(clientSecret());
    parameters.scope = HXDynamicValueEngine::evaluateStringAsString(scope()).trimmed();
    parameters.credentialsInBody = credentialsInBody();
    // The request's own time limit bounds the wait for its token too.
    if (const HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
        context && context->request() && context->request()->timeoutInterval() > 0)
        parameters.timeoutSeconds = context->request()->timeoutInterval();
    if (parameters.clientId.isEmpty() || parameters.tokenURL.isEmpty())
        return {};
    const HXResult<HXOAuth2TokenFetcher::Token> token = HXOAuth2TokenFetcher::token(parameters);
    if (!token)
        return {};
    return QString(QStringLiteral("Bearer ") + token->accessToken);
}

QString HXOAuth2ClientCredentialsDynamicValue::displayString() const
{
    const QString shown = HXDynamicValueEngine::displayStringFromString(clientId());
    return shown.isEmpty() ? localizedName() : localizedName() + QLatin1String(": ") + shown;
}
