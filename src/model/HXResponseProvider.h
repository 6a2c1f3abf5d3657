#pragma once

#include "HXInstalledInstance.h"

#include <QtGlobal>

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
    // The newest of the request's recent responses with that status code, or
    // null. By default only the newest response is looked at.
    virtual std::shared_ptr<HXResponse> lastResponseForRequestWithStatusCode(const HXRequest *request,
                                                                             qint64 statusCode);

    static HXResponseProvider *sharedProvider() { return HXInstalledInstance<HXResponseProvider>::get(); }
    static void setSharedProvider(HXResponseProvider *provider)
    {
        HXInstalledInstance<HXResponseProvider>::set(provider);
    }
};
