#include "HXPACScript.h"

#include "HXCurlLibrary.h"
#include "HXHTTPRequest.h"

#include <QDateTime>
#include <QHostAddress>
#include <QHostInfo>
#include <QJSEngine>
#include <QNetworkInterface>
#include <QObject>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

HXError pacError(const QString &cause, qint64 code = qint64(HXPACScript::ErrorCode::Other))
{
    return errorWithUnderlyingError(HXHTTPRequestPACFileError(),
                                    HXError(QString::fromLatin1(HXPACScript::errorDomain), code, cause));
}

size_t appendToBuffer(char *data, size_t size, size_t count, void *userData)
{
    auto *buffer = static_cast<QByteArray *>(userData);
    const size_t length = size * count;
    if (buffer->size() + qsizetype(length) > 8 * 1024 * 1024)
        return 0; // no PAC file is this large
    buffer->append(data, qsizetype(length));
    return length;
}

// Native helpers the script environment calls.
class PACNative : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE QString dnsResolve(const QString &host) const
    {
        QHostAddress literal;
        if (literal.setAddress(host))
            return literal.toString();
        const QHostInfo info = QHostInfo::fromName(host);
        for (const QHostAddress &address : info.addresses()) {
            if (address.protocol() == QAbstractSocket::IPv4Protocol)
                return address.toString();
        }
        return QString();
    }

    Q_INVOKABLE QString myIpAddress() const
    {
        for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
            if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
                return address.toString();
        }
        return QStringLiteral("127.0.0.1");
    }
};

