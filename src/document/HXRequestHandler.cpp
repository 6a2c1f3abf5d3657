#include "HXRequestHandler.h"

#include "HXDesktopServices.h"
#include "HXDocument.h"
#include "HXHTTPSettings.h"
#include "HXModelLogging.h"
#include "HXNotificationCenter.h"
#include "HXPresenter.h"
#include "HXRequest.h"
#include "HXResponse.h"
#include "HXResponseManager.h"
#include "HXSentRequestLog.h"
#include "HXThreading.h"
#include "HXTrustedCertificates.h"
#include "HXUserDefaults.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QScopeGuard>

#include <cmath>

namespace {

bool soundsEnabled()
{
    return HXUserDefaults::standardUserDefaults().boolForKey(QStringLiteral("HXUserDefaultEnableSounds"));
}

// The scheme and host of an absolute URL ("https://host:port").
QString HTTPBaseURL(const QString &url)
{
    static const QRegularExpression base(QStringLiteral("^([a-z]+://[^/]+).*$"));
    const QRegularExpressionMatch match = base.match(url);
    return match.hasMatch() ? match.captured(1) : QString();
}

} // namespace

HXRequestHandler::HXRequestHandler(HXDocument *document) : m_document(document)
{
    m_responseWriteTimer.setSingleShot(true);
    m_responseWriteTimer.setInterval(responseWriteIntervalMilliseconds);
    connect(&m_responseWriteTimer, &QTimer::timeout, this, &HXRequestHandler::_writeResponsesNow);
}

HXRequestHandler::~HXRequestHandler()
{
    for (auto &[engineRequest, info] : m_requests) {
        engineRequest->clearDelegateAndCancel();
        delete engineRequest;
    }
    if (m_responseWriteTimer.isActive())
        _writeResponsesNow();
}

void HXRequestHandler::_writeResponsesSoon()
{
    if (!isBusy()) {
        _writeResponsesNow();
        return;
    }
    if (!m_responseWriteTimer.isActive())
        m_responseWriteTimer.start();
}

void HXRequestHandler::_writeResponsesNow()
{
    m_responseWriteTimer.stop();
    HXResponseManager::sharedManager()->purgeOldResponses();
}

void HXRequestHandler::sendRequests(const QList<HXRequest *> &requests)
{
    HX_ASSERT_MAIN_THREAD();
    m_batchRequestsCount = int(requests.size());
    m_queuedRequests += requests;
    _handleNextRequestIfNeeded();
}

void HXRequestHandler::_handleNextRequestIfNeeded()
{
    if (!m_requests.empty())
        return;
    if (m_queuedRequests.isEmpty()) {
        if (m_responseWriteTimer.isActive())
            _writeResponsesNow();
        Q_EMIT idle();
        return;
    }
    HXRequest *next = m_queuedRequests.takeFirst();
    _sendRequest(next, std::nullopt);
}

