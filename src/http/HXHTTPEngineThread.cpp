#include "HXHTTPEngineThread.h"

#include <QCoreApplication>
#include <QMutex>
#include <QThread>

namespace {

struct EngineThread
{
    QThread *thread = nullptr;
    QObject *context = nullptr;
};

QMutex engineMutex;
EngineThread engine;

void stopEngineThread()
{
    QMutexLocker lock(&engineMutex);
    if (engine.thread == nullptr)
        return;
    QObject *context = engine.context;
    // Let queued work finish (transfers release their sockets there), then
    // delete the context on its own thread and stop.
    QMetaObject::invokeMethod(
        context,
        [context] {
            QCoreApplication::sendPostedEvents();
            delete context;
            QThread::currentThread()->quit();
        },
        Qt::QueuedConnection);
    engine.thread->wait(5000);
    delete engine.thread;
    engine = {};
}

} // namespace

QObject *HXHTTPEngineThread::context()
{
    QMutexLocker lock(&engineMutex);
    if (engine.thread == nullptr) {
        engine.thread = new QThread;
        engine.thread->setObjectName(QStringLiteral("kea-http-engine"));
        engine.context = new QObject;
        engine.context->moveToThread(engine.thread);
        engine.thread->start();
        qAddPostRoutine(stopEngineThread);
    }
    return engine.context;
}

void HXHTTPEngineThread::post(std::function<void()> work)
{
    QMetaObject::invokeMethod(context(), std::move(work), Qt::QueuedConnection);
}

bool HXHTTPEngineThread::isCurrentThread()
{
    return QThread::currentThread() == context()->thread();
}
