#include "HXCompletionSink.h"

namespace {
HXCompletionSink *g_sink = nullptr;
}

HXCompletionSink *HXCompletionSink::sharedSink()
{
    return g_sink;
}

void HXCompletionSink::setSharedSink(HXCompletionSink *sink)
{
    g_sink = sink;
}
