// Benchmark of Kea's three engines (its own HTTP/1.1 engine, libcurl, Qt
// Network) against the curl tool, all talking to the same loopback server in
// the same run:
//   (a) download of a 256 MiB body: MB/s and peak memory. Bodies over the
//       engines' memory limit go to a temporary file, so curl is measured
//       writing to a temporary file on the same filesystem (the fair peer)
//       as well as to /dev/null;
//   (b) 1,000 sequential small GETs, each on a fresh connection
//       ("Connection: close"): requests per second;
//   (c) a 200 MB gzip body: decoding rate of Kea's decoder next to plain zlib.
// Each client runs as a child process, so its peak memory is its own.
//
//   bench_http [--size MiB] [--requests N] [--gzip-mb MB] [--serve]

#include "HXGzipDecoder.h"
#include "HXGzipEncoder.h"
#include "HXHTTPBodyDecoder.h"
#include "HXHTTPRequest.h"
#include "HXHTTPResponseBody.h"
#include "HXHTTPSettings.h"
#include "HXUserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <thread>

extern char **environ;

namespace {

// Whether `request` holds a whole request: its head and, framed the way every
// HTTP/1.1 body is, its body.
bool isCompleteRequest(const QByteArray &request)
{
    const qsizetype headEnd = request.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return false;
    HXHTTPBodyDecoder body = HXHTTPBodyDecoder::forRequestHead(QByteArrayView(request).first(headEnd));
    qsizetype consumed = 0;
    return body.decode(QByteArrayView(request).sliced(headEnd + 4), consumed, nullptr) ==
           HXHTTPBodyDecoder::Result::Complete;
}

// A minimal blocking HTTP/1.1 server: one connection at a time, each request
// answered and the connection closed.
class LoopbackServer
{
public:
    LoopbackServer(qint64 bigSize, QByteArray gzipBody) : m_bigSize(bigSize), m_gzipBody(std::move(gzipBody))
    {
        m_chunk.resize(1 << 20);
        for (qsizetype i = 0; i < m_chunk.size(); ++i)
            m_chunk[i] = char('a' + i % 26);
        m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
        const int yes = 1;
        ::setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(m_listener, reinterpret_cast<sockaddr *>(&address), sizeof address);
        ::listen(m_listener, 128);
        socklen_t length = sizeof address;
        ::getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &length);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { serve(); });
    }

    ~LoopbackServer()
    {
        m_stop = true;
        ::shutdown(m_listener, SHUT_RDWR);
        ::close(m_listener);
        m_thread.join();
    }

    QString url(const char *path) const
    {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(QLatin1String(path));
    }

private:
    void serve()
    {
        while (!m_stop) {
            const int connection = ::accept(m_listener, nullptr, nullptr);
            if (connection < 0)
                continue;
            const int yes = 1;
            ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
            answer(connection);
            ::close(connection);
        }
    }

    bool sendAll(int connection, const char *data, size_t size)
    {
        while (size > 0) {
            const ssize_t sent = ::send(connection, data, size, MSG_NOSIGNAL);
            if (sent <= 0)
                return false;
            data += sent;
            size -= size_t(sent);
        }
        return true;
    }

    void answer(int connection)
    {
        QByteArray request;
        char buffer[4096];
        while (!isCompleteRequest(request)) {
            const ssize_t received = ::recv(connection, buffer, sizeof buffer, 0);
            if (received <= 0)
                return;
            request.append(buffer, received);
        }
        const QByteArray path = request.split(' ').value(1);
        if (path == "/big") {
            const QByteArray head = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
                                    QByteArray::number(m_bigSize) + "\r\nConnection: close\r\n\r\n";
            if (!sendAll(connection, head.constData(), size_t(head.size())))
                return;
            for (qint64 left = m_bigSize; left > 0;) {
                const qint64 piece = qMin<qint64>(left, m_chunk.size());
                if (!sendAll(connection, m_chunk.constData(), size_t(piece)))
                    return;
                left -= piece;
            }
        } else if (path == "/gzip") {
            const QByteArray head = "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " +
                                    QByteArray::number(m_gzipBody.size()) + "\r\nConnection: close\r\n\r\n";
            sendAll(connection, head.constData(), size_t(head.size())) &&
                sendAll(connection, m_gzipBody.constData(), size_t(m_gzipBody.size()));
        } else {
            static const char small[] = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 13\r\n"
                                        "Connection: close\r\n\r\nHello, world!";
            sendAll(connection, small, sizeof small - 1);
        }
        ::shutdown(connection, SHUT_WR);
        while (::recv(connection, buffer, sizeof buffer, 0) > 0) {
        }
    }

    qint64 m_bigSize;
    QByteArray m_gzipBody;
    QByteArray m_chunk;
    int m_listener = -1;
    quint16 m_port = 0;
    std::atomic_bool m_stop{false};
    std::thread m_thread;
};

