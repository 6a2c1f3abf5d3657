#include "HXTestHTTPServer.h"

#include "HXHTTPBodyDecoder.h"
#include "HXTestSupport.h"

#include <QPointer>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTcpServer>
#include <QThread>
#include <QTimer>

#include <sys/socket.h>

namespace {

// Length of a whole request at the start of `buffer`, or -1 while incomplete.
qsizetype completeRequestLength(const QByteArray &buffer)
{
    const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return -1;
    const qsizetype bodyStart = headEnd + 4;
    HXHTTPBodyDecoder body = HXHTTPBodyDecoder::forRequestHead(QByteArrayView(buffer).first(headEnd));
    qsizetype consumed = 0;
    const HXHTTPBodyDecoder::Result result = body.decode(QByteArrayView(buffer).sliced(bodyStart), consumed, nullptr);
    return result == HXHTTPBodyDecoder::Result::Complete ? bodyStart + consumed : -1;
}

} // namespace

HXTestHTTPScript &HXTestHTTPScript::readRequest()
{
    m_steps.append(Step{Step::ReadRequest});
    return *this;
}

HXTestHTTPScript &HXTestHTTPScript::write(const QByteArray &bytes, int pieceSize, int pieceDelayMs)
{
    Step step{Step::Write, bytes};
    step.pieceSize = pieceSize;
    step.pieceDelayMs = pieceDelayMs;
    m_steps.append(step);
    return *this;
}

HXTestHTTPScript &HXTestHTTPScript::delay(int milliseconds)
{
    Step step{Step::Delay};
    step.delayMs = milliseconds;
    m_steps.append(step);
    return *this;
}

HXTestHTTPScript &HXTestHTTPScript::pause()
{
    m_steps.append(Step{Step::Pause});
    return *this;
}

HXTestHTTPScript &HXTestHTTPScript::close()
{
    m_steps.append(Step{Step::Close});
    return *this;
}

HXTestHTTPScript &HXTestHTTPScript::hang()
{
    m_steps.append(Step{Step::Hang});
    return *this;
}

HXTestHTTPScript &HXTestHTTPScript::reset()
{
    m_steps.append(Step{Step::Reset});
    return *this;
}

HXTestHTTPScript HXTestHTTPScript::respond(const QByteArray &response)
{
    return HXTestHTTPScript().readRequest().write(response).close();
}

// One connection running its script.
class HXTestHTTPConnection : public QObject
{
public:
    HXTestHTTPConnection(QSslSocket *socket, HXTestHTTPScript script, std::shared_ptr<HXTestHTTPServer::Shared> shared)
        : m_socket(socket), m_script(std::move(script)), m_shared(std::move(shared))
    {
        m_socket->setParent(this);
        connect(m_socket, &QIODevice::readyRead, this, [this] {
            m_buffer += m_socket->readAll();
            if (m_waitingForRequest)
                run();
        });
        connect(m_socket, &QAbstractSocket::disconnected, this, &QObject::deleteLater);
    }

    void run()
    {
        m_waitingForRequest = false;
        const QList<HXTestHTTPScript::Step> &steps = m_script.steps();
        while (m_stepIndex < steps.size()) {
            const HXTestHTTPScript::Step &step = steps.at(m_stepIndex);
            switch (step.kind) {
            case HXTestHTTPScript::Step::ReadRequest: {
                const qsizetype length = completeRequestLength(m_buffer);
                if (length < 0) {
                    m_waitingForRequest = true;
                    return;
                }
                {
                    QMutexLocker lock(&m_shared->mutex);
                    m_shared->requests.append(m_buffer.left(length));
                }
                m_buffer.remove(0, length);
                ++m_stepIndex;
                break;
            }
            case HXTestHTTPScript::Step::Write: {
                const int pieceSize = step.pieceSize > 0 ? step.pieceSize : int(qMax<qsizetype>(step.bytes.size(), 1));
                if (m_writeOffset < step.bytes.size()) {
                    m_socket->write(step.bytes.mid(m_writeOffset, pieceSize));
                    m_socket->flush();
                    m_writeOffset += pieceSize;
                }
                if (m_writeOffset < step.bytes.size()) {
                    QTimer::singleShot(qMax(step.pieceDelayMs, 1), this, [this] { run(); });
                    return;
                }
                m_writeOffset = 0;
                ++m_stepIndex;
                break;
            }
            case HXTestHTTPScript::Step::Delay:
                ++m_stepIndex;
                QTimer::singleShot(step.delayMs, this, [this] { run(); });
                return;
            case HXTestHTTPScript::Step::Pause: {
                QMutexLocker lock(&m_shared->mutex);
                if (!m_shared->resumed) {
                    QTimer::singleShot(10, this, [this] { run(); });
                    return;
                }
                ++m_stepIndex;
                break;
            }
            case HXTestHTTPScript::Step::Close:
                ++m_stepIndex;
                m_socket->disconnectFromHost();
                return;
            case HXTestHTTPScript::Step::Hang:
                return;
            case HXTestHTTPScript::Step::Reset: {
                const linger immediately{1, 0};
                ::setsockopt(int(m_socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &immediately,
                             sizeof immediately);
                m_socket->abort();
                return;
            }
            }
        }
        m_socket->disconnectFromHost();
    }

private:
    QSslSocket *m_socket;
    HXTestHTTPScript m_script;
    std::shared_ptr<HXTestHTTPServer::Shared> m_shared;
    QByteArray m_buffer;
    qsizetype m_stepIndex = 0;
    qsizetype m_writeOffset = 0;
    bool m_waitingForRequest = false;
};

class HXTestHTTPServerWorker : public QTcpServer
{
public:
    HXTestHTTPServerWorker(std::shared_ptr<HXTestHTTPServer::Shared> shared, bool tls,
                           HXTestHTTPServer::TLSIdentity identity)
        : m_shared(std::move(shared)), m_tls(tls), m_identity(std::move(identity))
    {}

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto *socket = new QSslSocket;
        if (!socket->setSocketDescriptor(descriptor)) {
            delete socket;
            return;
        }
        HXTestHTTPScript script;
        bool hasScript = true;
        {
            QMutexLocker lock(&m_shared->mutex);
            ++m_shared->connections;
            if (!m_shared->scripts.empty()) {
                script = m_shared->scripts.front();
                m_shared->scripts.pop_front();
            } else if (m_shared->defaultScript) {
                script = *m_shared->defaultScript;
            } else {
                hasScript = false;
            }
        }
        if (!hasScript)
            script.close();
        if (m_tls) {
            socket->setLocalCertificate(m_identity.certificate);
            socket->setPrivateKey(m_identity.privateKey);
            QSslConfiguration configuration = socket->sslConfiguration();
            QList<QSslCertificate> chain{m_identity.certificate};
            chain += m_identity.intermediates;
            configuration.setLocalCertificateChain(chain);
            socket->setSslConfiguration(configuration);
            socket->startServerEncryption();
        }
        auto *connection = new HXTestHTTPConnection(socket, std::move(script), m_shared);
        connection->setParent(this);
        connection->run();
    }

private:
    std::shared_ptr<HXTestHTTPServer::Shared> m_shared;
    bool m_tls;
    HXTestHTTPServer::TLSIdentity m_identity;
};

