#pragma once

#include "HXDynamicValue.h"

// An Amazon S3 (signature version 2) Authorization header value,
// "AWS <access key id>:<signature>", signed over the request it stands in.
// Yields nothing outside request evaluation.
class HXAmazonS3HeaderDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXAmazonS3HeaderDynamicValue"); }
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
