#pragma once

#include "HXError.h"
#include "HXHTTPHeaderDictionary.h"
#include "HXHTTPHeaderField.h"
#include "HXHTTPRequestDelegate.h"
#include "HXHTTPRequestError.h"
#include "HXHTTPRequestLibrary.h"
#include "HXHTTPResponseBody.h"
#include "HXHTTPSettings.h"
#include "HXServerTrust.h"

#include <QByteArray>
#include <QObject>
#include <QUrl>
#include <QVariant>

#include <functional>
#include <memory>

// An HTTP request handed to one of the engines. Set the properties, set a
// delegate, call start() on the main thread; the transfer runs in the
// background and reports through the delegate. One object serves one
// transfer. Results are readable after HTTPRequestDidReceiveResponseHeaders
// or the terminal callback (and partial results after a failure).
//
//     auto request = HXHTTPRequest::HTTPLibrary(identifier).createRequest(url);
//     request->setMethod(QStringLiteral("POST"));
//     request->setRequestHeaders({{QStringLiteral("Accept"), QStringLiteral("*/*")}});
//     request->setRequestBodyData(body);
//     request->setTimeoutInterval(30);
//     request->setDelegate(this);
//     request->start();
//
// Destroying the request cancels it. The delegate must outlive the request
// or be cleared with clearDelegateAndCancel() first.
class HXHTTPRequest : public QObject
{
    Q_OBJECT

public:
    ~HXHTTPRequest() override;

    // Properties, set before start().
    HXHTTPRequestDelegate *delegate() const { return m_delegate; }
    void setDelegate(HXHTTPRequestDelegate *delegate) { m_delegate = delegate; }
    QVariant userInfo() const { return m_userInfo; }
    void setUserInfo(const QVariant &userInfo) { m_userInfo = userInfo; }
    QUrl URL() const { return m_URL; }
    void setURL(const QUrl &url) { m_URL = url; }
    // The text URL() was read from, when the caller has it: an engine that
    // writes its own request line sends path and query exactly as written
    // there. Empty means URL() as Qt encodes it.
    QString URLText() const { return m_URLText; }
    void setURLText(const QString &text) { m_URLText = text; }
    // Whole-request time limit in seconds; 0 (or less) means no limit.
    double timeoutInterval() const { return m_timeoutInterval; }
    void setTimeoutInterval(double seconds) { m_timeoutInterval = seconds; }
    // The method exactly as it goes on the wire.
    QString method() const { return m_method; }
    void setMethod(const QString &method) { m_method = method; }
    // Wire order, duplicates allowed. An engine may append default headers.
    const HXHTTPHeaderList &requestHeaders() const { return m_requestHeaders; }
    void setRequestHeaders(const HXHTTPHeaderList &headers) { m_requestHeaders = headers; }
    void addRequestHeader(const QString &name, const QString &value) { m_requestHeaders.append({name, value}); }
    QByteArray requestBodyData() const { return m_requestBodyData; }
    void setRequestBodyData(const QByteArray &body) { m_requestBodyData = body; }
    bool shouldHandleCookies() const { return m_shouldHandleCookies; }
    void setShouldHandleCookies(bool on) { m_shouldHandleCookies = on; }
    bool shouldUseCache() const { return m_shouldUseCache; }
    void setShouldUseCache(bool on) { m_shouldUseCache = on; }
    // Accept any server certificate without asking the delegate.
    bool ignoreSSLCertificatesValidation() const { return m_ignoreSSLCertificatesValidation; }
    void setIgnoreSSLCertificatesValidation(bool on) { m_ignoreSSLCertificatesValidation = on; }
    // What the request takes from the user's settings (proxy, bodies of
    // body-less methods); its creator sets it.
    const HXHTTPSettings &settings() const { return m_settings; }
    void setSettings(const HXHTTPSettings &settings) { m_settings = settings; }
    bool followRedirects() const { return m_followRedirects; }
    void setFollowRedirects(bool on) { m_followRedirects = on; }
    // The longest response body accepted, after decoding; a longer one
    // fails the request with HXHTTPRequestErrorCode::ResponseTooLarge.
    static constexpr qint64 defaultMaximumResponseLength = qint64(4) * 1024 * 1024 * 1024;
    qint64 maximumResponseLength() const { return m_maximumResponseLength; }
    void setMaximumResponseLength(qint64 length) { m_maximumResponseLength = length; }
    // Where the response body goes while it arrives: memory up to a limit,
    // then a temporary file; or straight into an output file.
    const HXHTTPResponseBodyStorage &responseBodyStorage() const { return m_responseBodyStorage; }
    void setResponseBodyStorage(const HXHTTPResponseBodyStorage &storage) { m_responseBodyStorage = storage; }

