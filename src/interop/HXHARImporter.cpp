#include "HXHARImporter.h"

#include "HXCurlCommandImporter.h"

#include <QJsonArray>
#include <QStringDecoder>
#include <QUrl>

bool HXHARImporter::isHAR(const QJsonObject &root)
{
    return root.value(QStringLiteral("log")).isObject();
}

HXResult<HXInteropCollection> HXHARImporter::import(const QJsonObject &root)
{
    const QString domain = QString::fromLatin1(HXCurlCommandImporter::errorDomain);
    const QJsonObject log = root.value(QStringLiteral("log")).toObject();
    const QString version = log.value(QStringLiteral("version")).toString();
    if (version != u"1.2" && version != u"1.1")
        return HXError(domain, 20,
                       QStringLiteral("unsupported HAR version '%1' (1.1 and 1.2 are supported)").arg(version));
    if (!log.value(QStringLiteral("entries")).isArray())
        return HXError(domain, 21, QStringLiteral("the HAR file has no \"entries\" list"));
    HXInteropCollection collection;
    collection.name = log.value(QStringLiteral("creator")).toObject().value(QStringLiteral("name")).toString();
    bool droppedHeaders = false;
    int index = 0;
    for (const QJsonValue &value : log.value(QStringLiteral("entries")).toArray()) {
        ++index;
        const QJsonObject entry = value.toObject().value(QStringLiteral("request")).toObject();
        HXInteropRequest request;
        request.method = entry.value(QStringLiteral("method")).toString().toUpper();
        request.url = entry.value(QStringLiteral("url")).toString();
        if (request.method.isEmpty() || request.url.isEmpty()) {
            collection.skipped.append(QStringLiteral("entry %1: no method or URL").arg(index));
            continue;
        }
        const QUrl url(request.url);
        request.name = request.method + u' ' + url.host() + (url.path().isEmpty() ? QStringLiteral("/") : url.path());
        for (const QJsonValue &header : entry.value(QStringLiteral("headers")).toArray()) {
            const QString name = header.toObject().value(QStringLiteral("name")).toString();
            if (name.startsWith(u':') || name.compare(QStringLiteral("Content-Length"), Qt::CaseInsensitive) == 0) {
                droppedHeaders = true;
                continue;
            }
            request.headers.append({name, header.toObject().value(QStringLiteral("value")).toString()});
        }
        const QJsonObject postData = entry.value(QStringLiteral("postData")).toObject();
        const QString mimeType = postData.value(QStringLiteral("mimeType")).toString();
        if (postData.contains(QStringLiteral("text"))) {
            request.body = HXInteropRequest::Body::Raw;
            request.rawBody = postData.value(QStringLiteral("text")).toString();
            if (postData.value(QStringLiteral("encoding")).toString() == u"base64") {
                // Text is kept; other bytes have no place in a text body.
                const QByteArray bytes = QByteArray::fromBase64(request.rawBody.toLatin1());
                QStringDecoder decoder(QStringDecoder::Utf8);
                request.rawBody = decoder(bytes);
                if (decoder.hasError()) {
                    request.body = HXInteropRequest::Body::None;
                    request.rawBody.clear();
                    collection.skipped.append(QStringLiteral("%1: a binary body is not imported").arg(request.name));
                }
            }
        } else if (postData.value(QStringLiteral("params")).isArray()) {
            const bool multipart = mimeType.startsWith(QStringLiteral("multipart/"));
            request.body = multipart ? HXInteropRequest::Body::FormData : HXInteropRequest::Body::URLEncoded;
            for (const QJsonValue &param : postData.value(QStringLiteral("params")).toArray()) {
                const QJsonObject object = param.toObject();
                HXInteropField field{object.value(QStringLiteral("name")).toString(),
                                     object.value(QStringLiteral("value")).toString()};
                if (object.contains(QStringLiteral("fileName"))) {
                    field.isFile = true;
                    field.value = object.value(QStringLiteral("fileName")).toString();
                }
                request.fields.append(field);
            }
        }
        collection.items.append({false, request.name, request, {}});
    }
    if (droppedHeaders)
        collection.skipped.append(
            QStringLiteral("HTTP/2 pseudo-headers and Content-Length are left out: Kea sends its own"));
    return collection;
}
