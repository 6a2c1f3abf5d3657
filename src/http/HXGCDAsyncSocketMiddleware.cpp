#include "HXGCDAsyncSocketMiddleware.h"

#include "HXHTTPLogging.h"

#include <QHash>
#include <QMutex>
#include <QNetworkProxy>
#include <QSslConfiguration>
#include <QSslSocket>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

// Most bytes the socket holds for us while no read is queued.
constexpr qint64 socketReadBufferSize = 4 * 1024 * 1024;

// The last TLS session of each server this process talked to, so that the
// next connection resumes it instead of doing a full handshake, with the
// chain that session was established with.
struct RememberedSession
{
    QByteArray ticket;
    QList<QSslCertificate> chain;
};

QMutex sessionMutex;

// Never destroyed: certificates must not outlive the TLS backend that made
// them, which a static destructor could make them do.
QHash<QString, RememberedSession> &rememberedSessions()
{
    static auto *sessions = new QHash<QString, RememberedSession>;
    return *sessions;
}

} // namespace

HXGCDAsyncSocketMiddleware::HXGCDAsyncSocketMiddleware(HXGCDAsyncSocketMiddlewareDelegate *delegate, QObject *parent)
    : QObject(parent), m_delegate(delegate)
{}

HXGCDAsyncSocketMiddleware::~HXGCDAsyncSocketMiddleware()
{
    if (m_socket != nullptr) {
        m_socket->disconnect(this);
        m_socket->abort();
    }
    closeDescriptorCopy();
}

void HXGCDAsyncSocketMiddleware::closeDescriptorCopy()
{
    if (m_descriptorCopy >= 0)
        ::close(m_descriptorCopy);
    m_descriptorCopy = -1;
}

bool HXGCDAsyncSocketMiddleware::connectionWasReset() const
{
    // Qt reads a reset as an end of stream. The connection's own state
    // tells them apart: a reset leaves it closed, an orderly close from the
    // peer leaves it waiting for our side to close.
    tcp_info info{};
    socklen_t length = sizeof info;
    if (m_descriptorCopy < 0 || ::getsockopt(m_descriptorCopy, IPPROTO_TCP, TCP_INFO, &info, &length) != 0)
        return false;
    return info.tcpi_state == TCP_CLOSE;
}

QString HXGCDAsyncSocketMiddleware::socketErrorDomain()
{
    return QStringLiteral("QAbstractSocket");
}

bool HXGCDAsyncSocketMiddleware::isRemoteCloseError(const HXError &error)
{
    return error.domain == socketErrorDomain() && error.code == QAbstractSocket::RemoteHostClosedError;
}

HXResult<void> HXGCDAsyncSocketMiddleware::connectToHost(const QString &host, quint16 port, bool secure)
{
    if (m_socket != nullptr || host.isEmpty() || port == 0)
        return HXError(socketErrorDomain(), QAbstractSocket::OperationError,
                       tr("Attempting to connect while connected or with no host."));
    m_host = host;
    m_port = port;
    // A QSslSocket loads and configures the TLS library when it is made;
    // plain connections do without.
    if (secure) {
        m_secureSocket = new QSslSocket(this);
        m_socket = m_secureSocket;
        connect(m_secureSocket, &QSslSocket::encrypted, this, [this] {
            rememberSession();
            if (m_delegate != nullptr)
                m_delegate->socketMiddlewareDidSecure(this);
        });
        // TLS 1.3 sends its tickets after the handshake.
        connect(m_secureSocket, &QSslSocket::newSessionTicketReceived, this,
                &HXGCDAsyncSocketMiddleware::rememberSession);
    } else {
        m_socket = new QTcpSocket(this);
    }
    m_socket->setProxy(QNetworkProxy::NoProxy);
    m_socket->setReadBufferSize(socketReadBufferSize);
    connect(m_socket, &QAbstractSocket::connected, this, &HXGCDAsyncSocketMiddleware::socketConnected);
    connect(m_socket, &QIODevice::readyRead, this, &HXGCDAsyncSocketMiddleware::drainSocket);
    connect(m_socket, &QIODevice::bytesWritten, this, &HXGCDAsyncSocketMiddleware::socketBytesWritten);
    connect(m_socket, &QAbstractSocket::errorOccurred, this, &HXGCDAsyncSocketMiddleware::socketErrorOccurred);
    connect(m_socket, &QAbstractSocket::disconnected, this, &HXGCDAsyncSocketMiddleware::socketDisconnected);
    m_socket->connectToHost(host, port);
    return {};
}

