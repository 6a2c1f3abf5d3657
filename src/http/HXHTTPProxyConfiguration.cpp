#include "HXHTTPProxyConfiguration.h"

#include "HXHTTPLogging.h"
#include "HXPACScript.h"

#include <QHostAddress>
#include <QNetworkProxyFactory>
#include <QObject>
#include <QPointer>
#include <QThreadPool>

namespace {

HXHTTPProxyDecision direct()
{
    return {};
}

HXHTTPProxyDecision proxyFor(const QUrl &url, const QString &host, int port)
{
    HXHTTPProxyDecision decision;
    const QString scheme = url.scheme().toLower();
    decision.proxyMode = scheme == u"https" ? HXHTTPProxyDecision::ProxyModeHTTPS : HXHTTPProxyDecision::ProxyModeHTTP;
    decision.host = host;
    decision.port = port;
    return decision;
}

// This machine itself, which the desktop's proxy settings leave out by
// default; asking the system (libproxy and its back ends) costs more than a
// whole loopback request.
bool isLoopbackHost(const QString &host)
{
    if (host.compare(u"localhost", Qt::CaseInsensitive) == 0 || host.endsWith(u".localhost", Qt::CaseInsensitive))
        return true;
    const QHostAddress address(host);
    return !address.isNull() && address.isLoopback();
}

} // namespace

HXHTTPProxyDecision HXHTTPProxyConfiguration::decisionFromSettings(const QUrl &url, const HXHTTPSettings &settings,
                                                                   QUrl *pacURL)
{
    const QString scheme = url.scheme().toLower();
    if (settings.proxyConfiguration == u"NoProxy")
        return direct();
    if (settings.proxyConfiguration == u"Custom") {
        if (settings.proxyPACEnabled) {
            const QUrl pac(settings.proxyPACURL);
            if (pac.isValid() && !pac.scheme().isEmpty() && pacURL != nullptr)
                *pacURL = pac;
            return direct();
        }
        HXHTTPProxyDecision decision;
        if (scheme == u"http" && settings.HTTPProxyEnabled) {
            decision.proxyMode = HXHTTPProxyDecision::ProxyModeHTTP;
            decision.host = settings.HTTPProxyHost;
            decision.port = settings.HTTPProxyPort;
        } else if (scheme == u"https" && settings.HTTPSProxyEnabled) {
            decision.proxyMode = HXHTTPProxyDecision::ProxyModeHTTPS;
            decision.host = settings.HTTPSProxyHost;
            decision.port = settings.HTTPSProxyPort;
        }
        return decision;
    }
    // The system's settings: the first proxy listed decides.
    if (isLoopbackHost(url.host()))
        return direct();
    const QList<QNetworkProxy> proxies = QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url));
    if (proxies.isEmpty())
        return direct();
    const QNetworkProxy &first = proxies.first();
    if (first.type() != QNetworkProxy::HttpProxy || first.hostName().isEmpty())
        return direct();
    return proxyFor(url, first.hostName(), first.port());
}

HXHTTPProxyDecision HXHTTPProxyConfiguration::decisionFromPACResult(const QString &result, const QUrl &url)
{
    const QString entry = result.section(u';', 0, 0).simplified();
    const QString kind = entry.section(u' ', 0, 0).toUpper();
    const QString address = entry.section(u' ', 1, 1);
    if ((kind != u"PROXY" && kind != u"HTTP" && kind != u"HTTPS") || address.isEmpty())
        return direct();
    // host:port, or [v6]:port; the port defaults to 80.
    QString host = address;
    int port = 80;
    const qsizetype colon = address.lastIndexOf(u':');
    if (colon > 0 && !address.endsWith(u']')) {
        bool ok = false;
        const int parsed = address.mid(colon + 1).toInt(&ok);
        if (ok) {
            host = address.left(colon);
            port = parsed;
        }
    }
    if (host.startsWith(u'[') && host.endsWith(u']'))
        host = host.mid(1, host.size() - 2);
    return proxyFor(url, host, port);
}

void HXHTTPProxyConfiguration::getProxyConfigurationForURL(const QUrl &url, const HXHTTPSettings &settings,
                                                           Callback callback, QObject *callbackContext)
{
    QUrl pacURL;
    const HXHTTPProxyDecision decision = decisionFromSettings(url, settings, &pacURL);
    if (!pacURL.isValid()) {
        QMetaObject::invokeMethod(
            callbackContext,
            [callback = std::move(callback), decision] {
                callback(decision.proxyMode, decision.host, decision.port, decision.error);
            },
            Qt::QueuedConnection);
        return;
    }
    // Fetching and running the script block: they go to a worker, and the
    // answer comes back to the caller's thread.
    QPointer<QObject> context(callbackContext);
    QThreadPool::globalInstance()->start(
        [url, pacURL, callback = std::move(callback), context]() mutable {
            const HXResult<QString> result = HXPACScript::findProxyForURLWithPACFile(pacURL, url);
            if (context.isNull())
                return;
            if (!result.ok()) {
                qCWarning(lcKeaHttp) << "PAC file" << pacURL.toDisplayString()
                                     << "failed:" << result.error().description;
                QMetaObject::invokeMethod(
                    context.data(), [callback, error = result.error()] { callback(0, QString(), 0, error); },
                    Qt::QueuedConnection);
                return;
            }
            if (result.value().trimmed().isEmpty())
                return; // no answer: the request ends by its time-out
            const HXHTTPProxyDecision decision = decisionFromPACResult(result.value(), url);
            QMetaObject::invokeMethod(
                context.data(),
                [callback, decision] { callback(decision.proxyMode, decision.host, decision.port, decision.error); },
                Qt::QueuedConnection);
        },
        1);
}
