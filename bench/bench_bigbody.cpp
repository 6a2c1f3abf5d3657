// Peak memory of one large download, kea-cli next to the curl tool in the
// same run, from the same loopback server:
//   - a plain body written to a file with -o (streamed as it arrives);
//   - the same body printed to standard output (kept in a temporary file
//     past the memory limit, then written out in pieces);
//   - a gzip body of the same inflated size, with -o.
// Each client is a child process; its peak resident memory comes from
// wait4(). "Above idle" subtracts the peak of the same program doing nothing
// (`--version`).
//
//   bench_bigbody [--size MiB] [--skip-gzip]

#include <QByteArray>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>

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

// A blocking loopback server: /plain sends `size` bytes with a
// Content-Length, /gzip the compressed body; one connection at a time.
class LoopbackServer
{
public:
    LoopbackServer(qint64 size, QByteArray piece, QByteArray gzipBody)
        : m_size(size), m_piece(std::move(piece)), m_gzipBody(std::move(gzipBody))
    {
        m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int yes = 1;
        ::setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(m_listener, reinterpret_cast<sockaddr *>(&address), sizeof address);
        ::listen(m_listener, 16);
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
            const int connection = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (connection < 0)
                continue;
            answer(connection);
            ::close(connection);
        }
    }
    static bool sendAll(int connection, const char *data, qint64 size)
    {
        while (size > 0) {
            const ssize_t sent = ::send(connection, data, size_t(size), MSG_NOSIGNAL);
            if (sent <= 0)
                return false;
            data += sent;
            size -= sent;
        }
        return true;
    }
    void answer(int connection)
    {
        QByteArray request;
        char buffer[4096];
        while (!request.contains("\r\n\r\n")) {
            const ssize_t received = ::recv(connection, buffer, sizeof buffer, 0);
            if (received <= 0)
                return;
            request.append(buffer, received);
        }
        const bool gzip = request.split(' ').value(1) == "/gzip";
        const qint64 length = gzip ? m_gzipBody.size() : m_size;
        const QByteArray head = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n" +
                                QByteArray(gzip ? "Content-Encoding: gzip\r\n" : "") +
                                "Content-Length: " + QByteArray::number(length) + "\r\nConnection: close\r\n\r\n";
        if (!sendAll(connection, head.constData(), head.size()))
            return;
        if (gzip) {
            sendAll(connection, m_gzipBody.constData(), m_gzipBody.size());
        } else {
            for (qint64 left = m_size; left > 0; left -= m_piece.size()) {
                if (!sendAll(connection, m_piece.constData(), qMin(left, qint64(m_piece.size()))))
                    return;
            }
        }
        ::shutdown(connection, SHUT_WR);
        while (::recv(connection, buffer, sizeof buffer, 0) > 0) {
        }
    }

    qint64 m_size;
    QByteArray m_piece;
    QByteArray m_gzipBody;
    int m_listener = -1;
    quint16 m_port = 0;
    std::atomic_bool m_stop{false};
    std::thread m_thread;
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

Run runChild(const QStringList &programAndArguments)
{
    QProcess process;
    QElapsedTimer clock;
    clock.start();
    process.start(QCoreApplication::applicationFilePath(),
                  QStringList{QStringLiteral("--measure")} + programAndArguments);
    Run run;
    if (!process.waitForFinished(-1))
        return run;
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
    const QByteArray piece = makePiece();
    const QByteArray gzip = withGzip ? gzipOfRepeatedPieces(piece, size) : QByteArray();
    LoopbackServer server(size, piece, gzip);
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
    report("curl -o FILE", runChild({curl, QStringLiteral("-s"), QStringLiteral("-o"), output, server.url("/plain")}),
           curlIdle);
    report("kea-cli fetch -o FILE (own)",
           runChild({kea, QStringLiteral("fetch"), server.url("/plain"), proxy, none, QStringLiteral("-o"), output}),
           keaIdle);
    report("kea-cli fetch -o FILE (libcurl)",
           runChild({kea, QStringLiteral("fetch"), server.url("/plain"), proxy, none, QStringLiteral("--engine"),
                     QStringLiteral("libcurl"), QStringLiteral("-o"), output}),
           keaIdle);
    report("curl > /dev/null", runChild({curl, QStringLiteral("-s"), server.url("/plain")}), curlIdle);
    report("kea-cli fetch > /dev/null (own)",
           runChild({kea, QStringLiteral("fetch"), server.url("/plain"), proxy, none}), keaIdle);
    if (withGzip) {
        report("curl --compressed -o FILE (gzip)",
               runChild({curl, QStringLiteral("-s"), QStringLiteral("--compressed"), QStringLiteral("-o"), output,
                         server.url("/gzip")}),
               curlIdle);
        report("kea-cli fetch -o FILE (gzip, own)",
               runChild({kea, QStringLiteral("fetch"), server.url("/gzip"), proxy, none, QStringLiteral("-o"), output}),
               keaIdle);
    }
    return 0;
}
