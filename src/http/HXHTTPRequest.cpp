#include "HXHTTPRequest.h"

#include "HXASIHTTPRequest.h"
#include "HXGCDHTTPRequest.h"
#include "HXThreading.h"
#include "HXURLConnectionHTTPRequest.h"

#include <QCoreApplication>
#include <QMutex>
#include <QRegularExpression>

const QString HXHTTPRequestErrorDomain = QStringLiteral("kestrelworks.Kea.HTTPRequestErrorDomain");

namespace {

HXError makeError(qint64 code, const char *text)
{
    return HXError(HXHTTPRequestErrorDomain, code, QCoreApplication::translate("HXHTTPRequest", text));
}

struct LibraryTable
{
    QMutex mutex;
    std::vector<HXHTTPRequestLibrary> libraries;
};

LibraryTable &libraryTable()
{
    static LibraryTable *table = [] {
        auto *created = new LibraryTable;
        created->libraries.push_back({QStringLiteral("GCDHTTPRequest"),
                                      QT_TRANSLATE_NOOP("HXHTTPRequest", "Kea HTTP/1.1"),
                                      [](const QUrl &url) -> std::unique_ptr<HXHTTPRequest> {
                                          return std::make_unique<HXGCDHTTPRequest>(url);
                                      }});
        created->libraries.push_back({QStringLiteral("ASIHTTPRequest"), QT_TRANSLATE_NOOP("HXHTTPRequest", "libcurl"),
                                      [](const QUrl &url) -> std::unique_ptr<HXHTTPRequest> {
                                          return std::make_unique<HXASIHTTPRequest>(url);
                                      }});
        created->libraries.push_back({QStringLiteral("URLConnection"), QT_TRANSLATE_NOOP("HXHTTPRequest", "Qt Network"),
                                      [](const QUrl &url) -> std::unique_ptr<HXHTTPRequest> {
                                          return std::make_unique<HXURLConnectionHTTPRequest>(url);
                                      }});
        return created;
    }();
    return *table;
}

} // namespace

const HXError &HXHTTPRequestTimedOutError()
{
    static const HXError error = makeError(3095, QT_TRANSLATE_NOOP("HXHTTPRequest", "The request timed out"));
    return error;
}

const HXError &HXHTTPRequestURLNotSupportedError()
{
    static const HXError error = makeError(3094, QT_TRANSLATE_NOOP("HXHTTPRequest", "URL not supported"));
    return error;
}

const HXError &HXHTTPRequestInvalidResponseError()
{
    static const HXError error = makeError(8495, QT_TRANSLATE_NOOP("HXHTTPRequest", "Invalid HTTP Response"));
    return error;
}

const HXError &HXHTTPRequestInvalidCertificateError()
{
    static const HXError error =
        makeError(2894, QT_TRANSLATE_NOOP("HXHTTPRequest", "Server uses an invalid SSL Certificate."));
    return error;
}

const HXError &HXHTTPRequestTLSValidationError()
{
    static const HXError error =
        makeError(1, QT_TRANSLATE_NOOP("HXHTTPRequest", "Something happened during SSL validation"));
    return error;
}

const HXError &HXHTTPRequestHostNotFoundError()
{
    static const HXError error = makeError(0, QT_TRANSLATE_NOOP("HXHTTPRequest", "Kea can't find the server"));
    return error;
}

const HXError &HXHTTPRequestPACFileError()
{
    static const HXError error = makeError(0, QT_TRANSLATE_NOOP("HXHTTPRequest", "Cannot read proxy PAC file"));
    return error;
}

QString HXHTTPRequestLibrary::localizedName() const
{
    return QCoreApplication::translate("HXHTTPRequest", displayName);
}

std::unique_ptr<HXHTTPRequest> HXHTTPRequestLibrary::createRequest(const QUrl &url) const
{
    if (factory)
        return factory(url);
    return HXHTTPRequest::HTTPLibrary(QString()).createRequest(url);
}

HXHTTPRequest::HXHTTPRequest(const QUrl &url, QObject *parent) : QObject(parent), m_URL(url) {}

HXHTTPRequest::~HXHTTPRequest() = default;

void HXHTTPRequest::start()
{
    HX_ASSERT_MAIN_THREAD();
    if (m_started)
        return;
    m_started = true;
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
    LibraryTable &table = libraryTable();
    QMutexLocker lock(&table.mutex);
    for (const HXHTTPRequestLibrary &library : table.libraries) {
        if (library.identifier == identifier)
            return library;
    }
    return table.libraries.front();
}

QList<const HXHTTPRequestLibrary *> HXHTTPRequest::libraries()
{
    LibraryTable &table = libraryTable();
    QMutexLocker lock(&table.mutex);
    QList<const HXHTTPRequestLibrary *> result;
    for (const HXHTTPRequestLibrary &library : table.libraries)
        result.append(&library);
    return result;
}

void HXHTTPRequest::registerLibraryFactory(const QString &identifier, HXHTTPRequestLibrary::Factory factory)
{
    LibraryTable &table = libraryTable();
    QMutexLocker lock(&table.mutex);
    for (HXHTTPRequestLibrary &library : table.libraries) {
        if (library.identifier == identifier)
            library.factory = std::move(factory);
    }
}

QString HXHTTPRequest::reasonPhraseWithStatusLine(const QString &statusLine)
{
    if (statusLine.isNull())
        return QString();
    static const QRegularExpression pattern(QStringLiteral("(.*?) (.*?) (.*)"),
                                            QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = pattern.match(statusLine);
    if (!match.hasMatch() || match.lastCapturedIndex() != 3)
        return QString();
    // An empty third group is still a match: the reason phrase is "".
    const QString reason = match.captured(3);
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
