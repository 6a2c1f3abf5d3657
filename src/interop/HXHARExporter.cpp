#include "HXHARExporter.h"

#include "HXCodeGenerator.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXRequest.h"
#include "HXResponse.h"
#include "HXResponseManager.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>
#include <QUrl>
#include <QUrlQuery>

namespace {

QJsonArray headerArray(const QList<QPair<QByteArray, QByteArray>> &headers)
{
    QJsonArray array;
    for (const auto &[name, value] : headers)
        array.append(QJsonObject{{QStringLiteral("name"), QString::fromLatin1(name)},
                                 {QStringLiteral("value"), QString::fromLatin1(value)}});
    return array;
}

QJsonObject requestObject(const HXCodeRequest &request)
{
    QJsonArray query;
    const QUrl url = QUrl::fromEncoded(request.url);
    for (const auto &[name, value] : QUrlQuery(url).queryItems(QUrl::FullyDecoded))
        query.append(QJsonObject{{QStringLiteral("name"), name}, {QStringLiteral("value"), value}});
    QJsonObject object{{QStringLiteral("method"), QString::fromLatin1(request.method)},
                       {QStringLiteral("url"), QString::fromLatin1(request.url)},
                       {QStringLiteral("httpVersion"), QStringLiteral("HTTP/1.1")},
                       {QStringLiteral("cookies"), QJsonArray()},
                       {QStringLiteral("headers"), headerArray(request.headers)},
                       {QStringLiteral("queryString"), query},
                       {QStringLiteral("headersSize"), -1},
                       {QStringLiteral("bodySize"), request.body.size()}};
    if (!request.body.isEmpty()) {
        QString mimeType;
        for (const auto &[name, value] : request.headers) {
            if (name.compare("Content-Type", Qt::CaseInsensitive) == 0)
                mimeType = QString::fromLatin1(value);
        }
        object.insert(QStringLiteral("postData"),
                      QJsonObject{{QStringLiteral("mimeType"), mimeType},
                                  {QStringLiteral("text"), QString::fromUtf8(request.body)}});
    }
    return object;
}

QJsonObject responseObject(const HXResponse &response)
{
    QJsonArray headers;
    for (const auto &[name, value] : response.headers())
        headers.append(QJsonObject{{QStringLiteral("name"), name}, {QStringLiteral("value"), value}});
    const QByteArray body = response.bodyData();
    QJsonObject content{{QStringLiteral("size"), body.size()}, {QStringLiteral("mimeType"), response.contentType()}};
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(body);
    if (decoder.hasError()) {
        content.insert(QStringLiteral("text"), QString::fromLatin1(body.toBase64()));
        content.insert(QStringLiteral("encoding"), QStringLiteral("base64"));
    } else {
        content.insert(QStringLiteral("text"), text);
    }
    return QJsonObject{{QStringLiteral("status"), response.statusCode()},
                       {QStringLiteral("statusText"), response.statusString()},
                       {QStringLiteral("httpVersion"), response.httpVersion()},
                       {QStringLiteral("cookies"), QJsonArray()},
                       {QStringLiteral("headers"), headers},
                       {QStringLiteral("content"), content},
                       {QStringLiteral("redirectURL"), response.headerValueForName(QStringLiteral("Location"))},
                       {QStringLiteral("headersSize"), response.headersData().size()},
                       {QStringLiteral("bodySize"), body.size()}};
}

} // namespace

QByteArray HXHARExporter::exportDocument(HXDocument *document)
{
    struct Entry
    {
        QDateTime date;
        QJsonObject object;
    };
    QList<Entry> entries;
    HXResponseManager *store = HXResponseManager::sharedManager();
    for (HXRequest *request : HXDocumentCommands::commandsForDocument(document)->allRequestsByUUID()) {
        const QList<std::shared_ptr<HXResponse>> responses = store->responsesForRequestUUID(request->uuid());
        if (responses.isEmpty())
            continue;
        const QJsonObject sent = requestObject(HXCodeGenerator::codeRequest(request, document));
        for (const std::shared_ptr<HXResponse> &response : responses) {
            const double wait = response->responseTime() * 1000;
            const double receive = response->downloadTime() * 1000;
            entries.append(
                {response->date(),
                 QJsonObject{{QStringLiteral("startedDateTime"), response->date().toUTC().toString(Qt::ISODateWithMs)},
                             {QStringLiteral("time"), wait + receive},
                             {QStringLiteral("request"), sent},
                             {QStringLiteral("response"), responseObject(*response)},
                             {QStringLiteral("cache"), QJsonObject()},
                             {QStringLiteral("timings"), QJsonObject{{QStringLiteral("send"), 0},
                                                                     {QStringLiteral("wait"), wait},
                                                                     {QStringLiteral("receive"), receive}}},
                             {QStringLiteral("comment"), request->name()}}});
        }
    }
    std::stable_sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) { return a.date < b.date; });
    QJsonArray array;
    for (const Entry &entry : std::as_const(entries))
        array.append(entry.object);
    const QJsonObject log{
        {QStringLiteral("log"),
         QJsonObject{{QStringLiteral("version"), QStringLiteral("1.2")},
                     {QStringLiteral("creator"),
                      QJsonObject{{QStringLiteral("name"), QStringLiteral("Kea")},
                                  {QStringLiteral("version"), QCoreApplication::applicationVersion()}}},
                     {QStringLiteral("entries"), array}}}};
    return QJsonDocument(log).toJson(QJsonDocument::Indented);
}
