#pragma once

#include "HXDynamicValue.h"

// An HTTP Basic Authorization header value: "Basic " and the Base64 of
// "username:password" encoded in the chosen charset.
class HXBasicAuthDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXBasicAuthDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    QString username() const { return stringValue(QStringLiteral("username")); } // an archived dynamic string
    void setUsername(const QString &username) { setValue(QStringLiteral("username"), username); }
    QString password() const { return stringValue(QStringLiteral("password")); } // an archived dynamic string
    void setPassword(const QString &password) { setValue(QStringLiteral("password"), password); }
    QString charset() const { return stringValue(QStringLiteral("charset")); } // IANA name; empty means UTF-8
    void setCharset(const QString &charset) { setValue(QStringLiteral("charset"), charset); }

    void registerDefaultValues() override;
    // Strict encoding: when a character of the credentials cannot be encoded
    // in the charset, the credentials are empty ("Basic ").
    HXDynamicResult evaluate() override;
    // "HTTP Basic Auth", then ": " and the username's display string.
    QString displayString() const override;

    // Charset: the IANA names offered (no labels).
    std::optional<QVariantList> contentObjectsFor(const QString &property) const override;

    // The header value for given credentials (the evaluation above, without
    // tokens).
    static QString authorizationHeaderValue(const QString &username, const QString &password,
                                            HXStringEncoding encoding);

    // The archived dynamic string of a fresh Basic Auth value: the default
    // value of an "Authorization" header.
    static QString archivedDefaultAuthorizationHeaderValue();
};
