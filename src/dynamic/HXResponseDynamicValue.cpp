#include "HXResponseDynamicValue.h"

#include "HXRequest.h"
#include "HXResponse.h"

#include <QCoreApplication>

bool HXResponseDynamicValue::isKindOfClass(const QString &name) const
{
    return name == u"HXResponseDynamicValue" || HXDynamicValue::isKindOfClass(name);
}

HXDynamicProperty HXResponseDynamicValue::requestProperty()
{
    return {QStringLiteral("request"), HXDynamicPropertyType::Reference, QStringLiteral("HXRequest")};
}

HXRequest *HXResponseDynamicValue::request() const
{
    auto *request = static_cast<HXRequest *>(objectValue(QStringLiteral("request")));
    return request != nullptr && request->isLive() ? request : nullptr;
}

void HXResponseDynamicValue::setRequest(HXRequest *request)
{
    setObjectValue(QStringLiteral("request"), request);
}

std::shared_ptr<HXResponse> HXResponseDynamicValue::lastResponse() const
{
    HXRequest *referenced = request();
    return referenced != nullptr ? referenced->lastResponse() : nullptr;
}

QString HXResponseDynamicValue::displayStringWithDetail(const QString &detail) const
{
    HXRequest *referenced = request();
    if (referenced == nullptr)
        return localizedName();
    return detail.isNull() ? referenced->name() : referenced->name() + QStringLiteral(": ") + detail;
}

QString HXResponseDynamicValue::requestSecondaryText() const
{
    HXRequest *referenced = request();
    return referenced != nullptr ? referenced->name()
                                 : QCoreApplication::translate("HXDynamicValue", "(Not specified)");
}