// The same large body over TLS, served by QSslSocket on its own thread, with
// a certificate made by the openssl tool for the run.
class TLSServer : public QTcpServer
{
public:
    TLSServer(qint64 bodySize, QSslCertificate certificate, QSslKey key)
        : m_bodySize(bodySize), m_certificate(std::move(certificate)), m_key(std::move(key))
    {
        m_chunk.fill('t', 1 << 20);
    }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto *socket = new QSslSocket(this);
        if (!socket->setSocketDescriptor(descriptor)) {
            delete socket;
            return;
        }
        socket->setLocalCertificate(m_certificate);
        socket->setPrivateKey(m_key);
        auto request = std::make_shared<QByteArray>();
        auto left = std::make_shared<qint64>(-1);
        auto pump = [socket, left, this] {
            while (*left > 0 && socket->bytesToWrite() < 4 * m_chunk.size()) {
                const qint64 piece = qMin<qint64>(*left, m_chunk.size());
                socket->write(m_chunk.constData(), piece);
                *left -= piece;
            }
            if (*left == 0 && socket->bytesToWrite() == 0)
                socket->disconnectFromHost();
        };
        connect(socket, &QIODevice::readyRead, socket, [socket, request, left, pump, this] {
            request->append(socket->readAll());
            if (*left >= 0 || !isCompleteRequest(*request))
                return;
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(m_bodySize) +
                          "\r\nConnection: close\r\n\r\n");
            *left = m_bodySize;
            pump();
        });
        connect(socket, &QIODevice::bytesWritten, socket, pump);
        connect(socket, &QAbstractSocket::disconnected, socket, &QObject::deleteLater);
        socket->startServerEncryption();
    }

private:
    qint64 m_bodySize;
    QSslCertificate m_certificate;
    QSslKey m_key;
    QByteArray m_chunk;
};

struct ChildResult
{
    double wallSeconds = 0;
    long peakKiB = 0;
    int status = -1;
    QByteArray output;
};

// `bench_http --measure PROGRAM ARGS...`: runs the program as a forked child
// of this small process and appends "@peak <KiB>" to the output. A child
// spawned straight from the benchmark would inherit the benchmark's own peak
// memory in its accounting.
int measureChild(char **argv)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::execvp(argv[0], argv);
        ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    std::printf("\n@peak %ld\n", usage.ru_maxrss);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

// Runs a program, returns its wall time, peak memory and standard output.
ChildResult runChild(const QStringList &programAndArguments)
{
    ChildResult result;
    const QStringList arguments =
        QStringList{QCoreApplication::applicationFilePath(), QStringLiteral("--measure")} + programAndArguments;
    int pipeFds[2];
    if (::pipe(pipeFds) != 0)
        return result;
    std::vector<QByteArray> storage;
    for (const QString &argument : arguments)
        storage.push_back(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &argument : storage)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
    QElapsedTimer clock;
    clock.start();
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeFds[1]);
    if (spawned != 0) {
        ::close(pipeFds[0]);
        return result;
    }
    char buffer[4096];
    ssize_t received = 0;
    while ((received = ::read(pipeFds[0], buffer, sizeof buffer)) > 0)
        result.output.append(buffer, received);
    ::close(pipeFds[0]);
    int status = 0;
    rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    result.wallSeconds = clock.nsecsElapsed() / 1e9;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    const qsizetype marker = result.output.lastIndexOf("\n@peak ");
    if (marker >= 0) {
        result.peakKiB = result.output.mid(marker + 7).trimmed().toLong();
        result.output.truncate(marker);
    }
    return result;
}

