#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QMutex>
#include <QSslCertificate>
#include <QSslKey>
#include <QString>
#include <QUrl>

#include <deque>
#include <memory>

class QThread;
class HXTestHTTPServerWorker;

// What a scripted server does on one connection, step by step.
class HXTestHTTPScript
{
public:
    struct Step
    {
        enum Kind { ReadRequest, Write, Delay, Pause, Close, Hang, Reset };
        Kind kind = Close;
        QByteArray bytes;
        int pieceSize = 0;    // Write: split into pieces of this size (0: one write)
        int pieceDelayMs = 0; // Write: pause between pieces
        int delayMs = 0;      // Delay
    };

    // Waits for one whole request (head, then a Content-Length or chunked
    // body) and records its bytes.
    HXTestHTTPScript &readRequest();
    HXTestHTTPScript &write(const QByteArray &bytes, int pieceSize = 0, int pieceDelayMs = 0);
    HXTestHTTPScript &delay(int milliseconds);
    // Waits until the test calls HXTestHTTPServer::resume().
    HXTestHTTPScript &pause();
    // Closes after everything written has gone out.
    HXTestHTTPScript &close();
    // Keeps the connection open and does nothing more.
    HXTestHTTPScript &hang();
    // Ends the connection with a TCP reset instead of a close.
    HXTestHTTPScript &reset();

    // readRequest, write the bytes, close.
    static HXTestHTTPScript respond(const QByteArray &response);

    const QList<Step> &steps() const { return m_steps; }

private:
    QList<Step> m_steps;
};

// A loopback HTTP (or HTTPS) server for tests and benchmarks, running on its
// own thread, so the test's thread may block (a subprocess, a wait). Each
// accepted connection runs the next queued script, or the default script when
// the queue is empty; a connection with no script is closed at once.
class HXTestHTTPServer
{
public:
    struct TLSIdentity
    {
        QSslCertificate certificate;
        QSslKey privateKey;
        QList<QSslCertificate> intermediates; // sent after the certificate
    };

    HXTestHTTPServer();
    explicit HXTestHTTPServer(const TLSIdentity &identity);
    ~HXTestHTTPServer();
    HXTestHTTPServer(const HXTestHTTPServer &) = delete;
    HXTestHTTPServer &operator=(const HXTestHTTPServer &) = delete;

    // Listens on an ephemeral port of `address`.
    bool listen(const QHostAddress &address = QHostAddress::LocalHost);
    quint16 port() const;
    bool isTLS() const { return m_tls; }
    // "http(s)://127.0.0.1:<port><pathAndQuery>".
    QUrl url(const QString &pathAndQuery = QStringLiteral("/")) const;

    void addScript(const HXTestHTTPScript &script);
    void addResponse(const QByteArray &response) { addScript(HXTestHTTPScript::respond(response)); }
    void setDefaultScript(const HXTestHTTPScript &script);

    // Complete requests received, in arrival order.
    QList<QByteArray> receivedRequests() const;
    int connectionCount() const;
    // Runs the caller's event loop until `count` requests arrived.
    bool waitForRequests(int count, int timeoutMs = 5000) const;
    // Lets every connection paused by its script go on.
    void resume();

    // Used by the worker.
    struct Shared
    {
        mutable QMutex mutex;
        std::deque<HXTestHTTPScript> scripts;
        std::unique_ptr<HXTestHTTPScript> defaultScript;
        QList<QByteArray> requests;
        int connections = 0;
        bool resumed = false;
    };

private:
    std::shared_ptr<Shared> m_shared;
    bool m_tls = false;
    TLSIdentity m_identity;
    QHostAddress m_address;
    QThread *m_thread = nullptr;
    HXTestHTTPServerWorker *m_worker = nullptr;
    quint16 m_port = 0;
};