void HXGCDAsyncSocketMiddleware::startTLS(const QString &peerName)
{
    if (m_secureSocket == nullptr)
        return;
    if (m_socket->state() != QAbstractSocket::ConnectedState) {
        m_pendingTLSPeerName = peerName.isEmpty() ? m_host : peerName;
        return;
    }
    // The handshake accepts any chain; the engine judges it once secured.
    QSslConfiguration configuration = m_secureSocket->sslConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    configuration.setSslOption(QSsl::SslOptionDisableSessionPersistence, false);
    m_TLSPeerName = peerName;
    m_resumedChain.clear();
    {
        QMutexLocker lock(&sessionMutex);
        const auto remembered = rememberedSessions().constFind(sessionKey());
        if (remembered != rememberedSessions().cend()) {
            configuration.setSessionTicket(remembered->ticket);
            m_resumedChain = remembered->chain;
        }
    }
    m_secureSocket->setSslConfiguration(configuration);
    m_secureSocket->setPeerVerifyName(peerName);
    m_secureSocket->startClientEncryption();
}

QString HXGCDAsyncSocketMiddleware::sessionKey() const
{
    return m_host + u' ' + QString::number(m_port) + u' ' + m_TLSPeerName;
}

void HXGCDAsyncSocketMiddleware::rememberSession()
{
    if (m_secureSocket == nullptr)
        return;
    const QByteArray ticket = m_secureSocket->sslConfiguration().sessionTicket();
    const QList<QSslCertificate> chain = peerCertificateChain();
    if (ticket.isEmpty() || chain.isEmpty())
        return;
    QMutexLocker lock(&sessionMutex);
    rememberedSessions().insert(sessionKey(), {ticket, chain});
}

QList<QSslCertificate> HXGCDAsyncSocketMiddleware::peerCertificateChain() const
{
    if (m_secureSocket == nullptr)
        return {};
    const QList<QSslCertificate> presented = m_secureSocket->peerCertificateChain();
    return presented.isEmpty() ? m_resumedChain : presented;
}

void HXGCDAsyncSocketMiddleware::socketConnected()
{
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    // A second descriptor of the connection keeps it readable after Qt
    // closed its own, so that a reset can be told from a close.
    closeDescriptorCopy();
    if (m_socket->socketDescriptor() >= 0)
        m_descriptorCopy = ::fcntl(int(m_socket->socketDescriptor()), F_DUPFD_CLOEXEC, 0);
    if (m_delegate != nullptr)
        m_delegate->socketMiddlewareDidConnectToHost(this, m_host, m_port);
    if (m_socket != nullptr && !m_pendingTLSPeerName.isEmpty()) {
        const QString peerName = std::exchange(m_pendingTLSPeerName, QString());
        startTLS(peerName);
    }
}

void HXGCDAsyncSocketMiddleware::readDataToData(const QByteArray &data, QByteArray *buffer, long tag,
                                                qsizetype maxLength)
{
    enqueue(std::make_unique<HXGCDAsyncSocketToDataReadOperation>(data, buffer, tag, maxLength));
}

void HXGCDAsyncSocketMiddleware::readDataToEmptyLine(QByteArray *buffer, long tag, qsizetype maxLength)
{
    enqueue(std::make_unique<HXGCDAsyncSocketToEmptyLineReadOperation>(buffer, tag, maxLength));
}

void HXGCDAsyncSocketMiddleware::readDataToLength(qsizetype length, QByteArray *buffer, long tag)
{
    enqueue(std::make_unique<HXGCDAsyncSocketToLengthReadOperation>(length, buffer, tag));
}

void HXGCDAsyncSocketMiddleware::readDataUntilCloseWithBuffer(QByteArray *buffer, long tag)
{
    enqueue(std::make_unique<HXGCDAsyncSocketToEOFReadOperation>(buffer, tag));
}

void HXGCDAsyncSocketMiddleware::readAvailableData(QByteArray *buffer, long tag, qsizetype lengthHint)
{
    enqueue(std::make_unique<HXGCDAsyncSocketAvailableReadOperation>(buffer, tag, lengthHint));
}

void HXGCDAsyncSocketMiddleware::writeData(const QByteArray &data, long tag)
{
    if (m_socket == nullptr) {
        if (m_delegate != nullptr)
            m_delegate->socketMiddlewareDidWriteDataWithTag(this, tag);
        return;
    }
    m_pendingWriteTags.push_back(tag);
    m_socket->write(data);
    // Out now rather than on the next turn of the loop: a request is
    // usually the last thing written before the answer is awaited. What
    // the socket does not take yet goes when it is writable again.
    m_socket->flush();
}

void HXGCDAsyncSocketMiddleware::socketBytesWritten()
{
    if (m_socket == nullptr || m_socket->bytesToWrite() > 0)
        return;
    while (!m_pendingWriteTags.empty() && m_delegate != nullptr) {
        const long tag = m_pendingWriteTags.front();
        m_pendingWriteTags.pop_front();
        m_delegate->socketMiddlewareDidWriteDataWithTag(this, tag);
    }
}

void HXGCDAsyncSocketMiddleware::clearDelegateAndDisconnect()
{
    m_delegate = nullptr;
    m_readOperations.clear();
    m_pendingWriteTags.clear();
    if (m_socket != nullptr) {
        m_socket->disconnect(this);
        m_socket->abort();
    }
    closeDescriptorCopy();
}

