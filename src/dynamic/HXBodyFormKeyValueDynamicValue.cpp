#include "HXBodyFormKeyValueDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueContext.h"
#include "HXDynamicValueEngine.h"
#include "HXStringAdditions.h"

void HXBodyFormKeyValueDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXBodyFormKeyValueDynamicValue>();
}

const QList<HXDynamicProperty> &HXBodyFormKeyValueDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("keyValues"), HXDynamicPropertyType::KeyValueRows},
    };
    return keys;
}

QString HXBodyFormKeyValueDynamicValue::formBody(const QList<std::pair<QString, QString>> &fields,
                                                 HXStringEncoding encoding)
{
    QString body;
    for (const auto &[name, value] : fields) {
        if (name.isEmpty() && value.isEmpty())
            continue;
        if (!body.isEmpty())
            body.append(u'&');
        body.append(HXStringAdditions::stringByAddingPercentExcapeUsingEncoding(name, encoding, true));
        body.append(u'=');
        body.append(HXStringAdditions::stringByAddingPercentExcapeUsingEncoding(value, encoding, true));
    }
    return body;
}

HXDynamicResult HXBodyFormKeyValueDynamicValue::evaluate()
{
    const HXStringEncoding encoding = HXDynamicValueContext::currentContextStringEncoding();
    QList<std::pair<QString, QString>> fields;
    const HXDynamicKeyValueRows rows = keyValues();
    for (const HXDynamicKeyValueRow &row : rows) {
        if (!row.enabled)
            continue;
        fields.append({HXDynamicValueEngine::evaluateStringAsString(row.name, encoding),
                       HXDynamicValueEngine::evaluateStringAsString(row.value, encoding)});
    }
    return formBody(fields, encoding);
}

QString HXBodyFormKeyValueDynamicValue::displayString() const
{
    return localizedName();
}

bool HXBodyFormKeyValueDynamicValue::isEmpty() const
{
    const HXDynamicKeyValueRows rows = keyValues();
    return std::all_of(rows.cbegin(), rows.cend(),
                       [](const HXDynamicKeyValueRow &row) { return row.name.isEmpty() && row.value.isEmpty(); });
}

bool HXBodyFormKeyValueDynamicValue::hasAnyNotEmptyDisabledKeyValue() const
{
    const HXDynamicKeyValueRows rows = keyValues();
    return std::any_of(rows.cbegin(), rows.cend(), [](const HXDynamicKeyValueRow &row) {
        return !row.enabled && (!row.name.isEmpty() || !row.value.isEmpty());
    });
}
