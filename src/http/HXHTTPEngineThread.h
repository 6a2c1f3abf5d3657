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
};
