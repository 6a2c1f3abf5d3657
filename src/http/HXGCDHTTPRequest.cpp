#include "HXGCDHTTPRequest.h"

#include "HXGCDHTTPRequestTransfer.h"
#include "HXHTTPEngineThread.h"
#include "HXHTTPRequestMessage.h"

HXGCDHTTPRequest::HXGCDHTTPRequest(const QUrl &url, QObject *parent)
    : HXHTTPRequest(url, parent), m_link(std::make_shared<HXGCDHTTPRequestLink>())
{
    m_responseStatusCode = 0;
    m_link->front = this;
    m_timeoutTimer.setSingleShot(true);
    connect(&m_timeoutTimer, &QTimer::timeout, this, &HXGCDHTTPRequest::timeoutFired);
}

HXGCDHTTPRequest::~HXGCDHTTPRequest()
{
    m_link->front = nullptr;
    if (m_transfer) {
        // The transfer is released on its own thread, after it stopped.
        HXHTTPEngineThread::post([transfer = std::move(m_transfer)] { transfer->cancel(); });
    }
}

QString HXGCDHTTPRequest::localizedName()
{
    return HXHTTPRequest::HTTPLibrary(QStringLiteral("GCDHTTPRequest")).localizedName();
}

void HXGCDHTTPRequest::_start()
{
    auto transfer = std::make_shared<HXGCDHTTPRequestTransfer>();
    transfer->url = URL();
    transfer->settings = settings();
    transfer->urlText = URLText();
    transfer->method = method();
    transfer->requestHeaders = requestHeaders();
    transfer->requestBody = requestBodyData();
    transfer->ignoreSSLCertificatesValidation = ignoreSSLCertificatesValidation();
    transfer->maximumResponseLength = maximumResponseLength();
    transfer->responseBodyStorage = responseBodyStorage();
    transfer->link = m_link;
    m_transfer = transfer;
    restartTimeoutTimer();
    HXHTTPEngineThread::post([transfer] { transfer->getProxySettingsAndStart(); });
}

void HXGCDHTTPRequest::_cancel()
{
    m_timeoutTimer.stop();
    if (m_transfer)
        HXHTTPEngineThread::post([transfer = m_transfer] { transfer->cancel(); });
}

void HXGCDHTTPRequest::restartTimeoutTimer()
{
    if (hasEnded() || timeoutInterval() <= 0)
        return;
    m_timeoutTimer.start(std::chrono::milliseconds(qint64(timeoutInterval() * 1000.0)));
}

void HXGCDHTTPRequest::timeoutFired()
{
    if (hasEnded() || !m_transfer)
        return;
    HXHTTPEngineThread::post([transfer = m_transfer] { transfer->failWithError(HXHTTPRequestTimedOutError()); });
}

void HXGCDHTTPRequest::getProxyConfigurationForURL(const QUrl &url, const HXHTTPSettings &settings,
                                                   HXHTTPProxyConfiguration::Callback callback, QObject *callbackQueue)
{
    HXHTTPProxyConfiguration::getProxyConfigurationForURL(url, settings, std::move(callback), callbackQueue);
}

QByteArray HXGCDHTTPRequest::requestTargetWith(const QUrl &url, int proxyMode)
{
    return HXHTTPRequestMessage::requestTarget(url, proxyMode);
}

QByteArray HXGCDHTTPRequest::HTTPMessageWith(const QUrl &url, const QString &method, HXHTTPHeaderList &headers,
                                             const QByteArray &body, int proxyMode, bool alwaysSendBody,
                                             const QString &urlText)
{
    return HXHTTPRequestMessage::build(url, method, headers, body, proxyMode, alwaysSendBody, urlText);
}