void HXRequestHandler::_sendRequest(HXRequest *request, std::optional<SendInfo> userInfo)
{
    if (request == nullptr || !request->isLive()) {
        _handleNextRequestIfNeeded();
        return;
    }
    HXRequestAssembly assembly = request->assemblyAsSent(m_document.data());
    QString method = request->method();
    QString urlText = assembly.URL ? assembly.URL->toString(QUrl::FullyEncoded) : QString();

    if (userInfo && userInfo->redirectLocation) {
        // A Location is resolved against the URL that answered with it.
        const QString location = *userInfo->redirectLocation;
        const std::optional<QUrl> evaluatedURL = assembly.URL;
        if (location.startsWith(u"http://") || location.startsWith(u"https://")) {
            assembly.URL = QUrl(location);
            assembly.URLText = location;
        } else {
            assembly.URLText.clear();
            const QUrl base = userInfo->redirectBase.isValid() ? userInfo->redirectBase : assembly.URL.value_or(QUrl());
            const QUrl resolved = base.resolved(QUrl(location));
            assembly.URL = resolved.isValid() ? std::optional<QUrl>(resolved)
                                              : std::optional<QUrl>(QUrl(HTTPBaseURL(urlText) + location));
        }
        urlText = assembly.URL->toString(QUrl::FullyEncoded);
        if (!request->redirectAuthorization()) {
            HXRequestHeaderList kept;
            bool removed = false;
            for (const HXRequestHeaderEntry &entry : assembly.headers) {
                if (!removed && HXRequestHeaderList::nameIsLike(entry.name, QStringLiteral("Authorization"))) {
                    removed = true;
                    continue;
                }
                kept.append(entry);
            }
            assembly.headers = kept;
        }
        // Cookies belong to the origin they were written for.
        const auto origin = [](const QUrl &url) {
            return std::tuple(url.scheme().toLower(), url.host().toLower(),
                              url.port(url.scheme() == u"https" ? 443 : 80));
        };
        if (!evaluatedURL || origin(*evaluatedURL) != origin(*assembly.URL)) {
            HXRequestHeaderList kept;
            for (const HXRequestHeaderEntry &entry : assembly.headers) {
                if (!HXRequestHeaderList::nameIsLike(entry.name, QStringLiteral("Cookie")))
                    kept.append(entry);
            }
            assembly.headers = kept;
        }
        if (!request->redirectMethod())
            method = QStringLiteral("GET");
    }

    if (!assembly.URL || !assembly.URL->isValid() || assembly.URL->scheme().isEmpty()) {
        _failBeforeSending(request, HXHTTPRequestURLNotSupportedError(), method, urlText);
        return;
    }

    const QString library =
        HXUserDefaults::standardUserDefaults().stringForKey(QStringLiteral("HXUserDefaultHTTPLibrary"));
    std::unique_ptr<HXHTTPRequest> created = HXHTTPRequest::HTTPLibrary(library).createRequest(*assembly.URL);
    HXHTTPRequest *engineRequest = created.release();
    engineRequest->setParent(this);
    engineRequest->setDelegate(this);
    engineRequest->setURLText(assembly.URLText);
    const HXHTTPSettings settings = HXHTTPSettings::fromUserDefaults(HXUserDefaults::standardUserDefaults());
    engineRequest->setSettings(settings);
    // Large bodies wait in a file beside the response store, which then
    // keeps them by linking that file.
    HXHTTPResponseBodyStorage bodyStorage;
    bodyStorage.memoryLimit = settings.responseMemoryLimit;
    bodyStorage.temporaryDirectory = HXResponseManager::bodiesDirectory();
    engineRequest->setResponseBodyStorage(bodyStorage);

    const QVariant storedTimeout = request->valueForKey(QStringLiteral("timeoutInterval"));
    float timeout = storedTimeout.isValid() ? float(storedTimeout.toDouble()) : 0.0f;
    if (timeout < 0 || std::isnan(timeout))
        timeout = 30.0f;
    if (m_timeoutOverride)
        timeout = float(*m_timeoutOverride);
    engineRequest->setTimeoutInterval(double(timeout));
    if (!method.isEmpty())
        engineRequest->setMethod(method);
    if (!assembly.headers.isEmpty())
        engineRequest->setRequestHeaders(assembly.headers.HTTPHeaderList());
    if (!assembly.bodyData.isEmpty())
        engineRequest->setRequestBodyData(assembly.bodyData);
    engineRequest->setShouldHandleCookies(false);
    engineRequest->setShouldUseCache(false);
    engineRequest->setFollowRedirects(false);
    engineRequest->setIgnoreSSLCertificatesValidation(
        !HXUserDefaults::standardUserDefaults().boolForKey(QStringLiteral("HXUserDefaultValidateSSLCertificates")));

    SendInfo info = userInfo.value_or(SendInfo());
    info.request = request;
    info.startDate = QDateTime::currentDateTimeUtc();
    info.status = StatusNone;
    info.progress = 0.25;
    info.response.reset();
    m_requests.emplace(engineRequest, info);
    setStatus(StatusSending, engineRequest);
    Q_EMIT progressChanged(request, 0.25, false);
    request->saveCompletions();
    engineRequest->start();
}

