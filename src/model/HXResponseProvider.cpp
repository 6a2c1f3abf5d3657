#include "HXResponseProvider.h"

#include "HXResponse.h"

std::shared_ptr<HXResponse> HXResponseProvider::lastResponseForRequestWithStatusCode(const HXRequest *request,
                                                                                     qint64 statusCode)
{
    std::shared_ptr<HXResponse> last = lastResponseForRequest(request);
    return last && last->statusCode() == statusCode ? last : nullptr;
}
