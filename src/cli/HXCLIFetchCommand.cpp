// kea-cli fetch: one request through one of the engines (Kea's own HTTP/1.1
// engine unless --engine says otherwise), printing the response head and then
// the body.

#include "HXCLICommand.h"
#include "HXCLIEngineOption.h"
#include "HXHTTPRequest.h"
#include "HXHTTPSettings.h"
#include "HXUserDefaults.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QUrl>

namespace {

const char fetchUsage[] = "fetch URL [-X METHOD] [-H 'Name: value']... [--data TEXT|@FILE] [--timeout S] "
                          "[--insecure] [--always-send-body] [--proxy-config none|custom|pac|system] "
                          "[--proxy HOST:PORT] [--https-proxy HOST:PORT] [--pac URL] [-o FILE] "
                          "[--engine own|libcurl|qt] [--verbose]";

class FetchDelegate : public HXHTTPRequestDelegate
{
public:
    explicit FetchDelegate(QEventLoop &loop) : m_loop(loop) {}

    void HTTPRequestFinished(HXHTTPRequest *) override
    {
        ended = true;
        m_loop.quit();
    }
    void HTTPRequestDidFailWithError(HXHTTPRequest *, const HXError &failure) override
    {
        ended = true;
        failed = true;
        error = failure;
        m_loop.quit();
    }
    void HTTPRequestDidReceiveServerTrustAuthenticationChallenge(HXHTTPRequest *, const HXServerTrust &trust,
                                                                 const QString &host,
                                                                 std::function<void(bool)> completionBlock) override
    {
        const QList<QSslError> errors = trust.evaluate();
        for (const QSslError &sslError : errors)
            HXCLI::writeErr(QStringLiteral("kea-cli: fetch: %1: %2\n").arg(host, sslError.errorString()));
        completionBlock(errors.isEmpty());
    }

