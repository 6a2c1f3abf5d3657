#pragma once

#include "HXCurlMultiWorker.h"
#include "HXHTTPRequest.h"

#include <QTimer>

#include <memory>

struct HXASIHTTPRequestLink;

// The libcurl engine (identifier "ASIHTTPRequest", shown as "libcurl"). A thin
// adapter: each property becomes one libcurl option, and the transfer runs on
// the shared multi worker (HXCurlMultiWorker), which reuses connections and
// speaks HTTP/2 to servers that offer it by ALPN.
//
// Unlike the own engine it folds the request headers into a dictionary (order
// lost, empty names and values dropped, the last of equal names wins), lets
// libcurl add its own headers, asks for gzip and inflates it, and reports a
// rebuilt response head. It reports no body progress and never asks about a
// server's certificate: with validation on, a certificate libcurl rejects
// ends the request with libcurl's own error. The time limit is one of
// inactivity: it runs out only after that long without any traffic.
class HXASIHTTPRequest : public HXHTTPRequest
{
    Q_OBJECT

public:
    explicit HXASIHTTPRequest(const QUrl &url, QObject *parent = nullptr);
    ~HXASIHTTPRequest() override;

    QString libraryIdentifier() const override { return QStringLiteral("ASIHTTPRequest"); }
    static QString localizedName();

    // The library's cache policy value for shouldUseCache: 4 when the cache
    // may answer, 1 when it may not (libcurl keeps no cache; the value is
    // what the setting reads back from).
    int cachePolicy() const { return shouldUseCache() ? 4 : 1; }
    static bool shouldUseCacheForCachePolicy(int policy) { return policy % 2 == 0; }

    // The domain of libcurl's own errors, which carry the CURLcode.
    static QString curlErrorDomain();
    // A libcurl failure as this engine reports it: a time-out and an unknown
    // host become the fixed errors with libcurl's error underneath; any other
    // failure is libcurl's error unchanged.
    static HXError translatedError(int curlCode, const QString &text);

    // The transfer settings for the current properties and proxy settings
    // (without a PAC file's answer, which start() adds).
    HXCurlTransferSettings transferSettings() const;

protected:
    void _start() override;
    void _cancel() override;

private:
    void startTransfer(const HXCurlTransferSettings &settings);
    void receiveHead(const HXCurlTransferResponse &response);
    void complete(HXCurlTransferResponse response);

    std::shared_ptr<HXASIHTTPRequestLink> m_link;
    HXCurlMultiWorker::TransferID m_transfer = 0;
    QUrl m_PACURL;
    // Bounds the PAC look-up, which runs before the transfer exists.
    QTimer m_lookupTimer;

    friend class HXASIHTTPRequestObserver;
};
