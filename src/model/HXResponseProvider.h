#pragma once

#include "HXInstalledInstance.h"

#include <memory>

class HXRequest;
class HXResponse;

// Where requests find their responses: the response store installs itself
// here at start-up. Without one, requests have no responses.
class HXResponseProvider
{
public:
    virtual ~HXResponseProvider() = default;
    // The newest response recorded for the request, or null.
    virtual std::shared_ptr<HXResponse> lastResponseForRequest(const HXRequest *request) = 0;

    static HXResponseProvider *sharedProvider() { return HXInstalledInstance<HXResponseProvider>::get(); }
    static void setSharedProvider(HXResponseProvider *provider)
    {
        HXInstalledInstance<HXResponseProvider>::set(provider);
    }
};
