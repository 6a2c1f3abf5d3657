#include "HXAmazonS3SignatureParameterDynamicValue.h"

#include "HXAmazonS3Signing.h"
#include "HXDynamicValueCatalogue.h"

void HXAmazonS3SignatureParameterDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXAmazonS3SignatureParameterDynamicValue>();
}

std::optional<QString> HXAmazonS3SignatureParameterDynamicValue::signedText(HXRequest *request,
                                                                            const QString &accessKeyId,
                                                                            const QString &secretAccessKeyId) const
{
    return HXAmazonS3Signing::amazonS3SignatureParameterWithAccessKeyId(request, accessKeyId, secretAccessKeyId);
}
