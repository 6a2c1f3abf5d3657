#include "HXKeyValue.h"

#include "HXRequest.h"
#include "HXRequestGroup.h"

QString HXKeyValue::name() const
{
    return stringForKey(QStringLiteral("name"));
}

void HXKeyValue::setName(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("name"));
}

QString HXKeyValue::value() const
{
    return stringForKey(QStringLiteral("value"));
}

void HXKeyValue::setValue(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("value"));
}

bool HXKeyValue::enabled() const
{
    return valueForKey(QStringLiteral("enabled")).toBool();
}

void HXKeyValue::setEnabled(bool value)
{
    setValueForKey(QVariant(value), QStringLiteral("enabled"));
}

quint64 HXKeyValue::order() const
{
    return valueForKey(QStringLiteral("order")).toULongLong();
}

void HXKeyValue::setOrder(quint64 value)
{
    setValueForKey(QVariant(value), QStringLiteral("order"));
}

HXRequest *HXKeyValue::request() const
{
    return static_cast<HXRequest *>(objectForKey(QStringLiteral("request")));
}

void HXKeyValue::setRequest(HXRequest *value)
{
    setObjectForKey(value, QStringLiteral("request"));
}

HXRequestGroup *HXKeyValue::groupForHeaders() const
{
    return static_cast<HXRequestGroup *>(objectForKey(QStringLiteral("groupForHeaders")));
}

void HXKeyValue::setGroupForHeaders(HXRequestGroup *value)
{
    setObjectForKey(value, QStringLiteral("groupForHeaders"));
}

HXRequestGroup *HXKeyValue::groupForUrlParameters() const
{
    return static_cast<HXRequestGroup *>(objectForKey(QStringLiteral("groupForUrlParameters")));
}

void HXKeyValue::setGroupForUrlParameters(HXRequestGroup *value)
{
    setObjectForKey(value, QStringLiteral("groupForUrlParameters"));
}

HXRequestGroup *HXKeyValue::groupForBodyParameters() const
{
    return static_cast<HXRequestGroup *>(objectForKey(QStringLiteral("groupForBodyParameters")));
}

void HXKeyValue::setGroupForBodyParameters(HXRequestGroup *value)
{
    setObjectForKey(value, QStringLiteral("groupForBodyParameters"));
}
