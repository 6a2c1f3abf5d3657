// Peak memory of one large download, kea-cli next to the curl tool in the
// same run, from the same loopback servers (the echo service for plain
// bytes, a small server of its own for gzip):
//   - a plain body written to a file with -o (streamed as it arrives);
//   - the same body printed to standard output (kept in a temporary file
//     past the memory limit, then written out in pieces);
//   - a gzip body of the same inflated size, with -o.
// Each client is a child process; its peak resident memory comes from
// wait4(). "Above idle" subtracts the peak of the same program doing nothing
// (`--version`).
//
//   bench_bigbody [--size MiB] [--skip-gzip]

#include "HXEchoService.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

constexpr qint64 pieceLength = 1 << 20;

// One megabyte of text: a 4 KiB random block repeated, so that gzip keeps
// the compressed body small on the server's side.
QByteArray makePiece()
{
    QByteArray block(4096, Qt::Uninitialized);
    quint32 state = 12345;
    for (qsizetype i = 0; i < block.size(); ++i) {
        state = state * 1103515245u + 12345u;
        block[i] = char('a' + (state >> 16) % 26);
    }
    return block.repeated(pieceLength / block.size());
}

// `size` bytes of repeated pieces, gzip-compressed in a stream.
QByteArray gzipOfRepeatedPieces(const QByteArray &piece, qint64 size)
{
    z_stream stream{};
    deflateInit2(&stream, 1, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    QByteArray out;
    QByteArray buffer(1 << 20, Qt::Uninitialized);
    for (qint64 left = size; left >= 0;) {
        const qint64 length = qMin(left, qint64(piece.size()));
        stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(piece.constData()));
        stream.avail_in = uInt(length);
        const int flush = left - length == 0 ? Z_FINISH : Z_NO_FLUSH;
        int status = Z_OK;
        do {
            stream.next_out = reinterpret_cast<Bytef *>(buffer.data());
            stream.avail_out = uInt(buffer.size());
            status = deflate(&stream, flush);
            out.append(buffer.constData(), buffer.size() - qsizetype(stream.avail_out));
        } while (stream.avail_out == 0 || (flush == Z_FINISH && status != Z_STREAM_END));
        left -= length;
        if (flush == Z_FINISH)
            break;
    }
    deflateEnd(&stream);
    return out;
}

// The gzip body for every connection: read the request head, send the
// response as fast as the client takes it, close.
class GzipServer : public QTcpServer
{
public:
    explicit GzipServer(QByteArray body) : m_body(std::move(body)) {}

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto *socket = new QTcpSocket(this);
        socket->setSocketDescriptor(descriptor);
        auto sent = std::make_shared<qint64>(-1);
        auto feed = [socket, sent, this] {
            while (*sent >= 0 && *sent < m_body.size() && socket->bytesToWrite() < 4 * pieceLength) {
                const qint64 length = qMin(pieceLength, m_body.size() - *sent);
                socket->write(m_body.constData() + *sent, length);
                *sent += length;
            }
            if (*sent == m_body.size() && socket->bytesToWrite() == 0)
                socket->disconnectFromHost();
        };
        connect(socket, &QIODevice::readyRead, socket, [socket, sent, feed, this] {
            if (*sent >= 0 || !socket->peek(1 << 16).contains("\r\n\r\n"))
                return;
            socket->readAll();
            socket->write("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " +
                          QByteArray::number(m_body.size()) + "\r\nConnection: close\r\n\r\n");
            *sent = 0;
            feed();
        });
        connect(socket, &QIODevice::bytesWritten, socket, feed);
        connect(socket, &QAbstractSocket::disconnected, socket, &QObject::deleteLater);
    }

private:
    QByteArray m_body;
};

struct Run
{
    int status = -1;
    double seconds = 0;
    double peakMB = 0;
};

// In the child started with --measure: runs the program with its standard
// output to /dev/null and prints its peak memory in KiB. A small process of
// its own, so the program does not inherit the benchmark's high-water mark.
int measure(char **argv)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, STDOUT_FILENO);
        ::execvp(argv[0], argv);
        ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    std::fprintf(stderr, "@peak %ld\n", usage.ru_maxrss);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