HXRequestHandler::SendInfo *HXRequestHandler::_info(HXHTTPRequest *engineRequest)
{
    const auto it = m_requests.find(engineRequest);
    return it == m_requests.end() ? nullptr : &it->second;
}

void HXRequestHandler::setStatus(int status, HXHTTPRequest *engineRequest)
{
    SendInfo *info = _info(engineRequest);
    if (info == nullptr)
        return;
    const int oldStatus = info->status;
    info->status = status;
    HXRequest *request = info->request;
    HXNotificationCenter::defaultCenter()->postNotification(
        QStringLiteral("HXRequestDidChangeStatusNotification"), request,
        {{QStringLiteral("status"), status}, {QStringLiteral("oldStatus"), oldStatus}});
    Q_EMIT requestStatusChanged(request, status, oldStatus);
}

void HXRequestHandler::_remove(HXHTTPRequest *engineRequest)
{
    m_requests.erase(engineRequest);
    engineRequest->deleteLater();
}

bool HXRequestHandler::hasRequest(HXRequest *request) const
{
    return HTTPRequestForRequest(request) != nullptr || m_queuedRequests.contains(request);
}

HXHTTPRequest *HXRequestHandler::HTTPRequestForRequest(HXRequest *request) const
{
    for (const auto &[engineRequest, info] : m_requests) {
        if (info.request == request)
            return engineRequest;
    }
    return nullptr;
}

int HXRequestHandler::statusForRequest(HXRequest *request) const
{
    for (const auto &[engineRequest, info] : m_requests) {
        if (info.request == request)
            return info.status;
    }
    return -1;
}

double HXRequestHandler::progressForRequest(HXRequest *request) const
{
    for (const auto &[engineRequest, info] : m_requests) {
        if (info.request == request)
            return info.progress;
    }
    return 0;
}

void HXRequestHandler::stopRequest(HXRequest *request)
{
    QList<HXHTTPRequest *> running;
    for (const auto &[engineRequest, info] : m_requests) {
        if (info.request == request)
            running.append(engineRequest);
    }
    for (HXHTTPRequest *engineRequest : running) {
        engineRequest->clearDelegateAndCancel();
        setStatus(StatusNone, engineRequest);
        _remove(engineRequest);
    }
    m_queuedRequests.removeAll(request);
    Q_EMIT progressChanged(request, 0, true);
    _handleNextRequestIfNeeded();
}

void HXRequestHandler::stopAllRequests()
{
    QList<HXHTTPRequest *> running;
    for (const auto &[engineRequest, info] : m_requests)
        running.append(engineRequest);
    for (HXHTTPRequest *engineRequest : running) {
        HXRequest *request = _info(engineRequest)->request;
        engineRequest->clearDelegateAndCancel();
        setStatus(StatusNone, engineRequest);
        _remove(engineRequest);
        Q_EMIT progressChanged(request, 0, true);
    }
    m_queuedRequests.clear();
    _handleNextRequestIfNeeded();
}

void HXRequestHandler::HTTPRequestDidReceiveResponseHeaders(HXHTTPRequest *engineRequest)
{
    SendInfo *info = _info(engineRequest);
    if (info == nullptr)
        return;
    if (info->response == nullptr) {
        HXResponseManager *store = HXResponseManager::sharedManager();
        std::shared_ptr<HXResponse> response = store->insertNewResponse();
        const QDateTime now = QDateTime::currentDateTimeUtc();
        response->setHeadersData(engineRequest->headersData());
        response->setDate(now);
        response->setResponseTime(double(info->startDate.msecsTo(now)) / 1000.0);
        response->setRequestUUID(info->request->uuid());
        if (m_document != nullptr)
            HXSentRequestLog::logForDocument(m_document)->recordRequest(*response, *engineRequest);
        // Written with its body, in one transaction, when the request ends.
        info->response = response;
    }
    info->progress = 0.5;
    setStatus(StatusReceiving, engineRequest);
    Q_EMIT progressChanged(info->request, 0.5, false);
}

