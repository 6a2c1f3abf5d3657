#include "HXResponse.h"

#include "HXHTTPRequest.h"
#include "HXHTTPResponseHead.h"
#include "HXJSONPrintingPreferences.h"
#include "HXJSONString.h"
#include "HXRequest.h"
#include "HXUserDefaults.h"
#include "HXXMLString.h"

#include <QRegularExpression>

#include <utility>

struct HXResponse::Caches
{
    std::optional<HXHTTPResponseHead> head;
    std::optional<QList<std::pair<QString, QString>>> headers;
};

HXResponse::HXResponse() = default;

HXResponse::~HXResponse() = default;

HXResponse::HXResponse(const HXResponse &other)
    : m_headersData(other.m_headersData), m_bodyData(other.m_bodyData), m_bodyLoader(other.m_bodyLoader),
      m_bodyFile(other.m_bodyFile), m_requestUUID(other.m_requestUUID), m_date(other.m_date),
      m_responseTime(other.m_responseTime), m_downloadTime(other.m_downloadTime)
{}

HXResponse &HXResponse::operator=(const HXResponse &other)
{
    if (this != &other) {
        m_headersData = other.m_headersData;
        m_bodyData = other.m_bodyData;
        m_bodyLoader = other.m_bodyLoader;
        m_bodyFile = other.m_bodyFile;
        m_requestUUID = other.m_requestUUID;
        m_date = other.m_date;
        m_responseTime = other.m_responseTime;
        m_downloadTime = other.m_downloadTime;
        clearCaches();
    }
    return *this;
}

void HXResponse::clearCaches()
{
    m_caches.reset();
}

QByteArray HXResponse::bodyData() const
{
    if (m_bodyLoader) {
        // Taken out first: the loader runs once even if it fails.
        const std::function<QByteArray()> loader = std::exchange(m_bodyLoader, nullptr);
        m_bodyData = loader();
    }
    return m_bodyData;
}

void HXResponse::setBodyData(const QByteArray &data)
{
    m_bodyLoader = nullptr;
    m_bodyFile = HXHTTPResponseBody();
    m_bodyData = data;
}

void HXResponse::setBody(const HXHTTPResponseBody &body)
{
    if (!body.isInFile()) {
        setBodyData(body.data());
        return;
    }
    m_bodyData = QByteArray();
    m_bodyFile = body;
    m_bodyLoader = [body] { return body.data(); };
}

qint64 HXResponse::bodyLength() const
{
    if (m_bodyFile.isInFile())
        return m_bodyFile.size();
    return bodyData().size();
}

void HXResponse::setHeadersData(const QByteArray &data)
{
    m_headersData = data;
    clearCaches();
}

const HXHTTPResponseHead &HXResponse::HTTPMessage() const
{
    if (!m_caches)
        m_caches = std::make_unique<Caches>();
    if (!m_caches->head)
        m_caches->head = HXHTTPResponseHead::parse(m_headersData);
    return *m_caches->head;
}

qint64 HXResponse::statusCode() const
{
    return HTTPMessage().statusCode;
}

QString HXResponse::statusLine() const
{
    return HTTPMessage().statusLine;
}

QString HXResponse::httpVersion() const
{
    const HXHTTPResponseHead &head = HTTPMessage();
    return QStringLiteral("HTTP/%1.%2").arg(head.majorVersion).arg(head.minorVersion);
}

QString HXResponse::statusString() const
{
    return HXHTTPRequest::reasonPhraseWithStatusLine(statusLine());
}

const HXHTTPHeaderDictionary &HXResponse::headersDictionary() const
{
    return HTTPMessage().headerFields;
}

QString HXResponse::headerValueForName(const QString &name) const
{
    return headersDictionary().value(name);
}

const QList<std::pair<QString, QString>> &HXResponse::headers() const
{
    if (!m_caches)
        m_caches = std::make_unique<Caches>();
    if (!m_caches->headers) {
        static const QRegularExpression line(QStringLiteral("^(.*?): *(.*)$"));
        QList<std::pair<QString, QString>> result;
        const QStringList lines = QString::fromLatin1(m_headersData).split(QStringLiteral("\r\n"));
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const QRegularExpressionMatch match = line.match(lines.at(i));
            if (match.hasMatch())
                result.append({match.captured(1), match.captured(2)});
        }
        m_caches->headers = std::move(result);
    }
    return *m_caches->headers;
}

