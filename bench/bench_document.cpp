// Builds a document of 10,000 requests with 5 headers each, saves it, loads
// it, and prints the save and load times and the peak memory of each step.
// Building and saving run in one child process and loading in another, so
// each peak is that of a program doing just that step. For scale it also
// times writing (synced) and reading the same bytes as a plain file. Beside
// each time it prints the processor time of the step, which varies less than
// the elapsed time on a busy machine.
//
//   cmake --build build --target bench_document && build/bench/bench_document [REQUESTS]

#include "HXDocumentModel.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXUndoManager.h"
#include "HXXMLStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

double peakMegabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

// User and system time of this process so far.
qint64 processorMilliseconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return qint64(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000;
}

// Runs `step` in a child process and returns what it printed on its pipe.
QByteArray inChild(const std::function<QByteArray()> &step)
{
    int fds[2];
    if (pipe(fds) != 0)
        return {};
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        ::close(fds[0]);
        const QByteArray result = step();
        if (::write(fds[1], result.constData(), size_t(result.size())) < 0)
            _exit(1);
        _exit(0);
    }
    ::close(fds[1]);
    QByteArray result;
    char buffer[256];
    ssize_t count = 0;
    while ((count = ::read(fds[0], buffer, sizeof buffer)) > 0)
        result.append(buffer, count);
    ::close(fds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return result;
}

QByteArray buildAndSave(int requests, const QString &path)
{
    const double baseline = peakMegabytes();
    QElapsedTimer timer;
    timer.start();
    HXManagedObjectContext context(&HXDocumentModel::currentModel());
    // Built the way a document is loaded: no undo history.
    context.undoManager()->disableUndoRegistration();
    HXRequestGroup *group = nullptr;
    for (int i = 0; i < requests; ++i) {
        if (i % 100 == 0) {
            group = context.insertNewObject<HXRequestGroup>(QStringLiteral("HXRequestGroup"));
            group->setName(QStringLiteral("Folder %1").arg(i / 100));
            group->setOrder(i / 100);
        }
        auto *request = context.insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        request->setName(QStringLiteral("Request %1").arg(i));
        request->setUrl(QStringLiteral("https://api.example.test/v1/items/%1?expand=owner&limit=50").arg(i));
        request->setMethod(i % 3 == 0 ? QStringLiteral("POST") : QStringLiteral("GET"));
        request->setOrder(i % 100);
        request->setParent(group);
        for (int h = 0; h < 5; ++h) {
            auto *row = context.insertNewObject<HXKeyValue>(QStringLiteral("HXKeyValue"));
            row->setName(QStringLiteral("X-Header-%1").arg(h));
            row->setValue(QStringLiteral("value %1 of request %2").arg(h).arg(i));
            row->setOrder(quint64(h));
            row->setRequest(request);
        }
    }
    context.processPendingChanges();
    const qint64 built = timer.restart();
    const qint64 processorBefore = processorMilliseconds();
    if (auto saved = HXXMLStore::save(&context, path); !saved)
        return "error " + saved.error().description.toUtf8();
    const qint64 saved = timer.elapsed();
    const qint64 processor = processorMilliseconds() - processorBefore;
    return QByteArray::number(built) + ' ' + QByteArray::number(saved) + ' ' +
           QByteArray::number(peakMegabytes(), 'f', 1) + ' ' + QByteArray::number(baseline, 'f', 1) + ' ' +
           QByteArray::number(context.registeredObjects().size()) + ' ' + QByteArray::number(processor);
}

QByteArray load(const QString &path)
{
    const double baseline = peakMegabytes();
    QElapsedTimer timer;
    timer.start();
    const qint64 processorBefore = processorMilliseconds();
    auto loaded = HXXMLStore::load(path, HXDocumentModel::currentModel());
    if (!loaded)
        return "error " + loaded.error().description.toUtf8();
    const qint64 elapsed = timer.elapsed();
    const qint64 processor = processorMilliseconds() - processorBefore;
    return QByteArray::number(elapsed) + ' ' + QByteArray::number(peakMegabytes(), 'f', 1) + ' ' +
           QByteArray::number(baseline, 'f', 1) + ' ' + QByteArray::number((*loaded)->registeredObjects().size()) +
           ' ' + QByteArray::number(processor);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int requests = argc > 1 ? std::atoi(argv[1]) : 10000;
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("bench.kea"));

    const QList<QByteArray> saved = inChild([&] { return buildAndSave(requests, path); }).split(' ');
    if (saved.size() != 6) {
        std::fprintf(stderr, "building or saving failed: %s\n", saved.join(' ').constData());
        return 1;
    }
    const QList<QByteArray> loaded = inChild([&] { return load(path); }).split(' ');
    if (loaded.size() != 5) {
        std::fprintf(stderr, "loading failed: %s\n", loaded.join(' ').constData());
        return 1;
    }

    // The floor: the same bytes written (synced) and read back as a plain file.
    QByteArray bytes;
    {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            bytes = file.readAll();
    }
    QElapsedTimer timer;
    timer.start();
    {
        QFile copy(folder.filePath(QStringLiteral("copy.bin")));
        if (copy.open(QIODevice::WriteOnly)) {
            copy.write(bytes);
            copy.flush();
            ::fsync(copy.handle());
        }
    }
    const qint64 plainWrite = timer.restart();
    {
        QFile copy(folder.filePath(QStringLiteral("copy.bin")));
        if (copy.open(QIODevice::ReadOnly))
            bytes = copy.readAll();
    }
    const qint64 plainRead = timer.restart();

    std::printf("document: %d requests, %s objects, %.1f MB on disk (built in %s ms)\n", requests,
                saved.at(4).constData(), double(QFileInfo(path).size()) / 1e6, saved.at(0).constData());
    std::printf("save: %s ms, processor %s ms (aim < 300 ms; a plain synced write of the same bytes: %lld ms)\n",
                saved.at(1).constData(), saved.at(5).constData(), qlonglong(plainWrite));
    std::printf("load: %s ms, processor %s ms (aim < 300 ms; a plain read of the same bytes: %lld ms)\n",
                loaded.at(0).constData(), loaded.at(4).constData(), qlonglong(plainRead));
    std::printf("peak memory: building and saving %s MB, loading %s MB (aim < 100 MB; the program alone: %s MB)\n",
                saved.at(2).constData(), loaded.at(1).constData(), loaded.at(2).constData());
    return 0;
}
