#include "HXEchoService.h"

#include "HXHTTPLogging.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QPointer>
#include <QStringDecoder>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>
#include <QUrlQuery>

#include <zlib.h>

#include <algorithm>

namespace {

constexpr char bytesAlphabet[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz+/";
constexpr qint64 streamPieceLength = 64 * 1024;
constexpr qint64 streamWriteAhead = 512 * 1024;
constexpr qsizetype maximumChunkLineLength = 1024;

using HeaderList = QList<QPair<QByteArray, QByteArray>>;

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

QByteArray reasonPhrase(int status)
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

QByteArray gzip(const QByteArray &data)
{
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return QByteArray();
    QByteArray out(qsizetype(deflateBound(&stream, uLong(data.size()))) + 32, Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.constData()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = uInt(out.size());
    const int result = deflate(&stream, Z_FINISH);
    out.resize(result == Z_STREAM_END ? qsizetype(stream.total_out) : 0);
    deflateEnd(&stream);
    return out;
}

QPair<QByteArray, QByteArray> headerPair(const QByteArray &name, const QByteArray &value)
{
    return {name, value};
}

QByteArray json(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

QByteArray httpDate()
{
    return QLocale::c()
        .toString(QDateTime::currentDateTimeUtc(), QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"))
        .toLatin1();
}

} // namespace

struct HXEchoService::Request
{
    QByteArray method;
    QByteArray target;
    QByteArray version;
    HeaderList headers;
    QByteArray body;

    QByteArray header(const QByteArray &name) const
    {
        for (const auto &[key, value] : headers)
            if (key.compare(name, Qt::CaseInsensitive) == 0)
                return value;
        return QByteArray();
    }
    QList<QByteArray> headerValues(const QByteArray &name) const
    {
        QList<QByteArray> values;
        for (const auto &[key, value] : headers)
            if (key.compare(name, Qt::CaseInsensitive) == 0)
                values.append(value);
        return values;
    }
};

struct HXEchoService::Response
{
    enum Kind { Plain, Chunked, Stream, StreamChunked, Delayed, Drop };
    int status = 200;
    HeaderList headers;
    QByteArray body;
    Kind kind = Plain;
    int chunkLength = 16;
    qint64 streamLength = 0;
    int delayMilliseconds = 0;
};

struct HXEchoService::Connection
{
    enum State { Head, Body, ChunkSize, ChunkData, ChunkDataEnd, ChunkTrailer, Answering, Closed };
    QTcpSocket *socket = nullptr;
    QByteArray buffer;
    State state = Head;
    Request request;
    qint64 remaining = 0;
    bool keepAlive = true;
    bool streaming = false;
    bool streamChunked = false;
    qint64 streamOffset = 0;
    qint64 streamLength = 0;
};

HXEchoService::HXEchoService(QObject *parent) : QObject(parent)
{
    connect(&m_server, &QTcpServer::newConnection, this, &HXEchoService::_acceptConnections);
}

HXEchoService::~HXEchoService()
{
    close();
}

HXResult<void> HXEchoService::listen(const QHostAddress &address, quint16 port)
{
    if (m_server.isListening())
        m_server.close();
    if (!m_server.listen(address, port))
        return HXError(QStringLiteral("kestrelworks.Kea.EchoServiceErrorDomain"), int(m_server.serverError()),
                       QStringLiteral("cannot listen on %1 port %2: %3")
                           .arg(address.toString())
                           .arg(port)
                           .arg(m_server.errorString()));
    return {};
}

void HXEchoService::close()
{
    m_server.close();
    auto connections = std::move(m_connections);
    m_connections.clear();
    for (auto &[socket, connection] : connections) {
        socket->disconnect(this);
        socket->abort();
        socket->deleteLater();
    }
}

QString HXEchoService::baseURL() const
{
    const QHostAddress address = serverAddress();
    const QString host = address.protocol() == QAbstractSocket::IPv6Protocol
                             ? QStringLiteral("[%1]").arg(address.toString())
                             : address.toString();
    return QStringLiteral("http://%1:%2").arg(host).arg(serverPort());
}

char HXEchoService::byteAt(qint64 offset)
{
    return bytesAlphabet[offset % 64];
}

HXEchoService::Connection *HXEchoService::_connection(QTcpSocket *socket)
{
    const auto found = m_connections.find(socket);
    return found != m_connections.end() ? found->second.get() : nullptr;
}

void HXEchoService::_acceptConnections()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        auto connection = std::make_unique<Connection>();
        connection->socket = socket;
        m_connections.emplace(socket, std::move(connection));
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { _read(socket); });
        connect(socket, &QTcpSocket::bytesWritten, this, [this, socket] { _pump(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            if (Connection *connection = _connection(socket))
                connection->state = Connection::Closed;
            // Later: the connection may be in use further up the stack.
            QMetaObject::invokeMethod(
                this, [this, socket] { _dropConnection(socket); }, Qt::QueuedConnection);
        });
        if (socket->bytesAvailable() > 0)
            _read(socket);
    }
}

void HXEchoService::_dropConnection(QTcpSocket *socket)
{
    const auto found = m_connections.find(socket);
    if (found == m_connections.end())
        return;
    m_connections.erase(found);
    socket->disconnect(this);
    socket->deleteLater();
}

void HXEchoService::_read(QTcpSocket *socket)
{
    Connection *connection = _connection(socket);
    if (connection == nullptr || connection->state == Connection::Closed) {
        socket->readAll();
        return;
    }
    connection->buffer += socket->readAll();
    _advance(*connection);
}

void HXEchoService::_fail(Connection &connection, int status)
{
    Response response;
    response.status = status;
    response.headers.append(headerPair("Content-Type", "application/json"));
    response.body = json({{QStringLiteral("error"), QString::fromLatin1(reasonPhrase(status))}});
    connection.keepAlive = false;
    connection.buffer.clear();
    _send(connection, response);
}

void HXEchoService::_advance(Connection &connection)
{
    for (;;) {
        switch (connection.state) {
        case Connection::Closed:
            return;
        case Connection::Answering:
            // Waiting for a delayed or streamed answer to end; what arrives
            // meanwhile stays in the buffer.
            return;
        case Connection::Head: {
            // Empty lines between requests are allowed.
            while (connection.buffer.startsWith("\r\n"))
                connection.buffer.remove(0, 2);
            const qsizetype end = connection.buffer.indexOf("\r\n\r\n");
            if (end < 0) {
                if (connection.buffer.size() > maximumHeadLength)
                    _fail(connection, 431);
                return;
            }
            if (end + 4 > maximumHeadLength) {
                _fail(connection, 431);
                return;
            }
            if (!_parseHead(connection, end))
                return;
            break;
        }
        case Connection::Body: {
            const qint64 take = std::min<qint64>(connection.remaining, connection.buffer.size());
            connection.request.body += connection.buffer.left(take);
            connection.buffer.remove(0, take);
            connection.remaining -= take;
            if (connection.remaining > 0)
                return;
            connection.state = Connection::Answering;
            break;
        }
        case Connection::ChunkSize:
        case Connection::ChunkTrailer: {
            const qsizetype end = connection.buffer.indexOf("\r\n");
            if (end < 0) {
                if (connection.buffer.size() > maximumChunkLineLength)
                    _fail(connection, 400);
                return;
            }
            QByteArray line = connection.buffer.left(end);
            connection.buffer.remove(0, end + 2);
            if (connection.state == Connection::ChunkTrailer) {
                if (line.isEmpty())
                    connection.state = Connection::Answering;
                break;
            }
            if (const qsizetype semicolon = line.indexOf(';'); semicolon >= 0)
                line.truncate(semicolon);
            line = line.trimmed();
            bool ok = false;
            const qint64 length = line.size() <= 15 ? line.toLongLong(&ok, 16) : -1;
            if (!ok || length < 0) {
                _fail(connection, 400);
                return;
            }
            if (connection.request.body.size() + length > maximumRequestBodyLength) {
                _fail(connection, 413);
                return;
            }
            connection.remaining = length;
            connection.state = length == 0 ? Connection::ChunkTrailer : Connection::ChunkData;
            break;
        }
        case Connection::ChunkData: {
            const qint64 take = std::min<qint64>(connection.remaining, connection.buffer.size());
            connection.request.body += connection.buffer.left(take);
            connection.buffer.remove(0, take);
            connection.remaining -= take;
            if (connection.remaining > 0)
                return;
            connection.state = Connection::ChunkDataEnd;
            break;
        }
        case Connection::ChunkDataEnd:
            if (connection.buffer.size() < 2)
                return;
            if (!connection.buffer.startsWith("\r\n")) {
                _fail(connection, 400);
                return;
            }
            connection.buffer.remove(0, 2);
            connection.state = Connection::ChunkSize;
            break;
        }
        if (connection.state == Connection::Answering) {
            _answer(connection);
            // A delayed or streamed answer continues from a timer or as the
            // client reads; an immediate one has reset the state to Head.
            if (connection.state != Connection::Head)
                return;
        }
    }
}

bool HXEchoService::_parseHead(Connection &connection, qsizetype headEnd)
{
    const QByteArray head = connection.buffer.left(headEnd);
    connection.buffer.remove(0, headEnd + 4);
    const QList<QByteArray> lines = head.split('\n');
    auto stripped = [](QByteArray line) {
        if (line.endsWith('\r'))
            line.chop(1);
        return line;
    };
    Request request;
    const QList<QByteArray> parts = stripped(lines.first()).split(' ');
    if (parts.size() != 3 || parts.at(0).isEmpty() || parts.at(1).isEmpty() ||
        (parts.at(2) != "HTTP/1.1" && parts.at(2) != "HTTP/1.0")) {
        _fail(connection, 400);
        return false;
    }
    request.method = parts.at(0);
    request.target = parts.at(1);
    request.version = parts.at(2);
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray line = stripped(lines.at(i));
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0 || line.left(colon).contains(' ') || line.left(colon).contains('\t')) {
            _fail(connection, 400);
            return false;
        }
        request.headers.append(headerPair(line.left(colon), line.mid(colon + 1).trimmed()));
    }

