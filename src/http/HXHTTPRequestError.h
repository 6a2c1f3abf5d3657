#pragma once

#include "HXError.h"

#include <QString>

// The error domain of every HTTP engine ("kestrelworks.Kea.HTTPRequestErrorDomain").
extern const QString HXHTTPRequestErrorDomain;

// The codes of HXHTTPRequestErrorDomain.
enum class HXHTTPRequestErrorCode : qint64 {
    // The server's name could not be resolved (the resolver's error underneath).
    HostNotFound = 0,
    // TLS ended without a certificate chain to judge.
    TLSValidation = 1,
    // The connection closed before the declared Content-Length arrived.
    ClosedTooEarly = 2,
    // The proxy PAC file could not be fetched or evaluated (the cause underneath).
    PACFile = 3,
    // A header name or value, the method or the request target holds a line
    // break or another character that cannot go on the wire.
    UnsafeRequest = 4,
    // The response body (decoded) is longer than the request's maximum.
    ResponseTooLarge = 5,
    // The response body could not be written where it is kept (a full disk,
    // an unwritable folder); the system's reason is in the description.
    ResponseStorage = 6,
    // The server's certificate chain was refused.
    InvalidCertificate = 2894,
    // Not an http or https URL, or one without a host.
    URLNotSupported = 3094,
    // The whole-request time limit ran out.
    TimedOut = 3095,
    // More redirects in a row than the request handler follows.
    TooManyRedirects = 3097,
    // The response cannot be read as HTTP/1.1.
    InvalidResponse = 8495,
};

// An error of HXHTTPRequestErrorDomain with `code`.
HXError HXHTTPRequestError(HXHTTPRequestErrorCode code, const QString &description);
// Whether `error` is of HXHTTPRequestErrorDomain with `code`.
bool HXHTTPRequestErrorIs(const HXError &error, HXHTTPRequestErrorCode code);

// The fixed errors. Each function returns the same object for the whole life
// of the process; engines report these objects, or a copy with the cause
// underneath (errorWithUnderlyingError).
const HXError &HXHTTPRequestTimedOutError();
const HXError &HXHTTPRequestURLNotSupportedError();
const HXError &HXHTTPRequestInvalidResponseError();
const HXError &HXHTTPRequestInvalidCertificateError();
const HXError &HXHTTPRequestTLSValidationError();
const HXError &HXHTTPRequestHostNotFoundError();
const HXError &HXHTTPRequestPACFileError();

// The ResponseTooLarge error for a maximum of `maximumLength` bytes.
HXError HXHTTPRequestResponseTooLargeError(qint64 maximumLength);
// The ResponseStorage error: what failed (`action`, such as "write") on which
// file or folder, with the system's reason for `errorNumber`.
HXError HXHTTPRequestResponseStorageError(const QString &action, const QString &path, int errorNumber);

// `error` (same domain, code and description) with `underlying` attached.
inline HXError errorWithUnderlyingError(const HXError &error, const HXError &underlying)
{
    return error.withUnderlying(underlying);
}
