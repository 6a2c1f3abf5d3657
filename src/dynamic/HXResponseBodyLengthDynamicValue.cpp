#include "HXResponseBodyLengthDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXResponse.h"

void HXResponseBodyLengthDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXResponseBodyLengthDynamicValue>();
}

const QList<HXDynamicProperty> &HXResponseBodyLengthDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        requestProperty(),
    };
    return keys;
}

HXDynamicResult HXResponseBodyLengthDynamicValue::evaluate()
{
    const std::shared_ptr<HXResponse> response = lastResponse();
    if (response == nullptr)
        return {};
    if (response->headersDictionary().contains(QStringLiteral("Content-Length")))
        return response->headerValueForName(QStringLiteral("Content-Length"));
    return QString::number(qint64(response->bodyLength()));
}

QString HXResponseBodyLengthDynamicValue::displayString() const
{
    return displayStringWithDetail(QString());
}
