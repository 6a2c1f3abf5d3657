#pragma once

#include "HXDynamicValue.h"

// Only the OAuth 1.0 signature of the request it stands in, for headers whose
// other OAuth parameters are written by hand around the token: the signature
// is computed over the rest of that header's value. Yields nothing outside a
// header value of a request.
class HXOAuth1SignatureDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXOAuth1SignatureDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    // Archived dynamic strings.
    QString consumerSecret() const { return stringValue(QStringLiteral("consumerSecret")); }
    void setConsumerSecret(const QString &value) { setValue(QStringLiteral("consumerSecret"), value); }
    QString tokenSecret() const { return stringValue(QStringLiteral("tokenSecret")); }
    void setTokenSecret(const QString &value) { setValue(QStringLiteral("tokenSecret"), value); }
    // "HMAC-SHA1", "RSA-SHA1" (gives no signature) or "PLAINTEXT".
    QString algorithm() const { return stringValue(QStringLiteral("algorithm")); }
    void setAlgorithm(const QString &value) { setValue(QStringLiteral("algorithm"), value); }
    // Percent-encode the signature (for use inside oauth_signature="...").
    bool URLEncoded() const { return boolValue(QStringLiteral("URLEncoded")); }
    void setURLEncoded(bool encoded) { setValue(QStringLiteral("URLEncoded"), encoded); }

    // Empty secrets, HMAC-SHA1, URL-encoded.
    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
    QString displayString() const override;

    // Algorithm: the three method names (no labels).
    std::optional<QVariantList> contentObjectsFor(const QString &property) const override;
};
