#include "HXGCDHTTPRequest.h"

#include "HXGCDAsyncSocketMiddleware.h"
#include "HXHTTPEngineThread.h"
#include "HXHTTPLogging.h"
#include "HXHTTPResponseReader.h"
#include "HXThreading.h"
#include "HXUserDefaults.h"

#include <QCoreApplication>
#include <QSslSocket>

#include <atomic>
#include <mutex>

// The main-thread side's address, read and cleared only on the main thread,
// so a callback already on its way finds out whether the request still exists.
struct HXGCDHTTPRequestLink
{
    HXGCDHTTPRequest *front = nullptr;
};

namespace {

enum Status {
    StatusCreated = 0,
    StatusProxyLookup = 1,
    StatusWritingRequest = 2,
    StatusReadingHead = 3,
    StatusReadingBody = 4,
    StatusFinished = 5,
    StatusCancelled = 6,
    StatusFailed = 7,
};

enum WriteTag : long {
    TagRequest = 0,
    TagConnectRequest = 1,
    TagConnectResponseHead = 2,
};

// "host", or "[v6]" for an IPv6 literal, as it appears in a Host header.
QString hostForHeader(const QUrl &url)
{
    const QString host = url.host(QUrl::FullyEncoded);
    return host.contains(u':') ? u'[' + host + u']' : host;
}

QByteArray lossyASCII(const QString &text)
{
    QByteArray bytes(text.size(), Qt::Uninitialized);
    char *out = bytes.data();
    for (QChar c : text)
        *out++ = c.unicode() < 0x80 ? char(c.unicode()) : '?';
    return bytes;
}

} // namespace

