#include "HXURLConnectionHTTPRequest.h"

#include "HXHTTPLogging.h"
#include "HXHTTPStatusPhrase.h"
#include "HXThreading.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>

#include <mutex>
#include <optional>

namespace {

// The system's proxy settings (environment variables, libproxy) for every
// request, whatever the application-wide proxy is.
class SystemProxyFactory : public QNetworkProxyFactory
{
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override { return systemProxyForQuery(query); }
};

QNetworkAccessManager *sharedManager()
{
    static QPointer<QNetworkAccessManager> manager;
    if (manager.isNull()) {
        manager = new QNetworkAccessManager(QCoreApplication::instance());
        manager->setProxyFactory(new SystemProxyFactory);
        manager->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
        // Gone, with its connection thread and what that thread still
        // meant to delete, before the application object starts to go.
        qAddPostRoutine([] {
            delete manager.data();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        });
    }
    return manager;
}

bool isRedirect(int code)
{
    return code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
}

// Errors Qt reports for a response it did receive (4xx, 5xx): the response
// itself is the result.
bool isStatusError(QNetworkReply::NetworkError code)
{
    return (code >= QNetworkReply::ContentAccessDenied && code <= QNetworkReply::UnknownContentError) ||
           (code >= QNetworkReply::InternalServerError && code <= QNetworkReply::UnknownServerError) ||
           code == QNetworkReply::ProxyAuthenticationRequiredError ||
           code == QNetworkReply::ProtocolInvalidOperationError;
}

bool isSafeHeaderText(const QString &text)
{
    return !text.contains(u'\r') && !text.contains(u'\n') && !text.contains(QChar(0));
}

// Where a trust answer goes: straight back to the question when given while
// it is being asked, else to the main thread later.
struct TrustAnswer
{
    std::mutex mutex;
    bool asking = true;
    bool answered = false;
    std::optional<bool> immediate;
};

} // namespace

HXURLConnectionHTTPRequest::HXURLConnectionHTTPRequest(const QUrl &url, QObject *parent) : HXHTTPRequest(url, parent)
{
    m_responseStatusCode = 0;
    m_timeoutTimer.setSingleShot(true);
    connect(&m_timeoutTimer, &QTimer::timeout, this, &HXURLConnectionHTTPRequest::timeoutFired);
}

HXURLConnectionHTTPRequest::~HXURLConnectionHTTPRequest()
{
    releaseReply();
}

QString HXURLConnectionHTTPRequest::localizedName()
{
    return HXHTTPRequest::HTTPLibrary(QStringLiteral("URLConnection")).localizedName();
}

QString HXURLConnectionHTTPRequest::networkErrorDomain()
{
    return QStringLiteral("QNetworkReply");
}

HXError HXURLConnectionHTTPRequest::translatedError(QNetworkReply::NetworkError code, const QString &text)
{
    const HXError libraryError(networkErrorDomain(), code, text);
    switch (code) {
    case QNetworkReply::TimeoutError:
        return errorWithUnderlyingError(HXHTTPRequestTimedOutError(), libraryError);
    case QNetworkReply::HostNotFoundError:
        return errorWithUnderlyingError(HXHTTPRequestHostNotFoundError(), libraryError);
    default:
        return libraryError;
    }
}

QString HXURLConnectionHTTPRequest::reasonPhraseForStatusCode(qint64 statusCode)
{
    QString phrase = HXHTTPStatusPhrase::localizedStringForStatusCode(statusCode);
    if (phrase == QCoreApplication::translate("HXHTTPStatusPhrase", "no error"))
        phrase = QStringLiteral("OK");
    return phrase.toUpper();
}

QNetworkRequest HXURLConnectionHTTPRequest::URLRequest() const
{
    QNetworkRequest request(URL());
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, followRedirects()
                                                                       ? QNetworkRequest::NoLessSafeRedirectPolicy
                                                                       : QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         shouldUseCache() ? QNetworkRequest::PreferNetwork : QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, shouldUseCache());
    const QNetworkRequest::LoadControl cookies =
        shouldHandleCookies() ? QNetworkRequest::Automatic : QNetworkRequest::Manual;
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, cookies);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, cookies);
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    const QMap<QString, QString> headers = HXHTTPHeaders::headersDictionaryFromArray(requestHeaders());
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        if (isSafeHeaderText(it.key()) && isSafeHeaderText(it.value()) && !it.key().contains(u':'))
            request.setRawHeader(it.key().toLatin1(), it.value().toUtf8());
    }
    if (!request.hasRawHeader("User-Agent"))
        request.setHeader(QNetworkRequest::UserAgentHeader, defaultUserAgent());
    return request;
}

