#pragma once

#include "HXError.h"
#include "HXHTTPHeaderField.h"
#include "HXHTTPResponseBody.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

// Everything one libcurl transfer is set up with, as plain values.
struct HXCurlTransferSettings
{
    enum class Proxy {
        LibraryDefault, // libcurl's own lookup (the proxy environment variables)
        None,
        HTTP, // an HTTP proxy; https URLs go through it by CONNECT
    };

    QByteArray url; // fully encoded
    QByteArray method;
    HXHTTPHeaderList headers; // sent as given, one line each
    QByteArray body;
    QByteArray userAgent;       // used when `headers` has no User-Agent
    double inactivityTimeout{}; // seconds without any traffic; 0 or less: none
    bool handleCookies = false;
    bool verifyCertificates = true;
    bool followRedirects = false;
    Proxy proxy = Proxy::LibraryDefault;
    QByteArray proxyHost;
    int proxyPort = 0;
    // Where the body goes as it arrives, and the most of it (after gzip is
    // inflated) that is taken before the transfer fails.
    HXHTTPResponseBodyStorage bodyStorage;
    qint64 maximumBodyLength = 0; // 0 or less: no limit
};

// What came back: the head of the final response and, at the end, the body
// (decoded) or libcurl's verdict.
struct HXCurlTransferResponse
{
    QByteArray statusLine; // as received, without the line break ("HTTP/2 200")
    long statusCode = 0;
    HXHTTPHeaderList headers; // in received order
    HXHTTPResponseBody body;
    int curlCode = 0; // CURLcode; 0 when the transfer succeeded
    QString errorText;
    // Set when the body could not be stored (the transfer then fails).
    HXError storageError;
};

// Receives a transfer's events on the worker thread.
struct HXCurlTransferObserver
{
    virtual ~HXCurlTransferObserver() = default;
    // The final response's head is complete (interim and followed redirect
    // heads are skipped). `response` holds status line, code and headers.
    virtual void transferDidReceiveHead(const HXCurlTransferResponse &response) = 0;
    // The transfer ended; `response.curlCode` tells how.
    virtual void transferDidComplete(HXCurlTransferResponse response) = 0;
};

// One libcurl multi handle on a thread of its own, shared by every request of
// the libcurl engine, so connections (and name look-ups) are reused between
// requests. Cookies are shared between the transfers that handle them. The
// worker starts on first use and stops when the application object goes away.
class HXCurlMultiWorker
{
public:
    using TransferID = quint64;

    // Queues a transfer; its events go to `observer` on the worker thread.
    static TransferID addTransfer(const HXCurlTransferSettings &settings,
                                  std::shared_ptr<HXCurlTransferObserver> observer);
    // Stops a transfer: no event of it follows once the worker handles this.
    static void cancelTransfer(TransferID transfer);
};
