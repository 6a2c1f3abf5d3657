#pragma once

#include "HXResult.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUrl>

// Proxy auto-configuration: fetching a PAC file and running its
// FindProxyForURL(url, host) with the standard helper functions
// (isPlainHostName, dnsDomainIs, localHostOrDomainIs, isResolvable, isInNet,
// dnsResolve, myIpAddress, dnsDomainLevels, shExpMatch, weekdayRange,
// dateRange, timeRange). Blocking: run it on a worker thread.
class HXPACScript
{
public:
    // The domain of the causes under HXHTTPRequestPACFileError. Their code
    // is libcurl's when the fetch failed, the HTTP status when the server
    // refused the file, and ErrorCode::Other for everything else (libcurl not
    // usable, a script that throws, runs too long or answers nothing).
    static constexpr const char *errorDomain = "kestrelworks.Kea.PACScript";
    enum class ErrorCode : qint64 {
        Other = 0,
    };

    // Longest a script may run before it is interrupted.
    static constexpr int evaluationTimeLimitMs = 5000;
    // Longest the fetch of a PAC file may take.
    static constexpr int fetchTimeLimitMs = 10000;

    // Fetches the file (http, https or file URL) directly, never through a
    // proxy. Failures are HXHTTPRequestPACFileError with the cause underneath.
    static HXResult<QByteArray> fetch(const QUrl &pacURL);
    // Runs FindProxyForURL of `script` for `url`; the answer string as given.
    // `now`, when valid, replaces the clock for the date and time functions.
    static HXResult<QString> evaluate(const QString &script, const QUrl &url, int timeLimitMs = evaluationTimeLimitMs,
                                      const QDateTime &now = {});
    // fetch, then evaluate.
    static HXResult<QString> findProxyForURLWithPACFile(const QUrl &pacURL, const QUrl &url);
};
