#include "HXASIHTTPRequest.h"

#include "HXCurlLibrary.h"
#include "HXHTTPLogging.h"
#include "HXHTTPProxyConfiguration.h"
#include "HXHTTPRequestMessage.h"

#include <QCoreApplication>

// The main-thread side's address, read and cleared only on the main thread.
struct HXASIHTTPRequestLink
{
    HXASIHTTPRequest *front = nullptr;
};

// Carries the worker's events to the request on the main thread.
class HXASIHTTPRequestObserver : public HXCurlTransferObserver
{
public:
    explicit HXASIHTTPRequestObserver(std::shared_ptr<HXASIHTTPRequestLink> link) : m_link(std::move(link)) {}

    void transferDidReceiveHead(const HXCurlTransferResponse &response) override
    {
        post([response](HXASIHTTPRequest &front) { front.receiveHead(response); });
    }
    void transferDidComplete(HXCurlTransferResponse response) override
    {
        post(
            [response = std::move(response)](HXASIHTTPRequest &front) mutable { front.complete(std::move(response)); });
    }

private:
    void post(std::function<void(HXASIHTTPRequest &)> work)
    {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [link = m_link, work = std::move(work)] {
                if (link->front != nullptr)
                    work(*link->front);
            },
            Qt::QueuedConnection);
    }

    std::shared_ptr<HXASIHTTPRequestLink> m_link;
};

HXASIHTTPRequest::HXASIHTTPRequest(const QUrl &url, QObject *parent)
    : HXHTTPRequest(url, parent), m_link(std::make_shared<HXASIHTTPRequestLink>())
{
    m_link->front = this;
    m_lookupTimer.setSingleShot(true);
    connect(&m_lookupTimer, &QTimer::timeout, this, [this] { notifyFailure(HXHTTPRequestTimedOutError()); });
}

HXASIHTTPRequest::~HXASIHTTPRequest()
{
    m_link->front = nullptr;
    if (m_transfer != 0)
        HXCurlMultiWorker::cancelTransfer(m_transfer);
}

QString HXASIHTTPRequest::localizedName()
{
    return HXHTTPRequest::HTTPLibrary(QStringLiteral("ASIHTTPRequest")).localizedName();
}

QString HXASIHTTPRequest::curlErrorDomain()
{
    return QStringLiteral("libcurl");
}

HXError HXASIHTTPRequest::translatedError(int curlCode, const QString &text)
{
    const HXError libraryError(curlErrorDomain(), curlCode, text);
    // A 401 or 407 is a response like any other here: libcurl is never given
    // credentials, so it never fails for want of them.
    switch (curlCode) {
    case CURLE_OPERATION_TIMEDOUT:
        return errorWithUnderlyingError(HXHTTPRequestTimedOutError(), libraryError);
    case CURLE_COULDNT_RESOLVE_HOST:
        return errorWithUnderlyingError(HXHTTPRequestHostNotFoundError(), libraryError);
    default:
        return libraryError;
    }
}

HXCurlTransferSettings HXASIHTTPRequest::transferSettings() const
{
    HXCurlTransferSettings settings;
    // The absolute URL with the path and query as the user wrote them;
    // libcurl sends them unchanged.
    settings.url = HXHTTPRequestMessage::requestTarget(URL(), HXHTTPProxyDecision::ProxyModeHTTP, URLText());
    settings.method = method().toLatin1();
    const QMap<QString, QString> headers = HXHTTPHeaders::headersDictionaryFromArray(requestHeaders());
    for (auto it = headers.cbegin(); it != headers.cend(); ++it)
        settings.headers.append({it.key(), it.value()});
    settings.body = requestBodyData();
    settings.bodyStorage = responseBodyStorage();
    settings.maximumBodyLength = maximumResponseLength();
    settings.userAgent = defaultUserAgent().toUtf8();
    settings.inactivityTimeout = timeoutInterval();
    settings.handleCookies = shouldHandleCookies();
    settings.verifyCertificates = !ignoreSSLCertificatesValidation();
    settings.followRedirects = followRedirects();

    const QString &configuration = this->settings().proxyConfiguration;
    if (configuration == u"NoProxy" || configuration == u"Custom") {
        QUrl pacURL;
        const HXHTTPProxyDecision decision =
            HXHTTPProxyConfiguration::decisionFromSettings(URL(), this->settings(), &pacURL);
        settings.proxy = decision.proxyMode == HXHTTPProxyDecision::ProxyModeDirect
                             ? HXCurlTransferSettings::Proxy::None
                             : HXCurlTransferSettings::Proxy::HTTP;
        settings.proxyHost = decision.host.toUtf8();
        settings.proxyPort = decision.port;
    }
    // Anything else leaves libcurl's own look-up (the proxy environment
    // variables) in charge.
    return settings;
}

