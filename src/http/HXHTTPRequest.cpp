#include "HXHTTPRequest.h"

#include "HXHTTPRequestMessage.h"
#include "HXThreading.h"

#include <QCoreApplication>

HXHTTPRequest::HXHTTPRequest(const QUrl &url, QObject *parent) : QObject(parent), m_URL(url) {}

HXHTTPRequest::~HXHTTPRequest() = default;

void HXHTTPRequest::start()
{
    HX_ASSERT_MAIN_THREAD();
    if (m_started)
        return;
    m_started = true;
    // Refused here, for every engine, before anything is connected.
    const HXError unsafe = HXHTTPRequestMessage::unsafeRequestError(m_method, m_URL.toEncoded(), m_requestHeaders);
    if (!unsafe.isNull()) {
        QMetaObject::invokeMethod(
            this, [this, unsafe] { notifyFailure(unsafe); }, Qt::QueuedConnection);
        return;
    }
    _start();
}

void HXHTTPRequest::clearDelegateAndCancel()
{
    HX_ASSERT_MAIN_THREAD();
    m_delegate = nullptr;
    const bool wasRunning = m_started && !m_ended;
    m_ended = true;
    if (wasRunning)
        _cancel();
}

void HXHTTPRequest::notifyResponseHeaders()
{
    if (!m_ended && m_delegate)
        m_delegate->HTTPRequestDidReceiveResponseHeaders(this);
}

void HXHTTPRequest::notifyPartialBody(qint64 length, qint64 totalBytesReceived, qint64 expectedContentLength)
{
    if (!m_ended && m_delegate)
        m_delegate->HTTPRequestDidReceivePartialBodyLength(this, length, totalBytesReceived, expectedContentLength);
}

void HXHTTPRequest::notifyFinished()
{
    if (m_ended)
        return;
    m_ended = true;
    if (m_delegate)
        m_delegate->HTTPRequestFinished(this);
}

void HXHTTPRequest::notifyFailure(const HXError &error)
{
    if (m_ended)
        return;
    m_ended = true;
    m_error = error;
    if (m_delegate)
        m_delegate->HTTPRequestDidFailWithError(this, error);
}

bool HXHTTPRequest::notifyServerTrustChallenge(const HXServerTrust &trust, const QString &host,
                                               std::function<void(bool)> completionBlock)
{
    if (m_ended || !m_delegate)
        return false;
    m_delegate->HTTPRequestDidReceiveServerTrustAuthenticationChallenge(this, trust, host, std::move(completionBlock));
    return true;
}

const HXHTTPRequestLibrary &HXHTTPRequest::HTTPLibrary(const QString &identifier)
{
    return HXHTTPRequestLibraries::library(identifier);
}

QList<const HXHTTPRequestLibrary *> HXHTTPRequest::libraries()
{
    return HXHTTPRequestLibraries::all();
}

void HXHTTPRequest::registerLibraryFactory(const QString &identifier, HXHTTPRequestLibrary::Factory factory)
{
    HXHTTPRequestLibraries::registerFactory(identifier, std::move(factory));
}

QString HXHTTPRequest::reasonPhraseWithStatusLine(const QString &statusLine)
{
    // "VERSION CODE REASON": everything after the second space, which may
    // itself hold spaces. A line with fewer than two spaces has none.
    if (statusLine.isNull())
        return QString();
    const qsizetype first = statusLine.indexOf(u' ');
    const qsizetype second = first < 0 ? -1 : statusLine.indexOf(u' ', first + 1);
    if (second < 0)
        return QString();
    // An empty reason is still a reason: "".
    const QString reason = statusLine.mid(second + 1);
    return reason.isNull() ? QStringLiteral("") : reason;
}

QByteArray HXHTTPRequest::responseHeadersDataWithStatusCode(qint64 statusCode, const QString &statusReason,
                                                            const HXHTTPHeaderList &headerFields)
{
    QByteArray data;
    data.reserve(1024);
    data += "HTTP/1.1 " + QByteArray::number(statusCode) + ' ' + statusReason.toUtf8() + "\r\n";
    for (const HXHTTPHeaderField &field : headerFields)
        data += field.name.toUtf8() + ": " + field.value.toUtf8() + "\r\n";
    data += "\r\n";
    return data;
}

QString HXHTTPRequest::defaultUserAgent()
{
    return QStringLiteral("Kea/" KEA_VERSION_STRING " (Linux)");
}