// The engines, by the name of their benchmark row and their identifier.
const std::vector<std::pair<const char *, QString>> engines = {{"own", QStringLiteral("GCDHTTPRequest")},
                                                               {"libcurl", QStringLiteral("ASIHTTPRequest")},
                                                               {"qt", QStringLiteral("URLConnection")}};

// The child side: `count` sequential requests through one engine.
int runKeaClient(const QString &url, int count, bool insecure, const QString &engine)
{
    HXUserDefaults::standardUserDefaults().useSettingsFile(QString());
    HXUserDefaults::registerApplicationDefaults();
    HXUserDefaults::standardUserDefaults().setObject(QStringLiteral("NoProxy"),
                                                     QStringLiteral("HXUserDefaultHTTPProxyConfiguration"));
    struct Delegate : HXHTTPRequestDelegate
    {
        QEventLoop *loop = nullptr;
        bool failed = false;
        QString error;
        void HTTPRequestFinished(HXHTTPRequest *) override { loop->quit(); }
        void HTTPRequestDidFailWithError(HXHTTPRequest *, const HXError &e) override
        {
            failed = true;
            error = e.description;
            loop->quit();
        }
    };
    qint64 bytes = 0;
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < count; ++i) {
        QEventLoop loop;
        Delegate delegate;
        delegate.loop = &loop;
        const std::unique_ptr<HXHTTPRequest> created = HXHTTPRequest::HTTPLibrary(engine).createRequest(QUrl(url));
        HXHTTPRequest &request = *created;
        request.setSettings(HXHTTPSettings::fromUserDefaults(HXUserDefaults::standardUserDefaults()));
        request.setTimeoutInterval(120);
        request.setIgnoreSSLCertificatesValidation(insecure);
        request.setDelegate(&delegate);
        request.start();
        loop.exec();
        if (delegate.failed) {
            std::fprintf(stderr, "kea request failed: %s\n", qPrintable(delegate.error));
            return 1;
        }
        // The body as the engine kept it (in memory, or in its file past the
        // memory limit), not read back.
        bytes += request.responseBody().size();
    }
    std::printf("%.6f %lld\n", clock.nsecsElapsed() / 1e9, static_cast<long long>(bytes));
    return 0;
}

// Compressible text that is not trivially repetitive: numbered log lines.
QByteArray makeText(qint64 size)
{
    QByteArray text;
    text.reserve(size + 128);
    quint32 state = 12345;
    for (qint64 line = 0; text.size() < size; ++line) {
        state = state * 1103515245u + 12345u;
        text += "2026-11-22T03:00:00Z request=" + QByteArray::number(line) +
                " status=" + QByteArray::number(200 + (state >> 16) % 4) +
                " bytes=" + QByteArray::number((state >> 8) % 100000) + " path=/api/v1/items/" +
                QByteArray::number((state >> 4) % 5000) + "\n";
    }
    text.truncate(size);
    return text;
}

double plainZlibSeconds(const QByteArray &compressed, qint64 expectedSize)
{
    QByteArray out(expectedSize, Qt::Uninitialized);
    QElapsedTimer clock;
    clock.start();
    z_stream stream{};
    inflateInit2(&stream, 16 + MAX_WBITS);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(compressed.constData()));
    stream.avail_in = uInt(compressed.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = uInt(out.size());
    const int result = inflate(&stream, Z_FINISH);
    inflateEnd(&stream);
    const double seconds = clock.nsecsElapsed() / 1e9;
    if (result != Z_STREAM_END || qint64(stream.total_out) != expectedSize)
        std::fprintf(stderr, "zlib inflate failed (%d)\n", result);
    return seconds;
}

