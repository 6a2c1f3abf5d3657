// Pretty-prints a generated JSON document of about 100 MB with two-space
// indentation and compares throughput and peak memory with jq, Python's
// json.tool and node, measured in the same run. Every printer runs as a child
// process writing to /dev/null; peak memory is the child's maximum resident
// set size as wait4() reports it.
//
//   bench_json [--size MB] [--keep FILE]
//   bench_json --print FILE     (the Kea printer alone, used by the bench)

#include "HXJSONOutput.h"
#include "HXJSONParser.h"
#include "HXJSONPrintingSettings.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QTemporaryFile>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// A small deterministic generator, so every run prints the same document.
struct Random
{
    quint64 state = 0x9E3779B97F4A7C15ull;
    quint32 next()
    {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return quint32(state >> 16);
    }
    quint32 below(quint32 n) { return next() % n; }
};

const char *const kWords[] = {"alpha", "bravo",   "charlie", "delta", "echo", "foxtrot",  "golf",  "hotel",
                              "india", "juliett", "kilo",    "lima",  "mike", "november", "oscar", "papa"};
const char *const kCities[] = {"Z\\u00fcrich",
                               "S\xc3\xa3o Paulo",
                               "K\xc3\xb8"
                               "benhavn",
                               "\xe6\x9d\xb1\xe4\xba\xac",
                               "Berlin",
                               "Lyon",
                               "Austin",
                               "Nairobi"};

void appendWord(QByteArray &out, Random &random)
{
    out += kWords[random.below(16)];
}

// One record of a typical API response: numbers, strings with escapes and
// non-ASCII text, booleans, null, nested objects and arrays.
void appendRecord(QByteArray &out, quint64 id, Random &random)
{
    out += "{\"id\":";
    out += QByteArray::number(id);
    out += ",\"guid\":\"";
    out += QByteArray::number(random.next(), 16) + '-' + QByteArray::number(random.next(), 16);
    out += "\",\"name\":\"";
    appendWord(out, random);
    out += ' ';
    appendWord(out, random);
    out += "\",\"email\":\"";
    appendWord(out, random);
    out += QByteArray::number(id) + "@example.com\",\"active\":";
    out += random.below(2) ? "true" : "false";
    out += ",\"balance\":";
    out += QByteArray::number(random.below(1000000) / 100.0, 'f', 2);
    out += ",\"age\":";
    out += QByteArray::number(18 + random.below(70));
    out += ",\"tags\":[";
    const quint32 tags = random.below(5);
    for (quint32 i = 0; i < tags; ++i) {
        if (i)
            out += ',';
        out += '"';
        appendWord(out, random);
        out += '"';
    }
    out += "],\"address\":{\"street\":\"";
    out += QByteArray::number(1 + random.below(999)) + ' ';
    appendWord(out, random);
    out += " Street\",\"city\":\"";
    out += kCities[random.below(8)];
    out += "\",\"zip\":\"";
    out += QByteArray::number(10000 + random.below(89999));
    out += "\",\"geo\":[";
    out += QByteArray::number(random.below(18000000) / 100000.0 - 90.0, 'f', 5) + ',';
    out += QByteArray::number(random.below(36000000) / 100000.0 - 180.0, 'f', 5);
    out += "]},\"note\":\"";
    appendWord(out, random);
    out += " said \\\"hi\\\" at https://example.com/path\\nthen left";
    out += "\",\"scores\":[";
    for (quint32 i = 0; i < 4; ++i) {
        if (i)
            out += ',';
        out += QByteArray::number(random.below(100));
    }
    out += "],\"parent\":null}";
}

bool generate(QFile &file, qint64 targetBytes)
{
    Random random;
    QByteArray chunk;
    chunk.reserve(1 << 20);
    qint64 written = 1;
    if (file.write("[") != 1)
        return false;
    for (quint64 id = 0; written < targetBytes; ++id) {
        if (id)
            chunk += ",\n";
        appendRecord(chunk, id, random);
        if (chunk.size() >= (1 << 20)) {
            if (file.write(chunk) != chunk.size())
                return false;
            written += chunk.size();
            chunk.clear();
        }
    }
    chunk += "]\n";
    return file.write(chunk) == chunk.size() && file.flush();
}

struct Measurement
{
    QString name;
    bool ran = false;
    bool succeeded = false;
    double seconds = 0;
    double peakMB = 0;
};

