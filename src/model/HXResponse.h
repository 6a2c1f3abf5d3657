#pragma once

#include "HXHTTPHeaderDictionary.h"
#include "HXHTTPResponseBody.h"
#include "HXStringEncoding.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>

#include <functional>
#include <optional>
#include <utility>

class HXManagedObjectContext;
class HXRequest;
struct HXHTTPResponseHead;

// A recorded response: the head exactly as received, the body as the engine
// delivered it, when it came and how long it took; and everything derived
// from them (status, headers, content type, body text). Responses live in the
// response store, never in a document; they refer to their request by uuid.
class HXResponse
{
public:
    HXResponse();
    ~HXResponse();
    HXResponse(const HXResponse &other);
    HXResponse &operator=(const HXResponse &other);

    QByteArray headersData() const { return m_headersData; }
    void setHeadersData(const QByteArray &data);
    // The body; a body the response store has not read yet is read now.
    QByteArray bodyData() const;
    void setBodyData(const QByteArray &data);
    // Set by the response store for a body kept on disk: run once, on the
    // first bodyData(). setBodyData() drops it.
    void setBodyLoader(std::function<QByteArray()> loader) { m_bodyLoader = std::move(loader); }
    bool hasPendingBodyLoader() const { return bool(m_bodyLoader); }
    // A body as an engine delivered it: one in memory becomes bodyData();
    // one in a file stays there, read by the first bodyData().
    void setBody(const HXHTTPResponseBody &body);
    // The body when it is kept in a file (isInFile()), else an empty body.
    const HXHTTPResponseBody &bodyFile() const { return m_bodyFile; }
    // The body's length, without reading a body kept in a file.
    qint64 bodyLength() const;
    QString requestUUID() const { return m_requestUUID; }
    void setRequestUUID(const QString &uuid) { m_requestUUID = uuid; }
    QDateTime date() const { return m_date; }
    void setDate(const QDateTime &date) { m_date = date; }
    double responseTime() const { return m_responseTime; }
    void setResponseTime(double seconds) { m_responseTime = seconds; }
    double downloadTime() const { return m_downloadTime; }
    void setDownloadTime(double seconds) { m_downloadTime = seconds; }

    // The parsed head, built once from headersData.
    const HXHTTPResponseHead &HTTPMessage() const;
    qint64 statusCode() const;
    QString statusLine() const;
    // "HTTP/1.1"
    QString httpVersion() const;
    // The reason phrase of the status line.
    QString statusString() const;
    // Every header field by name (a repeated name is folded into one value).
    const HXHTTPHeaderDictionary &headersDictionary() const;
    QString headerValueForName(const QString &name) const;
    // The header lines in order, repeated names kept: (name, value) pairs.
    const QList<std::pair<QString, QString>> &headers() const;

    // "250 ms" below a second, "1.00 s" from one second on.
    QString downloadTimeString() const;
    static QString downloadTimeString(double seconds);

    // From the Content-Type header: its main value, the whole value, its
    // charset parameter, and the encoding of that charset (UTF-8 without one).
    QString MIMEType() const;
    QString contentType() const;
    QString charset() const;
    HXStringEncoding stringEncoding() const;

    // The body decoded with stringEncoding; nothing when there is no body or
    // it does not decode.
    std::optional<QString> bodyStringUnsafe() const;
    // The same, falling back to 7-bit ASCII when that gives nothing.
    QString bodyString() const;
    QString bodyStringAsJSON() const;
    QString bodyStringAsXML() const;

    // The request with this response's requestUUID in the store, or null.
    HXRequest *requestForManagedObjectContext(HXManagedObjectContext *context) const;

    // How the response viewer shows the body.
    enum BodyTextType {
        BodyTextTypeText = 0,
        BodyTextTypeJSON = 1,
        BodyTextTypeXML = 2,
        BodyTextTypeHTML = 3,
        BodyTextTypeFormURLEncoded = 4
    };
    BodyTextType defaultBodyTextType() const;
    // The first entry of the "HXUserDefaultResponseTextFormats" setting that
    // matches the MIME type, or nothing.
    static std::optional<BodyTextType> userDefaultBodyTextTypeForContentType(const QString &mimeType);

private:
    void clearCaches();

    QByteArray m_headersData;
    mutable QByteArray m_bodyData;
    mutable std::function<QByteArray()> m_bodyLoader;
    HXHTTPResponseBody m_bodyFile;
    QString m_requestUUID;
    QDateTime m_date;
    double m_responseTime = 0;
    double m_downloadTime = 0;

    struct Caches;
    mutable std::unique_ptr<Caches> m_caches;
};

Q_DECLARE_METATYPE(std::shared_ptr<HXResponse>)
