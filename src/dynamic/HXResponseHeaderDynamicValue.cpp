#include "HXResponseHeaderDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXResponse.h"

void HXResponseHeaderDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXResponseHeaderDynamicValue>();
}

const QList<HXDynamicProperty> &HXResponseHeaderDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        requestProperty(),
        {QStringLiteral("header"), HXDynamicPropertyType::String},
    };
    return keys;
}

HXDynamicResult HXResponseHeaderDynamicValue::evaluate()
{
    const std::shared_ptr<HXResponse> response = lastResponse();
    if (response == nullptr)
        return {};
    const QString name = HXDynamicValueEngine::evaluateStringAsString(header());
    if (!response->headersDictionary().contains(name))
        return {};
    return response->headerValueForName(name);
}

QString HXResponseHeaderDynamicValue::displayString() const
{
    const QString shown = HXDynamicValueEngine::displayStringFromString(header());
    return displayStringWithDetail(request() != nullptr ? shown : QString());
}
