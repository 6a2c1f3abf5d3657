#pragma once

#include "HXError.h"
#include "HXGCDAsyncSocketReadOperation.h"
#include "HXResult.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QSslCertificate>
#include <QString>

#include <deque>
#include <memory>

class QSslSocket;
class QTcpSocket;
class HXGCDAsyncSocketMiddleware;

// The owner's side of the middleware. Called on the middleware's thread.
class HXGCDAsyncSocketMiddlewareDelegate
{
public:
    virtual ~HXGCDAsyncSocketMiddlewareDelegate() = default;
    virtual void socketMiddlewareDidConnectToHost(HXGCDAsyncSocketMiddleware *middleware, const QString &host,
                                                  quint16 port) = 0;
    virtual void socketMiddlewareDidSecure(HXGCDAsyncSocketMiddleware *middleware) = 0;
    virtual void socketMiddlewareDidWriteDataWithTag(HXGCDAsyncSocketMiddleware *middleware, long tag) = 0;
    // `buffer` now holds the read; [rangeStart, rangeStart + rangeLength) are
    // the bytes this read added.
    virtual void socketMiddlewareDidReadDataToBuffer(HXGCDAsyncSocketMiddleware *middleware, QByteArray &buffer,
                                                     qsizetype rangeStart, qsizetype rangeLength, long tag) = 0;
    // Bytes arrived without completing the waiting read: `length` new bytes,
    // `totalBytesRead` taken by that read so far (pre-buffer included).
    virtual void socketMiddlewareDidReadPartialDataOfLength(HXGCDAsyncSocketMiddleware *middleware, qsizetype length,
                                                            qsizetype totalBytesRead, long tag) = 0;
    // The connection ended; a null error, or one with
    // isRemoteCloseError(), is a clean close.
    virtual void socketMiddlewareDidDisconnectWithError(HXGCDAsyncSocketMiddleware *middleware,
                                                        const HXError &error) = 0;
};

// Sits between the HTTP/1.1 engine and a QSslSocket (plain TCP until TLS is
// started). The engine queues reads of three kinds (up to a terminator, a
// fixed length, until close), each with its own destination buffer and tag;
// the middleware collects incoming bytes in a pre-buffer and completes the
// queued reads from it, in order, reporting partial progress in between.
// Writes, connect and TLS go straight to the socket.
//
// Lives on one thread (the engine thread); use it only from there. Bytes can
// also be fed without a socket (receiveData/receiveDisconnect), which is how
// the read logic is exercised in tests.
class HXGCDAsyncSocketMiddleware : public QObject
{
    Q_OBJECT

public:
    explicit HXGCDAsyncSocketMiddleware(HXGCDAsyncSocketMiddlewareDelegate *delegate, QObject *parent = nullptr);
    ~HXGCDAsyncSocketMiddleware() override;

    // Starts connecting; the outcome arrives as didConnect or didDisconnect.
    // Without `secure` the connection stays plain TCP for its whole life
    // and startTLS does nothing: no TLS library is set up for it.
    HXResult<void> connectToHost(const QString &host, quint16 port, bool secure = true);
    // TLS on the open connection, for `peerName`. The chain is not judged by
    // the handshake: the owner reads it afterwards (peerCertificateChain).
    void startTLS(const QString &peerName);
    void readDataToData(const QByteArray &data, QByteArray *buffer, long tag, qsizetype maxLength = 0);
    void readDataToEmptyLine(QByteArray *buffer, long tag, qsizetype maxLength);
    void readDataToLength(qsizetype length, QByteArray *buffer, long tag);
    void readDataUntilCloseWithBuffer(QByteArray *buffer, long tag);
    // Whatever has arrived, as soon as anything has (see
    // HXGCDAsyncSocketAvailableReadOperation).
    void readAvailableData(QByteArray *buffer, long tag, qsizetype lengthHint = 0);
    void writeData(const QByteArray &data, long tag);
    // No callback follows; the connection is closed.
    void clearDelegateAndDisconnect();

    // The TLS-capable socket; null for a plain connection.
    QSslSocket *socket() const { return m_secureSocket; }
    // The chain the server presented once secured. A resumed session skips
    // the certificates; its chain is the one of the handshake it resumes.
    QList<QSslCertificate> peerCertificateChain() const;
    qsizetype prebufferLength() const { return m_readPrebuffer.size(); }
    qsizetype pendingReadCount() const { return qsizetype(m_readOperations.size()); }

    static QByteArray CRLFData() { return QByteArrayLiteral("\r\n"); }
    static QByteArray CRLFCRLFData() { return QByteArrayLiteral("\r\n\r\n"); }
    // The error domain of socket errors, and whether an error means the peer
    // closed the connection (a clean close).
    static QString socketErrorDomain();
    static bool isRemoteCloseError(const HXError &error);

    // What the socket reports, callable directly in tests.
    void receiveData(const QByteArray &data);
    void receiveDisconnect(const HXError &error);

private:
    void enqueue(std::unique_ptr<HXGCDAsyncSocketReadOperation> operation);
    void processReadOperations(HXGCDAsyncSocketReadOperation::CompletionType completionType, qsizetype newBytes);
    void drainSocket();
    void socketConnected();
    void socketErrorOccurred();
    void socketDisconnected();
    void socketBytesWritten();
    bool connectionWasReset() const;
    void closeDescriptorCopy();
    QString sessionKey() const;
    void rememberSession();

    HXGCDAsyncSocketMiddlewareDelegate *m_delegate;
    std::deque<std::unique_ptr<HXGCDAsyncSocketReadOperation>> m_readOperations;
    QByteArray m_readPrebuffer;
    QTcpSocket *m_socket = nullptr;
    QSslSocket *m_secureSocket = nullptr; // m_socket, when it can do TLS
    QString m_host;
    quint16 m_port = 0;
    std::deque<long> m_pendingWriteTags;
    HXError m_pendingError;
    QString m_pendingTLSPeerName;
    QString m_TLSPeerName;
    QList<QSslCertificate> m_resumedChain;
    int m_descriptorCopy = -1;
    bool m_disconnectReported = false;
    bool m_processing = false;
    bool m_draining = false;
};
