#pragma once

#include "HXOAuth1DynamicValue.h"

// A whole OAuth 1.0 Authorization header value ("OAuth oauth_consumer_key=...,
// oauth_signature=..."), signed over the request it stands in. Only a token
// placed in a header value of a request evaluates; anywhere else it yields
// nothing.
class HXOAuth1HeaderDynamicValue : public HXOAuth1DynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXOAuth1HeaderDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    // Archived dynamic strings.
    QString consumerKey() const { return stringValue(QStringLiteral("consumerKey")); }
    void setConsumerKey(const QString &value) { setValue(QStringLiteral("consumerKey"), value); }
    QString token() const { return stringValue(QStringLiteral("token")); }
    void setToken(const QString &value) { setValue(QStringLiteral("token"), value); }
    QString callback() const { return stringValue(QStringLiteral("callback")); }
    void setCallback(const QString &value) { setValue(QStringLiteral("callback"), value); }
    // Appended to the header as it stands, after ", " (for realm="..." and
    // other parameters the server wants).
    QString additionalParameters() const { return stringValue(QStringLiteral("additionalParameters")); }
    void setAdditionalParameters(const QString &value) { setValue(QStringLiteral("additionalParameters"), value); }
    QString nonce() const { return stringValue(QStringLiteral("nonce")); }
    void setNonce(const QString &value) { setValue(QStringLiteral("nonce"), value); }
    QString timestamp() const { return stringValue(QStringLiteral("timestamp")); }
    void setTimestamp(const QString &value) { setValue(QStringLiteral("timestamp"), value); }

    // Empty texts; a nonce token with its defaults; an epoch-seconds
    // timestamp token; HMAC-SHA1.
    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
};