void HXGCDAsyncSocketMiddleware::enqueue(std::unique_ptr<HXGCDAsyncSocketReadOperation> operation)
{
    if (m_delegate == nullptr)
        return;
    m_readOperations.push_back(std::move(operation));
    processReadOperations(HXGCDAsyncSocketReadOperation::CompletionTypeQueued, 0);
    drainSocket();
}

void HXGCDAsyncSocketMiddleware::receiveData(const QByteArray &data)
{
    if (data.isEmpty())
        return;
    m_readPrebuffer.append(data);
    processReadOperations(HXGCDAsyncSocketReadOperation::CompletionTypeBytesRead, data.size());
}

void HXGCDAsyncSocketMiddleware::receiveDisconnect(const HXError &error)
{
    if (m_disconnectReported)
        return;
    m_disconnectReported = true;
    processReadOperations(HXGCDAsyncSocketReadOperation::CompletionTypeClosed, 0);
    if (m_delegate != nullptr)
        m_delegate->socketMiddlewareDidDisconnectWithError(this, error);
}

void HXGCDAsyncSocketMiddleware::processReadOperations(HXGCDAsyncSocketReadOperation::CompletionType completionType,
                                                       qsizetype newBytes)
{
    // A read queued from inside a callback of this pass is taken up by the
    // pass itself, in order.
    if (m_processing)
        return;
    m_processing = true;
    while (m_delegate != nullptr && !m_readOperations.empty()) {
        HXGCDAsyncSocketReadOperation &operation = *m_readOperations.front();
        if (!operation.completeOperationWithPrebuffer(m_readPrebuffer, completionType)) {
            if (newBytes > 0)
                m_delegate->socketMiddlewareDidReadPartialDataOfLength(
                    this, newBytes, operation.bytesTaken() + m_readPrebuffer.size(), operation.tag());
            break;
        }
        std::unique_ptr<HXGCDAsyncSocketReadOperation> done = std::move(m_readOperations.front());
        m_readOperations.pop_front();
        newBytes = 0;
        const qsizetype start = done->initialBufferLength();
        m_delegate->socketMiddlewareDidReadDataToBuffer(this, done->buffer(), start, done->buffer().size() - start,
                                                        done->tag());
    }
    m_processing = false;
}

void HXGCDAsyncSocketMiddleware::drainSocket()
{
    if (m_socket == nullptr || m_draining)
        return;
    m_draining = true;
    while (m_delegate != nullptr && !m_readOperations.empty() && m_socket->bytesAvailable() > 0) {
        qint64 available = m_socket->bytesAvailable();
        HXGCDAsyncSocketReadOperation &operation = *m_readOperations.front();
        const qint64 direct = m_readPrebuffer.isEmpty() ? qMin(operation.directReadCapacity(), available) : 0;
        qint64 read = 0;
        if (direct > 0) {
            // Straight into the reader's buffer: the body is copied once.
            QByteArray &buffer = operation.buffer();
            const qsizetype before = buffer.size();
            buffer.resize(before + direct);
            read = m_socket->read(buffer.data() + before, direct);
            buffer.resize(before + qMax<qint64>(read, 0));
        } else {
            const qsizetype before = m_readPrebuffer.size();
            m_readPrebuffer.resize(before + available);
            read = m_socket->read(m_readPrebuffer.data() + before, available);
            m_readPrebuffer.resize(before + qMax<qint64>(read, 0));
        }
        if (read <= 0)
            break;
        processReadOperations(HXGCDAsyncSocketReadOperation::CompletionTypeBytesRead, read);
    }
    m_draining = false;
}

void HXGCDAsyncSocketMiddleware::socketErrorOccurred()
{
    if (m_socket == nullptr)
        return;
    m_pendingError = HXError(socketErrorDomain(), m_socket->error(), m_socket->errorString());
    if (m_socket->error() == QAbstractSocket::RemoteHostClosedError) {
        if (connectionWasReset())
            m_pendingError = HXError(socketErrorDomain(), QAbstractSocket::NetworkError,
                                     QString::fromLocal8Bit(std::strerror(ECONNRESET)));
        // The peer's end of the stream, also when TLS ended with close_notify
        // and the TCP connection stays open: no byte follows.
        socketDisconnected();
        return;
    }
    if (m_socket->state() == QAbstractSocket::UnconnectedState)
        socketDisconnected();
}

void HXGCDAsyncSocketMiddleware::socketDisconnected()
{
    if (m_socket == nullptr || m_disconnectReported)
        return;
    // Whatever the socket still holds belongs before the close.
    const QByteArray rest = m_socket->readAll();
    if (!rest.isEmpty())
        receiveData(rest);
    closeDescriptorCopy();
    receiveDisconnect(m_pendingError);
}
