#include "HXGCDHTTPRequestTransfer.h"

#include "HXGCDHTTPRequest.h"
#include "HXHTTPEngineThread.h"
#include "HXHTTPLogging.h"
#include "HXHTTPProxyConfiguration.h"

#include <QCoreApplication>
#include <QSslSocket>

#include <atomic>
#include <utility>

namespace {

// Progress reaches the main thread at most this often: waking it for every
// socket read costs a large body a context switch per read.
constexpr qint64 progressReportIntervalMilliseconds = 50;

enum WriteTag : long {
    TagRequest = 0,
    TagConnectRequest = 1,
    TagConnectResponseHead = 2,
};

} // namespace

void HXGCDHTTPRequestTransfer::postToFront(std::function<void(HXGCDHTTPRequest &)> work, bool urgent)
{
    m_postsToFront.push_back(std::move(work));
    if (urgent && !m_postsToFrontScheduled) {
        m_postsToFrontScheduled = true;
        HXHTTPEngineThread::post([self = shared_from_this()] { self->sendPostsToFront(); });
    }
}

void HXGCDHTTPRequestTransfer::sendPostsToFront()
{
    m_postsToFrontScheduled = false;
    if (m_postsToFront.empty())
        return;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [link = link, works = std::exchange(m_postsToFront, {})] {
            // Each piece may end the request, so the front is looked up
            // before every one, as if they had been posted one by one.
            for (const auto &work : works)
                if (link->front != nullptr)
                    work(*link->front);
        },
        Qt::QueuedConnection);
}

void HXGCDHTTPRequestTransfer::getProxySettingsAndStart()
{
    if (isFinal())
        return;
    status = StatusProxyLookup;
    // Settings alone decide unless a PAC script has to run: then at once,
    // without a turn of the loop.
    QUrl pacURL;
    const HXHTTPProxyDecision decided = HXHTTPProxyConfiguration::decisionFromSettings(url, settings, &pacURL);
    if (!pacURL.isValid()) {
        proxyDecided(decided.proxyMode, decided.host, decided.port, decided.error);
        return;
    }
    std::weak_ptr<HXGCDHTTPRequestTransfer> weak = shared_from_this();
    HXGCDHTTPRequest::getProxyConfigurationForURL(
        url, settings,
        [weak](int mode, const QString &host, int port, const HXError &error) {
            if (std::shared_ptr<HXGCDHTTPRequestTransfer> self = weak.lock())
                self->proxyDecided(mode, host, port, error);
        },
        HXHTTPEngineThread::context());
}

void HXGCDHTTPRequestTransfer::proxyDecided(int mode, const QString &host, int port, const HXError &error)
{
    if (isFinal())
        return;
    if (!error.isNull()) {
        // PAC failures arrive already wrapped; other causes are wrapped here.
        failWithError(error.sameKindAs(HXHTTPRequestPACFileError())
                          ? error
                          : errorWithUnderlyingError(HXHTTPRequestPACFileError(), error));
        return;
    }
    proxyMode = mode;
    if (mode == HXGCDHTTPRequest::ProxyModeHTTP || mode == HXGCDHTTPRequest::ProxyModeHTTPS) {
        connectionHost = host;
        connectionPort = quint16(qBound(0, port, 65535));
    }
    createRequestAndStart();
}

void HXGCDHTTPRequestTransfer::createRequestAndStart()
{
    const QString scheme = url.scheme().toLower();
    if (scheme == u"http") {
        useSecureConnection = false;
    } else if (scheme == u"https") {
        useSecureConnection = true;
    } else {
        failWithError(HXHTTPRequestURLNotSupportedError());
        return;
    }
    if (proxyMode == HXGCDHTTPRequest::ProxyModeDirect) {
        connectionPort = quint16(url.port(useSecureConnection ? 443 : 80));
        connectionHost = url.host();
    }
    if (useSecureConnection)
        connectionSSLPeerName = url.host();
    if (connectionHost.isEmpty() || connectionPort == 0 || url.host().isEmpty()) {
        failWithError(HXHTTPRequestURLNotSupportedError());
        return;
    }
    socketMiddleware.reset(new HXGCDAsyncSocketMiddleware(this));
    reader = std::make_unique<HXHTTPResponseReader>(socketMiddleware.get(), this, method);
    reader->setMaximumBodyLength(maximumResponseLength);
    reader->setBodyStorage(responseBodyStorage);
    const HXResult<void> connecting =
        socketMiddleware->connectToHost(connectionHost, connectionPort, useSecureConnection);
    if (!connecting.ok()) {
        failWithError(connecting.error());
        return;
    }
    if (useSecureConnection && proxyMode != HXGCDHTTPRequest::ProxyModeHTTPS)
        setupSecureTLSConnection();
}

