// Builds a document of 10,000 requests with 5 headers each, saves it, loads
// it, and prints the save and load times and the peak memory. For scale it
// also times writing and reading the same number of bytes as a plain file.
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
#include <unistd.h>

namespace {

double peakMegabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int requests = argc > 1 ? std::atoi(argv[1]) : 10000;
    QTemporaryDir folder;
    if (qEnvironmentVariableIsSet("KEA_BENCH_KEEP"))
        folder.setAutoRemove(false);
    const QString path = folder.filePath(QStringLiteral("bench.kea"));

    QElapsedTimer timer;
    timer.start();
    qint64 built = 0;
    {
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
        context.undoManager()->enableUndoRegistration();
        built = timer.restart();
        std::printf("peak after building: %.1f MB\n", peakMegabytes());

        if (auto saved = HXXMLStore::save(&context, path); !saved) {
            std::fprintf(stderr, "save failed: %s\n", qPrintable(saved.error().description));
            return 1;
        }
    }
    const qint64 saveTime = timer.restart();
    const qint64 size = QFileInfo(path).size();

    auto loaded = HXXMLStore::load(path, HXDocumentModel::currentModel());
    if (!loaded) {
        std::fprintf(stderr, "load failed: %s\n", qPrintable(loaded.error().description));
        return 1;
    }
    const qint64 loadTime = timer.restart();
    const qsizetype objects = (*loaded)->registeredObjects().size();

    // The floor: the same bytes written (synced) and read back as a plain file.
    QByteArray bytes;
    {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        bytes = file.readAll();
    }
    timer.restart();
    {
        QFile copy(folder.filePath(QStringLiteral("copy.bin")));
        copy.open(QIODevice::WriteOnly);
        copy.write(bytes);
        copy.flush();
        ::fsync(copy.handle());
    }
    const qint64 plainWrite = timer.restart();
    {
        QFile copy(folder.filePath(QStringLiteral("copy.bin")));
        copy.open(QIODevice::ReadOnly);
        bytes = copy.readAll();
    }
    const qint64 plainRead = timer.restart();

    std::printf("document: %d requests, %lld objects, %.1f MB on disk (built in %lld ms)\n", requests,
                qlonglong(objects), double(size) / 1e6, qlonglong(built));
    std::printf("save: %lld ms   (aim < 300 ms; plain synced write of the same bytes: %lld ms, ratio %.1fx)\n",
                qlonglong(saveTime), qlonglong(plainWrite), plainWrite > 0 ? double(saveTime) / plainWrite : 0.0);
    std::printf("load: %lld ms   (aim < 300 ms; plain read of the same bytes: %lld ms)\n", qlonglong(loadTime),
                qlonglong(plainRead));
    std::printf("peak memory: %.1f MB (aim < 100 MB)\n", peakMegabytes());
    return 0;
}
