#pragma once

#include "HXError.h"
#include "HXServerTrust.h"

#include <QString>
#include <QtGlobal>

#include <functional>

class HXHTTPRequest;

// Receiver of an engine request's callbacks. Every callback arrives on the
// main thread. A request that was not cancelled ends with exactly one of
// HTTPRequestFinished and HTTPRequestDidFailWithError; after
// clearDelegateAndCancel nothing at all arrives.
class HXHTTPRequestDelegate
{
public:
    virtual ~HXHTTPRequestDelegate() = default;

    // Status line and header fields are known; the body is not read yet.
    virtual void HTTPRequestDidReceiveResponseHeaders(HXHTTPRequest *request) { Q_UNUSED(request); }
    // A piece of the body arrived (reported only when the total is declared).
    virtual void HTTPRequestDidReceivePartialBodyLength(HXHTTPRequest *request, qint64 length,
                                                        qint64 totalBytesReceived, qint64 expectedContentLength)
    {
        Q_UNUSED(request);
        Q_UNUSED(length);
        Q_UNUSED(totalBytesReceived);
        Q_UNUSED(expectedContentLength);
    }
    // The response is complete and decoded.
    virtual void HTTPRequestFinished(HXHTTPRequest *request) = 0;
    // The request ended with `error` (which may be null: a connection closed
    // cleanly where a response was still expected).
    virtual void HTTPRequestDidFailWithError(HXHTTPRequest *request, const HXError &error) = 0;
    // The server's certificate chain must be judged. Call `completionBlock`
    // (on any thread, at most once) with true to go on, false to fail with
    // HXHTTPRequestInvalidCertificateError. The engine's time limit is
    // suspended while the question is open. The default trusts the server.
    virtual void HTTPRequestDidReceiveServerTrustAuthenticationChallenge(HXHTTPRequest *request,
                                                                         const HXServerTrust &trust,
                                                                         const QString &host,
                                                                         std::function<void(bool)> completionBlock)
    {
        Q_UNUSED(request);
        Q_UNUSED(trust);
        Q_UNUSED(host);
        completionBlock(true);
    }
};
