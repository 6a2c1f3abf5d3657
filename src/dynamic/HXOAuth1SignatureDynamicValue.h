#pragma once

#include "HXOAuth1DynamicValue.h"

// Only the OAuth 1.0 signature of the request it stands in, for headers whose
// other OAuth parameters are written by hand around the token: the signature
// is computed over the rest of that header's value. Yields nothing outside a
// header value of a request.
class HXOAuth1SignatureDynamicValue : public HXOAuth1DynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXOAuth1SignatureDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    // Percent-encode the signature (for use inside oauth_signature="...").
    bool URLEncoded() const { return boolValue(QStringLiteral("URLEncoded")); }
    void setURLEncoded(bool encoded) { setValue(QStringLiteral("URLEncoded"), encoded); }

    // Empty secrets, HMAC-SHA1, URL-encoded.
    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
};