// The engine-thread side of one request: proxy decision, connection, TLS,
// request bytes, and the response reader. Touched only on the engine thread.
class HXGCDHTTPRequestTransfer : public HXGCDAsyncSocketMiddlewareDelegate,
                                 public HXHTTPResponseReaderDelegate,
                                 public std::enable_shared_from_this<HXGCDHTTPRequestTransfer>
{
public:
    // What the request was set up with, copied at start.
    QUrl url;
    QString method;
    HXHTTPHeaderList requestHeaders;
    QByteArray requestBody;
    bool ignoreSSLCertificatesValidation = false;
    std::shared_ptr<HXGCDHTTPRequestLink> link;

    int status = StatusCreated;
    int proxyMode = 0;
    bool useSecureConnection = false;
    QString connectionHost;
    quint16 connectionPort = 0;
    QString connectionSSLPeerName;
    // Deleted directly: cleanup never runs inside one of its callbacks (it
    // is deferred from there), and a deferred delete would not run once the
    // engine thread stops.
    std::unique_ptr<HXGCDAsyncSocketMiddleware> socketMiddleware;
    std::unique_ptr<HXHTTPResponseReader> reader;

    // Body progress not yet delivered to the main thread.
    struct Progress
    {
        std::mutex mutex;
        qint64 length = 0;
        qint64 total = 0;
        qint64 expected = 0;
        bool posted = false;
    };
    std::shared_ptr<Progress> progress = std::make_shared<Progress>();

    ~HXGCDHTTPRequestTransfer() override { cleanup(); }

    bool isFinal() const { return status == StatusFinished || status == StatusCancelled || status == StatusFailed; }

    // Runs `work` on the main thread with the request, if it still exists.
    void postToFront(std::function<void(HXGCDHTTPRequest &)> work)
    {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [link = link, work = std::move(work)] {
                if (link->front != nullptr)
                    work(*link->front);
            },
            Qt::QueuedConnection);
    }

    void getProxySettingsAndStart()
    {
        if (isFinal())
            return;
        status = StatusProxyLookup;
        std::weak_ptr<HXGCDHTTPRequestTransfer> weak = shared_from_this();
        HXGCDHTTPRequest::getProxyConfigurationForURL(
            url,
            [weak](int mode, const QString &host, int port, const HXError &error) {
                if (std::shared_ptr<HXGCDHTTPRequestTransfer> self = weak.lock())
                    self->proxyDecided(mode, host, port, error);
            },
            HXHTTPEngineThread::context());
    }

    void proxyDecided(int mode, const QString &host, int port, const HXError &error)
    {
        if (isFinal())
            return;
        if (!error.isNull()) {
            failWithError(errorWithUnderlyingError(HXHTTPRequestPACFileError(), error));
            return;
        }
        proxyMode = mode;
        if (mode == HXGCDHTTPRequest::ProxyModeHTTP || mode == HXGCDHTTPRequest::ProxyModeHTTPS) {
            connectionHost = host;
            connectionPort = quint16(qBound(0, port, 65535));
        }
        createRequestAndStart();
    }

    void createRequestAndStart()
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
        const HXResult<void> connecting = socketMiddleware->connectToHost(connectionHost, connectionPort);
        if (!connecting.ok()) {
            failWithError(connecting.error());
            return;
        }
        if (useSecureConnection && proxyMode != HXGCDHTTPRequest::ProxyModeHTTPS)
            setupSecureTLSConnection();
    }

    void setupSecureTLSConnection() { socketMiddleware->startTLS(connectionSSLPeerName); }

    void writeHTTPRequestAndReadResponseHeaders()
    {
        status = StatusWritingRequest;
        // After a CONNECT tunnel the request itself is an origin-form one.
        const int messageMode = proxyMode == HXGCDHTTPRequest::ProxyModeHTTP ? proxyMode : 0;
        const QByteArray message =
            HXGCDHTTPRequest::HTTPMessageWith(url, method, requestHeaders, requestBody, messageMode);
        postToFront([headers = requestHeaders](HXGCDHTTPRequest &front) { front.setRequestHeaders(headers); });
        socketMiddleware->writeData(message, TagRequest);
    }

    void writeConnectRequest()
    {
        HXHTTPHeaderList headers;
        for (const HXHTTPHeaderField &field : requestHeaders) {
            if (field.name.compare(u"Connection", Qt::CaseInsensitive) == 0 ||
                field.name.compare(u"User-Agent", Qt::CaseInsensitive) == 0 ||
                field.name.compare(u"Host", Qt::CaseInsensitive) == 0)
                headers.append(field);
        }
        const QByteArray message = HXGCDHTTPRequest::HTTPMessageWith(url, QStringLiteral("CONNECT"), headers,
                                                                     QByteArray(), HXGCDHTTPRequest::ProxyModeHTTPS);
        socketMiddleware->writeData(message, TagConnectRequest);
    }

    void failWithError(const HXError &given)
    {
        if (isFinal())
            return;
        HXError error = given;
        if (error.domain == HXGCDAsyncSocketMiddleware::socketErrorDomain() &&
            error.code == QAbstractSocket::HostNotFoundError)
            error = errorWithUnderlyingError(HXHTTPRequestHostNotFoundError(), given);
        status = StatusFailed;
        qCDebug(lcKeaHttp) << "request to" << url.toDisplayString() << "failed:" << error.description;
        if (socketMiddleware)
            socketMiddleware->clearDelegateAndDisconnect();
        QByteArray partial = reader ? std::move(reader->responseData()) : QByteArray();
        postToFront([error, partial = std::move(partial)](HXGCDHTTPRequest &front) mutable {
            front.m_timeoutTimer.stop();
            front.m_responseData = std::move(partial);
            front.notifyFailure(error);
        });
        deferCleanup();
    }

    // Releases the socket and reader once the current callback returned
    // (this may run inside one of theirs).
    void deferCleanup()
    {
        HXHTTPEngineThread::post([self = shared_from_this()] { self->cleanup(); });
    }

    void cancel()
    {
        if (isFinal())
            return;
        status = StatusCancelled;
        cleanup();
    }

    void cleanup()
    {
        if (socketMiddleware)
            socketMiddleware->clearDelegateAndDisconnect();
        reader.reset();
        socketMiddleware.reset();
    }

    void trustAnswered(bool accepted)
    {
        if (isFinal())
            return;
        if (accepted)
            writeHTTPRequestAndReadResponseHeaders();
        else
            failWithError(HXHTTPRequestInvalidCertificateError());
    }

    // HXGCDAsyncSocketMiddlewareDelegate
    void socketMiddlewareDidConnectToHost(HXGCDAsyncSocketMiddleware *, const QString &, quint16) override
    {
        if (proxyMode == HXGCDHTTPRequest::ProxyModeHTTPS)
            writeConnectRequest();
        else if (!useSecureConnection)
            writeHTTPRequestAndReadResponseHeaders();
        // Otherwise TLS is already queued behind the connect.
    }

    void socketMiddlewareDidSecure(HXGCDAsyncSocketMiddleware *middleware) override
    {
        const QList<QSslCertificate> chain =
            middleware->socket() != nullptr ? middleware->socket()->peerCertificateChain() : QList<QSslCertificate>();
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
        HXServerTrust trust{chain, connectionSSLPeerName};
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

    void socketMiddlewareDidWriteDataWithTag(HXGCDAsyncSocketMiddleware *middleware, long tag) override
    {
        if (tag == TagConnectRequest) {
            middleware->readDataToEmptyLine(nullptr, TagConnectResponseHead, HXHTTPResponseHead::maximumLength);
        } else if (tag == TagRequest && status == StatusWritingRequest) {
            status = StatusReadingHead;
            reader->readResponseHead();
        }
    }

    void socketMiddlewareDidReadDataToBuffer(HXGCDAsyncSocketMiddleware *, QByteArray &buffer, qsizetype rangeStart,
                                             qsizetype rangeLength, long tag) override
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

    void socketMiddlewareDidReadPartialDataOfLength(HXGCDAsyncSocketMiddleware *, qsizetype length,
                                                    qsizetype totalBytesRead, long tag) override
    {
        if (reader)
            reader->socketMiddlewareDidReadPartialDataOfLength(length, totalBytesRead, tag);
    }

    void socketMiddlewareDidDisconnectWithError(HXGCDAsyncSocketMiddleware *, const HXError &error) override
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

    // HXHTTPResponseReaderDelegate
    void responseReaderDidReceiveHead() override
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

    void responseReaderDidReceivePartialBody(qint64 length, qint64 totalBytesReceived,
                                             qint64 expectedContentLength) override
    {
        // Pieces that arrive while a report is still on its way to the main
        // thread are added to it, so a fast body does not flood that thread.
        {
            std::lock_guard lock(progress->mutex);
            progress->length += length;
            progress->total = totalBytesReceived;
            progress->expected = expectedContentLength;
            if (progress->posted)
                return;
            progress->posted = true;
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

    void responseReaderDidFinish() override
    {
        if (isFinal())
            return;
        status = StatusFinished;
        postToFront([body = std::move(reader->responseData())](HXGCDHTTPRequest &front) mutable {
            front.m_timeoutTimer.stop();
            front.m_responseData = std::move(body);
            front.notifyFinished();
        });
        if (socketMiddleware)
            socketMiddleware->clearDelegateAndDisconnect();
        deferCleanup();
    }

    void responseReaderDidFail(const HXError &error) override { failWithError(error); }
};

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
    transfer->method = method();
    transfer->requestHeaders = requestHeaders();
    transfer->requestBody = requestBodyData();
    transfer->ignoreSSLCertificatesValidation = ignoreSSLCertificatesValidation();
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

void HXGCDHTTPRequest::getProxyConfigurationForURL(const QUrl &url, HXHTTPProxyConfiguration::Callback callback,
                                                   QObject *callbackQueue)
{
    HXHTTPProxyConfiguration::getProxyConfigurationForURL(url, std::move(callback), callbackQueue);
}

QByteArray HXGCDHTTPRequest::requestTargetWith(const QUrl &url, int proxyMode)
{
    if (proxyMode == ProxyModeHTTPS) {
        const int defaultPort = 443;
        return hostForHeader(url).toLatin1() + ':' + QByteArray::number(url.port(defaultPort));
    }
    const QByteArray text = url.toEncoded();
    if (proxyMode == ProxyModeHTTP)
        return text;
    // Everything after scheme and authority, query and fragment included.
    QByteArray target;
    const qsizetype schemeEnd = text.indexOf("://");
    if (schemeEnd >= 0) {
        const qsizetype authorityStart = schemeEnd + 3;
        qsizetype pathStart = text.size();
        for (const char c : {'/', '?', '#'}) {
            const qsizetype index = text.indexOf(c, authorityStart);
            if (index >= 0)
                pathStart = qMin(pathStart, index);
        }
        target = text.mid(pathStart);
    } else {
        target = url.path(QUrl::FullyEncoded).toLatin1();
    }
    if (!target.startsWith('/'))
        target.prepend('/');
    return target;
}

QByteArray HXGCDHTTPRequest::HTTPMessageWith(const QUrl &url, const QString &method, HXHTTPHeaderList &headers,
                                             const QByteArray &body, int proxyMode)
{
    static const QStringList bodylessMethods = {QStringLiteral("GET"), QStringLiteral("HEAD"), QStringLiteral("DELETE"),
                                                QStringLiteral("OPTIONS")};
    const bool alwaysSendBody =
        HXUserDefaults::standardUserDefaults().boolForKey(QStringLiteral("HXUserDefaultHTTPAlwaysSendRequestBody"));
    const QByteArray keptBody = alwaysSendBody || !bodylessMethods.contains(method) ? body : QByteArray();

    auto addDefault = [&headers](const QString &name, const QString &value) {
        for (const HXHTTPHeaderField &field : std::as_const(headers)) {
            if (field.name.compare(name, Qt::CaseInsensitive) == 0)
                return;
        }
        headers.append({name, value});
    };
    const QString scheme = url.scheme().toLower();
    QString host = hostForHeader(url);
    const int port = url.port();
    if (port >= 0 && !(port == 80 && scheme == u"http") && !(port == 443 && scheme == u"https"))
        host += u':' + QString::number(port);
    addDefault(QStringLiteral("Host"), host);
    addDefault(QStringLiteral("Connection"),
               proxyMode == ProxyModeHTTPS ? QStringLiteral("keep-alive") : QStringLiteral("close"));
    addDefault(QStringLiteral("User-Agent"), defaultUserAgent());
    if (!keptBody.isEmpty() || method == u"POST" || method == u"PUT" || method == u"PATCH")
        addDefault(QStringLiteral("Content-Length"), QString::number(keptBody.size()));
    if (proxyMode == ProxyModeHTTPS)
        addDefault(QStringLiteral("Proxy-Connection"), QStringLiteral("keep-alive"));

    QString head = method + u' ' + QString::fromLatin1(requestTargetWith(url, proxyMode)) + u" HTTP/1.1\r\n";
    for (const HXHTTPHeaderField &field : std::as_const(headers)) {
        if (field.name.isEmpty() || field.value.isEmpty())
            continue;
        head += field.name + u": " + field.value + u"\r\n";
    }
    QByteArray message = lossyASCII(head);
    message.reserve(message.size() + 2 + keptBody.size());
    message += "\r\n";
    message += keptBody;
    return message;
}
