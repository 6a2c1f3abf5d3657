#pragma once

#include "HXDynamicValue.h"

// The Amazon S3 (signature version 2) signature of a query-string
// authenticated request: the URL carries AWSAccessKeyId, Expires (which takes
// the date's place in what is signed) and Signature with this token. The
// signature is Base64 as it is; wrap the token in a URL-encoding token to
// escape it. Yields nothing outside request evaluation.
class HXAmazonS3SignatureParameterDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXAmazonS3SignatureParameterDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    // Archived dynamic strings. (The secret's property name is historical.)
    QString accessKeyId() const { return stringValue(QStringLiteral("accessKeyId")); }
    void setAccessKeyId(const QString &value) { setValue(QStringLiteral("accessKeyId"), value); }
    QString secretAccessKeyId() const { return stringValue(QStringLiteral("secretAccessKeyId")); }
    void setSecretAccessKeyId(const QString &value) { setValue(QStringLiteral("secretAccessKeyId"), value); }

    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
    QString displayString() const override;
};