    // Begins the transfer and returns at once. Main thread only; once.
    void start();
    // Stops the transfer and clears the delegate: no callback of any kind
    // follows, not even one already on its way.
    void clearDelegateAndCancel();

    // Results.
    HXError error() const { return m_error; }
    qint64 responseStatusCode() const { return m_responseStatusCode; }
    QString responseStatusLine() const { return m_responseStatusLine; }
    QString responseStatusReasonPhrase() const { return m_responseStatusReasonPhrase; }
    const HXHTTPHeaderDictionary &responseHeaders() const { return m_responseHeaders; }
    // The body, in memory or in a file; responseData() reads all of it.
    const HXHTTPResponseBody &responseBody() const { return m_responseBody; }
    QByteArray responseData() const { return m_responseBody.data(); }
    const QByteArray &headersData() const { return m_headersData; }

    // Which engine this is.
    virtual QString libraryIdentifier() const = 0;

    // The engine registry. Unknown identifiers (and the null string) select
    // the own HTTP/1.1 engine; the comparison is case-sensitive.
    static const HXHTTPRequestLibrary &HTTPLibrary(const QString &identifier);
    // Own engine, libcurl engine, Qt Network engine, in menu order.
    static QList<const HXHTTPRequestLibrary *> libraries();
    // Installs the factory of an engine known to the registry by identifier.
    static void registerLibraryFactory(const QString &identifier, HXHTTPRequestLibrary::Factory factory);

    // The text after the second space of a status line, or a null string
    // when the line has fewer than two spaces.
    static QString reasonPhraseWithStatusLine(const QString &statusLine);
    // A raw response head rebuilt from its parts ("HTTP/1.1 <code> <reason>",
    // one "Name: value" line per field, then the empty line), UTF-8.
    static QByteArray responseHeadersDataWithStatusCode(qint64 statusCode, const QString &statusReason,
                                                        const HXHTTPHeaderList &headerFields);
    // The User-Agent sent when the caller sets none.
    static QString defaultUserAgent();

protected:
    explicit HXHTTPRequest(const QUrl &url, QObject *parent = nullptr);

    // Engine hooks. _start runs once, on the main thread, from start();
    // _cancel runs on the main thread after the delegate was cleared.
    virtual void _start() = 0;
    virtual void _cancel() = 0;

    // The single place where callbacks reach the delegate (main thread).
    // Each checks that the request has not ended and a delegate is still
    // set; the two terminal ones end the request, so a second terminal
    // callback, or any callback after one, is dropped.
    void notifyResponseHeaders();
    void notifyPartialBody(qint64 length, qint64 totalBytesReceived, qint64 expectedContentLength);
    void notifyFinished();
    void notifyFailure(const HXError &error);
    // Returns false (and asks nothing) when the request has ended or has no
    // delegate.
    bool notifyServerTrustChallenge(const HXServerTrust &trust, const QString &host,
                                    std::function<void(bool)> completionBlock);
    bool hasEnded() const { return m_ended; }
    bool isStarted() const { return m_started; }

    // Result storage for the engines (main thread).
    qint64 m_responseStatusCode = -1;
    QString m_responseStatusLine;
    QString m_responseStatusReasonPhrase;
    HXHTTPHeaderDictionary m_responseHeaders;
    HXHTTPResponseBody m_responseBody;
    QByteArray m_headersData;
    HXError m_error;

private:
    HXHTTPRequestDelegate *m_delegate = nullptr;
    QVariant m_userInfo;
    QUrl m_URL;
    QString m_URLText;
    double m_timeoutInterval = 60;
    QString m_method = QStringLiteral("GET");
    HXHTTPHeaderList m_requestHeaders;
    QByteArray m_requestBodyData;
    bool m_shouldHandleCookies = false;
    bool m_shouldUseCache = false;
    bool m_ignoreSSLCertificatesValidation = false;
    bool m_followRedirects = false;
    HXHTTPSettings m_settings;
    qint64 m_maximumResponseLength = defaultMaximumResponseLength;
    HXHTTPResponseBodyStorage m_responseBodyStorage;
    bool m_started = false;
    bool m_ended = false;
};
