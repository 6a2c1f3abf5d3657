#pragma once

#include "HXDynamicValue.h"

#include <memory>

class HXRequest;
class HXResponse;

// The common part of the values that read another request's latest stored
// response: the referenced request (archived by its uuid) and that
// response. Evaluation never sends anything; a request never sent gives
// nothing. Not a kind of its own.
class HXResponseDynamicValue : public HXDynamicValue
{
public:
    bool isKindOfClass(const QString &name) const override;

    HXRequest *request() const;
    void setRequest(HXRequest *request);
    // The request's newest response, or null.
    std::shared_ptr<HXResponse> lastResponse() const;

    // The request's name (followed by `detail` when given), or the kind's
    // title without a request.
    QString displayStringWithDetail(const QString &detail) const;
    // The request's name, or "(Not specified)".
    QString requestSecondaryText() const;

protected:
    static HXDynamicProperty requestProperty();
};
