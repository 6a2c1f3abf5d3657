#pragma once

#include "HXEchoServiceAddress.h"
#include "HXEchoServiceRoutes.h"
#include "HXResult.h"

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QPair>
#include <QTcpServer>

#include <map>
#include <memory>

class QTcpSocket;

// Kea's echo service: a small HTTP/1.1 server that answers any request with
// a JSON description of it, and offers the paths that people test a client
// against. `kea-cli echo` runs it at HXEchoServiceAddress (127.0.0.1:8765);
// tests run it on port 0.
//
// Every answer to an unknown path is 200 with Content-Type application/json
// and this object (keys in alphabetical order):
//   "method"      the request method as sent
//   "target"      the request target as sent ("/path?query")
//   "path"        the target's path, percent-decoded
//   "query"       [[name, value], ...] the decoded query items, in order
//   "httpVersion" "HTTP/1.1" or "HTTP/1.0"
//   "headers"     [{"name": ..., "value": ...}, ...] in the order received,
//                 repeated names kept
//   "body"        the body as text when it is valid UTF-8, else as Base64
//   "bodyEncoding" "text" or "base64"
//   "length"      the body's length in bytes (after chunked decoding)
//
// Paths with a behaviour of their own (N, S are numbers):
//   /status/N            answers with status N (200-599) and the echo body
//                        (no body for 204 and 304)
//   /redirect/N          302 to the relative "/redirect/N-1"; the last hop
//                        goes to "/get" (N from 1 to 100)
//   /absolute-redirect/N the same with absolute URLs built from the Host header
//   /redirect-to?url=U&status=S
//                        S (300-399, default 302) with Location U
//   /gzip                the echo body compressed, Content-Encoding: gzip
//   /chunked[?size=N]    the echo body in chunks of N bytes (default 16)
//   /delay/S             the echo body after S seconds (0 to 10, fractions allowed)
//   /bytes/N             N bytes (up to 1 GiB) with a Content-Length; byte i is
//                        the character i % 64 of
//                        "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz+/"
//   /stream-bytes/N      the same bytes, chunked
//   /cookies             {"cookies": {name: value}} from the Cookie headers
//   /cookies/set?n=v&... one "Set-Cookie: n=v; Path=/" per item; the body
//                        lists the cookies sent plus those set
//   /cookies/delete?n&...
//                        expires the cookies; the body lists those left
//   /basic-auth/U/P      200 {"authenticated": true, "user": U} when the
//                        Authorization header is Basic U:P, else 401 with
//                        WWW-Authenticate
//   /login               {"token": ..., "user": ...}: a token derived from the
//                        "user" of a JSON or form body ("kea" without one)
//   /bearer              200 {"authenticated": true, "token": T} for
//                        "Authorization: Bearer T", else 401
//   /response-headers?n=v&...
//                        adds each item as a response header; the body lists them
//   /json, /xml          a small sample document of that type
//   /drop                closes the connection without answering
// HEAD gets the head of the GET answer without its body.
//
// Connections are kept alive (HTTP/1.1 unless "Connection: close"; HTTP/1.0
// only with "Connection: keep-alive") and pipelined requests are answered in
// order. Request bodies are framed by Content-Length or chunked encoding;
// "Expect: 100-continue" is honoured. Malformed requests get 400, heads over
// 64 KiB 431, bodies over 64 MiB 413, and the connection is closed. Nothing
// blocks: delays are timers and large bodies are written piece by piece as
// the client reads them.
class HXEchoService : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 maximumHeadLength = 64 * 1024;
    static constexpr qint64 maximumRequestBodyLength = 64 * 1024 * 1024;
    static constexpr qint64 maximumBytes = qint64(1) << 30;
    static constexpr double maximumDelaySeconds = 10;
    static constexpr int maximumRedirects = 100;

    explicit HXEchoService(QObject *parent = nullptr);
    ~HXEchoService() override;

    // Starts listening; port 0 picks a free port (see serverPort()).
    HXResult<void> listen(const QHostAddress &address = QHostAddress(QString::fromLatin1(HXEchoServiceAddress::host)),
                          quint16 port = HXEchoServiceAddress::port);
    // Stops listening and drops every connection.
    void close();
    bool isListening() const { return m_server.isListening(); }
    QHostAddress serverAddress() const { return m_server.serverAddress(); }
    quint16 serverPort() const { return m_server.serverPort(); }
    // "http://127.0.0.1:<port>" (brackets around an IPv6 address).
    QString baseURL() const;

    int connectionCount() const { return int(m_connections.size()); }

    // The byte at `offset` of a /bytes/N body.
    static char byteAt(qint64 offset);

Q_SIGNALS:
    // A complete request arrived (before it is answered).
    void requestReceived(const QByteArray &method, const QByteArray &target,
                         const QList<QPair<QByteArray, QByteArray>> &headers);

private:
    struct Connection;
    using Request = HXEchoRequest;
    using Response = HXEchoResponse;

    void _acceptConnections();
    void _read(QTcpSocket *socket);
    void _advance(Connection &connection);
    bool _parseHead(Connection &connection, qsizetype headEnd);
    bool _readChunked(Connection &connection);
    void _answer(Connection &connection);
    void _send(Connection &connection, const Response &response);
    void _pump(QTcpSocket *socket);
    void _finishResponse(Connection &connection);
    void _fail(Connection &connection, int status);
    void _dropConnection(QTcpSocket *socket);
    Connection *_connection(QTcpSocket *socket);

    QTcpServer m_server;
    std::map<QTcpSocket *, std::unique_ptr<Connection>> m_connections;
};