void HXRequestHandler::HTTPRequestDidReceivePartialBodyLength(HXHTTPRequest *engineRequest, qint64 length,
                                                              qint64 totalBytesReceived, qint64 expectedContentLength)
{
    Q_UNUSED(length);
    SendInfo *info = _info(engineRequest);
    if (info == nullptr || expectedContentLength <= 0)
        return;
    info->progress = 0.5 + 0.5 * double(float(totalBytesReceived) / float(expectedContentLength));
    Q_EMIT progressChanged(info->request, info->progress, false);
}

void HXRequestHandler::HTTPRequestFinished(HXHTTPRequest *engineRequest)
{
    SendInfo *found = _info(engineRequest);
    if (found == nullptr)
        return;
    SendInfo info = *found;
    HXRequest *request = info.request;
    std::shared_ptr<HXResponse> response = info.response;
    if (response == nullptr) {
        // An engine that reports no separate head: record it now.
        HTTPRequestDidReceiveResponseHeaders(engineRequest);
        response = _info(engineRequest)->response;
    }
    response->setDownloadTime(double(info.startDate.msecsTo(QDateTime::currentDateTimeUtc())) / 1000.0);
    response->setBody(engineRequest->responseBody());

    const qint64 statusCode = engineRequest->responseStatusCode();
    const QString location = engineRequest->responseHeaders().value(QStringLiteral("Location"));
    // A hop of a redirect chain is not announced: the send is, once, at its
    // last response or its failure.
    const bool redirects = statusCode >= 300 && statusCode <= 399 && request->followRedirects() && !location.isNull();
    if (soundsEnabled() && !redirects) {
        const QString sound = statusCode >= 200 && statusCode <= 299   ? QStringLiteral("complete")
                              : statusCode >= 300 && statusCode <= 399 ? QStringLiteral("message")
                                                                       : QStringLiteral("dialog-warning");
        HXDesktopServices::sharedServices()->playSound(sound);
    }
    const QUrl answeredURL = engineRequest->URL();
    const QString reason = engineRequest->responseStatusReasonPhrase();

    info.progress = 1.0;
    setStatus(StatusFinished, engineRequest);
    _remove(engineRequest);
    Q_EMIT progressChanged(request, 1.0, true);
    // The response is written when this returns, after the next request (or
    // the redirect) is on its way: at once when nothing follows, otherwise
    // with the responses that come in soon after it. Until then the store
    // hands it out as a response not saved yet.
    const auto writeResponse = qScopeGuard([this] { _writeResponsesSoon(); });
    HXNotificationCenter::defaultCenter()->postNotification(
        QStringLiteral("HXRequestDidRecieveNewResponseNotification"), request,
        {{QStringLiteral("HXRequestNotificationNewResponseKey"), QVariant::fromValue(response)}});
    Q_EMIT requestDidReceiveNewResponse(request, response);

    const QVariantMap notificationInfo{{QStringLiteral("type"), QStringLiteral("RequestsSent")},
                                       {QStringLiteral("batchRequestsCount"), m_batchRequestsCount},
                                       {QStringLiteral("requestUUID"), request->uuid()}};
    if (!redirects)
        HXDesktopServices::sharedServices()->deliverNotification(
            request->name(), QStringLiteral("%1 %2 (%3)").arg(statusCode).arg(reason, response->downloadTimeString()),
            notificationInfo);

    if (redirects) {
        if (info.redirectCount >= maximumRedirects) {
            _reportFailure(request,
                           HXHTTPRequestError(HXHTTPRequestErrorCode::TooManyRedirects, tr("Too many redirects")),
                           request->method(), answeredURL.toString());
            _handleNextRequestIfNeeded();
            return;
        }
        SendInfo next = info;
        next.redirectLocation = location;
        next.redirectCount = info.redirectCount + 1;
        next.redirectBase = answeredURL;
        _sendRequest(request, next);
        return;
    }
    _handleNextRequestIfNeeded();
}

