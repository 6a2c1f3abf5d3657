#pragma once

#include "HXDynamicValue.h"

// An AWS Signature Version 4 Authorization header value, signed over the
// request it stands in (see HXAmazonSigV4Signing for what is signed). Every
// property is an archived dynamic string; the session token is optional.
// Yields nothing outside request evaluation.
class HXAmazonSigV4HeaderDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXAmazonSigV4HeaderDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    QString accessKeyId() const { return stringValue(QStringLiteral("accessKeyId")); }
    void setAccessKeyId(const QString &value) { setValue(QStringLiteral("accessKeyId"), value); }
    QString secretAccessKey() const { return stringValue(QStringLiteral("secretAccessKey")); }
    void setSecretAccessKey(const QString &value) { setValue(QStringLiteral("secretAccessKey"), value); }
    QString region() const { return stringValue(QStringLiteral("region")); }
    void setRegion(const QString &value) { setValue(QStringLiteral("region"), value); }
    QString service() const { return stringValue(QStringLiteral("service")); }
    void setService(const QString &value) { setValue(QStringLiteral("service"), value); }
    QString sessionToken() const { return stringValue(QStringLiteral("sessionToken")); }
    void setSessionToken(const QString &value) { setValue(QStringLiteral("sessionToken"), value); }

    // Region "us-east-1", everything else empty.
    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
    // The kind's name, then ": " and the service and region when set.
    QString displayString() const override;
};
