#include "HXHTTPEngineThread.h"

#include <QCoreApplication>
#include <QMutex>
#include <QThread>

#include <openssl/crypto.h>

namespace {

struct EngineThread
{
    QThread *thread = nullptr;
    QObject *context = nullptr;
    bool stopped = false;
    // The engine works on the thread that asked for it instead of one of
    // its own.
    bool onCallingThread = false;
};

QMutex engineMutex;
EngineThread engine;

void stopEngineThread()
{
    QThread *thread = nullptr;
    QObject *context = nullptr;
    {
        QMutexLocker lock(&engineMutex);
        thread = engine.thread;
        context = engine.context;
        engine.stopped = true;
    }
    if (thread == nullptr) {
        // On the calling thread: queued work runs now, then the context goes.
        if (context != nullptr) {
            QCoreApplication::sendPostedEvents(context);
            delete context;
            QMutexLocker lock(&engineMutex);
            engine.context = nullptr;
        }
        return;
    }
    // Let queued work finish (transfers release their sockets there), then
    // delete the context on its own thread and stop. Work queued meanwhile
    // is dropped with the context.
    QMetaObject::invokeMethod(
        context,
        [context] {
            QCoreApplication::sendPostedEvents();
            delete context;
            // TLS left per-thread state here (random generators); free it
            // now rather than rely on the thread's exit.
            OPENSSL_thread_stop();
            QThread::currentThread()->quit();
        },
        Qt::QueuedConnection);
    thread->wait();
    {
        QMutexLocker lock(&engineMutex);
        engine.thread = nullptr;
        engine.context = nullptr;
    }
    delete thread;
}

} // namespace

QObject *HXHTTPEngineThread::context()
{
    QMutexLocker lock(&engineMutex);
    if (engine.onCallingThread) {
        if (engine.context == nullptr && !engine.stopped) {
            engine.context = new QObject;
            qAddPostRoutine(stopEngineThread);
        }
        return engine.context;
    }
    if (engine.thread == nullptr && !engine.stopped) {
        engine.thread = new QThread;
        engine.thread->setObjectName(QStringLiteral("kea-http-engine"));
        engine.context = new QObject;
        engine.context->moveToThread(engine.thread);
        engine.thread->start();
        qAddPostRoutine(stopEngineThread);
    }
    return engine.context;
}

void HXHTTPEngineThread::useCallingThread()
{
    QMutexLocker lock(&engineMutex);
    if (engine.thread == nullptr && engine.context == nullptr)
        engine.onCallingThread = true;
}

void HXHTTPEngineThread::post(std::function<void()> work)
{
    if (QObject *target = context())
        QMetaObject::invokeMethod(target, std::move(work), Qt::QueuedConnection);
}

bool HXHTTPEngineThread::isCurrentThread()
{
    QObject *target = context();
    return target != nullptr && QThread::currentThread() == target->thread();
}