void HXGCDHTTPRequestTransfer::writeHTTPRequestAndReadResponseHeaders()
{
    status = StatusWritingRequest;
    // After a CONNECT tunnel the request itself is an origin-form one.
    const int messageMode = proxyMode == HXGCDHTTPRequest::ProxyModeHTTP ? proxyMode : 0;
    const QByteArray message = HXGCDHTTPRequest::HTTPMessageWith(url, method, requestHeaders, requestBody, messageMode,
                                                                 settings.alwaysSendRequestBody, urlText);
    // The headers as sent, defaults included, go with the head.
    postToFront([headers = requestHeaders](HXGCDHTTPRequest &front) { front.setRequestHeaders(headers); }, false);
    socketMiddleware->writeData(message, TagRequest);
}

void HXGCDHTTPRequestTransfer::writeConnectRequest()
{
    HXHTTPHeaderList headers;
    for (const HXHTTPHeaderField &field : requestHeaders) {
        if (field.name.compare(u"Connection", Qt::CaseInsensitive) == 0 ||
            field.name.compare(u"User-Agent", Qt::CaseInsensitive) == 0 ||
            field.name.compare(u"Host", Qt::CaseInsensitive) == 0)
            headers.append(field);
    }
    const QByteArray message = HXGCDHTTPRequest::HTTPMessageWith(url, QStringLiteral("CONNECT"), headers, QByteArray(),
                                                                 HXGCDHTTPRequest::ProxyModeHTTPS);
    socketMiddleware->writeData(message, TagConnectRequest);
}

void HXGCDHTTPRequestTransfer::failWithError(const HXError &given)
{
    if (isFinal())
        return;
    HXError error = given;
    if (error.domain == HXGCDAsyncSocketMiddleware::socketErrorDomain() &&
        error.code == QAbstractSocket::HostNotFoundError)
        error = errorWithUnderlyingError(HXHTTPRequestHostNotFoundError(), given);
    status = StatusFailed;
    qCDebug(lcKeaHttp) << "request to" << url.toDisplayString() << "failed:" << error.description;
    HXHTTPResponseBody partial = reader ? std::move(reader->body()) : HXHTTPResponseBody();
    postToFront([error, partial = std::move(partial)](HXGCDHTTPRequest &front) mutable {
        front.m_timeoutTimer.stop();
        front.m_responseBody = std::move(partial);
        front.notifyFailure(error);
    });
    // The front learns the outcome before the socket is closed, so that it
    // can go on with its next request while this thread tidies up.
    sendPostsToFront();
    if (socketMiddleware)
        socketMiddleware->clearDelegateAndDisconnect();
    deferCleanup();
}

void HXGCDHTTPRequestTransfer::deferCleanup()
{
    HXHTTPEngineThread::post([self = shared_from_this()] { self->cleanup(); });
}

void HXGCDHTTPRequestTransfer::cancel()
{
    if (isFinal())
        return;
    status = StatusCancelled;
    cleanup();
}

void HXGCDHTTPRequestTransfer::cleanup()
{
    if (socketMiddleware)
        socketMiddleware->clearDelegateAndDisconnect();
    reader.reset();
    socketMiddleware.reset();
}

void HXGCDHTTPRequestTransfer::trustAnswered(bool accepted)
{
    if (isFinal())
        return;
    if (accepted)
        writeHTTPRequestAndReadResponseHeaders();
    else
        failWithError(HXHTTPRequestInvalidCertificateError());
}

void HXGCDHTTPRequestTransfer::socketMiddlewareDidConnectToHost(HXGCDAsyncSocketMiddleware *, const QString &, quint16)
{
    if (proxyMode == HXGCDHTTPRequest::ProxyModeHTTPS)
        writeConnectRequest();
    else if (!useSecureConnection)
        writeHTTPRequestAndReadResponseHeaders();
    // Otherwise TLS is already queued behind the connect.
}

