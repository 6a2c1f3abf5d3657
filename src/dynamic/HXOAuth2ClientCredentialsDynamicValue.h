#pragma once

#include "HXDynamicValue.h"

// An OAuth 2.0 access token of the client-credentials grant, as an
// Authorization header value: "Bearer <token>". The token is fetched from
// the token URL when first needed and reused until it expires (see
// HXOAuth2TokenFetcher). Token URL, client id, secret and scope are archived
// dynamic strings. Yields nothing when no token can be had; the reason is
// logged.
class HXOAuth2ClientCredentialsDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXOAuth2ClientCredentialsDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    QString tokenURL() const { return stringValue(QStringLiteral("tokenURL")); }
    void setTokenURL(const QString &value) { setValue(QStringLiteral("tokenURL"), value); }
    QString clientId() const { return stringValue(QStringLiteral("clientId")); }
    void setClientId(const QString &value) { setValue(QStringLiteral("clientId"), value); }
    QString clientSecret() const { return stringValue(QStringLiteral("clientSecret")); }
    void setClientSecret(const QString &value) { setValue(QStringLiteral("clientSecret"), value); }
    QString scope() const { return stringValue(QStringLiteral("scope")); }
    void setScope(const QString &value) { setValue(QStringLiteral("scope"), value); }
    // Send the client's credentials as form fields rather than with Basic
    // authentication.
    bool credentialsInBody() const { return boolValue(QStringLiteral("credentialsInBody")); }
    void setCredentialsInBody(bool value) { setValue(QStringLiteral("credentialsInBody"), value); }

    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
    // The kind's name, then ": " and the client id's display string.
    QString displayString() const override;
};