    const QByteArray connectionHeader = request.header("Connection").toLower();
    connection.keepAlive =
        request.version == "HTTP/1.1" ? !connectionHeader.contains("close") : connectionHeader.contains("keep-alive");
    const QList<QByteArray> transferEncodings = request.headerValues("Transfer-Encoding");
    const QList<QByteArray> contentLengths = request.headerValues("Content-Length");
    connection.request = request;
    connection.remaining = 0;
    if (!transferEncodings.isEmpty()) {
        if (!transferEncodings.last().toLower().trimmed().endsWith("chunked")) {
            _fail(connection, 400);
            return false;
        }
        connection.state = Connection::ChunkSize;
    } else if (!contentLengths.isEmpty()) {
        bool ok = false;
        const QByteArray first = contentLengths.first().trimmed();
        const qint64 length = first.toLongLong(&ok);
        const bool allSame = std::all_of(contentLengths.begin(), contentLengths.end(),
                                         [&](const QByteArray &value) { return value.trimmed() == first; });
        if (!ok || length < 0 || !allSame || first.startsWith('+')) {
            _fail(connection, 400);
            return false;
        }
        if (length > maximumRequestBodyLength) {
            _fail(connection, 413);
            return false;
        }
        connection.remaining = length;
        connection.state = length > 0 ? Connection::Body : Connection::Answering;
    } else {
        connection.state = Connection::Answering;
    }
    if (connection.state != Connection::Answering && connection.buffer.isEmpty() &&
        request.header("Expect").toLower() == "100-continue")
        connection.socket->write("HTTP/1.1 100 Continue\r\n\r\n");
    return true;
}

