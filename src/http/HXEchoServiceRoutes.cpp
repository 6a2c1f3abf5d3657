#include "HXEchoServiceRoutes.h"

#include "HXEchoService.h"
#include "HXGzipEncoder.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>
#include <QUrl>
#include <QUrlQuery>

#include <optional>

namespace {

bool isValidUtf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(bytes);
    Q_UNUSED(text);
    return !decoder.hasError();
}

QString headerText(const QByteArray &bytes)
{
    return isValidUtf8(bytes) ? QString::fromUtf8(bytes) : QString::fromLatin1(bytes);
}

QByteArray phraseFor(int status)
{
    switch (status) {
    case 100:
        return "Continue";
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 202:
        return "Accepted";
    case 204:
        return "No Content";
    case 206:
        return "Partial Content";
    case 301:
        return "Moved Permanently";
    case 302:
        return "Found";
    case 303:
        return "See Other";
    case 304:
        return "Not Modified";
    case 307:
        return "Temporary Redirect";
    case 308:
        return "Permanent Redirect";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 409:
        return "Conflict";
    case 413:
        return "Content Too Large";
    case 418:
        return "I'm a teapot";
    case 422:
        return "Unprocessable Content";
    case 429:
        return "Too Many Requests";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 501:
        return "Not Implemented";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    case 504:
        return "Gateway Timeout";
    default:
        break;
    }
    if (status < 300)
        return "Success";
    if (status < 400)
        return "Redirection";
    if (status < 500)
        return "Client Error";
    return "Server Error";
}

QPair<QByteArray, QByteArray> headerPair(const QByteArray &name, const QByteArray &value)
{
    return {name, value};
}

QByteArray json(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

// The decoded path and query items of a request target (origin form
// "/path?query", or the absolute form a proxy gets).
struct Target
{
    QString path;
    QList<QPair<QString, QString>> query;
};

Target splitTarget(const QByteArray &target)
{
    const qsizetype question = target.indexOf('?');
    QByteArray rawPath = question >= 0 ? target.left(question) : target;
    QByteArray rawQuery = question >= 0 ? target.mid(question + 1) : QByteArray();
    if (target.startsWith("http://") || target.startsWith("https://")) {
        const QUrl url = QUrl::fromEncoded(target);
        rawPath = url.path(QUrl::FullyEncoded).toUtf8();
        rawQuery = url.query(QUrl::FullyEncoded).toUtf8();
    }
    Target split;
    split.path = QUrl::fromPercentEncoding(rawPath);
    split.query = QUrlQuery(QString::fromUtf8(rawQuery)).queryItems(QUrl::FullyDecoded);
    return split;
}

QJsonObject echoObject(const QByteArray &method, const QByteArray &target, const QByteArray &version,
                       const HXEchoHeaderList &headers, const QByteArray &body)
{
    QJsonArray headerArray;
    for (const auto &[name, value] : headers)
        headerArray.append(
            QJsonObject{{QStringLiteral("name"), headerText(name)}, {QStringLiteral("value"), headerText(value)}});
    const Target split = splitTarget(target);
    QJsonArray query;
    for (const auto &[name, value] : split.query)
        query.append(QJsonArray{name, value});
    const bool text = isValidUtf8(body);
    return QJsonObject{
        {QStringLiteral("method"), QString::fromLatin1(method)},
        {QStringLiteral("target"), headerText(target)},
        {QStringLiteral("path"), split.path},
        {QStringLiteral("query"), query},
        {QStringLiteral("httpVersion"), QString::fromLatin1(version)},
        {QStringLiteral("headers"), headerArray},
        {QStringLiteral("body"), text ? QString::fromUtf8(body) : QString::fromLatin1(body.toBase64())},
        {QStringLiteral("bodyEncoding"), text ? QStringLiteral("text") : QStringLiteral("base64")},
        {QStringLiteral("length"), double(body.size())},
    };
}

QMap<QString, QString> requestCookies(const QList<QByteArray> &cookieHeaders)
{
    QMap<QString, QString> cookies;
    for (const QByteArray &header : cookieHeaders) {
        for (const QByteArray &pair : header.split(';')) {
            const QByteArray trimmed = pair.trimmed();
            const qsizetype equals = trimmed.indexOf('=');
            if (equals > 0)
                cookies.insert(headerText(trimmed.left(equals)), headerText(trimmed.mid(equals + 1)));
        }
    }
    return cookies;
}

QJsonObject cookiesObject(const QMap<QString, QString> &cookies)
{
    QJsonObject object;
    for (auto it = cookies.begin(); it != cookies.end(); ++it)
        object.insert(it.key(), it.value());
    return QJsonObject{{QStringLiteral("cookies"), object}};
}

} // namespace

QByteArray HXEchoServiceRoutes::reasonPhrase(int status)
{
    return phraseFor(status);
}

