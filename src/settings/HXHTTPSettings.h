#pragma once

#include <QString>
#include <QStringList>

class HXUserDefaults;

// What an HTTP engine request needs from the user's settings, as a plain
// value: the proxy choice and whether bodies of GET, HEAD, DELETE and
// OPTIONS requests are sent. The creator of a request reads it (usually
// with fromUserDefaults) and hands it over; the engines never read settings.
// The defaults are those of a fresh installation.
struct HXHTTPSettings
{
    // "SystemConfiguration" (the environment's proxies), "Custom" (the
    // fields below) or "NoProxy".
    QString proxyConfiguration = QStringLiteral("SystemConfiguration");
    // With "Custom": a PAC file decides, when enabled.
    bool proxyPACEnabled = false;
    QString proxyPACURL;
    // With "Custom" and no PAC file: fixed proxies for http and https URLs.
    bool HTTPProxyEnabled = false;
    QString HTTPProxyHost = QStringLiteral("localhost");
    int HTTPProxyPort = 8080;
    bool HTTPSProxyEnabled = false;
    QString HTTPSProxyHost = QStringLiteral("localhost");
    int HTTPSProxyPort = 8080;
    bool alwaysSendRequestBody = false;
    // PEM files of CA certificates trusted besides the system's: those of
    // the "HXUserDefaultTLSExtraCAFiles" setting, then those of the
    // KEA_CA_FILES environment variable (both ":"-separated, like curl's
    // --cacert given more than once).
    QStringList extraCAFiles;
    // Response bodies longer than this many bytes are kept in a temporary
    // file instead of memory: the "HXUserDefaultHTTPResponseMemoryLimit"
    // setting when the user set one (negative keeps every body in memory).
    qint64 responseMemoryLimit = qint64(64) * 1024 * 1024;

    bool operator==(const HXHTTPSettings &other) const = default;

    // The one place that knows which settings keys these come from
    // ("HXUserDefaultHTTPProxy...", "HXUserDefaultHTTPAlwaysSendRequestBody").
    static HXHTTPSettings fromUserDefaults(const HXUserDefaults &defaults);
};