namespace {

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
                       const HeaderList &headers, const QByteArray &body)
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

HXEchoService::Response HXEchoService::_route(const Connection &connection)
{
    const Request &request = connection.request;
    Response response;
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
        Response error;
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
        Response answer;
        answer.status = status;
        answer.headers.append(headerPair("Content-Type", "application/json"));
        answer.body = json(object);
        return answer;
    };
    auto redirect = [&](int status, const QByteArray &location) {
        Response answer;
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
        const auto hops = number(1, 1, maximumRedirects);
        if (!hops)
            return failure(QStringLiteral("/%1/N takes N from 1 to %2").arg(first).arg(maximumRedirects));
        QByteArray next =
            *hops > 1 ? QByteArray("/" + first.toLatin1() + "/" + QByteArray::number(*hops - 1)) : QByteArray("/get");
        if (first == u"absolute-redirect") {
            QByteArray host = request.header("Host");
            if (host.isEmpty())
                host = baseURL().mid(7).toLatin1();
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
        response.body = gzip(response.body);
        response.headers.append(headerPair("Content-Encoding", "gzip"));
        return response;
    }
    if (first == u"chunked" && segments.size() == 1) {
        bool ok = true;
        const int size = queryValue(QStringLiteral("size")).value_or(QStringLiteral("16")).toInt(&ok);
        if (!ok || size < 1 || size > 65536)
            return failure(QStringLiteral("/chunked takes size=1-65536"));
        response.kind = Response::Chunked;
        response.chunkLength = size;
        return response;
    }
    if (first == u"delay" && segments.size() == 2) {
        bool ok = false;
        const double seconds = segments.at(1).toDouble(&ok);
        if (!ok || !(seconds >= 0) || seconds > maximumDelaySeconds)
            return failure(QStringLiteral("/delay/S takes S from 0 to %1 seconds").arg(maximumDelaySeconds));
        response.kind = Response::Delayed;
        response.delayMilliseconds = int(seconds * 1000.0 + 0.5);
        return response;
    }
    if ((first == u"bytes" || first == u"stream-bytes") && segments.size() == 2) {
        const auto length = number(1, 0, maximumBytes);
        if (!length)
            return failure(QStringLiteral("/%1/N takes N from 0 to %2").arg(first).arg(maximumBytes));
        Response bytes;
        bytes.headers.append(headerPair("Content-Type", "application/octet-stream"));
        bytes.kind = first == u"bytes" ? Response::Stream : Response::StreamChunked;
        bytes.streamLength = *length;
        return bytes;
    }
    if (first == u"cookies") {
        QMap<QString, QString> cookies = requestCookies(request.headerValues("Cookie"));
        if (segments.size() == 1)
            return jsonAnswer(200, cookiesObject(cookies));
        if (segments.size() == 2 && segments.at(1) == u"set") {
            Response answer;
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
            Response answer;
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
        Response denied = jsonAnswer(401, {{QStringLiteral("authenticated"), false}});
        denied.headers.append(headerPair("WWW-Authenticate", "Basic realm=\"Kea echo service\""));
        return denied;
    }
    if (first == u"bearer" && segments.size() == 1) {
        const QByteArray authorization = request.header("Authorization");
        if (authorization.startsWith("Bearer ") && authorization.size() > 7)
            return jsonAnswer(200, {{QStringLiteral("authenticated"), true},
                                    {QStringLiteral("token"), QString::fromLatin1(authorization.mid(7))}});
        Response denied = jsonAnswer(401, {{QStringLiteral("authenticated"), false}});
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
        Response answer;
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
        Response answer;
        answer.headers.append(headerPair("Content-Type", "application/xml; charset=utf-8"));
        answer.body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<service name=\"Kea echo\"><item id=\"1\">one"
                      "</item><item id=\"2\">two</item></service>\n";
        return answer;
    }
    if (first == u"drop" && segments.size() == 1) {
        Response drop;
        drop.kind = Response::Drop;
        return drop;
    }
    return response;
}

void HXEchoService::_answer(Connection &connection)
{
    Q_EMIT requestReceived(connection.request.method, connection.request.target, connection.request.headers);
    Response response = _route(connection);
    if (response.kind == Response::Drop) {
        connection.state = Connection::Closed;
        connection.socket->abort();
        return;
    }
    if (response.kind == Response::Delayed) {
        QPointer<QTcpSocket> socket = connection.socket;
        response.kind = Response::Plain;
        QTimer::singleShot(response.delayMilliseconds, this, [this, socket, response] {
            Connection *later = socket ? _connection(socket) : nullptr;
            if (later == nullptr || later->state != Connection::Answering)
                return;
            _send(*later, response);
            if (later->state == Connection::Head)
                _advance(*later);
        });
        return;
    }
    _send(connection, response);
}

void HXEchoService::_send(Connection &connection, const Response &response)
{
    QTcpSocket *socket = connection.socket;
    const bool isHead = connection.request.method == "HEAD";
    const bool noBody = response.status == 204 || response.status == 304;
    const bool chunked = response.kind == Response::Chunked || response.kind == Response::StreamChunked;
    const bool stream = response.kind == Response::Stream || response.kind == Response::StreamChunked;

    QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + ' ' + reasonPhrase(response.status) + "\r\n";
    head += "Date: " + httpDate() + "\r\nServer: Kea echo service\r\n";
    for (const auto &[name, value] : response.headers)
        head += name + ": " + value + "\r\n";
    if (!noBody) {
        if (chunked)
            head += "Transfer-Encoding: chunked\r\n";
        else
            head +=
                "Content-Length: " + QByteArray::number(stream ? response.streamLength : qint64(response.body.size())) +
                "\r\n";
    }
    if (!connection.keepAlive)
        head += "Connection: close\r\n";
    head += "\r\n";
    socket->write(head);

    if (isHead || noBody) {
        _finishResponse(connection);
        return;
    }
    if (stream) {
        connection.state = Connection::Answering;
        connection.streaming = true;
        connection.streamChunked = chunked;
        connection.streamOffset = 0;
        connection.streamLength = response.streamLength;
        _pump(socket);
        return;
    }
    if (chunked) {
        QByteArray body;
        for (qsizetype offset = 0; offset < response.body.size(); offset += response.chunkLength) {
            const QByteArray piece = response.body.mid(offset, response.chunkLength);
            body += QByteArray::number(piece.size(), 16) + "\r\n" + piece + "\r\n";
        }
        body += "0\r\n\r\n";
        socket->write(body);
    } else {
        socket->write(response.body);
    }
    _finishResponse(connection);
}

void HXEchoService::_pump(QTcpSocket *socket)
{
    Connection *connection = _connection(socket);
    if (connection == nullptr || !connection->streaming || connection->state == Connection::Closed)
        return;
    static const QByteArray block = [] {
        QByteArray bytes;
        bytes.reserve(streamPieceLength + 64);
        while (bytes.size() < streamPieceLength + 64)
            bytes.append(bytesAlphabet, 64);
        return bytes;
    }();
    while (socket->bytesToWrite() < streamWriteAhead && connection->streamOffset < connection->streamLength) {
        const qint64 length = std::min(streamPieceLength, connection->streamLength - connection->streamOffset);
        const QByteArray piece(block.constData() + connection->streamOffset % 64, length);
        if (connection->streamChunked)
            socket->write(QByteArray::number(length, 16) + "\r\n" + piece + "\r\n");
        else
            socket->write(piece);
        connection->streamOffset += length;
    }
    if (connection->streamOffset < connection->streamLength)
        return;
    if (connection->streamChunked)
        socket->write("0\r\n\r\n");
    connection->streaming = false;
    _finishResponse(*connection);
    if (connection->state == Connection::Head)
        _advance(*connection);
}

void HXEchoService::_finishResponse(Connection &connection)
{
    connection.request = Request();
    connection.remaining = 0;
    if (!connection.keepAlive) {
        connection.state = Connection::Closed;
        connection.buffer.clear();
        connection.socket->disconnectFromHost();
        return;
    }
    connection.state = Connection::Head;
}