double best(const std::function<double()> &run, int times)
{
    double fastest = 1e30;
    for (int i = 0; i < times; ++i)
        fastest = qMin(fastest, run());
    return fastest;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc >= 3 && std::strcmp(argv[1], "--measure") == 0)
        return measureChild(argv + 2);
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() >= 4 && arguments.at(1) == u"--kea-client") {
        const qsizetype engineIndex = arguments.indexOf(QStringLiteral("--engine"));
        const QString engine = engineIndex > 0 ? arguments.value(engineIndex + 1) : QString();
        const int status = runKeaClient(arguments.at(2), arguments.at(3).toInt(),
                                        arguments.contains(QStringLiteral("--insecure")), engine);
        // The figures are printed. Leave without the teardown: Qt Network's
        // per-thread connection cache would close its TLS sockets after the
        // application object is gone, and Qt warns about a null receiver.
        std::fflush(nullptr);
        ::_exit(status);
    }

    qint64 sizeMiB = 256;
    int requests = 1000;
    qint64 gzipMB = 200;
    for (qsizetype i = 1; i + 1 < arguments.size(); i += 2) {
        if (arguments.at(i) == u"--size")
            sizeMiB = arguments.at(i + 1).toLongLong();
        else if (arguments.at(i) == u"--requests")
            requests = arguments.at(i + 1).toInt();
        else if (arguments.at(i) == u"--gzip-mb")
            gzipMB = arguments.at(i + 1).toLongLong();
    }
    const qint64 bigSize = sizeMiB * 1024 * 1024;
    const QByteArray text = makeText(gzipMB * 1000 * 1000);
    const QByteArray compressed = HXGzipEncoder::compress(text, 6);
    LoopbackServer server(bigSize, compressed);
    if (arguments.contains(QStringLiteral("--serve"))) {
        // Serves until killed, for measuring other clients by hand.
        std::printf("%s\n", qPrintable(server.url("/big")));
        std::fflush(stdout);
        for (;;)
            ::pause();
    }
    const QString self = QCoreApplication::applicationFilePath();
    const QString curl = QStringLiteral("curl");

    // (a) download, over http and https
    // curl's file goes where the engines put a body over their memory limit.
    QTemporaryDir curlFolder(QDir::tempPath() + QStringLiteral("/bench_http-XXXXXX"));
    const QString curlFile = curlFolder.filePath(QStringLiteral("body"));
    const bool spills = bigSize > HXHTTPResponseBodyStorage::defaultMemoryLimit;
    auto download = [&](const QString &label, const QString &url, bool tls) {
        std::printf("(a) download of %lld MiB over %s on loopback\n", static_cast<long long>(sizeMiB),
                    qPrintable(label));
        // curl writing to /dev/null, and to a file.
        const QString curlOutputs[2] = {QStringLiteral("/dev/null"), curlFile};
        ChildResult curlDownloads[2];
        double curlSeconds[2] = {1e30, 1e30};
        std::vector<ChildResult> keaDownloads(engines.size());
        std::vector<double> keaSeconds(engines.size(), 1e30);
        for (int round = 0; round < 3; ++round) {
            for (int output = 0; output < 2; ++output) {
                QStringList curlArguments = {curl,
                                             QStringLiteral("-s"),
                                             QStringLiteral("-o"),
                                             curlOutputs[output],
                                             QStringLiteral("-w"),
                                             QStringLiteral("%{time_total}"),
                                             url};
                if (tls)
                    curlArguments.insert(1, QStringLiteral("-k"));
                ChildResult c = runChild(curlArguments);
                QFile::remove(curlFile);
                const double cs = c.output.toDouble();
                if (c.status == 0 && cs > 0 && cs < curlSeconds[output]) {
                    curlSeconds[output] = cs;
                    curlDownloads[output] = c;
                }
            }
            for (size_t e = 0; e < engines.size(); ++e) {
                QStringList keaArguments = {self,
                                            QStringLiteral("--kea-client"),
                                            url,
                                            QStringLiteral("1"),
                                            QStringLiteral("--engine"),
                                            engines[e].second};
                if (tls)
                    keaArguments.append(QStringLiteral("--insecure"));
                ChildResult k = runChild(keaArguments);
                const double ks = k.output.split(' ').value(0).toDouble();
                if (k.status == 0 && ks > 0 && ks < keaSeconds[e]) {
                    keaSeconds[e] = ks;
                    keaDownloads[e] = k;
                }
            }
        }
        const double nullRate = bigSize / curlSeconds[0] / 1e6;
        const double fileRate = bigSize / curlSeconds[1] / 1e6;
        std::printf("    curl -o /dev/null %8.0f MB/s   peak %6.1f MB\n", nullRate, curlDownloads[0].peakKiB / 1024.0);
        std::printf("    curl -o FILE      %8.0f MB/s   peak %6.1f MB   (%s)\n", fileRate,
                    curlDownloads[1].peakKiB / 1024.0,
                    spills ? "the fair peer: the engines keep this body in a temporary file"
                           : "for scale: the engines keep this body in memory");
        for (size_t e = 0; e < engines.size(); ++e) {
            const double keaRate = bigSize / keaSeconds[e] / 1e6;
            std::printf("    kea %-13s %8.0f MB/s   peak %6.1f MB   ratio to curl: file %.2f, /dev/null %.2f%s\n",
                        engines[e].first, keaRate, keaDownloads[e].peakKiB / 1024.0, keaRate / fileRate,
                        keaRate / nullRate, e == 0 ? " (aim >= 0.80; peak limit 1.2 x body + 30 MB)" : "");
        }
    };
    download(QStringLiteral("http"), server.url("/big"), false);

    QTemporaryDir certificateFolder;
    const QString certificatePath = certificateFolder.filePath(QStringLiteral("cert.pem"));
    const QString keyPath = certificateFolder.filePath(QStringLiteral("key.pem"));
    QProcess openssl;
    openssl.setStandardOutputFile(QProcess::nullDevice());
    openssl.setStandardErrorFile(QProcess::nullDevice());
    openssl.start(QStringLiteral("openssl"),
                  {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"), QStringLiteral("ec"),
                   QStringLiteral("-pkeyopt"), QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"),
                   QStringLiteral("-keyout"), keyPath, QStringLiteral("-out"), certificatePath, QStringLiteral("-days"),
                   QStringLiteral("1"), QStringLiteral("-subj"), QStringLiteral("/CN=localhost"),
                   QStringLiteral("-batch")});
    const int made =
        openssl.waitForFinished(30000) && openssl.exitStatus() == QProcess::NormalExit ? openssl.exitCode() : -1;
    QFile certificateFile(certificatePath);
    QFile keyFile(keyPath);
    if (made == 0 && certificateFile.open(QIODevice::ReadOnly) && keyFile.open(QIODevice::ReadOnly)) {
        QThread tlsThread;
        auto *tlsServer =
            new TLSServer(bigSize, QSslCertificate(certificateFile.readAll()), QSslKey(keyFile.readAll(), QSsl::Ec));
        tlsServer->moveToThread(&tlsThread);
        tlsThread.start();
        quint16 tlsPort = 0;
        QMetaObject::invokeMethod(
            tlsServer,
            [tlsServer, &tlsPort] {
                if (tlsServer->listen(QHostAddress::LocalHost))
                    tlsPort = tlsServer->serverPort();
            },
            Qt::BlockingQueuedConnection);
        if (tlsPort != 0 && arguments.contains(QStringLiteral("--serve-tls"))) {
            std::printf("https://127.0.0.1:%d/big\n", tlsPort);
            std::fflush(stdout);
            for (;;)
                ::pause();
        }
        if (tlsPort != 0)
            download(QStringLiteral("https"), QStringLiteral("https://127.0.0.1:%1/big").arg(tlsPort), true);
        QMetaObject::invokeMethod(
            tlsServer, [tlsServer] { delete tlsServer; }, Qt::BlockingQueuedConnection);
        tlsThread.quit();
        tlsThread.wait();
    } else {
        std::printf("(a) https skipped: the openssl tool could not make a certificate\n");
    }

    // (b) sequential small requests, each on a fresh connection
    std::printf("(b) %d sequential GETs, a fresh connection each\n", requests);
    QTemporaryDir folder;
    const QString config = folder.filePath(QStringLiteral("curl.conf"));
    {
        QFile file(config);
        if (!file.open(QIODevice::WriteOnly))
            return 1;
        file.write("silent\nheader = \"Connection: close\"\n");
        for (int i = 0; i < requests; ++i)
            file.write("url = \"" + server.url("/small").toUtf8() + "\"\noutput = \"/dev/null\"\n");
    }
    double curlPerRequest = 1e30;
    std::vector<double> keaPerRequest(engines.size(), 1e30);
    for (int round = 0; round < 3; ++round) {
        const ChildResult c = runChild({curl, QStringLiteral("-K"), config});
        if (c.status == 0)
            curlPerRequest = qMin(curlPerRequest, c.wallSeconds / requests);
        for (size_t e = 0; e < engines.size(); ++e) {
            const ChildResult k = runChild({self, QStringLiteral("--kea-client"), server.url("/small"),
                                            QString::number(requests), QStringLiteral("--engine"), engines[e].second});
            if (k.status == 0)
                keaPerRequest[e] = qMin(keaPerRequest[e], k.output.split(' ').value(0).toDouble() / requests);
        }
    }
    std::printf("    curl         %8.0f req/s  (%.3f ms per request, whole process)\n", 1 / curlPerRequest,
                curlPerRequest * 1000);
    for (size_t e = 0; e < engines.size(); ++e)
        std::printf("    kea %-8s %8.0f req/s  (%.3f ms per request)   ratio of time to curl %.2f%s\n",
                    engines[e].first, 1 / keaPerRequest[e], keaPerRequest[e] * 1000, keaPerRequest[e] / curlPerRequest,
                    e == 0 ? " (aim <= 1.25)" : "");

    // (c) gzip decoding
    std::printf("(c) gzip body of %lld MB (%lld bytes compressed)\n", static_cast<long long>(gzipMB),
                static_cast<long long>(compressed.size()));
    const double zlibSeconds = best([&] { return plainZlibSeconds(compressed, text.size()); }, 3);
    bool decodedRight = true;
    const double keaDecodeSeconds = best(
        [&] {
            QElapsedTimer clock;
            clock.start();
            const std::optional<QByteArray> inflated = HXGzipDecoder::inflate(compressed);
            const double seconds = clock.nsecsElapsed() / 1e9;
            decodedRight = decodedRight && inflated && inflated->size() == text.size();
            return seconds;
        },
        3);
    std::printf("    zlib %8.0f MB/s\n", text.size() / zlibSeconds / 1e6);
    std::printf("    kea  %8.0f MB/s%s\n", text.size() / keaDecodeSeconds / 1e6,
                decodedRight ? "" : "  (WRONG OUTPUT)");
    std::printf("    ratio kea/zlib %.2f (aim >= 0.90)\n", zlibSeconds / keaDecodeSeconds);
    const ChildResult endToEnd = runChild({self, QStringLiteral("--kea-client"), server.url("/gzip"),
                                           QStringLiteral("1"), QStringLiteral("--engine"), engines.front().second});
    const QList<QByteArray> fields = endToEnd.output.trimmed().split(' ');
    std::printf("    kea fetch of /gzip end to end: %.0f MB/s of decoded body, %s bytes, peak %.1f MB\n",
                fields.value(1).toDouble() / qMax(fields.value(0).toDouble(), 1e-9) / 1e6, fields.value(1).constData(),
                endToEnd.peakKiB / 1024.0);
    return 0;
}
