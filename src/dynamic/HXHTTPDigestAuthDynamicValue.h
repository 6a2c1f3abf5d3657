#pragma once

#include "HXDynamicValue.h"

// An HTTP Digest Authorization header value for the request it stands in,
// answering the Digest challenge (WWW-Authenticate) of that request's newest
// 401 response. Username and password are archived dynamic strings. Yields
// nothing outside request evaluation and before the request got a Digest
// challenge; sending once to get the challenge and again to answer it is how
// it is used. Every answer has a fresh client nonce and, for one server
// nonce, a higher nonce count.
class HXHTTPDigestAuthDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXHTTPDigestAuthDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    QString username() const { return stringValue(QStringLiteral("username")); }
    void setUsername(const QString &value) { setValue(QStringLiteral("username"), value); }
    QString password() const { return stringValue(QStringLiteral("password")); }
    void setPassword(const QString &value) { setValue(QStringLiteral("password"), value); }

    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
    // The kind's name, then ": " and the username's display string.
    QString displayString() const override;
};