QString HXResponse::downloadTimeString(double seconds)
{
    if (seconds < 1.0)
        return QString::asprintf("%.0f ms", seconds * 1000.0);
    return QString::asprintf("%.2f s", seconds);
}

QString HXResponse::downloadTimeString() const
{
    return downloadTimeString(m_downloadTime);
}

QString HXResponse::contentType() const
{
    return headerValueForName(QStringLiteral("Content-Type"));
}

QString HXResponse::MIMEType() const
{
    const QString value = contentType();
    return value.section(u';', 0, 0).trimmed();
}

QString HXResponse::charset() const
{
    const QStringList parameters = contentType().split(u';');
    for (qsizetype i = 1; i < parameters.size(); ++i) {
        const QString parameter = parameters.at(i).trimmed();
        const qsizetype equals = parameter.indexOf(u'=');
        if (equals > 0 && parameter.left(equals).trimmed().compare(u"charset", Qt::CaseInsensitive) == 0) {
            QString value = parameter.mid(equals + 1).trimmed();
            if (value.size() >= 2 && value.startsWith(u'"') && value.endsWith(u'"'))
                value = value.mid(1, value.size() - 2);
            return value;
        }
    }
    return QString();
}

HXStringEncoding HXResponse::stringEncoding() const
{
    return HXStringEncodings::encodingForIANANameOrUTF8(charset());
}

std::optional<QString> HXResponse::bodyStringUnsafe() const
{
    const QByteArray body = bodyData();
    if (body.isEmpty())
        return std::nullopt;
    return HXStringEncodings::decode(body, stringEncoding());
}

QString HXResponse::bodyString() const
{
    const std::optional<QString> decoded = bodyStringUnsafe();
    if (decoded && !decoded->isEmpty())
        return *decoded;
    return HXStringEncodings::decode(bodyData(), HXStringEncoding::ASCII).value_or(QString());
}

QString HXResponse::bodyStringAsJSON() const
{
    return HXJSONString::stringByPrettyPrintingJSON(bodyString(), HXJSONPrintingPreferences::standardSettings());
}

QString HXResponse::bodyStringAsXML() const
{
    return HXXMLString::stringByPrettyPrintingXML(bodyString());
}

HXRequest *HXResponse::requestForManagedObjectContext(HXManagedObjectContext *context) const
{
    return HXRequest::requestWithUUID(m_requestUUID, context);
}

HXResponse::BodyTextType HXResponse::defaultBodyTextType() const
{
    const QString mime = MIMEType();
    if (mime.contains(u"xml", Qt::CaseInsensitive))
        return BodyTextTypeXML;
    if (mime.contains(u"json", Qt::CaseInsensitive) || mime.contains(u"javascript", Qt::CaseInsensitive))
        return BodyTextTypeJSON;
    if (mime == u"application/x-www-form-urlencoded")
        return BodyTextTypeFormURLEncoded;
    return BodyTextTypeText;
}

std::optional<HXResponse::BodyTextType> HXResponse::userDefaultBodyTextTypeForContentType(const QString &mimeType)
{
    const QVariantList entries =
        HXUserDefaults::standardUserDefaults().arrayForKey(QStringLiteral("HXUserDefaultResponseTextFormats"));
    for (const QVariant &entry : entries) {
        const QVariantMap map = entry.toMap();
        const QString pattern = map.value(QStringLiteral("content-type")).toString();
        bool matches = false;
        if (map.value(QStringLiteral("regex")).toBool()) {
            const QRegularExpression expression(QRegularExpression::anchoredPattern(pattern),
                                                QRegularExpression::CaseInsensitiveOption);
            matches = expression.isValid() && expression.match(mimeType).hasMatch();
        } else {
            matches = pattern == mimeType;
        }
        if (!matches)
            continue;
        const QString format = map.value(QStringLiteral("format")).toString();
        if (format == u"Text")
            return BodyTextTypeText;
        if (format == u"JSON")
            return BodyTextTypeJSON;
        if (format == u"XML")
            return BodyTextTypeXML;
        if (format == u"Form URL-Encoded")
            return BodyTextTypeFormURLEncoded;
        return std::nullopt;
    }
    return std::nullopt;
}
