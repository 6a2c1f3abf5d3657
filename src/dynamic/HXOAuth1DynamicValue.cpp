#include "HXOAuth1DynamicValue.h"

#include "HXDynamicValueEngine.h"
#include "HXOAuth1Signing.h"

QString HXOAuth1DynamicValue::displayString() const
{
    return localizedName();
}

std::optional<QVariantList> HXOAuth1DynamicValue::contentObjectsFor(const QString &property) const
{
    if (property != QLatin1String("Algorithm"))
        return std::nullopt;
    QVariantList names;
    for (const QString &name : HXOAuth1Signing::algorithms())
        names.append(name);
    return names;
}

std::optional<QString> HXOAuth1DynamicValue::signatureWithAuthorization(HXRequest *request,
                                                                        const QString &authorization) const
{
    return HXOAuth1Signing::OAuthSignatureWithConsumerSecret(
        request, HXDynamicValueEngine::evaluateStringAsString(consumerSecret()),
        HXDynamicValueEngine::evaluateStringAsString(tokenSecret()), algorithm(), authorization);
}