void HXURLConnectionHTTPRequest::_start()
{
    const QString scheme = URL().scheme().toLower();
    if (scheme != u"http" && scheme != u"https") {
        notifyFailure(HXHTTPRequestURLNotSupportedError());
        return;
    }
    m_responseBody = HXHTTPResponseBody(responseBodyStorage());
    restartTimeoutTimer();
    sendRequest();
}

void HXURLConnectionHTTPRequest::_cancel()
{
    m_timeoutTimer.stop();
    releaseReply();
}

void HXURLConnectionHTTPRequest::sendRequest()
{
    HX_ASSERT_MAIN_THREAD();
    QNetworkAccessManager *manager = sharedManager();
    const QNetworkRequest request = URLRequest();
    const QByteArray verb = method().toLatin1();
    const QByteArray body = requestBodyData();
    QNetworkReply *reply = nullptr;
    // HEAD and GET go by their own calls, so that Qt knows a HEAD response
    // has no body.
    if (verb == "HEAD" && body.isEmpty())
        reply = manager->head(request);
    else if (verb == "GET" && body.isEmpty())
        reply = manager->get(request);
    else
        reply = manager->sendCustomRequest(request, verb, body);
    m_reply = reply;
    // Qt keeps what the main thread has not read yet; a bound keeps a fast
    // server from filling memory while the body goes to its file.
    reply->setReadBufferSize(qint64(4) * 1024 * 1024);
    connect(reply, &QNetworkReply::metaDataChanged, this, &HXURLConnectionHTTPRequest::replyDidReceiveResponse);
    connect(reply, &QNetworkReply::readyRead, this, &HXURLConnectionHTTPRequest::replyDidReceiveData);
    connect(reply, &QNetworkReply::finished, this, &HXURLConnectionHTTPRequest::replyDidFinish);
    connect(reply, &QNetworkReply::sslErrors, this, &HXURLConnectionHTTPRequest::replyDidReceiveSSLErrors);
}

void HXURLConnectionHTTPRequest::releaseReply()
{
    if (m_reply.isNull())
        return;
    QNetworkReply *reply = m_reply;
    m_reply = nullptr;
    reply->disconnect(this);
    if (reply->isRunning())
        reply->abort();
    reply->deleteLater();
}

void HXURLConnectionHTTPRequest::replyDidReceiveResponse()
{
    if (m_headersReported || m_reply.isNull() || m_awaitingTrust || m_trustRefused)
        return;
    const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid())
        return;
    const int code = status.toInt();
    if (followRedirects() && isRedirect(code) && m_reply->hasRawHeader("Location"))
        return; // Qt goes on to the next one
    m_headersReported = true;
    m_responseStatusCode = code;
    m_responseStatusReasonPhrase = reasonPhraseForStatusCode(code);
    m_responseStatusLine = QStringLiteral("HTTP/1.1 %1 %2").arg(code).arg(m_responseStatusReasonPhrase);
    m_responseHeaders = HXHTTPHeaderDictionary();
    for (const QNetworkReply::RawHeaderPair &pair : m_reply->rawHeaderPairs()) {
        // Qt joins repeated Set-Cookie fields with line breaks.
        QString value = QString::fromLatin1(pair.second);
        value.replace(u'\n', QStringLiteral(", ")).remove(u'\r');
        m_responseHeaders.insert(QString::fromLatin1(pair.first), value);
    }
    m_headersData = responseHeadersDataWithStatusCode(code, m_responseStatusReasonPhrase, m_responseHeaders.fields());
    notifyResponseHeaders();
}

void HXURLConnectionHTTPRequest::replyDidReceiveData()
{
    replyDidReceiveResponse();
    if (m_reply.isNull() || hasEnded() || m_awaitingTrust || m_trustRefused)
        return;
    const QByteArray piece = m_reply->readAll();
    if (piece.isEmpty())
        return;
    if (!appendToBody(piece))
        return;
    const QVariant declared = m_reply->header(QNetworkRequest::ContentLengthHeader);
    if (declared.isValid() && declared.toLongLong() >= 0)
        notifyPartialBody(piece.size(), m_responseBody.size(), declared.toLongLong());
}

bool HXURLConnectionHTTPRequest::appendToBody(const QByteArray &piece)
{
    // Qt hands over inflated bytes, so this bounds a gzip bomb too.
    const qint64 maximum = maximumResponseLength();
    HXResult<void> appended = maximum > 0 && m_responseBody.size() + piece.size() > maximum
                                  ? HXResult<void>(HXHTTPRequestResponseTooLargeError(maximum))
                                  : m_responseBody.append(piece);
    if (appended.ok())
        return true;
    m_timeoutTimer.stop();
    releaseReply();
    notifyFailure(appended.error());
    return false;
}