// The standard PAC functions, written for Kea. Times and dates compare the
// local time unless the last argument is "GMT".
const char pacEnvironment[] = R"JS(
function isPlainHostName(host) { return String(host).indexOf('.') < 0; }
function dnsDomainIs(host, domain) {
    host = String(host); domain = String(domain);
    return host.length >= domain.length && host.substring(host.length - domain.length) === domain;
}
function localHostOrDomainIs(host, hostdom) {
    host = String(host); hostdom = String(hostdom);
    if (host === hostdom) return true;
    return host.indexOf('.') < 0 && hostdom.indexOf(host + '.') === 0;
}
function dnsResolve(host) { var a = __kea.dnsResolve(String(host)); return a === '' ? null : a; }
function isResolvable(host) { return dnsResolve(host) !== null; }
function myIpAddress() { return __kea.myIpAddress(); }
function dnsDomainLevels(host) { var m = String(host).match(/\./g); return m ? m.length : 0; }
function __keaIPv4(text) {
    var parts = String(text).split('.');
    if (parts.length !== 4) return null;
    var value = 0;
    for (var i = 0; i < 4; i++) {
        if (!/^\d{1,3}$/.test(parts[i])) return null;
        var n = parseInt(parts[i], 10);
        if (n > 255) return null;
        value = value * 256 + n;
    }
    return value;
}
function isInNet(host, pattern, mask) {
    var address = __keaIPv4(host);
    if (address === null) { var resolved = dnsResolve(host); if (resolved === null) return false; address = __keaIPv4(resolved); }
    var p = __keaIPv4(pattern), m = __keaIPv4(mask);
    if (address === null || p === null || m === null) return false;
    for (var i = 0; i < 4; i++) {
        var shift = Math.pow(256, 3 - i);
        var a = Math.floor(address / shift) % 256, b = Math.floor(p / shift) % 256, c = Math.floor(m / shift) % 256;
        if ((a & c) !== (b & c)) return false;
    }
    return true;
}
function shExpMatch(text, pattern) {
    var source = '';
    pattern = String(pattern);
    for (var i = 0; i < pattern.length; i++) {
        var c = pattern.charAt(i);
        if (c === '*') source += '.*';
        else if (c === '?') source += '.';
        else source += c.replace(/[.+^${}()|[\]\\\/]/g, '\\$&');
    }
    return new RegExp('^' + source + '$').test(String(text));
}
var __keaDays = ['SUN', 'MON', 'TUE', 'WED', 'THU', 'FRI', 'SAT'];
var __keaMonths = ['JAN', 'FEB', 'MAR', 'APR', 'MAY', 'JUN', 'JUL', 'AUG', 'SEP', 'OCT', 'NOV', 'DEC'];
function __keaArgs(args) {
    var list = Array.prototype.slice.call(args);
    var gmt = list.length > 0 && String(list[list.length - 1]).toUpperCase() === 'GMT';
    if (gmt) list.pop();
    return { list: list, gmt: gmt, now: __keaNow() };
}
function __keaNow() { return typeof __keaFixedNow !== 'undefined' ? new Date(__keaFixedNow) : new Date(); }
function __keaInRange(value, low, high) { return low <= high ? (value >= low && value <= high) : (value >= low || value <= high); }
function weekdayRange() {
    var a = __keaArgs(arguments);
    var day = a.gmt ? a.now.getUTCDay() : a.now.getDay();
    var first = __keaDays.indexOf(String(a.list[0]).toUpperCase());
    if (first < 0) return false;
    if (a.list.length < 2) return day === first;
    var last = __keaDays.indexOf(String(a.list[1]).toUpperCase());
    if (last < 0) return false;
    return __keaInRange(day, first, last);
}
function dateRange() {
    var a = __keaArgs(arguments);
    var now = a.now, gmt = a.gmt;
    var cur = { day: gmt ? now.getUTCDate() : now.getDate(), month: gmt ? now.getUTCMonth() : now.getMonth(),
                year: gmt ? now.getUTCFullYear() : now.getFullYear() };
    var parsed = [];
    for (var i = 0; i < a.list.length; i++) {
        var v = a.list[i], month = __keaMonths.indexOf(String(v).toUpperCase());
        if (month >= 0) parsed.push({ kind: 'month', value: month });
        else { var n = parseInt(v, 10); if (isNaN(n)) return false; parsed.push({ kind: n > 31 ? 'year' : 'day', value: n }); }
    }
    if (parsed.length === 1) return cur[parsed[0].kind] === parsed[0].value;
    if (parsed.length !== 2 && parsed.length !== 4 && parsed.length !== 6) return false;
    var half = parsed.length / 2, low = parsed.slice(0, half), high = parsed.slice(half);
    for (var k = 0; k < half; k++) if (low[k].kind !== high[k].kind) return false;
    // Compare as a number made of the fields present, year first.
    function key(fields, source) {
        var order = ['year', 'month', 'day'], total = 0;
        for (var j = 0; j < order.length; j++) {
            var found = null;
            for (var f = 0; f < fields.length; f++) if (fields[f].kind === order[j]) found = fields[f].value;
            if (found !== null) total = total * 100 + found; else if (source) total = total * 100 + source[order[j]];
        }
        return total;
    }
    var lowKey = key(low), highKey = key(high), curKey = key(low.map(function (f) { return { kind: f.kind, value: cur[f.kind] }; }));
    return __keaInRange(curKey, lowKey, highKey);
}
function timeRange() {
    var a = __keaArgs(arguments);
    var now = a.now, gmt = a.gmt;
    var h = gmt ? now.getUTCHours() : now.getHours(), m = gmt ? now.getUTCMinutes() : now.getMinutes(),
        s = gmt ? now.getUTCSeconds() : now.getSeconds();
    var n = a.list.map(function (x) { return parseInt(x, 10); });
    for (var i = 0; i < n.length; i++) if (isNaN(n[i])) return false;
    var cur = h * 3600 + m * 60 + s;
    if (n.length === 1) return h === n[0];
    if (n.length === 2) return n[0] <= n[1] ? (h >= n[0] && h < n[1]) : (h >= n[0] || h < n[1]);
    var low, high;
    if (n.length === 4) { low = n[0] * 3600 + n[1] * 60; high = n[2] * 3600 + n[3] * 60 + 59; }
    else if (n.length === 6) { low = n[0] * 3600 + n[1] * 60 + n[2]; high = n[3] * 3600 + n[4] * 60 + n[5]; }
    else return false;
    return __keaInRange(cur, low, high);
}
)JS";

} // namespace

