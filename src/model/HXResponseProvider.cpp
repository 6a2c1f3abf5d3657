#include "HXResponseProvider.h"

namespace {
HXResponseProvider *g_provider = nullptr;
}

HXResponseProvider *HXResponseProvider::sharedProvider()
{
    return g_provider;
}

void HXResponseProvider::setSharedProvider(HXResponseProvider *provider)
{
    g_provider = provider;
}