QString HXRequestHandler::timeoutHint(const HXError &error, double timeoutInterval)
{
    if (error.domain == HXHTTPRequestErrorDomain && error.code == HXHTTPRequestTimedOutError().code &&
        timeoutInterval < 5)
        return tr("You have probably set a too short timeout: %1 second(s).").arg(timeoutInterval);
    return QString();
}

void HXRequestHandler::_reportFailure(HXRequest *request, const HXError &error, const QString &method,
                                      const QString &url)
{
    const QString hint = timeoutHint(error, m_timeoutOverride.value_or(request->timeoutInterval()));
    const QString informative =
        QStringLiteral("%1%2\n\n%3 %4")
            .arg(error.description, hint.isEmpty() ? QString() : QStringLiteral("\n\n") + hint, method, url);
    HXPresenter::Alert alert;
    alert.message = tr("Kea can't get a response");
    alert.informativeText = informative;
    alert.buttons = {tr("Ok")};
    alert.kind = HXPresenter::AlertKind::RequestFailed;
    alert.document = m_document;
    HXPresenter::sharedPresenter()->presentAlert(alert, {});
    if (soundsEnabled())
        HXDesktopServices::sharedServices()->playSound(QStringLiteral("dialog-error"));
    Q_EMIT requestDidFail(request, error, informative);
    HXDesktopServices::sharedServices()->deliverNotification(
        request->name(), error.description,
        {{QStringLiteral("type"), QStringLiteral("RequestsSent")},
         {QStringLiteral("batchRequestsCount"), m_batchRequestsCount},
         {QStringLiteral("requestUUID"), request->uuid()}});
}

void HXRequestHandler::_failBeforeSending(HXRequest *request, const HXError &error, const QString &method,
                                          const QString &url)
{
    _reportFailure(request, error, method, url);
    _handleNextRequestIfNeeded();
}

void HXRequestHandler::HTTPRequestDidFailWithError(HXHTTPRequest *engineRequest, const HXError &error)
{
    SendInfo *info = _info(engineRequest);
    if (info == nullptr)
        return;
    HXRequest *request = info->request;
    const QString method = engineRequest->method();
    const QString url = engineRequest->URL().toString();
    if (info->response != nullptr) {
        // The head arrived: it is recorded as it came.
        _writeResponsesSoon();
    }
    setStatus(StatusFailed, engineRequest);
    _remove(engineRequest);
    Q_EMIT progressChanged(request, 1.0, true);
    _reportFailure(request, error, method, url);
    _handleNextRequestIfNeeded();
}

void HXRequestHandler::HTTPRequestDidReceiveServerTrustAuthenticationChallenge(
    HXHTTPRequest *engineRequest, const HXServerTrust &trust, const QString &host,
    std::function<void(bool)> completionBlock)
{
    Q_UNUSED(engineRequest);
    // A chain that the system's roots (or the user's extra CA files) vouch
    // for, issued for this host, needs no question.
    // So does a certificate the user chose to always trust for this host.
    if (trust.isTrusted() || HXTrustedCertificates::isTrusted(host, trust.chain.value(0))) {
        completionBlock(true);
        return;
    }
    HXPresenter::Alert alert;
    alert.kind = HXPresenter::AlertKind::ServerTrust;
    alert.document = m_document;
    alert.certificateChain = trust.chain;
    alert.host = host;
    alert.message = tr("Kea can't verify the identity of the remote server \"%1\".").arg(host);
    alert.informativeText = tr("Please review the certificate chain below. You may compromize the informations you "
                               "are sending. Would you like to connect to the remote server anyway?");
    alert.buttons = {tr("Continue"), tr("Cancel")};
    HXPresenter::sharedPresenter()->presentAlert(alert,
                                                 [completionBlock](int button) { completionBlock(button == 0); });
}
