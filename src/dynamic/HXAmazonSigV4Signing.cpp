#include "HXAmazonSigV4Signing.h"

#include "HXDataAdditions.h"
#include "HXRequest.h"
#include "HXRequestEvaluationContext.h"

#include <algorithm>

namespace {

const QLatin1String algorithmName("AWS4-HMAC-SHA256");

QByteArray hmacSHA256(const QByteArray &key, const QByteArray &data)
{
    return HXDataAdditions::HMAC(data, key, HXDataAdditions::HMACAlgorithmSHA256);
}

QString sha256Hex(const QByteArray &data)
{
    return QString::fromLatin1(HXDataAdditions::digest(data, HXDataAdditions::DigestSHA256).toHex());
}

std::optional<QString> headerValue(const HXAmazonSigV4Signing::HeaderRows &headers, QLatin1String name)
{
    for (const auto &[rowName, value] : headers) {
        if (rowName.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return std::nullopt;
}

// Trimmed, with every run of blanks inside made one space.
QString canonicalHeaderValue(const QString &value)
{
    QString result;
    bool blank = false;
    for (const QChar c : value.trimmed()) {
        if (c == u' ' || c == u'\t') {
            blank = true;
            continue;
        }
        if (blank)
            result += u' ';
        blank = false;
        result += c;
    }
    return result;
}

QString hostHeader(const QUrl &url)
{
    const QString host = url.host(QUrl::FullyEncoded);
    const int port = url.port();
    const bool defaultPort =
        port < 0 || (url.scheme() == u"https" && port == 443) || (url.scheme() == u"http" && port == 80);
    return defaultPort ? host : host + u':' + QString::number(port);
}

} // namespace

QString HXAmazonSigV4Signing::uriEncode(const QByteArray &bytes, bool keepSlash)
{
    static const char hex[] = "0123456789ABCDEF";
    QString encoded;
    encoded.reserve(bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
            byte == '-' || byte == '_' || byte == '.' || byte == '~' || (keepSlash && byte == '/')) {
            encoded += QLatin1Char(c);
        } else {
            encoded += u'%';
            encoded += QLatin1Char(hex[byte >> 4]);
            encoded += QLatin1Char(hex[byte & 0xF]);
        }
    }
    return encoded;
}

QString HXAmazonSigV4Signing::canonicalURI(const QUrl &url, bool normalizePath)
{
    const QByteArray path = url.path(QUrl::FullyEncoded).toUtf8();
    const QList<QByteArray> segments = path.split('/');
    QList<QByteArray> kept;
    for (qsizetype i = 1; i < segments.size(); ++i) {
        const QByteArray &segment = segments.at(i);
        if (!normalizePath)
            kept.append(segment);
        else if (segment == "..") {
            if (!kept.isEmpty())
                kept.removeLast();
        } else if (!segment.isEmpty() && segment != ".")
            kept.append(segment);
    }
    QString uri;
    for (const QByteArray &segment : std::as_const(kept))
        uri += u'/' + uriEncode(QByteArray::fromPercentEncoding(segment), false);
    const bool trailingSlash = path.endsWith('/') || path.endsWith("/.") || path.endsWith("/..");
    if (uri.isEmpty() || (normalizePath && trailingSlash))
        uri += u'/';
    return uri;
}

QString HXAmazonSigV4Signing::canonicalQueryString(const QUrl &url)
{
    QList<std::pair<QString, QString>> parameters;
    const QList<QByteArray> pieces = url.query(QUrl::FullyEncoded).toUtf8().split('&');
    for (const QByteArray &piece : pieces) {
        if (piece.isEmpty())
            continue;
        const qsizetype equals = piece.indexOf('=');
        const QByteArray name = equals < 0 ? piece : piece.left(equals);
        const QByteArray value = equals < 0 ? QByteArray() : piece.mid(equals + 1);
        parameters.append({uriEncode(QByteArray::fromPercentEncoding(name), false),
                           uriEncode(QByteArray::fromPercentEncoding(value), false)});
    }
    std::sort(parameters.begin(), parameters.end());
    QStringList joined;
    for (const auto &[name, value] : std::as_const(parameters))
        joined.append(name + u'=' + value);
    return joined.join(u'&');
}

QString HXAmazonSigV4Signing::canonicalRequest(const QString &method, const QUrl &url, const HeaderRows &headers,
                                               const QString &payloadHash, bool normalizePath, QString *signedHeaders)
{
    HeaderRows rows;
    for (const auto &[name, value] : headers)
        rows.append({name.toLower(), canonicalHeaderValue(value)});
    std::stable_sort(rows.begin(), rows.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    QString lines;
    QStringList names;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        if (i > 0 && rows.at(i).first == rows.at(i - 1).first) {
            lines.insert(lines.size() - 1, QString(u',' + rows.at(i).second));
            continue;
        }
        names.append(rows.at(i).first);
        lines += rows.at(i).first + u':' + rows.at(i).second + u'\n';
    }
    const QString signedNames = names.join(u';');
    if (signedHeaders)
        *signedHeaders = signedNames;
    return method.toUpper() + u'\n' + canonicalURI(url, normalizePath) + u'\n' + canonicalQueryString(url) + u'\n' +
           lines + u'\n' + signedNames + u'\n' + payloadHash;
}

QByteArray HXAmazonSigV4Signing::signingKey(const QString &secretAccessKey, const QString &date, const QString &region,
                                            const QString &service)
{
    QByteArray key = hmacSHA256("AWS4" + secretAccessKey.toUtf8(), date.toUtf8());
    key = hmacSHA256(key, region.toUtf8());
    key = hmacSHA256(key, service.toUtf8());
    return hmacSHA256(key, "aws4_request");
}

QString HXAmazonSigV4Signing::requestTime(const HeaderRows &headers, const QDateTime &now)
{
    if (const std::optional<QString> amzDate = headerValue(headers, QLatin1String("x-amz-date")))
        return amzDate->trimmed();
    QDateTime time = now;
    if (const std::optional<QString> date = headerValue(headers, QLatin1String("date"))) {
        // HTTP dates end in "GMT", which the RFC 2822 reader does not take.
        QString text = date->trimmed();
        if (text.endsWith(QLatin1String(" GMT")))
            text.replace(text.size() - 3, 3, QStringLiteral("+0000"));
        const QDateTime parsed = QDateTime::fromString(text, Qt::RFC2822Date);
        if (parsed.isValid())
            time = parsed;
    }
    return time.toUTC().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
}

std::optional<QString> HXAmazonSigV4Signing::authorizationHeader(const Credentials &credentials, const QString &method,
                                                                 const QUrl &url, const HeaderRows &headers,
                                                                 const QByteArray &body, const QDateTime &now)
{
    if (url.host().isEmpty() || credentials.accessKeyId.isEmpty() || credentials.secretAccessKey.isEmpty() ||
        credentials.region.isEmpty() || credentials.service.isEmpty())
        return std::nullopt;
    HeaderRows signedRows = headers;
    if (!headerValue(signedRows, QLatin1String("host")))
        signedRows.append({QStringLiteral("host"), hostHeader(url)});
    if (!credentials.sessionToken.isEmpty() && !headerValue(signedRows, QLatin1String("x-amz-security-token")))
        signedRows.append({QStringLiteral("x-amz-security-token"), credentials.sessionToken});
    const QString payloadHash =
        headerValue(signedRows, QLatin1String("x-amz-content-sha256")).value_or(sha256Hex(body)).trimmed();

    QString signedHeaders;
    const QString request =
        canonicalRequest(method, url, signedRows, payloadHash,
                         credentials.service.compare(u"s3", Qt::CaseInsensitive) != 0, &signedHeaders);
    const QString time = requestTime(signedRows, now);
    const QString date = time.left(8);
    const QString scope =
        date + u'/' + credentials.region + u'/' + credentials.service + QLatin1String("/aws4_request");
    const QString stringToSign = algorithmName + u'\n' + time + u'\n' + scope + u'\n' + sha256Hex(request.toUtf8());
    const QByteArray signature = hmacSHA256(
        signingKey(credentials.secretAccessKey, date, credentials.region, credentials.service), stringToSign.toUtf8());
    return algorithmName + QLatin1String(" Credential=") + credentials.accessKeyId + u'/' + scope +
           QLatin1String(", SignedHeaders=") + signedHeaders + QLatin1String(", Signature=") +
           QString::fromLatin1(signature.toHex());
}

std::optional<QString> HXAmazonSigV4Signing::authorizationHeader(HXRequest *request, const Credentials &credentials)
{
    if (!request)
        return std::nullopt;
    const HXRequestAssembly assembly = request->assemblyAsSent(HXRequestEvaluationContext::currentDocument());
    if (!assembly.URL)
        return std::nullopt;
    HeaderRows headers;
    for (const HXRequestHeaderEntry &entry : assembly.headers) {
        if (entry.name.isEmpty() || entry.value.isEmpty() ||
            entry.name.compare(u"Authorization", Qt::CaseInsensitive) == 0)
            continue;
        headers.append({entry.name, entry.value});
    }
    return authorizationHeader(credentials, request->method(), *assembly.URL, headers, assembly.bodyData,
                               QDateTime::currentDateTimeUtc());
}