void HXGCDHTTPRequestTransfer::socketMiddlewareDidSecure(HXGCDAsyncSocketMiddleware *middleware)
{
    const QList<QSslCertificate> chain = middleware->peerCertificateChain();
    if (chain.isEmpty()) {
        failWithError(HXHTTPRequestTLSValidationError());
        return;
    }
    if (ignoreSSLCertificatesValidation) {
        writeHTTPRequestAndReadResponseHeaders();
        return;
    }
    // The delegate judges the chain on the main thread, with the time
    // limit suspended while it does.
    HXServerTrust trust{chain, connectionSSLPeerName, settings.extraCAFiles};
    std::weak_ptr<HXGCDHTTPRequestTransfer> weak = shared_from_this();
    std::shared_ptr<HXGCDHTTPRequestLink> frontLink = link;
    postToFront([trust, weak, frontLink](HXGCDHTTPRequest &front) {
        front.m_timeoutTimer.stop();
        auto answered = std::make_shared<std::atomic_bool>(false);
        auto completion = [weak, frontLink, answered](bool accepted) {
            if (answered->exchange(true))
                return;
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [weak, frontLink, accepted] {
                    if (frontLink->front != nullptr)
                        frontLink->front->restartTimeoutTimer();
                    HXHTTPEngineThread::post([weak, accepted] {
                        if (std::shared_ptr<HXGCDHTTPRequestTransfer> self = weak.lock())
                            self->trustAnswered(accepted);
                    });
                },
                Qt::QueuedConnection);
        };
        if (!front.notifyServerTrustChallenge(trust, trust.host, completion))
            completion(true);
    });
}

void HXGCDHTTPRequestTransfer::socketMiddlewareDidWriteDataWithTag(HXGCDAsyncSocketMiddleware *middleware, long tag)
{
    if (tag == TagConnectRequest) {
        middleware->readDataToEmptyLine(nullptr, TagConnectResponseHead, HXHTTPResponseHead::maximumLength);
    } else if (tag == TagRequest && status == StatusWritingRequest) {
        status = StatusReadingHead;
        reader->readResponseHead();
    }
}

void HXGCDHTTPRequestTransfer::socketMiddlewareDidReadDataToBuffer(HXGCDAsyncSocketMiddleware *, QByteArray &buffer,
                                                                   qsizetype rangeStart, qsizetype rangeLength,
                                                                   long tag)
{
    if (tag == TagConnectResponseHead) {
        // The proxy's answer is not examined: TLS tells whether the
        // tunnel works.
        setupSecureTLSConnection();
        return;
    }
    if (reader)
        reader->socketMiddlewareDidReadDataToBuffer(buffer, rangeStart, rangeLength, tag);
}

void HXGCDHTTPRequestTransfer::socketMiddlewareDidDisconnectWithError(HXGCDAsyncSocketMiddleware *,
                                                                      const HXError &error)
{
    if (isFinal())
        return;
    if (reader && status >= StatusReadingHead) {
        reader->socketMiddlewareDidDisconnectWithError(error);
        return;
    }
    const bool clean = error.isNull() || HXGCDAsyncSocketMiddleware::isRemoteCloseError(error);
    failWithError(clean ? HXError() : error);
}

void HXGCDHTTPRequestTransfer::responseReaderDidReceiveHead()
{
    status = StatusReadingBody;
    const HXHTTPResponseHead &head = reader->head();
    postToFront([head, headersData = reader->headersData()](HXGCDHTTPRequest &front) {
        front.m_responseStatusCode = head.statusCode;
        front.m_responseStatusLine = head.statusLine;
        front.m_responseStatusReasonPhrase = HXHTTPRequest::reasonPhraseWithStatusLine(head.statusLine);
        front.m_responseHeaders = head.headerFields;
        front.m_headersData = headersData;
        front.notifyResponseHeaders();
    });
}

void HXGCDHTTPRequestTransfer::responseReaderDidReceivePartialBody(qint64 length, qint64 totalBytesReceived,
                                                                   qint64 expectedContentLength)
{
    // Pieces that arrive while a report is still on its way to the main
    // thread, or soon after the last one, are added to the next report, so
    // a fast body does not flood that thread.
    {
        std::lock_guard lock(progress->mutex);
        progress->length += length;
        progress->total = totalBytesReceived;
        progress->expected = expectedContentLength;
        if (progress->posted ||
            (progress->lastPost.isValid() && !progress->lastPost.hasExpired(progressReportIntervalMilliseconds)))
            return;
        progress->posted = true;
        progress->lastPost.start();
    }
    postToFront([progress = progress](HXGCDHTTPRequest &front) {
        qint64 pieceLength = 0;
        qint64 total = 0;
        qint64 expected = 0;
        {
            std::lock_guard lock(progress->mutex);
            pieceLength = std::exchange(progress->length, 0);
            total = progress->total;
            expected = progress->expected;
            progress->posted = false;
        }
        front.notifyPartialBody(pieceLength, total, expected);
    });
}

void HXGCDHTTPRequestTransfer::responseReaderDidFinish()
{
    if (isFinal())
        return;
    status = StatusFinished;
    postToFront([body = std::move(reader->body())](HXGCDHTTPRequest &front) mutable {
        front.m_timeoutTimer.stop();
        front.m_responseBody = std::move(body);
        front.notifyFinished();
    });
    sendPostsToFront();
    if (socketMiddleware)
        socketMiddleware->clearDelegateAndDisconnect();
    deferCleanup();
}
