#pragma once

#include "HXDynamicValue.h"

#include <optional>

class HXRequest;

// What the two OAuth 1.0 tokens share: the consumer and token secrets as
// archived dynamic strings, the signature method, and signing the request
// being evaluated over a given Authorization header text.
class HXOAuth1DynamicValue : public HXDynamicValue
{
public:
    // Archived dynamic strings.
    QString consumerSecret() const { return stringValue(QStringLiteral("consumerSecret")); }
    void setConsumerSecret(const QString &value) { setValue(QStringLiteral("consumerSecret"), value); }
    QString tokenSecret() const { return stringValue(QStringLiteral("tokenSecret")); }
    void setTokenSecret(const QString &value) { setValue(QStringLiteral("tokenSecret"), value); }
    // "HMAC-SHA1", "RSA-SHA1" (gives no signature) or "PLAINTEXT".
    QString algorithm() const { return stringValue(QStringLiteral("algorithm")); }
    void setAlgorithm(const QString &value) { setValue(QStringLiteral("algorithm"), value); }

    QString displayString() const override;
    // Algorithm: the three method names (no labels).
    std::optional<QVariantList> contentObjectsFor(const QString &property) const override;

protected:
    // The signature of `request` with the evaluated secrets, computed over
    // `authorization` and the rest of the request; none for RSA-SHA1.
    std::optional<QString> signatureWithAuthorization(HXRequest *request, const QString &authorization) const;
};