// Runs a command with standard output to /dev/null; times it and takes its
// peak resident memory.
Measurement measure(const QString &name, const QStringList &command)
{
    Measurement result;
    result.name = name;
    if (QStandardPaths::findExecutable(command.first()).isEmpty() && !QFile::exists(command.first())) {
        std::printf("%-28s not found on this machine; skipped\n", qPrintable(name));
        return result;
    }
    std::vector<QByteArray> storage;
    for (const QString &argument : command)
        storage.push_back(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &argument : storage)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid < 0) {
        std::perror("fork");
        return result;
    }
    if (pid == 0) {
        const int null = open("/dev/null", O_WRONLY);
        if (null >= 0)
            dup2(null, STDOUT_FILENO);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    struct rusage usage = {};
    if (wait4(pid, &status, 0, &usage) < 0) {
        std::perror("wait4");
        return result;
    }
    const auto end = std::chrono::steady_clock::now();
    result.ran = true;
    result.succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    result.seconds = std::chrono::duration<double>(end - start).count();
    result.peakMB = double(usage.ru_maxrss) / 1024.0; // kilobytes on Linux
    return result;
}

int printFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return 1;
    }
    std::unique_ptr<HXJSONParser> parser = HXJSONParser::fromUtf8(file.readAll());
    file.close();
    HXJSONPrintingSettings settings;
    settings.prettyPrint = true;
    settings.indentWithSpaces = true;
    settings.indentSize = 2;
    settings.configure(parser->printer());
    bool printed = false;
    {
        HXJSONOutput output([](const char *bytes, qsizetype size) { std::fwrite(bytes, 1, size_t(size), stdout); });
        printed = parser->printRoot(output);
        output.append('\n');
    }
    std::fflush(stdout);
    return printed && parser->isWellFormed() ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() == 3 && arguments.at(1) == u"--print")
        return printFile(arguments.at(2));

    qint64 sizeMB = 100;
    QString keep;
    for (qsizetype i = 1; i + 1 < arguments.size(); i += 2) {
        if (arguments.at(i) == u"--size")
            sizeMB = qMax(1, arguments.at(i + 1).toInt());
        else if (arguments.at(i) == u"--keep")
            keep = arguments.at(i + 1);
    }

    QTemporaryFile input(QDir::temp().filePath(QStringLiteral("kea-bench-json-XXXXXX.json")));
    if (!input.open() || !generate(input, sizeMB * 1000 * 1000)) {
        std::fprintf(stderr, "cannot write the input document in %s\n", qPrintable(QDir::tempPath()));
        return 1;
    }
    input.close();
    const double inputMB = double(input.size()) / 1e6;
    const QString path = input.fileName();
    std::printf("input: %.1f MB of generated JSON (%s, deleted afterwards)\n", inputMB, qPrintable(path));
    std::printf("task: pretty-print with 2-space indentation to /dev/null\n\n");
    std::printf("%-28s %9s %9s %11s\n", "printer", "seconds", "MB/s", "peak MB");

    const QString node = QStringLiteral(
        "const fs=require('fs');"
        "process.stdout.write(JSON.stringify(JSON.parse(fs.readFileSync(process.argv[1],'utf8')),null,2)+'\\n')");
    std::vector<Measurement> results;
    results.push_back(measure(QStringLiteral("kea (HXJSONParser)"),
                              {QCoreApplication::applicationFilePath(), QStringLiteral("--print"), path}));
    results.push_back(measure(QStringLiteral("jq ."), {QStringLiteral("jq"), QStringLiteral("."), path}));
    results.push_back(measure(QStringLiteral("python3 -m json.tool"),
                              {QStringLiteral("python3"), QStringLiteral("-m"), QStringLiteral("json.tool"),
                               QStringLiteral("--indent"), QStringLiteral("2"), path}));
    results.push_back(
        measure(QStringLiteral("node JSON.stringify"), {QStringLiteral("node"), QStringLiteral("-e"), node, path}));

    const Measurement *fastestPeer = nullptr;
    const Measurement *leanestPeer = nullptr;
    for (const Measurement &m : results) {
        if (!m.ran)
            continue;
        std::printf("%-28s %9.2f %9.1f %11.0f%s\n", qPrintable(m.name), m.seconds, inputMB / m.seconds, m.peakMB,
                    m.succeeded ? "" : "   (failed)");
        if (&m == &results.front() || !m.succeeded)
            continue;
        if (!fastestPeer || m.seconds < fastestPeer->seconds)
            fastestPeer = &m;
        if (!leanestPeer || m.peakMB < leanestPeer->peakMB)
            leanestPeer = &m;
    }
    const Measurement &kea = results.front();
    std::printf("\n");
    if (kea.succeeded && fastestPeer) {
        std::printf("throughput: %.2fx the fastest peer (%s)\n", fastestPeer->seconds / kea.seconds,
                    qPrintable(fastestPeer->name));
        std::printf("peak memory: %.2fx the leanest peer (%s)\n", kea.peakMB / leanestPeer->peakMB,
                    qPrintable(leanestPeer->name));
    } else if (!kea.succeeded) {
        std::printf("the Kea printer failed\n");
    }
    if (!keep.isEmpty())
        QFile::copy(path, keep);
    return kea.succeeded ? 0 : 1;
}
