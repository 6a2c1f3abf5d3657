#include "HXAmazonS3Signing.h"

#include "HXDataAdditions.h"
#include "HXHTTPProxyConfiguration.h"
#include "HXHTTPRequestMessage.h"
#include "HXRequest.h"
#include "HXRequestEvaluationContext.h"
#include "HXStringEncoding.h"

#include <QRegularExpression>
#include <QUrlQuery>

#include <algorithm>

namespace {

std::optional<QString> headerValue(const HXAmazonS3Signing::HeaderRows &headers, QLatin1String name)
{
    for (const auto &[rowName, value] : headers) {
        if (rowName.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return std::nullopt;
}

QList<QPair<QString, QString>> queryItems(const QUrl &url)
{
    return QUrlQuery(url).queryItems(QUrl::FullyDecoded);
}

std::optional<QString> evaluatedSignature(HXRequest *request, const QString &secretAccessKeyId, bool useExpires,
                                          const QString &accessKeyId, bool asHeader)
{
    if (!request)
        return std::nullopt;
    // Sign what is sent: with the Content-Type that sending adds to some bodies.
    const HXRequestAssembly assembly = request->assemblyAsSent(HXRequestEvaluationContext::currentDocument());
    if (!assembly.URL)
        return std::nullopt;
    // Every row with a name and a value, as sent.
    HXAmazonS3Signing::HeaderRows headers;
    for (const HXRequestHeaderEntry &entry : assembly.headers) {
        if (!entry.name.isEmpty() && !entry.value.isEmpty())
            headers.append({entry.name, entry.value});
    }
    if (asHeader) {
        return HXAmazonS3Signing::amazonS3AuthorizationHeaderWithAccessKeyId(
            accessKeyId, secretAccessKeyId, *assembly.URL, request->method(), headers, assembly.URLText);
    }
    return HXAmazonS3Signing::amazonS3SignatureWithURL(*assembly.URL, request->method(), headers, secretAccessKeyId,
                                                       useExpires, assembly.URLText);
}

} // namespace

const QStringList &HXAmazonS3Signing::subResourceNames()
{
    static const QStringList names = {
        QStringLiteral("acl"),
        QStringLiteral("cors"),
        QStringLiteral("defaultObjectAcl"),
        QStringLiteral("location"),
        QStringLiteral("logging"),
        QStringLiteral("partNumber"),
        QStringLiteral("policy"),
        QStringLiteral("requestPayment"),
        QStringLiteral("torrent"),
        QStringLiteral("versioning"),
        QStringLiteral("versionId"),
        QStringLiteral("versions"),
        QStringLiteral("website"),
        QStringLiteral("uploads"),
        QStringLiteral("uploadId"),
        QStringLiteral("response-content-type"),
        QStringLiteral("response-content-language"),
        QStringLiteral("response-expires"),
        QStringLiteral("response-cache-control"),
        QStringLiteral("response-content-disposition"),
        QStringLiteral("response-content-encoding"),
        QStringLiteral("delete"),
        QStringLiteral("lifecycle"),
        QStringLiteral("tagging"),
        QStringLiteral("restore"),
        QStringLiteral("storageClass"),
        QStringLiteral("websiteConfig"),
        QStringLiteral("compose"),
    };
    return names;
}

QString HXAmazonS3Signing::amazonS3CanonicalizedAmzHeaders(const HXAmazonS3Signing::HeaderRows &headers)
{
    HeaderRows amzHeaders;
    for (const auto &row : headers) {
        if (row.first.startsWith(QLatin1String("x-amz-"), Qt::CaseInsensitive))
            amzHeaders.append(row);
    }
    std::stable_sort(amzHeaders.begin(), amzHeaders.end(),
                     [](const auto &a, const auto &b) { return a.first.compare(b.first, Qt::CaseInsensitive) < 0; });
    QString lines;
    for (const auto &[name, value] : std::as_const(amzHeaders))
        lines += name.toLower() + u':' + value + u'\n';
    return lines;
}

QString HXAmazonS3Signing::amazonS3CanonicalizedResource(const QUrl &url, const QString &urlText)
{
    static const QRegularExpression virtualHost(QStringLiteral("^(.+?)\\.s3\\.amazonaws\\.com$"),
                                                QRegularExpression::CaseInsensitiveOption);
    const QString host = url.host(QUrl::FullyEncoded);
    QString resource;
    const QRegularExpressionMatch match = virtualHost.match(host);
    if (match.hasMatch())
        resource = u'/' + match.captured(1).toLower();
    else if (host.compare(endpointHost(), Qt::CaseInsensitive) != 0)
        resource = u'/' + host.toLower();

    // The path of the request line, which keeps the escapes as written.
    QString path = url.path(QUrl::FullyEncoded);
    if (!urlText.isEmpty()) {
        const QByteArray target =
            HXHTTPRequestMessage::requestTarget(url, HXHTTPProxyDecision::ProxyModeDirect, urlText);
        qsizetype end = target.size();
        for (const char c : {'?', '#'})
            end = qMin(end, target.indexOf(c) < 0 ? end : target.indexOf(c));
        path = QString::fromLatin1(target.first(end));
    }
    resource += path.isEmpty() ? QStringLiteral("/") : path;

    QStringList subResources;
    for (const auto &item : queryItems(url)) {
        if (subResourceNames().contains(item.first) && !subResources.contains(item.first))
            subResources.append(item.first);
    }
    if (!subResources.isEmpty()) {
        std::sort(subResources.begin(), subResources.end());
        resource += u'?' + subResources.join(u'&');
    }
    return resource;
}

QString HXAmazonS3Signing::amazonS3StringToSignWithURL(const QUrl &url, const QString &method,
                                                       const HXAmazonS3Signing::HeaderRows &headers, bool useExpires,
                                                       const QString &urlText)
{
    QString date;
    if (useExpires) {
        const QList<QPair<QString, QString>> items = queryItems(url);
        const auto expires = std::find_if(items.cbegin(), items.cend(),
                                          [](const auto &item) { return item.first == QLatin1String("Expires"); });
        if (expires != items.cend())
            date = expires->second;
    } else if (!headerValue(headers, QLatin1String("x-amz-date"))) {
        date = headerValue(headers, QLatin1String("Date")).value_or(QString());
    }
    return method.toUpper() + u'\n' + headerValue(headers, QLatin1String("Content-MD5")).value_or(QString()) + u'\n' +
           headerValue(headers, QLatin1String("Content-Type")).value_or(QString()) + u'\n' + date + u'\n' +
           amazonS3CanonicalizedAmzHeaders(headers) + amazonS3CanonicalizedResource(url, urlText);
}

std::optional<QString> HXAmazonS3Signing::amazonS3SignatureWithURL(const QUrl &url, const QString &method,
                                                                   const HXAmazonS3Signing::HeaderRows &headers,
                                                                   const QString &secretAccessKeyId, bool useExpires,
                                                                   const QString &urlText)
{
    const std::optional<QByteArray> message = HXStringEncodings::encode(
        amazonS3StringToSignWithURL(url, method, headers, useExpires, urlText), HXStringEncoding::ASCII);
    const std::optional<QByteArray> key = HXStringEncodings::encode(secretAccessKeyId, HXStringEncoding::ASCII);
    if (!message || !key)
        return std::nullopt;
    return HXDataAdditions::base64EncodedString(
        HXDataAdditions::HMAC(*message, *key, HXDataAdditions::HMACAlgorithmSHA1));
}

std::optional<QString> HXAmazonS3Signing::amazonS3AuthorizationHeaderWithAccessKeyId(
    const QString &accessKeyId, const QString &secretAccessKeyId, const QUrl &url, const QString &method,
    const HXAmazonS3Signing::HeaderRows &headers, const QString &urlText)
{
    const std::optional<QString> signature =
        amazonS3SignatureWithURL(url, method, headers, secretAccessKeyId, false, urlText);
    if (!signature)
        return std::nullopt;
    return QLatin1String("AWS ") + accessKeyId + u':' + *signature;
}

std::optional<QString> HXAmazonS3Signing::amazonS3AuthorizationHeaderWithAccessKeyId(HXRequest *request,
                                                                                     const QString &accessKeyId,
                                                                                     const QString &secretAccessKeyId)
{
    return evaluatedSignature(request, secretAccessKeyId, false, accessKeyId, true);
}

std::optional<QString> HXAmazonS3Signing::amazonS3SignatureParameterWithAccessKeyId(HXRequest *request,
                                                                                    const QString &accessKeyId,
                                                                                    const QString &secretAccessKeyId)
{
    return evaluatedSignature(request, secretAccessKeyId, true, accessKeyId, false);
}
