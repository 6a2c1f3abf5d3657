#include "HXAmazonS3HeaderDynamicValue.h"

#include "HXAmazonS3Signing.h"
#include "HXDynamicValueCatalogue.h"

void HXAmazonS3HeaderDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXAmazonS3HeaderDynamicValue>();
}

std::optional<QString> HXAmazonS3HeaderDynamicValue::signedText(HXRequest *request, const QString &accessKeyId,
                                                                const QString &secretAccessKeyId) const
{
    return HXAmazonS3Signing::amazonS3AuthorizationHeaderWithAccessKeyId(request, accessKeyId, secretAccessKeyId);
}