HXEchoResponse HXEchoServiceRoutes::errorResponse(int status)
{
    HXEchoResponse response;
    response.status = status;
    response.headers.append(headerPair("Content-Type", "application/json"));
    response.body = json({{QStringLiteral("error"), QString::fromLatin1(phraseFor(status))}});
    return response;
}

HXEchoResponse HXEchoServiceRoutes::responseTo(const HXEchoRequest &request, const QByteArray &serverAuthority)
{
    HXEchoResponse response;
    response.headers.append(headerPair("Content-Type", "application/json"));
    response.body = json(echoObject(request.method, request.target, request.version, request.headers, request.body));

    const Target split = splitTarget(request.target);
    const QString &path = split.path;
    const QList<QPair<QString, QString>> &query = split.query;
    auto queryValue = [&](const QString &name) -> std::optional<QString> {
        for (const auto &[key, value] : query)
            if (key == name)
                return value;
        return std::nullopt;
    };
    const QStringList segments = path.split(u'/', Qt::SkipEmptyParts);
    const QString first = segments.value(0);
    auto failure = [&](const QString &message) {
        HXEchoResponse error;
        error.status = 400;
        error.headers.append(headerPair("Content-Type", "application/json"));
        error.body = json({{QStringLiteral("error"), message}});
        return error;
    };
    auto number = [&](int index, qint64 low, qint64 high) -> std::optional<qint64> {
        bool ok = false;
        const qint64 value = segments.value(index).toLongLong(&ok);
        return ok && value >= low && value <= high ? std::optional<qint64>(value) : std::nullopt;
    };
    auto jsonAnswer = [&](int status, const QJsonObject &object) {
        HXEchoResponse answer;
        answer.status = status;
        answer.headers.append(headerPair("Content-Type", "application/json"));
        answer.body = json(object);
        return answer;
    };
    auto redirect = [&](int status, const QByteArray &location) {
        HXEchoResponse answer;
        answer.status = status;
        answer.headers.append(headerPair("Location", location));
        return answer;
    };

    if (first == u"status" && segments.size() == 2) {
        const auto status = number(1, 200, 599);
        if (!status)
            return failure(QStringLiteral("/status/N takes a status from 200 to 599"));
        response.status = int(*status);
        return response;
    }
    if ((first == u"redirect" || first == u"absolute-redirect") && segments.size() == 2) {
        const auto hops = number(1, 1, HXEchoService::maximumRedirects);
        if (!hops)
            return failure(
                QStringLiteral("/%1/N takes N from 1 to %2").arg(first).arg(HXEchoService::maximumRedirects));
        QByteArray next =
            *hops > 1 ? QByteArray("/" + first.toLatin1() + "/" + QByteArray::number(*hops - 1)) : QByteArray("/get");
        if (first == u"absolute-redirect") {
            QByteArray host = request.header("Host");
            if (host.isEmpty())
                host = serverAuthority;
            next = "http://" + host + next;
        }
        return redirect(302, next);
    }
    if (first == u"redirect-to" && segments.size() == 1) {
        const std::optional<QString> url = queryValue(QStringLiteral("url"));
        const QString statusText =
            queryValue(QStringLiteral("status"))
                .value_or(queryValue(QStringLiteral("status_code")).value_or(QStringLiteral("302")));
        bool ok = false;
        const int status = statusText.toInt(&ok);
        if (!url || url->isEmpty() || !ok || status < 300 || status > 399)
            return failure(QStringLiteral("/redirect-to takes url=U and optionally status=300-399"));
        return redirect(status, url->toUtf8());
    }
    if (first == u"gzip" && segments.size() == 1) {
        response.body = HXGzipEncoder::compress(response.body);
        response.headers.append(headerPair("Content-Encoding", "gzip"));
        return response;
    }
    if (first == u"chunked" && segments.size() == 1) {
        bool ok = true;
        const int size = queryValue(QStringLiteral("size")).value_or(QStringLiteral("16")).toInt(&ok);
        if (!ok || size < 1 || size > 65536)
            return failure(QStringLiteral("/chunked takes size=1-65536"));
        response.kind = HXEchoResponse::Chunked;
        response.chunkLength = size;
        return response;
    }
    if (first == u"delay" && segments.size() == 2) {
        bool ok = false;
        const double seconds = segments.at(1).toDouble(&ok);
        if (!ok || !(seconds >= 0) || seconds > HXEchoService::maximumDelaySeconds)
            return failure(
                QStringLiteral("/delay/S takes S from 0 to %1 seconds").arg(HXEchoService::maximumDelaySeconds));
        response.kind = HXEchoResponse::Delayed;
        response.delayMilliseconds = int(seconds * 1000.0 + 0.5);
        return response;
    }
    if ((first == u"bytes" || first == u"stream-bytes") && segments.size() == 2) {
        const auto length = number(1, 0, HXEchoService::maximumBytes);
        if (!length)
            return failure(QStringLiteral("/%1/N takes N from 0 to %2").arg(first).arg(HXEchoService::maximumBytes));
        HXEchoResponse bytes;
        bytes.headers.append(headerPair("Content-Type", "application/octet-stream"));
        bytes.kind = first == u"bytes" ? HXEchoResponse::Stream : HXEchoResponse::StreamChunked;
        bytes.streamLength = *length;
        return bytes;
    }
    if (first == u"cookies") {
        QMap<QString, QString> cookies = requestCookies(request.headerValues("Cookie"));
        if (segments.size() == 1)
            return jsonAnswer(200, cookiesObject(cookies));
        if (segments.size() == 2 && segments.at(1) == u"set") {
            HXEchoResponse answer;
            for (const auto &[name, value] : query) {
                if (name.isEmpty())
                    continue;
                cookies.insert(name, value);
                answer.headers.append(headerPair("Set-Cookie", QUrl::toPercentEncoding(name) + '=' +
                                                                   QUrl::toPercentEncoding(value) + "; Path=/"));
            }
            answer.headers.append(headerPair("Content-Type", "application/json"));
            answer.body = json(cookiesObject(cookies));
            return answer;
        }
        if (segments.size() == 2 && segments.at(1) == u"delete") {
            HXEchoResponse answer;
            for (const auto &[name, value] : query) {
                cookies.remove(name);
                answer.headers.append(headerPair("Set-Cookie", QUrl::toPercentEncoding(name) + "=; Max-Age=0; Path=/"));
            }
            answer.headers.append(headerPair("Content-Type", "application/json"));
            answer.body = json(cookiesObject(cookies));
            return answer;
        }
    }
    if (first == u"basic-auth" && segments.size() == 3) {
        const QByteArray expected = "Basic " + (segments.at(1) + u':' + segments.at(2)).toUtf8().toBase64();
        if (request.header("Authorization") == expected)
            return jsonAnswer(200, {{QStringLiteral("authenticated"), true}, {QStringLiteral("user"), segments.at(1)}});
        HXEchoResponse denied = jsonAnswer(401, {{QStringLiteral("authenticated"), false}});
        denied.headers.append(headerPair("WWW-Authenticate", "Basic realm=\"Kea echo service\""));
        return denied;
    }
    if (first == u"bearer" && segments.size() == 1) {
        const QByteArray authorization = request.header("Authorization");
        if (authorization.startsWith("Bearer ") && authorization.size() > 7)
            return jsonAnswer(200, {{QStringLiteral("authenticated"), true},
                                    {QStringLiteral("token"), QString::fromLatin1(authorization.mid(7))}});
        HXEchoResponse denied = jsonAnswer(401, {{QStringLiteral("authenticated"), false}});
        denied.headers.append(headerPair("WWW-Authenticate", "Bearer"));
        return denied;
    }
    if (first == u"login" && segments.size() == 1) {
        QString user = QJsonDocument::fromJson(request.body).object().value(QStringLiteral("user")).toString();
        if (user.isEmpty() && isValidUtf8(request.body))
            user =
                QUrlQuery(QString::fromUtf8(request.body)).queryItemValue(QStringLiteral("user"), QUrl::FullyDecoded);
        if (user.isEmpty())
            user = QStringLiteral("kea");
        const QByteArray digest =
            QCryptographicHash::hash(QByteArray("kea-echo-login:" + user.toUtf8()), QCryptographicHash::Sha256)
                .toHex()
                .left(32);
        return jsonAnswer(200,
                          {{QStringLiteral("token"), QString(QStringLiteral("kea-") + QString::fromLatin1(digest))},
                           {QStringLiteral("user"), user}});
    }
    if (first == u"response-headers" && segments.size() == 1) {
        HXEchoResponse answer;
        QJsonObject listed;
        for (const auto &[name, value] : query) {
            if (name.isEmpty() || name.contains(u'\r') || name.contains(u'\n') || value.contains(u'\r') ||
                value.contains(u'\n'))
                return failure(QStringLiteral("header names and values must be single lines"));
            answer.headers.append(headerPair(name.toUtf8(), value.toUtf8()));
            listed.insert(name, value);
        }
        answer.headers.append(headerPair("Content-Type", "application/json"));
        answer.body = json(listed);
        return answer;
    }
    if (first == u"json" && segments.size() == 1)
        return jsonAnswer(200, {{QStringLiteral("service"), QStringLiteral("Kea echo")},
                                {QStringLiteral("items"), QJsonArray{1, 2.5, true, QJsonValue(), QStringLiteral("ü")}},
                                {QStringLiteral("nested"), QJsonObject{{QStringLiteral("id"), 42}}}});
    if (first == u"xml" && segments.size() == 1) {
        HXEchoResponse answer;
        answer.headers.append(headerPair("Content-Type", "application/xml; charset=utf-8"));
        answer.body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<service name=\"Kea echo\"><item id=\"1\">one"
                      "</item><item id=\"2\">two</item></service>\n";
        return answer;
    }
    if (first == u"drop" && segments.size() == 1) {
        HXEchoResponse drop;
        drop.kind = HXEchoResponse::Drop;
        return drop;
    }
    return response;
}
