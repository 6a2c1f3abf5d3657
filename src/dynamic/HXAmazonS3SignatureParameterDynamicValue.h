#pragma once

#include "HXAmazonS3DynamicValue.h"

// The Amazon S3 (signature version 2) signature of a query-string
// authenticated request: the URL carries AWSAccessKeyId, Expires (which takes
// the date's place in what is signed) and Signature with this token. The
// signature is Base64 as it is; wrap the token in a URL-encoding token to
// escape it. Yields nothing outside request evaluation.
class HXAmazonS3SignatureParameterDynamicValue : public HXAmazonS3DynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXAmazonS3SignatureParameterDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }

protected:
    std::optional<QString> signedText(HXRequest *request, const QString &accessKeyId,
                                      const QString &secretAccessKeyId) const override;
};
