#include "HXHTTPRequestError.h"

#include <QCoreApplication>

#include <cstring>

const QString HXHTTPRequestErrorDomain = QStringLiteral("kestrelworks.Kea.HTTPRequestErrorDomain");

namespace {

HXError makeError(HXHTTPRequestErrorCode code, const char *text)
{
    return HXHTTPRequestError(code, QCoreApplication::translate("HXHTTPRequest", text));
}

} // namespace

HXError HXHTTPRequestError(HXHTTPRequestErrorCode code, const QString &description)
{
    return HXError(HXHTTPRequestErrorDomain, qint64(code), description);
}

bool HXHTTPRequestErrorIs(const HXError &error, HXHTTPRequestErrorCode code)
{
    return error.domain == HXHTTPRequestErrorDomain && error.code == qint64(code);
}

const HXError &HXHTTPRequestTimedOutError()
{
    static const HXError error =
        makeError(HXHTTPRequestErrorCode::TimedOut, QT_TRANSLATE_NOOP("HXHTTPRequest", "The request timed out"));
    return error;
}

const HXError &HXHTTPRequestURLNotSupportedError()
{
    static const HXError error =
        makeError(HXHTTPRequestErrorCode::URLNotSupported, QT_TRANSLATE_NOOP("HXHTTPRequest", "URL not supported"));
    return error;
}

const HXError &HXHTTPRequestInvalidResponseError()
{
    static const HXError error =
        makeError(HXHTTPRequestErrorCode::InvalidResponse, QT_TRANSLATE_NOOP("HXHTTPRequest", "Invalid HTTP Response"));
    return error;
}

const HXError &HXHTTPRequestInvalidCertificateError()
{
    static const HXError error =
        makeError(HXHTTPRequestErrorCode::InvalidCertificate,
                  QT_TRANSLATE_NOOP("HXHTTPRequest", "Server uses an invalid SSL Certificate."));
    return error;
}

const HXError &HXHTTPRequestTLSValidationError()
{
    static const HXError error =
        makeError(HXHTTPRequestErrorCode::TLSValidation,
                  QT_TRANSLATE_NOOP("HXHTTPRequest", "Something happened during SSL validation"));
    return error;
}

const HXError &HXHTTPRequestHostNotFoundError()
{
    static const HXError error = makeError(HXHTTPRequestErrorCode::HostNotFound,
                                           QT_TRANSLATE_NOOP("HXHTTPRequest", "Kea can't find the server"));
    return error;
}

const HXError &HXHTTPRequestPACFileError()
{
    static const HXError error =
        makeError(HXHTTPRequestErrorCode::PACFile, QT_TRANSLATE_NOOP("HXHTTPRequest", "Cannot read proxy PAC file"));
    return error;
}

HXError HXHTTPRequestResponseTooLargeError(qint64 maximumLength)
{
    return HXHTTPRequestError(HXHTTPRequestErrorCode::ResponseTooLarge,
                              QCoreApplication::translate("HXHTTPRequest",
                                                          "The response is larger than the maximum of %1 bytes; "
                                                          "raise the maximum response size to receive it.")
                                  .arg(maximumLength));
}

HXError HXHTTPRequestResponseStorageError(const QString &action, const QString &path, int errorNumber)
{
    return HXHTTPRequestError(HXHTTPRequestErrorCode::ResponseStorage,
                              QCoreApplication::translate("HXHTTPRequest",
                                                          "The response body could not be stored (%1 %2: %3); free "
                                                          "disk space or choose another folder.")
                                  .arg(action, path, QString::fromLocal8Bit(std::strerror(errorNumber))));
}
