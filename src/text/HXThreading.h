#pragma once

#include <QCoreApplication>
#include <QThread>

// True on the thread that runs the application's event loop (or when no
// application object exists yet, as in some tools and tests).
inline bool HXIsMainThread()
{
    const QCoreApplication *app = QCoreApplication::instance();
    return app == nullptr || QThread::currentThread() == app->thread();
}

// Entry points that touch the model, stores or UI state call this.
#define HX_ASSERT_MAIN_THREAD() Q_ASSERT_X(HXIsMainThread(), Q_FUNC_INFO, "must run on the main thread")