    bool ended = false;
    bool failed = false;
    HXError error;

private:
    QEventLoop &m_loop;
};

// "host:port" into the two settings of a proxy.
bool setProxy(const QString &address, const QString &prefix, QString &problem)
{
    const qsizetype colon = address.lastIndexOf(u':');
    bool ok = false;
    const int port = colon > 0 ? address.mid(colon + 1).toInt(&ok) : 0;
    if (!ok || port <= 0 || port > 65535) {
        problem = QStringLiteral("a proxy is HOST:PORT, not '%1'").arg(address);
        return false;
    }
    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    defaults.setBool(true, prefix + QStringLiteral("Enabled"));
    defaults.setObject(address.left(colon), prefix + QStringLiteral("Host"));
    defaults.setInteger(port, prefix + QStringLiteral("Port"));
    return true;
}

// Keeps the user's HTTP settings for this run but stops writing them back:
// options of one command must not change the stored settings.
void useSettingsForThisRunOnly()
{
    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    if (defaults.settingsFilePath().isEmpty())
        return;
    QVariantMap current;
    for (const QString &key : HXUserDefaults::applicationDefaults().keys()) {
        if (defaults.hasUserValueForKey(key))
            current.insert(key, defaults.objectForKey(key));
    }
    defaults.useSettingsFile(QString());
    for (auto it = current.cbegin(); it != current.cend(); ++it)
        defaults.setObject(it.value(), it.key());
}

int runFetch(const QStringList &arguments)
{
    QString urlText;
    QString method;
    HXHTTPHeaderList headers;
    QByteArray body;
    bool hasBody = false;
    double timeout = 60;
    bool insecure = false;
    QString outputPath;
    QString proxyConfiguration;
    QString httpProxy;
    QString httpsProxy;
    QString pacURL;
    bool alwaysSendBody = false;
    QString engine = HXCLIEngineOption::identifierForName(QStringLiteral("own"));
    bool verbose = false;

    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        auto value = [&](QString &target) {
            if (i + 1 >= arguments.size())
                return false;
            target = arguments.at(++i);
            return true;
        };
        QString text;
        if (argument == u"-X" || argument == u"--request") {
            if (!value(method) || method.isEmpty())
                return HXCLI::usageError(QStringLiteral("fetch: -X needs a method"));
        } else if (argument == u"-H" || argument == u"--header") {
            if (!value(text))
                return HXCLI::usageError(QStringLiteral("fetch: -H needs 'Name: value'"));
            const qsizetype colon = text.indexOf(u':');
            if (colon <= 0)
                return HXCLI::usageError(QStringLiteral("fetch: a header is 'Name: value', not '%1'").arg(text));
            QString headerValue = text.mid(colon + 1);
            while (headerValue.startsWith(u' ') || headerValue.startsWith(u'\t'))
                headerValue.remove(0, 1);
            headers.append({text.left(colon), headerValue});
        } else if (argument == u"-d" || argument == u"--data") {
            if (!value(text))
                return HXCLI::usageError(QStringLiteral("fetch: --data needs TEXT or @FILE"));
            if (text.startsWith(u'@')) {
                QString problem;
                if (!HXCLI::readInput(text.mid(1), body, problem))
                    return HXCLI::usageError(QStringLiteral("fetch: ") + problem);
            } else {
                body = text.toUtf8();
            }
            hasBody = true;
        } else if (argument == u"--timeout") {
            bool ok = false;
            if (!value(text) || (timeout = text.toDouble(&ok), !ok) || timeout < 0)
                return HXCLI::usageError(QStringLiteral("fetch: --timeout needs seconds (0: no limit)"));
        } else if (argument == u"-k" || argument == u"--insecure") {
            insecure = true;
        } else if (argument == u"--always-send-body") {
            alwaysSendBody = true;
        } else if (argument == u"--proxy-config") {
            if (!value(proxyConfiguration))
                return HXCLI::usageError(QStringLiteral("fetch: --proxy-config needs none, custom, pac or system"));
        } else if (argument == u"--proxy") {
            if (!value(httpProxy))
                return HXCLI::usageError(QStringLiteral("fetch: --proxy needs HOST:PORT"));
        } else if (argument == u"--https-proxy") {
            if (!value(httpsProxy))
                return HXCLI::usageError(QStringLiteral("fetch: --https-proxy needs HOST:PORT"));
        } else if (argument == u"--pac") {
            if (!value(pacURL))
                return HXCLI::usageError(QStringLiteral("fetch: --pac needs a URL"));
        } else if (argument == u"--engine") {
            if (!value(text) || (engine = HXCLIEngineOption::identifierForName(text)).isNull())
                return HXCLI::usageError(QStringLiteral("fetch: --engine is ") + HXCLIEngineOption::choices());
        } else if (argument == u"-v" || argument == u"--verbose") {
            verbose = true;
        } else if (argument == u"-o" || argument == u"--output") {
            if (!value(outputPath))
                return HXCLI::usageError(QStringLiteral("fetch: -o needs a file"));
        } else if (argument.startsWith(u'-') && argument.size() > 1) {
            return HXCLI::usageError(QStringLiteral("fetch: unknown option '%1'").arg(argument));
        } else if (urlText.isEmpty()) {
            urlText = argument;
        } else {
            return HXCLI::usageError(QStringLiteral("fetch: more than one URL"));
        }
    }
    if (urlText.isEmpty())
        return HXCLI::usageError(QStringLiteral("usage: kea-cli ") + QString::fromLatin1(fetchUsage));
    const QUrl url(urlText, QUrl::StrictMode);
    if (!url.isValid())
        return HXCLI::usageError(QStringLiteral("fetch: not a valid URL: %1").arg(urlText));

