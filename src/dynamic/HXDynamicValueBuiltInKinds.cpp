#include "HXDynamicValueCatalogue.h"

#include "HXAmazonS3HeaderDynamicValue.h"
#include "HXAmazonS3SignatureParameterDynamicValue.h"
#include "HXAmazonSigV4HeaderDynamicValue.h"
#include "HXBase64EncodingDynamicValue.h"
#include "HXBasicAuthDynamicValue.h"
#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXCookieDynamicValue.h"
#include "HXEnvironmentVariableDynamicValue.h"
#include "HXFileContentDynamicValue.h"
#include "HXHMACDynamicValue.h"
#include "HXHTTPDigestAuthDynamicValue.h"
#include "HXHashDynamicValue.h"
#include "HXNonceDynamicValue.h"
#include "HXOAuth1HeaderDynamicValue.h"
#include "HXOAuth1SignatureDynamicValue.h"
#include "HXOAuth2ClientCredentialsDynamicValue.h"
#include "HXResponseBodyLengthDynamicValue.h"
#include "HXResponseBodyPathDynamicValue.h"
#include "HXResponseHeaderDynamicValue.h"
#include "HXResponseRawBodyDynamicValue.h"
#include "HXTimestampDynamicValue.h"
#include "HXURLEncodingDynamicValue.h"

// One #include and one registerKind() call per kind built into Kea. Keeping
// the calls here (rather than in static initialisers of the kinds' own files)
// makes the linker keep every kind's object file from the static kea_core
// library.

void HXDynamicValueCatalogue::registerBuiltInKinds()
{
    HXTimestampDynamicValue::registerKind();
    HXNonceDynamicValue::registerKind();
    HXFileContentDynamicValue::registerKind();
    HXURLEncodingDynamicValue::registerKind();
    HXBase64EncodingDynamicValue::registerKind();
    HXHashDynamicValue::registerKind();
    HXHMACDynamicValue::registerKind();
    HXBasicAuthDynamicValue::registerKind();
    HXOAuth1HeaderDynamicValue::registerKind();
    HXOAuth1SignatureDynamicValue::registerKind();
    HXAmazonS3HeaderDynamicValue::registerKind();
    HXAmazonS3SignatureParameterDynamicValue::registerKind();
    HXAmazonSigV4HeaderDynamicValue::registerKind();
    HXHTTPDigestAuthDynamicValue::registerKind();
    HXOAuth2ClientCredentialsDynamicValue::registerKind();
    HXBodyFormKeyValueDynamicValue::registerKind();
    HXBodyMultipartFormDataDynamicValue::registerKind();
    HXEnvironmentVariableDynamicValue::registerKind();
    HXResponseHeaderDynamicValue::registerKind();
    HXResponseRawBodyDynamicValue::registerKind();
    HXResponseBodyPathDynamicValue::registerKind();
    HXResponseBodyLengthDynamicValue::registerKind();
    HXCookieDynamicValue::registerKind();
}