void HXURLConnectionHTTPRequest::replyDidFinish()
{
    if (m_reply.isNull() || m_awaitingTrust)
        return;
    m_timeoutTimer.stop();
    QNetworkReply *reply = m_reply;
    const QNetworkReply::NetworkError code = reply->error();
    const HXError qtError(networkErrorDomain(), code, reply->errorString());
    const bool answered = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    if (answered && !m_timedOut && !m_trustRefused) {
        replyDidReceiveResponse();
        if (!appendToBody(reply->readAll()))
            return;
    }
    releaseReply();
    if (m_trustRefused)
        notifyFailure(errorWithUnderlyingError(HXHTTPRequestInvalidCertificateError(), qtError));
    else if (m_timedOut)
        notifyFailure(errorWithUnderlyingError(HXHTTPRequestTimedOutError(), qtError));
    else if (code == QNetworkReply::NoError || (answered && isStatusError(code)))
        notifyFinished();
    else {
        qCDebug(lcKeaHttp) << "Qt Network request to" << URL().toDisplayString() << "failed:" << code
                           << qtError.description;
        notifyFailure(translatedError(code, qtError.description));
    }
}

void HXURLConnectionHTTPRequest::replyDidReceiveSSLErrors(const QList<QSslError> &errors)
{
    if (m_reply.isNull() || hasEnded())
        return;
    if (ignoreSSLCertificatesValidation()) {
        m_reply->ignoreSslErrors();
        return;
    }
    HXServerTrust trust{m_reply->sslConfiguration().peerCertificateChain(), URL().host()};
    if (trust.chain.isEmpty()) {
        for (const QSslError &error : errors) {
            if (!error.certificate().isNull() && !trust.chain.contains(error.certificate()))
                trust.chain.append(error.certificate());
        }
    }
    // The second connection, after a later yes, for the very same server.
    if (!m_acceptedChain.isEmpty() && trust.chain == m_acceptedChain) {
        m_reply->ignoreSslErrors();
        return;
    }
    auto answer = std::make_shared<TrustAnswer>();
    QPointer<HXURLConnectionHTTPRequest> self(this);
    auto completion = [answer, self, chain = trust.chain](bool accepted) {
        {
            std::lock_guard lock(answer->mutex);
            if (std::exchange(answer->answered, true))
                return;
            if (answer->asking) {
                answer->immediate = accepted;
                return;
            }
        }
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, accepted, chain] {
                if (!self.isNull())
                    self->trustAnswered(accepted, chain);
            },
            Qt::QueuedConnection);
    };
    // The time limit waits while the delegate decides.
    m_timeoutTimer.stop();
    const bool asked = notifyServerTrustChallenge(trust, trust.host, completion);
    std::optional<bool> immediate;
    {
        std::lock_guard lock(answer->mutex);
        answer->asking = false;
        immediate = answer->immediate;
    }
    if (m_reply.isNull())
        return;
    if (immediate.value_or(false)) {
        restartTimeoutTimer();
        m_reply->ignoreSslErrors();
        return;
    }
    // Qt needs the answer now, and may go on by itself on a connection where
    // errors were ignored before: stop this reply at once, so nothing is sent
    // to the server. A later yes makes a new connection for this chain.
    if (asked && !immediate.has_value())
        m_awaitingTrust = true;
    else
        m_trustRefused = true;
    m_reply->abort();
}

void HXURLConnectionHTTPRequest::trustAnswered(bool accepted, const QList<QSslCertificate> &chain)
{
    if (hasEnded() || !m_awaitingTrust)
        return;
    m_awaitingTrust = false;
    releaseReply();
    if (!accepted) {
        notifyFailure(HXHTTPRequestInvalidCertificateError());
        return;
    }
    m_acceptedChain = chain;
    restartTimeoutTimer();
    sendRequest();
}

void HXURLConnectionHTTPRequest::restartTimeoutTimer()
{
    if (hasEnded() || timeoutInterval() <= 0)
        return;
    m_timeoutTimer.start(std::chrono::milliseconds(qint64(timeoutInterval() * 1000.0)));
}

void HXURLConnectionHTTPRequest::timeoutFired()
{
    if (hasEnded())
        return;
    m_timedOut = true;
    if (!m_reply.isNull() && !m_awaitingTrust)
        m_reply->abort(); // finishes the reply, which reports the time-out
    else
        notifyFailure(HXHTTPRequestTimedOutError());
}