// Runs the program through --measure while this process keeps serving.
Run runChild(const QStringList &programAndArguments)
{
    QProcess process;
    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QElapsedTimer clock;
    clock.start();
    process.start(QCoreApplication::applicationFilePath(),
                  QStringList{QStringLiteral("--measure")} + programAndArguments);
    Run run;
    if (!process.waitForStarted())
        return run;
    loop.exec();
    run.seconds = clock.nsecsElapsed() / 1e9;
    run.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    const QByteArray err = process.readAllStandardError();
    const qsizetype marker = err.lastIndexOf("@peak ");
    if (marker >= 0)
        run.peakMB = err.mid(marker + 6).trimmed().toLong() / 1024.0;
    return run;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc > 2 && std::strcmp(argv[1], "--measure") == 0)
        return measure(argv + 2);
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    qint64 sizeMiB = 1024;
    if (const qsizetype at = arguments.indexOf(QStringLiteral("--size")); at > 0 && at + 1 < arguments.size())
        sizeMiB = arguments.at(at + 1).toLongLong();
    const bool withGzip = !arguments.contains(QStringLiteral("--skip-gzip"));
    const qint64 size = sizeMiB * 1024 * 1024;
    // The echo service streams /bytes/N from a pattern, never holding it.
    HXEchoService echo;
    if (!echo.listen(QHostAddress::LocalHost, 0).ok() || size > HXEchoService::maximumBytes) {
        std::fprintf(stderr, "bench_bigbody: cannot serve %lld MiB\n", static_cast<long long>(sizeMiB));
        return 1;
    }
    const QString plainURL = echo.baseURL() + QStringLiteral("/bytes/%1").arg(size);
    GzipServer gzipServer(withGzip ? gzipOfRepeatedPieces(makePiece(), size) : QByteArray());
    gzipServer.listen(QHostAddress::LocalHost);
    const QString gzipURL = QStringLiteral("http://127.0.0.1:%1/gzip").arg(gzipServer.serverPort());
    QTemporaryDir folder;
    const QString output = folder.filePath(QStringLiteral("body.bin"));
    const QString kea = QStringLiteral(KEA_CLI_PATH);
    const QString curl = QStringLiteral("curl");

    const Run keaIdle = runChild({kea, QStringLiteral("--version")});
    const Run curlIdle = runChild({curl, QStringLiteral("--version")});
    std::printf("Peak resident memory, %lld MiB body over loopback (idle: kea-cli %.1f MB, curl %.1f MB)\n",
                static_cast<long long>(sizeMiB), keaIdle.peakMB, curlIdle.peakMB);
    std::printf("  %-34s %9s %9s %11s %8s\n", "client", "seconds", "peak MB", "above idle", "status");
    auto report = [&](const char *name, const Run &run, const Run &idle) {
        std::printf("  %-34s %9.2f %9.1f %11.1f %8d\n", name, run.seconds, run.peakMB, run.peakMB - idle.peakMB,
                    run.status);
        std::fflush(stdout);
    };
    const QString none = QStringLiteral("none");
    const QString proxy = QStringLiteral("--proxy-config");
    report("curl -o FILE", runChild({curl, QStringLiteral("-s"), QStringLiteral("-o"), output, plainURL}), curlIdle);
    report("kea-cli fetch -o FILE (own)",
           runChild({kea, QStringLiteral("fetch"), plainURL, proxy, none, QStringLiteral("-o"), output}), keaIdle);
    report("kea-cli fetch -o FILE (libcurl)",
           runChild({kea, QStringLiteral("fetch"), plainURL, proxy, none, QStringLiteral("--engine"),
                     QStringLiteral("libcurl"), QStringLiteral("-o"), output}),
           keaIdle);
    report("curl > /dev/null", runChild({curl, QStringLiteral("-s"), plainURL}), curlIdle);
    report("kea-cli fetch > /dev/null (own)", runChild({kea, QStringLiteral("fetch"), plainURL, proxy, none}), keaIdle);
    if (withGzip) {
        report("curl --compressed -o FILE (gzip)",
               runChild(
                   {curl, QStringLiteral("-s"), QStringLiteral("--compressed"), QStringLiteral("-o"), output, gzipURL}),
               curlIdle);
        report("kea-cli fetch -o FILE (gzip, own)",
               runChild({kea, QStringLiteral("fetch"), gzipURL, proxy, none, QStringLiteral("-o"), output}), keaIdle);
    }
    return 0;
}