HXResult<QByteArray> HXPACScript::fetch(const QUrl &pacURL)
{
    if (HXCurlLibrary::load() == nullptr)
        return pacError(QStringLiteral("libcurl could not be loaded: %1").arg(HXCurlLibrary::loadError()));
    static const bool initialised = HXCurlLibrary::api().globalInit(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    if (!initialised)
        return pacError(QStringLiteral("libcurl could not be initialised"));
    CURL *curl = HXCurlLibrary::api().easyInit();
    if (curl == nullptr)
        return pacError(QStringLiteral("libcurl could not be initialised"));
    QByteArray body;
    char errorText[CURL_ERROR_SIZE] = {};
    const QByteArray url = pacURL.toEncoded();
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_URL, url.constData());
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_NOPROXY, "*"); // a PAC file never goes through a proxy
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_MAXREDIRS, 5L);
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_TIMEOUT_MS, long(fetchTimeLimitMs));
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_NOSIGNAL, 1L);
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_ACCEPT_ENCODING, "");
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_PROTOCOLS_STR, "http,https,file");
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_ERRORBUFFER, errorText);
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_WRITEFUNCTION, appendToBuffer);
    HXCurlLibrary::api().easySetopt(curl, CURLOPT_WRITEDATA, &body);
    const CURLcode code = HXCurlLibrary::api().easyPerform(curl);
    long status = 0;
    HXCurlLibrary::api().easyGetinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    HXCurlLibrary::api().easyCleanup(curl);
    if (code != CURLE_OK)
        return pacError(QString::fromUtf8(errorText[0] != '\0' ? errorText : HXCurlLibrary::api().easyStrerror(code)),
                        code);
    if (status >= 400)
        return pacError(QStringLiteral("The server answered with status %1").arg(status), status);
    return body;
}

HXResult<QString> HXPACScript::evaluate(const QString &script, const QUrl &url, int timeLimitMs, const QDateTime &now)
{
    QJSEngine engine;
    PACNative native;
    engine.globalObject().setProperty(QStringLiteral("__kea"), engine.newQObject(&native));
    if (now.isValid())
        engine.globalObject().setProperty(QStringLiteral("__keaFixedNow"), double(now.toMSecsSinceEpoch()));
    QJSEngine::setObjectOwnership(&native, QJSEngine::CppOwnership);

    // A watchdog interrupts a script that runs too long.
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    bool interrupted = false;
    std::thread watchdog([&] {
        std::unique_lock lock(mutex);
        if (!finished.wait_for(lock, std::chrono::milliseconds(timeLimitMs), [&] { return done; })) {
            interrupted = true;
            engine.setInterrupted(true);
        }
    });
    auto stopWatchdog = [&] {
        {
            std::lock_guard lock(mutex);
            done = true;
        }
        finished.notify_all();
        watchdog.join();
    };

    QString failure;
    QString answer;
    const QJSValue environment = engine.evaluate(QString::fromUtf8(pacEnvironment), QStringLiteral("pac-environment"));
    if (environment.isError()) {
        failure = environment.toString();
    } else {
        QStringList thrownAt;
        const QJSValue loaded = engine.evaluate(script, QStringLiteral("proxy.pac"), 1, &thrownAt);
        if (loaded.isError() || !thrownAt.isEmpty()) {
            failure = loaded.toString();
        } else {
            // Called through a wrapper that tells a thrown value from a
            // returned one.
            QJSValue wrapper =
                engine.evaluate(QStringLiteral("(function (u, h) {"
                                               "  if (typeof FindProxyForURL !== 'function') return { ok: false, "
                                               "error: 'The script defines no FindProxyForURL function' };"
                                               "  try { return { ok: true, value: FindProxyForURL(u, h) }; }"
                                               "  catch (e) { return { ok: false, error: String(e) }; } })"));
            const QJSValue result =
                wrapper.call({QJSValue(QString::fromUtf8(url.toEncoded())), QJSValue(url.host(QUrl::FullyEncoded))});
            if (result.isError() || !result.isObject()) {
                failure = result.toString();
            } else if (!result.property(QStringLiteral("ok")).toBool()) {
                failure = result.property(QStringLiteral("error")).toString();
            } else {
                const QJSValue value = result.property(QStringLiteral("value"));
                answer = value.isUndefined() || value.isNull() ? QString() : value.toString();
            }
        }
    }
    stopWatchdog();
    if (interrupted)
        return pacError(QStringLiteral("The PAC script ran longer than %1 ms").arg(timeLimitMs));
    if (!failure.isEmpty())
        return pacError(failure);
    return answer;
}

HXResult<QString> HXPACScript::findProxyForURLWithPACFile(const QUrl &pacURL, const QUrl &url)
{
    const HXResult<QByteArray> file = fetch(pacURL);
    if (!file.ok())
        return file.error();
    return evaluate(QString::fromUtf8(file.value()), url);
}

#include "HXPACScript.moc"