void HXASIHTTPRequest::_start()
{
    const QString scheme = URL().scheme().toLower();
    if (scheme != u"http" && scheme != u"https") {
        notifyFailure(HXHTTPRequestURLNotSupportedError());
        return;
    }
    const HXCurlTransferSettings settings = transferSettings();
    const bool usesPAC = settings.proxy == HXCurlTransferSettings::Proxy::None && this->settings().proxyPACEnabled &&
                         this->settings().proxyConfiguration == u"Custom";
    if (!usesPAC) {
        startTransfer(settings);
        return;
    }
    // The PAC file is fetched and run off the main thread; its answer picks
    // the proxy. A script that answers nothing leaves the request to its
    // time limit.
    if (timeoutInterval() > 0)
        m_lookupTimer.start(std::chrono::milliseconds(qint64(timeoutInterval() * 1000.0)));
    HXHTTPProxyConfiguration::getProxyConfigurationForURL(
        URL(), this->settings(),
        [this, settings](int mode, const QString &host, int port, const HXError &error) {
            m_lookupTimer.stop();
            if (hasEnded())
                return;
            if (!error.isNull()) {
                notifyFailure(errorWithUnderlyingError(HXHTTPRequestPACFileError(), error));
                return;
            }
            HXCurlTransferSettings chosen = settings;
            if (mode != HXHTTPProxyDecision::ProxyModeDirect) {
                chosen.proxy = HXCurlTransferSettings::Proxy::HTTP;
                chosen.proxyHost = host.toUtf8();
                chosen.proxyPort = port;
            }
            startTransfer(chosen);
        },
        this);
}

void HXASIHTTPRequest::startTransfer(const HXCurlTransferSettings &settings)
{
    if (HXCurlLibrary::load() == nullptr) {
        notifyFailure(HXError(curlErrorDomain(), CURLE_FAILED_INIT,
                              tr("libcurl could not be loaded: %1").arg(HXCurlLibrary::loadError())));
        return;
    }
    m_transfer = HXCurlMultiWorker::addTransfer(settings, std::make_shared<HXASIHTTPRequestObserver>(m_link));
}

void HXASIHTTPRequest::_cancel()
{
    m_lookupTimer.stop();
    if (m_transfer != 0)
        HXCurlMultiWorker::cancelTransfer(std::exchange(m_transfer, 0));
}

void HXASIHTTPRequest::receiveHead(const HXCurlTransferResponse &response)
{
    m_responseStatusCode = response.statusCode;
    m_responseStatusLine = QString::fromLatin1(response.statusLine);
    m_responseStatusReasonPhrase = reasonPhraseWithStatusLine(m_responseStatusLine);
    m_responseHeaders = HXHTTPHeaderDictionary();
    for (const HXHTTPHeaderField &field : response.headers)
        m_responseHeaders.insert(field.name, field.value);
    // Rebuilt from the folded fields, under the status line libcurl gave,
    // which names the version really spoken ("HTTP/2 200").
    m_headersData = responseHeadersDataWithStatusCode(m_responseStatusCode, m_responseStatusReasonPhrase,
                                                      m_responseHeaders.fields());
    m_headersData.replace(0, m_headersData.indexOf("\r\n"), response.statusLine);
    notifyResponseHeaders();
}

void HXASIHTTPRequest::complete(HXCurlTransferResponse response)
{
    m_transfer = 0;
    m_responseBody = std::move(response.body);
    if (response.curlCode == CURLE_OK) {
        notifyFinished();
        return;
    }
    qCDebug(lcKeaHttp) << "libcurl request to" << URL().toDisplayString() << "failed:" << response.curlCode
                       << response.errorText;
    notifyFailure(response.storageError.isNull() ? translatedError(response.curlCode, response.errorText)
                                                 : response.storageError);
}
