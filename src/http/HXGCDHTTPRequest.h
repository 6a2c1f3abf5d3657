#pragma once

#include "HXHTTPProxyConfiguration.h"
#include "HXHTTPRequest.h"

#include <QTimer>

#include <memory>

class HXGCDHTTPRequestTransfer;
struct HXGCDHTTPRequestLink;

// Kea's own HTTP/1.1 engine (identifier "GCDHTTPRequest"). It writes the
// request bytes itself, so what the user wrote is what goes on the wire: only
// Host, Connection, User-Agent, Content-Length (and Proxy-Connection in a
// tunnel) are added when missing, after the user's headers. One connection
// serves one request ("Connection: close"). It decides the proxy (none, an
// HTTP proxy with the absolute URL as target, or a CONNECT tunnel), connects,
// runs TLS and lets the delegate judge the server's chain, reads the response
// (by Content-Length, chunked, or until close) and decodes gzip.
//
// The socket and transfer state live on the engine thread
// (HXHTTPEngineThread); this object stays on the main thread, where the time
// limit runs and every callback is delivered.
class HXGCDHTTPRequest : public HXHTTPRequest
{
    Q_OBJECT

public:
    enum ProxyMode {
        ProxyModeDirect = HXHTTPProxyDecision::ProxyModeDirect,
        ProxyModeHTTP = HXHTTPProxyDecision::ProxyModeHTTP,
        ProxyModeHTTPS = HXHTTPProxyDecision::ProxyModeHTTPS,
    };

    explicit HXGCDHTTPRequest(const QUrl &url, QObject *parent = nullptr);
    ~HXGCDHTTPRequest() override;

    QString libraryIdentifier() const override { return QStringLiteral("GCDHTTPRequest"); }
    static QString localizedName();

    // The request bytes: request line, the header list with the missing
    // defaults appended to `headers` (in place), the empty line, the body.
    // Request line and headers are ASCII (other characters become "?").
    static QByteArray HTTPMessageWith(const QUrl &url, const QString &method, HXHTTPHeaderList &headers,
                                      const QByteArray &body, int proxyMode, bool alwaysSendBody = false,
                                      const QString &urlText = QString());
    // The request target of the request line for a proxy mode.
    static QByteArray requestTargetWith(const QUrl &url, int proxyMode);

    // The proxy decision for a URL (see HXHTTPProxyConfiguration).
    static void getProxyConfigurationForURL(const QUrl &url, const HXHTTPSettings &settings,
                                            HXHTTPProxyConfiguration::Callback callback, QObject *callbackQueue);

protected:
    void _start() override;
    void _cancel() override;

private:
    void timeoutFired();
    void restartTimeoutTimer();

    std::shared_ptr<HXGCDHTTPRequestTransfer> m_transfer;
    std::shared_ptr<HXGCDHTTPRequestLink> m_link;
    QTimer m_timeoutTimer;

    friend class HXGCDHTTPRequestTransfer;
};
