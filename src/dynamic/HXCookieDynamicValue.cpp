#include "HXCookieDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"

#include <QCoreApplication>

void HXCookieDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXCookieDynamicValue>();
}

const QList<HXDynamicProperty> &HXCookieDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("keyValues"), HXDynamicPropertyType::KeyValueRows},
    };
    return keys;
}

HXDynamicResult HXCookieDynamicValue::evaluate()
{
    QString output(u""_qs);
    const HXDynamicKeyValueRows rows = keyValues();
    for (const HXDynamicKeyValueRow &row : rows) {
        if (!row.enabled)
            continue;
        if (!output.isEmpty())
            output += QStringLiteral("; ");
        output += HXDynamicValueEngine::evaluateStringAsString(row.name) + u'=' +
                  HXDynamicValueEngine::evaluateStringAsString(row.value);
    }
    return output;
}

QString HXCookieDynamicValue::displayString() const
{
    return QCoreApplication::translate("HXDynamicValue", "Cookies");
}

QString HXCookieDynamicValue::archivedDefaultCookieHeaderValue()
{
    return HXDynamicValue::make<HXCookieDynamicValue>()->archivedString();
}
