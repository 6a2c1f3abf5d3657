#include "HXResponseRawBodyDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXResponse.h"

void HXResponseRawBodyDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXResponseRawBodyDynamicValue>();
}

const QList<HXDynamicProperty> &HXResponseRawBodyDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        requestProperty(),
    };
    return keys;
}

HXDynamicResult HXResponseRawBodyDynamicValue::evaluate()
{
    const std::shared_ptr<HXResponse> response = lastResponse();
    if (response == nullptr)
        return {};
    return response->bodyData();
}

QString HXResponseRawBodyDynamicValue::displayString() const
{
    return displayStringWithDetail(QString());
}
