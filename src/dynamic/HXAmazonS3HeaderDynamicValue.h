#pragma once

#include "HXAmazonS3DynamicValue.h"

// An Amazon S3 (signature version 2) Authorization header value,
// "AWS <access key id>:<signature>", signed over the request it stands in.
// Yields nothing outside request evaluation.
class HXAmazonS3HeaderDynamicValue : public HXAmazonS3DynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXAmazonS3HeaderDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }

protected:
    std::optional<QString> signedText(HXRequest *request, const QString &accessKeyId,
                                      const QString &secretAccessKeyId) const override;
};
