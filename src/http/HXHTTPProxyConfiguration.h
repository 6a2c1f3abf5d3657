#pragma once

#include "HXError.h"
#include "HXHTTPSettings.h"

#include <QString>
#include <QUrl>

#include <functional>

class QObject;

// The proxy the own engine uses for one URL.
struct HXHTTPProxyDecision
{
    enum ProxyMode {
        ProxyModeDirect = 0,
        ProxyModeHTTP = 1,  // absolute URL in the request line
        ProxyModeHTTPS = 2, // CONNECT tunnel
    };
    int proxyMode = ProxyModeDirect;
    QString host;
    int port = 0;
    HXError error;

    bool operator==(const HXHTTPProxyDecision &other) const
    {
        return proxyMode == other.proxyMode && host == other.host && port == other.port &&
               error.sameKindAs(other.error) && error.description == other.error.description;
    }
};

// Decides the proxy of a URL from the proxy part of an HXHTTPSettings value:
// "NoProxy", "Custom" (fixed HTTP and HTTPS proxies, or a PAC file), or
// anything else, the system's settings (environment variables, libproxy).
class HXHTTPProxyConfiguration
{
public:
    using Callback = std::function<void(int proxyMode, const QString &host, int port, const HXError &error)>;

    // Calls `callback` later on the thread of `callbackContext` with (mode,
    // host, port, error); the error is the cause when a PAC file could not be
    // fetched or run. When a PAC script answers an empty string no callback
    // is made at all.
    static void getProxyConfigurationForURL(const QUrl &url, const HXHTTPSettings &settings, Callback callback,
                                            QObject *callbackContext);

    // The decision from the settings, when it needs no PAC file; else sets
    // `pacURL` (an invalid URL gives a direct decision).
    static HXHTTPProxyDecision decisionFromSettings(const QUrl &url, const HXHTTPSettings &settings, QUrl *pacURL);
    // Reads a PAC answer ("PROXY host:port; DIRECT"): its first entry decides.
    static HXHTTPProxyDecision decisionFromPACResult(const QString &result, const QUrl &url);
};