HXTestHTTPServer::HXTestHTTPServer() : m_shared(std::make_shared<Shared>()) {}

HXTestHTTPServer::HXTestHTTPServer(const TLSIdentity &identity)
    : m_shared(std::make_shared<Shared>()), m_tls(true), m_identity(identity)
{}

HXTestHTTPServer::~HXTestHTTPServer()
{
    if (m_thread != nullptr) {
        HXTestHTTPServerWorker *worker = m_worker;
        QMetaObject::invokeMethod(
            worker, [worker] { delete worker; }, Qt::BlockingQueuedConnection);
        m_thread->quit();
        m_thread->wait();
        delete m_thread;
    }
}

bool HXTestHTTPServer::listen(const QHostAddress &address)
{
    if (m_thread != nullptr)
        return false;
    m_address = address;
    m_thread = new QThread;
    m_thread->setObjectName(QStringLiteral("test-http-server"));
    m_thread->start();
    m_worker = new HXTestHTTPServerWorker(m_shared, m_tls, m_identity);
    m_worker->moveToThread(m_thread);
    bool listening = false;
    HXTestHTTPServerWorker *worker = m_worker;
    QMetaObject::invokeMethod(
        worker, [worker, address, &listening] { listening = worker->listen(address, 0); },
        Qt::BlockingQueuedConnection);
    if (listening)
        m_port = m_worker->serverPort();
    return listening;
}

quint16 HXTestHTTPServer::port() const
{
    return m_port;
}

QUrl HXTestHTTPServer::url(const QString &pathAndQuery) const
{
    const QString host = m_address.protocol() == QAbstractSocket::IPv6Protocol ? u'[' + m_address.toString() + u']'
                                                                               : m_address.toString();
    return QUrl(QStringLiteral("%1://%2:%3%4")
                    .arg(m_tls ? QStringLiteral("https") : QStringLiteral("http"), host)
                    .arg(m_port)
                    .arg(pathAndQuery));
}

void HXTestHTTPServer::addScript(const HXTestHTTPScript &script)
{
    QMutexLocker lock(&m_shared->mutex);
    m_shared->scripts.push_back(script);
}

void HXTestHTTPServer::setDefaultScript(const HXTestHTTPScript &script)
{
    QMutexLocker lock(&m_shared->mutex);
    m_shared->defaultScript = std::make_unique<HXTestHTTPScript>(script);
}

QList<QByteArray> HXTestHTTPServer::receivedRequests() const
{
    QMutexLocker lock(&m_shared->mutex);
    return m_shared->requests;
}

int HXTestHTTPServer::connectionCount() const
{
    QMutexLocker lock(&m_shared->mutex);
    return m_shared->connections;
}

void HXTestHTTPServer::resume()
{
    QMutexLocker lock(&m_shared->mutex);
    m_shared->resumed = true;
}

bool HXTestHTTPServer::waitForRequests(int count, int timeoutMs) const
{
    return HXTest::waitUntil([this, count] { return receivedRequests().size() >= count; }, timeoutMs);
}