    // Proxy and body options apply to this run only.
    const bool overridesSettings = alwaysSendBody || !proxyConfiguration.isEmpty() || !httpProxy.isEmpty() ||
                                   !httpsProxy.isEmpty() || !pacURL.isEmpty();
    if (overridesSettings) {
        useSettingsForThisRunOnly();
        HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
        if (alwaysSendBody)
            defaults.setBool(true, QStringLiteral("HXUserDefaultHTTPAlwaysSendRequestBody"));
        if (proxyConfiguration.isEmpty())
            proxyConfiguration = !pacURL.isEmpty() ? QStringLiteral("pac") : QStringLiteral("custom");
        const QString configurationKey = QStringLiteral("HXUserDefaultHTTPProxyConfiguration");
        if (proxyConfiguration == u"none") {
            defaults.setObject(QStringLiteral("NoProxy"), configurationKey);
        } else if (proxyConfiguration == u"system") {
            defaults.setObject(QStringLiteral("SystemConfiguration"), configurationKey);
        } else if (proxyConfiguration == u"custom" || proxyConfiguration == u"pac") {
            defaults.setObject(QStringLiteral("Custom"), configurationKey);
            defaults.setBool(proxyConfiguration == u"pac", QStringLiteral("HXUserDefaultHTTPProxyPACEnabled"));
            if (!pacURL.isEmpty())
                defaults.setObject(pacURL, QStringLiteral("HXUserDefaultHTTPProxyPACURL"));
            QString problem;
            if (!httpProxy.isEmpty() &&
                !setProxy(httpProxy, QStringLiteral("HXUserDefaultHTTPProxyHTTPProxy"), problem))
                return HXCLI::usageError(QStringLiteral("fetch: ") + problem);
            if (!httpsProxy.isEmpty() &&
                !setProxy(httpsProxy, QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxy"), problem))
                return HXCLI::usageError(QStringLiteral("fetch: ") + problem);
        } else {
            return HXCLI::usageError(QStringLiteral("fetch: --proxy-config is none, custom, pac or system"));
        }
    }

    QFile output;
    if (!outputPath.isEmpty()) {
        output.setFileName(outputPath);
        if (!output.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return HXCLI::usageError(
                QStringLiteral("fetch: cannot write %1: %2").arg(outputPath, output.errorString()));
    }

    QEventLoop loop;
    FetchDelegate delegate(loop);
    const HXHTTPRequestLibrary &library = HXHTTPRequest::HTTPLibrary(engine);
    if (verbose)
        HXCLI::writeErr(QStringLiteral("kea-cli: fetch: engine %1\n").arg(library.localizedName()));
    const std::unique_ptr<HXHTTPRequest> created = library.createRequest(url);
    HXHTTPRequest &request = *created;
    request.setURLText(urlText);
    const HXHTTPSettings settings = HXHTTPSettings::fromUserDefaults(HXUserDefaults::standardUserDefaults());
    request.setSettings(settings);
    // With -o the body goes to the file as it arrives, never whole into
    // memory; without, a large body waits in a temporary file.
    HXHTTPResponseBodyStorage bodyStorage;
    bodyStorage.memoryLimit = settings.responseMemoryLimit;
    if (output.isOpen()) {
        output.close();
        bodyStorage.outputFile = QFileInfo(outputPath).absoluteFilePath();
    }
    request.setResponseBodyStorage(bodyStorage);
    request.setMethod(!method.isEmpty() ? method : hasBody ? QStringLiteral("POST") : QStringLiteral("GET"));
    request.setRequestHeaders(headers);
    request.setRequestBodyData(body);
    request.setTimeoutInterval(timeout);
    request.setIgnoreSSLCertificatesValidation(insecure);
    request.setDelegate(&delegate);
    request.start();
    if (!delegate.ended)
        loop.exec();

    if (delegate.failed) {
        QString message =
            delegate.error.isNull() ? QStringLiteral("the server closed the connection") : delegate.error.description;
        for (auto cause = delegate.error.underlying; cause; cause = cause->underlying)
            message += QStringLiteral(": ") + cause->description;
        HXCLI::writeErr(QStringLiteral("kea-cli: fetch: %1\n").arg(message.simplified()));
        return HXCLIExitFailure;
    }
    HXCLI::writeServerText(request.headersData());
    // In pieces: a body kept in a file is never read whole.
    const HXHTTPResponseBody &received = request.responseBody();
    constexpr qint64 pieceLength = 1024 * 1024;
    for (qint64 at = 0; bodyStorage.outputFile.isEmpty() && at < received.size(); at += pieceLength) {
        const HXResult<QByteArray> piece = received.read(at, pieceLength);
        if (!piece.ok()) {
            HXCLI::writeErr(QStringLiteral("kea-cli: fetch: %1\n").arg(piece.error().description));
            return HXCLIExitFailure;
        }
        HXCLI::writeServerBody(*piece);
    }
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("fetch"), QString::fromLatin1(fetchUsage),
     QStringLiteral("send one request through one engine; print the response head and body"), runFetch});
