#pragma once

#include <QObject>

#include <functional>

// The thread on which the own engine keeps its sockets and transfer state.
// Started on first use, stopped when the application object goes away.
class HXHTTPEngineThread
{
public:
    // An object living on the engine thread: the context for queued calls.
    // Null once the application object is gone (work posted then is dropped).
    static QObject *context();
    // Runs `work` on the engine thread, later (never inline).
    static void post(std::function<void()> work);
    static bool isCurrentThread();
    // Keeps the engine on the calling thread, with no thread of its own: for
    // a command-line run, where no window waits on that thread and handing
    // every request across threads would cost more than the request itself.
    // Only before the engine's first use; later calls change nothing.
    static void useCallingThread();
};
