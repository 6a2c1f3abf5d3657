#include "HXEchoService.h"

#include "HXHTTPBodyDecoder.h"
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

#include <algorithm>

namespace {

constexpr char bytesAlphabet[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz+/";
constexpr qint64 streamPieceLength = 64 * 1024;
constexpr qint64 streamWriteAhead = 512 * 1024;
constexpr qsizetype maximumChunkLineLength = 1024;

QByteArray httpDate()
{
    return QLocale::c()
        .toString(QDateTime::currentDateTimeUtc(), QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"))
        .toLatin1();
}

} // namespace

struct HXEchoService::Connection
{
    enum State { Head, Body, Answering, Closed };
    QTcpSocket *socket = nullptr;
    QByteArray buffer;
    State state = Head;
    Request request;
    HXHTTPBodyDecoder body = HXHTTPBodyDecoder::none();
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
    const Response response = HXEchoServiceRoutes::errorResponse(status);
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
            qsizetype consumed = 0;
            const HXHTTPBodyDecoder::Result result =
                connection.body.decode(connection.buffer, consumed, &connection.request.body);
            connection.buffer.remove(0, consumed);
            if (result == HXHTTPBodyDecoder::Result::NeedMore)
                return;
            if (result == HXHTTPBodyDecoder::Result::Invalid) {
                _fail(connection, connection.body.failure() == HXHTTPBodyDecoder::Failure::TooLarge ? 413 : 400);
                return;
            }
            connection.state = Connection::Answering;
            break;
        }
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
        request.headers.append({line.left(colon), line.mid(colon + 1).trimmed()});
    }

    const QByteArray connectionHeader = request.header("Connection").toLower();
    connection.keepAlive =
        request.version == "HTTP/1.1" ? !connectionHeader.contains("close") : connectionHeader.contains("keep-alive");
    const QList<QByteArray> transferEncodings = request.headerValues("Transfer-Encoding");
    const QList<QByteArray> contentLengths = request.headerValues("Content-Length");
    connection.request = request;
    if (!transferEncodings.isEmpty()) {
        if (!transferEncodings.last().toLower().trimmed().endsWith("chunked")) {
            _fail(connection, 400);
            return false;
        }
        connection.body = HXHTTPBodyDecoder::chunked(HXHTTPBodyDecoder::ChunkSizeSyntax::Strict);
        connection.body.setMaximumBodyLength(maximumRequestBodyLength);
        connection.body.setMaximumLineLength(maximumChunkLineLength);
        connection.state = Connection::Body;
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
        connection.body = HXHTTPBodyDecoder::withContentLength(length);
        connection.state = length > 0 ? Connection::Body : Connection::Answering;
    } else {
        connection.state = Connection::Answering;
    }
    if (connection.state != Connection::Answering && connection.buffer.isEmpty() &&
        request.header("Expect").toLower() == "100-continue")
        connection.socket->write("HTTP/1.1 100 Continue\r\n\r\n");
    return true;
}

void HXEchoService::_answer(Connection &connection)
{
    Q_EMIT requestReceived(connection.request.method, connection.request.target, connection.request.headers);
    Response response = HXEchoServiceRoutes::responseTo(connection.request, baseURL().mid(7).toLatin1());
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

    QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + ' ' +
                      HXEchoServiceRoutes::reasonPhrase(response.status) + "\r\n";
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
    connection.body = HXHTTPBodyDecoder::none();
    if (!connection.keepAlive) {
        connection.state = Connection::Closed;
        connection.buffer.clear();
        connection.socket->disconnectFromHost();
        return;
    }
    connection.state = Connection::Head;
}
