#include "HXHTTPDigestAuthDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXHTTPDigestAuth.h"
#include "HXHTTPProxyConfiguration.h"
#include "HXHTTPRequestMessage.h"
#include "HXRequest.h"
#include "HXRequestEvaluationContext.h"
#include "HXResponse.h"
#include "HXResponseProvider.h"

#include <QHash>

namespace {

// Each answer to one nonce counts up, so that a server that refuses a
// repeated count accepts every send.
int nextNonceCount(const HXHTTPDigestAuth::Challenge &challenge)
{
    static QHash<QString, int> counts;
    if (counts.size() > 1000)
        counts.clear();
    return ++counts[challenge.realm + QChar(0) + challenge.nonce];
}

} // namespace

void HXHTTPDigestAuthDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXHTTPDigestAuthDynamicValue>();
}

const QList<HXDynamicProperty> &HXHTTPDigestAuthDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("username"), HXDynamicPropertyType::String},
        {QStringLiteral("password"), HXDynamicPropertyType::String},
    };
    return keys;
}

void HXHTTPDigestAuthDynamicValue::registerDefaultValues()
{
    setUsername(QString());
    setPassword(QString());
}

HXDynamicResult HXHTTPDigestAuthDynamicValue::evaluate()
{
    const HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
    HXResponseProvider *provider = HXResponseProvider::sharedProvider();
    if (!context || !context->request() || !provider)
        return {};
    HXRequest *request = context->request();
    const std::shared_ptr<HXResponse> challenged = provider->lastResponseForRequestWithStatusCode(request, 401);
    if (!challenged)
        return {};
    const std::optional<HXHTTPDigestAuth::Challenge> challenge =
        HXHTTPDigestAuth::digestChallenge(challenged->headerValueForName(QStringLiteral("WWW-Authenticate")));
    if (!challenge)
        return {};
    const HXRequestAssembly assembly = request->assemblyAsSent(context->document());
    if (!assembly.URL)
        return {};
    // The uri must be the request target exactly as the request line has it.
    const QString target = QString::fromLatin1(
        HXHTTPRequestMessage::requestTarget(*assembly.URL, HXHTTPProxyDecision::ProxyModeDirect, assembly.URLText));
    return HXHTTPDigestAuth::authorizationHeader(*challenge, HXDynamicValueEngine::evaluateStringAsString(username()),
                                                 HXDynamicValueEngine::evaluateStringAsString(password()),
                                                 request->method(), target, HXHTTPDigestAuth::makeClientNonce(),
                                                 assembly.bodyData, nextNonceCount(*challenge));
}

QString HXHTTPDigestAuthDynamicValue::displayString() const
{
    const QString shown = HXDynamicValueEngine::displayStringFromString(username());
    return shown.isEmpty() ? localizedName() : localizedName() + QLatin1String(": ") + shown;
}
